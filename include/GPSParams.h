#ifndef GPSPARAMS_H
#define GPSPARAMS_H

#include <cstddef>
#include <cstdint>

#include "GPSGeofence.h"

/// \file
/// The settings.

/// How many geofences a `GPSParams` carries; `GPSAdapter::GetMaxGeoFences()` returns the same number.
const std::size_t kGPSMaxGeofences = 12;

/// The settings of a `GPSAdapter`, copied whole by `SetParams` and `GetParams`.
///
/// A fresh record holds zeros and unconfigured geofences, not the adapter's defaults: fetch those with
/// `GetParams`, change what is to change, and hand the record back. Making and copying a record needs memory
/// for the geofences' names (see `GPSGeofence`).
struct GPSParams {
    /// GPS service on. While false, `Start` doesn't start the worker, and a running worker ends after its
    /// next cycle and sleep; once true again it takes a `Start`. Default true.
    bool enabled = false;

    /// Seconds between updates of position, odometer and geofences. When the worker starts, a quarter of it
    /// becomes the worker's sleep for the life of its thread (the product of the interval and 1,000,000 wraps
    /// at 2^32, so above 4294 s the sleep is shorter). 0 means in every cycle, with no sleep between cycles
    /// if the worker is started with it; where the odometer divides by it, 0 counts as 1. Default 1.
    uint32_t positionInterval = 0;

    /// Seconds between updates of satellites, SNR, antenna, time deviation and error estimates. 0 means in
    /// every cycle. Default 2.
    uint32_t statusInterval = 0;

    /// Send tracking reports (`IGPSCallback::OnTracking`). Default false.
    bool trackingEnabled = false;

    /// Seconds; a report goes out when UTC - `trackingBase` + `trackingOffset`, 32 bits wide, is within one
    /// second of a multiple of it, at most once in 5 seconds (but for ticks 0 to 4 of `ruxo_systemtick()`,
    /// where nothing holds a report back). 0 sends none, a negative period one every 5 seconds. Default 0.
    int32_t trackingPeriod = 0;

    /// Seconds subtracted from UTC before that test. Above UTC + `trackingOffset` a report goes out every
    /// 5 seconds. Default 0.
    int32_t trackingBase = 0;

    /// Seconds added to UTC before that test. Default 0.
    int32_t trackingOffset = 0;

    /// Check the geofences after each position update. Default false.
    bool geofencesEnabled = false;

    /// The geofences; those with a width or height of 0 are not configured. Default: all cleared (a reset
    /// keeps their names).
    GPSGeofence geofences[kGPSMaxGeofences];

    /// When set in `SetParams`, the time deviation measured so far is forgotten. Held and returned as given,
    /// and not touched by `ResetParams`. False at first.
    bool resetTimeDeviation = false;

    /// Metres to set the odometer to. Default 0.
    uint32_t odometerValue = 0;

    /// When set in `SetParams`, the odometer is set to `odometerValue`. Held and returned as given, so
    /// handing a record from `GetParams` back sets the odometer once more unless this is cleared. Default
    /// false.
    bool setOdometer = false;

    /// Seconds between detail lines in the log. Only the low 12 bits count (4096 is 0, 4196 is 100); 0 means
    /// never. Default 900.
    uint32_t logInterval = 0;
};

#endif
