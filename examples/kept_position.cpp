// Aided start: the last position is kept in a file, and the receiver gets it at the next start. For a vehicle
// that stays where it was switched off: the receiver takes the position as good to ten metres. Runs until
// Ctrl-C or SIGTERM.
//
//   kept_position FILE

#include <fcntl.h>
#include <unistd.h>

#include <cinttypes>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <string>

#include "GPSAdapter.h"
#include "OnAUnit.h"

namespace {

constexpr uint32_t kPollMilliseconds = 500;
constexpr uint32_t kKeepSeconds = 300; // between two writes; more of them wear the flash out

volatile std::sig_atomic_t stopRequested = 0;

void requestStop(int) { stopRequested = 1; }

struct Position {
    int32_t latitude;  ///< degrees x 1,000,000
    int32_t longitude; ///< degrees x 1,000,000
    int32_t altitude;  ///< millimetres
};

// --- The file -------------------------------------------------------------------------------------------

bool isWithin(long long value, long long limit) { return -limit <= value && value <= limit; }

/// A file that was cut, or is none of this program's, counts as none.
bool readPosition(const std::string& path, Position& position) {
    std::FILE* file = std::fopen(path.c_str(), "re");
    if (file == nullptr)
        return false;
    long long latitude = 0;
    long long longitude = 0;
    long long altitude = 0;
    char end = 0;
    const int fields = std::fscanf(file, "%12lld %12lld %12lld en%c", &latitude, &longitude, &altitude, &end);
    std::fclose(file);
    if (fields != 4 || end != 'd')
        return false;
    if (!isWithin(latitude, 90000000) || !isWithin(longitude, 180000000) || !isWithin(altitude, INT32_MAX))
        return false;
    position = {static_cast<int32_t>(latitude), static_cast<int32_t>(longitude),
                static_cast<int32_t>(altitude)};
    return true;
}

/// All of `text` is on the disk.
bool writeThrough(const std::string& path, const char* text, size_t length) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0)
        return false;
    const bool written = write(file, text, length) == static_cast<ssize_t>(length) && fsync(file) == 0;
    return close(file) == 0 && written;
}

/// The name stays valid when power is lost behind it: a folder is written through as a file is.
void writeFolderThrough(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return;
    fsync(descriptor);
    close(descriptor);
}

/// Whole or not at all: at each moment the file is the old or the new one.
bool keepPosition(const std::string& path, const Position& position) {
    char text[64];
    const int length = std::snprintf(text, sizeof text, "%" PRId32 " %" PRId32 " %" PRId32 " end\n",
                                     position.latitude, position.longitude, position.altitude);
    const std::string next = path + ".next";
    if (writeThrough(next, text, static_cast<size_t>(length)) && rename(next.c_str(), path.c_str()) == 0) {
        writeFolderThrough(path);
        return true;
    }
    std::perror(next.c_str());
    unlink(next.c_str());
    return false;
}

// --- The receiver ---------------------------------------------------------------------------------------

/// A value of 0 hands nothing over, and an altitude below the sea doesn't come out right.
bool canBeHandedOver(const Position& position) {
    return position.latitude != 0 && position.longitude != 0 && position.altitude > 0;
}

/// Before Start, as the worker must not run. It starts gpsd by itself, so Initialize has nothing left to do.
void handOver(GPSAdapter& gps, const Position& position) {
    if (!canBeHandedOver(position)) {
        std::printf("the kept position can't be handed over\n");
        return;
    }
    std::printf("handing over %.6f, %.6f, %.1f m\n", position.latitude / 1e6, position.longitude / 1e6,
                position.altitude / 1e3);
    gps.setInitialPosition(static_cast<unsigned int>(position.latitude), // negative ones in two's complement
                           static_cast<unsigned int>(position.longitude),
                           static_cast<unsigned int>(position.altitude));
}

/// Keeps the last fix, and remembers of which tick it was.
void keepLastFix(GPSAdapter& gps, const std::string& path, uint32_t& keptTick) {
    GPSReadings readings;
    gps.GetReadings(readings);
    if (readings.fixTick == keptTick)
        return;
    const Position position = {readings.data.latitude, readings.data.longitude, readings.data.altitude};
    if (keepPosition(path, position))
        std::printf("kept %.6f, %.6f, %.1f m\n", position.latitude / 1e6, position.longitude / 1e6,
                    position.altitude / 1e3);
    keptTick = readings.fixTick;
}

bool isDue(GPSAdapter& gps, uint32_t keptTick) {
    GPSReadings readings;
    gps.GetReadings(readings);
    return readings.fixTick != 0 && (keptTick == 0 || readings.fixTick - keptTick >= kKeepSeconds);
}

int run(const std::string& path) {
    GPSAdapter gps(nullptr);
    Position position = {};
    if (readPosition(path, position))
        handOver(gps, position);
    else
        std::printf("no position is kept\n");
    if (gps.Initialize() != 0 || gps.Start() != 0)
        return 1;
    uint32_t keptTick = 0; // none in this run
    while (!stopRequested) {
        ruxosleep_interruptible(kPollMilliseconds);
        if (isDue(gps, keptTick))
            keepLastFix(gps, path, keptTick);
    }
    keepLastFix(gps, path, keptTick);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "kept_position: needs the FILE that keeps the position\n");
        return 2;
    }
    if (!isOnAUnit("kept_position"))
        return 1;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::signal(SIGINT, requestStop);
    std::signal(SIGTERM, requestStop);
    return run(argv[1]);
}
