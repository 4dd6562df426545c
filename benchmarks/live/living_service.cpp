// living_service start|initialize [COUNTS]
//
// An application of the library: a callback that does nothing, the default settings and one geofence.
// `initialize` leaves it there: the receiver is configured and gpsd runs, for whoever wants to be its client.
// `start` starts the service as well, and waits for fixes. Then it prints "ready" and does nothing more until
// its standard input ends.
//
// What the reader takes is counted in the file COUNTS (LivingCounts.h). Built twice: with an antenna that is
// in order without a look (living_antenna.cpp), and with the host platform's, which reads a file at each
// query.

#include <dlfcn.h>
#include <fcntl.h>
#include <gps.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "GPSAdapter.h"
#include "LivingCounts.h"

namespace {

constexpr useconds_t kLookPeriodUs = 200000;
constexpr auto kLeastWait = std::chrono::milliseconds(1);

LivingCounts counted = {};
LivingCounts* counts = &counted;

// The library's calls of libgps come here first, and go on to the real ones.
template <typename Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

class IdleCallback : public IGPSCallback {
public:
    unsigned int OnGeofenceLeft(const GPSGeofence&) override { return 0; }
    unsigned int OnGeofenceEntered(const GPSGeofence&) override { return 0; }
    unsigned int OnAntennaStateChanged(GPSAntennaState, RuxoString&, bool&) override { return 0; }
    unsigned int OnAvailabilityChanged(bool) override { return 0; }
    unsigned int OnPositionUpdate() override { return 0; }
    unsigned int OnTracking(const GPSData&) override { return 0; }
};

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    exit(1);
}

void countIn(const char* path) {
    const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, sizeof counted) != 0)
        fail(path);
    void* const memory = mmap(nullptr, sizeof counted, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED)
        fail(path);
    close(file);
    counts = static_cast<LivingCounts*>(memory);
}

void setOneGeofence(GPSAdapter& adapter) {
    GPSParams params;
    adapter.GetParams(params);
    params.geofencesEnabled = true;
    params.geofences[0].name.setStr("gate");
    params.geofences[0].width = params.geofences[0].height = 10000;
    adapter.SetParams(params);
}

void awaitFixes(GPSAdapter& adapter) {
    GPSReadings readings;
    do {
        usleep(kLookPeriodUs);
        adapter.GetReadings(readings);
    } while (!readings.available || readings.satelliteCount == 0);
    std::printf("satellites %u\n", readings.satelliteCount);
}

} // namespace

// A wait that lasted is a burst's: what comes with the first report is there at once.
bool gps_waiting(const gps_data_t* record, int timeout) {
    static auto* const wait = real<decltype(gps_waiting)>("gps_waiting");
    const auto begin = std::chrono::steady_clock::now();
    const bool there = wait(record, timeout);
    if (there && std::chrono::steady_clock::now() - begin > kLeastWait)
        counts->bursts.fetch_add(1, std::memory_order_relaxed);
    return there;
}

int gps_read(gps_data_t* record, char* message, int length) {
    static auto* const read = real<decltype(gps_read)>("gps_read");
    const int rc = read(record, message, length);
    if (rc > 0)
        counts->reports.fetch_add(1, std::memory_order_relaxed);
    return rc;
}

int main(int argc, char** argv) {
    const bool start = argc > 1 && std::strcmp(argv[1], "start") == 0;
    if (!start && (argc < 2 || std::strcmp(argv[1], "initialize") != 0))
        return 2;
    if (argc > 2)
        countIn(argv[2]);
    IdleCallback callback;
    GPSAdapter adapter(&callback);
    setOneGeofence(adapter);
    if (adapter.Initialize() != 0 || (start && adapter.Start() != 0))
        return 1;
    if (start)
        awaitFixes(adapter);
    std::printf("ready\n");
    std::fflush(stdout);
    while (getchar() != EOF) {
    }
    _exit(0); // without the seconds that an orderly end takes
}
