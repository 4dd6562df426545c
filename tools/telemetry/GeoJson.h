#ifndef GEOJSON_H
#define GEOJSON_H

#include <ostream>

#include "Journey.h"

namespace telemetry {

/// The journey as GeoJSON (RFC 7946), a feature collection. Each feature's "kind" is one of these:
///
/// - "track": a LineString for each segment, with the times, altitudes, speeds and courses of its points as
/// lists;
///   a MultiLineString, and lists of lists, where it was cut at the date line (null for the points of the
///   cut); a Point where the segment has no more than one;
/// - "event": a Point, or no geometry where the place isn't known;
/// - "geofence", "geofence_margin": a Polygon, cut where the service ends it (see Area.h); no geometry where
/// it
///   encloses nothing;
/// - "geofence_beyond_date_line": what lies behind the date line, where the service never sees a position.
void writeGeoJson(std::ostream& output, const Journey& journey);

} // namespace telemetry

#endif
