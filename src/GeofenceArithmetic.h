#ifndef GEOFENCEARITHMETIC_H
#define GEOFENCEARITHMETIC_H

#include <cstdint>

#include "GPSGeofence.h"

/// What geofences reckon with: microdegrees, and the states of GPSGeofence.h. Pure. GPSGeofence reckons with
/// it, and whatever shows what another setting would have made of a drive.
namespace geofencing {

/// Half of an extent, rounded down, and the margin.
inline uint32_t halfWithMargin(uint32_t extent, uint32_t margin) { return margin + (extent >> 1); }

/// Whether `position` lies within `half` of `centre`.
// KEEP: the sums wrap at 32 bits and are compared signed, so an extent of nearly 2^32 encloses nothing.
// Pinned by GPSGeofenceRectangle.EnclosesNothingWhenItsSumsWrap
inline bool isWithin(int32_t position, int32_t centre, uint32_t half) {
    const auto low = static_cast<int32_t>(static_cast<uint32_t>(centre) - half);
    const auto high = static_cast<int32_t>(static_cast<uint32_t>(centre) + half);
    return low <= position && position <= high;
}

/// One without an extent is none.
inline bool isConfigured(uint32_t width, uint32_t height) { return width != 0 && height != 0; }

/// Whether the margin widens the area: while the position counts as inside.
inline bool countsAsInside(GPSGeofenceState state) {
    // KEEP: an unknown state counts as inside, so a first position within the margin makes no event.
    // Pinned by GPSGeofenceCheck.TreatsAnUnknownStateLikeInside
    return state != GPSGeofenceState::Outside && state != GPSGeofenceState::Left;
}

inline GPSGeofenceState nextState(GPSGeofenceState state, bool inside) {
    // KEEP: from Unknown a position inside makes no event, one outside does.
    // Pinned by GPSGeofenceCheck.RaisesLeftButNotEnteredFromUnknown
    if (countsAsInside(state))
        return inside ? GPSGeofenceState::Inside : GPSGeofenceState::Left;
    return inside ? GPSGeofenceState::Entered : GPSGeofenceState::Outside;
}

} // namespace geofencing

#endif
