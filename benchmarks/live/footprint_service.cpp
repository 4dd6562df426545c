// An application of the service that does nothing but let it run: five geofences, an odometer, no callback
// that does anything. Says "ready" at the first fix; on SIGUSR1 it tells its heap and the reports that the
// service has read. To be run on a virtual unit: making the adapter kills every gpsd.

#include <dlfcn.h>
#include <gps.h>
#include <semaphore.h>
#include <signal.h>

#include <atomic>
#include <cstdio>
#include <string>

#include "Footprint.h"
#include "GPSAdapter.h"
#include "IdleApplication.h"

namespace {

constexpr int kGeofences = 5;

std::atomic<unsigned long> reports{0};
sem_t asked;

void configure(GPSAdapter& adapter) {
    GPSParams params;
    adapter.GetParams(params);
    params.geofencesEnabled = true;
    for (int i = 0; i < kGeofences; ++i) {
        GPSGeofence& geofence = params.geofences[i];
        geofence.name.setStr(("area " + std::to_string(i)).c_str());
        geofence.latitude = 47000000 + i * 1000;
        geofence.longitude = 8000000;
        geofence.width = geofence.height = 2000;
    }
    adapter.SetParams(params);
}

void onSignal(int) { sem_post(&asked); }

/// Any thread may meet the signal, and none is ended by it.
void handleSignal() {
    sem_init(&asked, 0, 0);
    struct sigaction action = {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGUSR1, &action, nullptr);
}

void waitForFix(GPSAdapter& adapter) {
    GPSReadings readings;
    while (readings.fixTick == 0) {
        ruxosleep_interruptible(1000);
        adapter.GetReadings(readings);
    }
}

[[noreturn]] void answer() {
    for (;;)
        if (sem_wait(&asked) == 0)
            tellFootprint(reports);
}

} // namespace

/// Found before libgps's own, and calls it: the service's reports are counted where it reads them.
extern "C" int gps_read(gps_data_t* record, char* message, int length) {
    static const auto next = reinterpret_cast<decltype(&gps_read)>(dlsym(RTLD_NEXT, "gps_read"));
    const int rc = next(record, message, length);
    if (rc > 0)
        ++reports;
    return rc;
}

int main() {
    IdleApplication application;
    GPSAdapter adapter(&application);
    configure(adapter);
    if (adapter.Initialize() != 0 || adapter.Start() != 0)
        return 1;
    handleSignal();
    waitForFix(adapter);
    std::puts("ready");
    std::fflush(stdout);
    answer();
}
