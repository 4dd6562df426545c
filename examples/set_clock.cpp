// Sets the system's clock from the deviation that the service measures, once, and ends. For a unit without
// network time; where an NTP service keeps the clock, tell the adapter (SetNTPServiceAvailable) and leave the
// clock alone.
//
// It takes the right to set the clock (root, or CAP_SYS_TIME).

#include <time.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "GPSAdapter.h"
#include "OnAUnit.h"

namespace {

constexpr uint32_t kLookMilliseconds =
    3000;                  // longer than the status interval: each look sees a new measurement
constexpr int kLooks = 40; // two minutes: a cold start takes half of one
constexpr uint32_t kFreshSeconds = 2;
constexpr int kNoiseSeconds = 2; // whole seconds of a report that was on its way: a right clock shows 0 to -2

/// Measured, and from a fix of now: what comes from a receiver that fell silent lags behind.
bool isMeasured(const GPSReadings& readings) {
    return readings.timeDeviationValid && readings.available &&
           ruxo_systemtick() - readings.fixTick <= kFreshSeconds;
}

/// GPS time minus system time, once two measurements in a row agree.
bool waitForDeviation(GPSAdapter& gps, int& seconds) {
    bool isOneMeasured = false;
    for (int look = 0; look < kLooks; ++look) {
        ruxosleep_interruptible(kLookMilliseconds);
        GPSReadings readings;
        gps.GetReadings(readings);
        const int before = seconds;
        seconds = readings.timeDelta;
        if (isOneMeasured && isMeasured(readings) && std::abs(seconds - before) <= 1)
            return true;
        isOneMeasured = isMeasured(readings);
    }
    return false;
}

bool moveClock(int seconds) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    now.tv_sec += seconds;
    return clock_settime(CLOCK_REALTIME, &now) == 0;
}

/// The old deviation goes, and is measured anew. The flag is kept as it was given: a record that is set with
/// it later would forget the deviation once more, so it is taken back.
void forgetDeviation(GPSAdapter& gps) {
    GPSParams params;
    gps.GetParams(params);
    params.resetTimeDeviation = true;
    gps.SetParams(params);
    params.resetTimeDeviation = false;
    gps.SetParams(params);
}

/// Returns whether the clock is right now.
bool correct(GPSAdapter& gps) {
    int seconds = 0;
    if (!waitForDeviation(gps, seconds)) {
        std::printf("no deviation was measured\n");
        return false;
    }
    if (std::abs(seconds) <= kNoiseSeconds) {
        std::printf("the clock is right\n");
        return true;
    }
    if (!moveClock(seconds)) {
        std::perror("set_clock: the clock can't be set");
        return false;
    }
    std::printf("the clock was moved by %d s\n", seconds);
    forgetDeviation(gps);
    return waitForDeviation(gps, seconds) && std::abs(seconds) <= kNoiseSeconds;
}

} // namespace

int main() {
    if (!isOnAUnit("set_clock"))
        return 1;
    GPSAdapter gps(nullptr);
    if (gps.Initialize() != 0 || gps.Start() != 0)
        return 1;
    return correct(gps) ? 0 : 1;
}
