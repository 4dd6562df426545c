#ifndef GPSREADINGS_H
#define GPSREADINGS_H

#include <cstdint>

#include "GPSParams.h"

/// The latest state of a `GPSAdapter`, copied out whole by `GPSAdapter::GetReadings`. A fresh record holds
/// zeros.
struct GPSReadings {
    /// The last fix that was good enough to judge by (its PDOP above 0 and below 10) was valid. Cleared
    /// whenever the antenna is not in order, which `OnAvailabilityChanged` doesn't tell.
    ///
    /// It stays true, without a callback, when gpsd falls silent, and when a lost fix brings no PDOP (then
    /// with a callback in every cycle): look at the age of `fixTick` as well.
    bool available = false;

    /// The antenna's state as the last query left it: 1 is in order, 2 stands until the first query.
    ///
    /// A query that fails counts as well. The shipped driver presets 1, so with a stopped driver, and with a
    /// platform that fills in nothing, it is 1; a driver that fills in nothing itself leaves 0.
    GPSAntennaState antennaState = GPSAntennaState(0);

    /// Satellites in view, from gpsd's sky view, as reported; 0 after a query that failed.
    uint32_t satelliteCount = 0;

    /// Mean signal-to-noise ratio of the satellites in use, dB-Hz, whole; 0 after a query that failed.
    uint32_t snr = 0;

    /// `ruxo_systemtick()` (seconds) when the last valid fix was accepted; 0 means none yet.
    uint32_t fixTick = 0;

    /// Metres travelled; wraps at 2^32.
    uint32_t odometer = 0;

    /// The last accepted valid fix. It stays when the fix is lost: see `available` and `fixTick`.
    GPSData data;

    /// One state for each of the settings' geofences, same index.
    GPSGeofenceState geofenceStates[kGPSMaxGeofences] = {};

    /// `timeDelta` has been measured. It stays true until `resetTimeDeviation` of the settings or
    /// `ResetParams` forgets the deviation.
    bool timeDeviationValid = false;

    /// GPS time minus system time, seconds, as last measured.
    int32_t timeDelta = 0;

    /// Horizontal error estimate, metres: the root of the sum of squares of gpsd's epx and epy. 0 when they
    /// are not current; a failed query leaves the old one, here and below.
    uint32_t horizontalError = 0;

    /// Estimated error of the fix's time, milliseconds: gpsd's ept. 0 when it is not current.
    int32_t timeError = 0;
};

#endif
