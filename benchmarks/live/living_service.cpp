// living_service COUNTS
//
// An application of the library: a callback that does nothing, the default settings and one geofence. It configures the
// receiver and starts gpsd, says "ready", and does what it is told, a line at a time:
//
//   renew      stops the service, and starts another gpsd
//   start      starts the service and waits for fixes; the antenna is in order without a look
//   start-file the same with the host platform's antenna, which reads a file at each query
//
// each of which it answers with "ready" as well. It ends with its standard input. What the reader takes is counted in the
// file COUNTS (LivingCounts.h).

#include <dlfcn.h>
#include <fcntl.h>
#include <gps.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "GPSAdapter.h"
#include "LivingCounts.h"

namespace {

constexpr useconds_t kLookPeriodUs = 200000;
constexpr auto kLeastWait = std::chrono::milliseconds(1);

LivingCounts* counts = nullptr;
bool looksAtFile = false;

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
    if (file < 0 || ftruncate(file, sizeof *counts) != 0)
        fail(path);
    void* const memory = mmap(nullptr, sizeof *counts, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
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
    } while (!readings.available);
}

bool renew(GPSAdapter& adapter) { return adapter.Finalize() == 0 && adapter.Initialize() == 0; }

bool start(GPSAdapter& adapter) {
    if (adapter.Start() != 0)
        return false;
    awaitFixes(adapter);
    return true;
}

bool carryOut(const std::string& line, GPSAdapter& adapter) {
    looksAtFile = line == "start-file";
    return line == "renew" ? renew(adapter) : start(adapter);
}

} // namespace

// --- Calls of the library -------------------------------------------------------------------------------

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

// The host platform's reads a file: a stand-in for the unit's hardware, whose cost says nothing about the library.
unsigned int RuxoHAL::GetGNSSAntennaState(GPSAntennaState& state) {
    using Query = unsigned int(RuxoHAL*, GPSAntennaState&);
    static auto* const query = real<Query>("_ZN7RuxoHAL19GetGNSSAntennaStateER15GPSAntennaState");
    if (looksAtFile)
        return query(this, state);
    state = GPS_ANTENNA_OK;
    return 0;
}

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    countIn(argv[1]);
    IdleCallback callback;
    GPSAdapter adapter(&callback);
    setOneGeofence(adapter);
    bool worked = adapter.Initialize() == 0;
    for (std::string line; worked; worked = carryOut(line, adapter)) {
        std::cout << "ready" << std::endl;
        if (!std::getline(std::cin, line))
            _exit(0); // without the seconds that an orderly end takes
    }
    std::cerr << "living_service: an operation failed" << std::endl;
    _exit(1);
}
