#ifndef TRACKGEOFENCES_H
#define TRACKGEOFENCES_H

#include <cstdint>
#include <vector>

#include "GPSGeofence.h"

struct TrackPoint {
    int32_t latitude;  ///< microdegrees
    int32_t longitude; ///< microdegrees
};

/// Up to `count` geofences that the track entered and left again, best first: those whose crossings are the
/// clearest, which means the most consecutive points before, inside and after. Each is the area around a
/// stretch of the track of its own, without a margin, so that even the wander of a standing receiver can
/// cross it. Fewer, or none, when the track offers no more.
std::vector<GPSGeofence> geofencesOnTrack(const std::vector<TrackPoint>& track, std::size_t count);

#endif
