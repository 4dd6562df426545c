#ifndef GPSGEOFENCE_H
#define GPSGEOFENCE_H

#include <cstdint>

#include "GPSExport.h"
#include "GPSPlatform.h"

/// \file
/// A geofence, and where a position lies with respect to it.

/// Where a position lies with respect to a geofence, and whether that is news.
enum class GPSGeofenceState : uint32_t {
    Unknown = 0, ///< unconfigured, no valid position yet, or just reset
    Inside = 1,  ///< inside, no event pending
    Outside = 2, ///< outside, no event pending
    Entered = 3, ///< has just come inside; lasts exactly one check
    Left = 4,    ///< has just gone outside; lasts exactly one check
};

/// A rectangular area in latitude and longitude, with a hysteresis band.
///
/// Angles are integer microdegrees (degrees x 1,000,000, WGS84). A geofence with `width` or `height` 0 is
/// unconfigured. Meridians are not taken to converge and nothing wraps around at 180 degrees: a width is an
/// extent in longitude, and an area across the date line is two areas.
///
/// No operation locks; one object must not be changed and read at once.
///
/// The name is a text of the platform's and needs memory. Making a geofence passes on what that text throws
/// (`std::bad_alloc`), as there is none without a name; no other operation throws.
class RUXOGPS_API GPSGeofence {
public:
    /// An unconfigured geofence: empty name, all numbers 0 but the margin, which is 1500.
    GPSGeofence();
    /// The same name and numbers.
    GPSGeofence(const GPSGeofence& other);
    ~GPSGeofence();

    /// Takes name and numbers. Without memory for the name it takes nothing at all: the geofence stays whole,
    /// as it was. A name that is equal already needs none.
    GPSGeofence& operator=(const GPSGeofence& other);

    /// Sets the five numbers to 0, the margin included, and keeps the name.
    void Clear();

    /// True when the position of `data` lies in the rectangle widened by `margin` microdegrees on every side,
    /// bounds included. `data.valid` is not consulted.
    ///
    /// Half the extent is rounded down, so a width of 1 leaves just the centre. All arithmetic is 32 bits
    /// wide and wraps; the comparison is signed. An extent of nearly 2^32 therefore encloses nothing.
    bool checkInside(const GPSData& data, unsigned int margin) const;

    /// One step of the state machine. `state` is the state before and after the call:
    ///
    ///     before    inside    outside
    ///     Unknown   Inside    Left
    ///     Inside    Inside    Left
    ///     Outside   Entered   Outside
    ///     Entered   Inside    Left
    ///     Left      Entered   Outside
    ///
    /// `margin` widens the area while the position counts as inside (before: Unknown, Inside, Entered).
    ///
    /// Returns 0, or `GPS_ERR_INVALID_POSITION` when the geofence is configured and `data.valid` is false.
    /// With that error, and for an unconfigured geofence (result 0), `state` becomes Unknown.
    unsigned int CheckGeofence(const GPSData& data, GPSGeofenceState& state) const;

    RuxoString name;   ///< the application's label
    int32_t longitude; ///< centre, microdegrees, positive east
    int32_t latitude;  ///< centre, microdegrees, positive north
    uint32_t width;    ///< full east-west extent, microdegrees of longitude
    uint32_t height;   ///< full north-south extent, microdegrees of latitude
    uint32_t margin;   ///< hysteresis band on every side, microdegrees
};

#endif
