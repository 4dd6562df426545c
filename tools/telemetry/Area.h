#ifndef AREA_H
#define AREA_H

#include <optional>

#include "Telemetry.h"

namespace telemetry {

/// Microdegrees within the Earth's: latitudes of +-90 degrees, longitudes of +-180.
struct Box {
    Position southWest;
    Position northEast;
};

/// What a geofence encloses on the ground.
struct Area {
    /// Where the service sees a position as inside. It doesn't reckon across the date line, so the area ends
    /// there, and at the poles. None where its numbers are so large that it encloses nothing.
    std::optional<Box> counted;
    /// What is drawn behind the date line, for people: the service never sees a position there as inside.
    std::optional<Box> beyond;
};

/// With so much margin on every side.
Area areaOf(const Geofence& geofence, std::uint32_t marginMicrodegrees);

/// A position as it is drawn: latitudes end at the poles, longitudes begin anew at the date line.
Position onEarth(const Position& position);

/// Whether the straight line between them leads around the Earth the wrong way: it crosses the date line.
bool crossesDateLine(const Position& from, const Position& to);

} // namespace telemetry

#endif
