// Geofences at run time: watches the place where the vehicle stands, tells when it leaves it, and watches the
// next place once it stands again. Runs until Ctrl-C or SIGTERM.

#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>

#include "GPSAdapter.h"
#include "OnAUnit.h"

namespace {

constexpr uint32_t kPollMilliseconds = 500;
constexpr unsigned int kWatched = 0;      // which of the twelve
constexpr double kSideMetres = 200;       // of the square around the vehicle
constexpr double kMarginMetres = 50;      // further out it has left; back within the square it has come again
constexpr uint32_t kStandingMmPerS = 500; // a receiver that stands wanders more slowly
constexpr uint32_t kFreshSeconds = 2;

volatile std::sig_atomic_t stopRequested = 0;

void requestStop(int) { stopRequested = 1; }

/// Geofences are rectangles of degrees: one of longitude is shorter the further from the equator it is.
GPSGeofence squareAround(const GPSData& place) {
    const double metresPerMicrodegree = 0.1111;
    const double metresOfLongitude = metresPerMicrodegree * std::cos(place.latitude / 1e6 * 3.14159265 / 180);
    GPSGeofence square;
    square.name.setStr("here");
    square.latitude = place.latitude;
    square.longitude = place.longitude;
    square.height = static_cast<uint32_t>(kSideMetres / metresPerMicrodegree);
    square.width = static_cast<uint32_t>(std::fmin(kSideMetres / metresOfLongitude, 360e6)); // at a pole, all
    square.margin = static_cast<uint32_t>(kMarginMetres / metresPerMicrodegree);
    return square;
}

/// Settings are changed by getting all of them, changing some and setting all. What is the same for a
/// geofence as before keeps its state; one that differs begins anew, and its first look from inside is no
/// event.
void watch(GPSAdapter& gps, const GPSGeofence& geofence) {
    GPSParams params;
    gps.GetParams(params);
    params.geofencesEnabled = true;
    params.geofences[kWatched] = geofence; // one whose width is 0 would watch nothing
    params.setOdometer = false;            // or each SetParams would set the odometer once more
    params.resetTimeDeviation = false;     // and forget the clock's deviation
    gps.SetParams(params);
}

bool isStanding(const GPSReadings& readings) {
    return readings.available && ruxo_systemtick() - readings.fixTick <= kFreshSeconds &&
           readings.data.speed < kStandingMmPerS;
}

/// There are events for this as well (see callbacks.cpp); here a look at the readings is enough. An event's
/// state lasts one position interval, Outside lasts until it comes back.
bool hasLeft(const GPSReadings& readings) {
    const GPSGeofenceState state = readings.geofenceStates[kWatched];
    return state == GPSGeofenceState::Left || state == GPSGeofenceState::Outside;
}

void say(const char* what, const GPSData& where) {
    std::printf("%s %.6f, %.6f\n", what, where.latitude / 1e6, where.longitude / 1e6);
}

/// One look; returns whether a place is watched.
bool look(GPSAdapter& gps, bool isWatching) {
    GPSReadings readings;
    gps.GetReadings(readings);
    if (isWatching && hasLeft(readings)) {
        say("left for", readings.data);
        isWatching = false;
    }
    if (isWatching || !isStanding(readings))
        return isWatching;
    say("watching", readings.data);
    watch(gps, squareAround(readings.data));
    return true;
}

} // namespace

int main() {
    if (!isOnAUnit("geofences"))
        return 1;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::signal(SIGINT, requestStop);
    std::signal(SIGTERM, requestStop);
    GPSAdapter gps(nullptr);
    if (gps.Initialize() != 0 || gps.Start() != 0)
        return 1;
    bool isWatching = false;
    while (!stopRequested) {
        ruxosleep_interruptible(kPollMilliseconds);
        isWatching = look(gps, isWatching);
    }
}
