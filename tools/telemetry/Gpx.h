#ifndef GPX_H
#define GPX_H

#include <ostream>

#include "Journey.h"

namespace telemetry {

/// The journey as GPX 1.1: events as waypoints, geofences and their margins as closed routes, the track with
/// a segment for each of its own and for each side of the date line. Times are UTC.
///
/// Speed (m/s) and course (degrees) of a point stand in the extension that most programs read,
/// `TrackPointExtension/v2`. Characters that XML can't hold become U+FFFD.
void writeGpx(std::ostream& output, const Journey& journey);

} // namespace telemetry

#endif
