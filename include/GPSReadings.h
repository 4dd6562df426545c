#ifndef GPSREADINGS_H
#define GPSREADINGS_H

#include <cstdint>

#include "GPSParams.h"

/// The latest state of a `GPSAdapter`, copied out whole by `GPSAdapter::GetReadings`.
struct GPSReadings {
    /// The receiver delivers valid fixes. Cleared whenever the antenna is not in order.
    bool available = false;

    /// Last antenna state: 1 is in order, 2 stands until the first answer, 0 after a query that failed.
    GPSAntennaState antennaState = GPSAntennaState(0);

    /// Satellites in view, from gpsd's sky view.
    uint32_t satelliteCount = 0;

    /// Mean signal-to-noise ratio of the satellites in use, dB-Hz, whole.
    uint32_t snr = 0;

    /// `ruxo_systemtick()` (seconds) when the last valid fix was accepted; 0 means none yet.
    uint32_t fixTick = 0;

    /// Metres travelled.
    uint32_t odometer = 0;

    /// The last accepted valid fix. It stays when the fix is lost: see `available` and `fixTick`.
    GPSData data;

    /// One state for each of the settings' geofences, same index.
    GPSGeofenceState geofenceStates[kGPSMaxGeofences] = {};

    /// `timeDelta` has been measured.
    bool timeDeviationValid = false;

    /// GPS time minus system time, seconds.
    int32_t timeDelta = 0;

    /// Horizontal error estimate, metres: the root of the sum of squares of gpsd's epx and epy.
    uint32_t horizontalError = 0;

    /// Estimated error of the fix's time, milliseconds: gpsd's ept.
    int32_t timeError = 0;
};

#endif
