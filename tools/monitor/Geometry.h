#ifndef MONITOR_GEOMETRY_H
#define MONITOR_GEOMETRY_H

#include "Telemetry.h"

/// Distances between nearby positions, on a sphere as the service takes it.
namespace monitor {

constexpr double kMetresPerMicrodegree = 6367444.0 * 3.141592653589793 / 180 * 1e-6;

/// How much shorter a degree of longitude is at this latitude.
double convergence(std::int32_t latitude);

double metresBetween(const telemetry::Position& from, const telemetry::Position& to);

/// Whether the margin counts: it does while the position counts as inside, which it does until the first
/// decision.
bool marginCounts(telemetry::GeofenceState state);

/// How far a position is from the border that it would have to cross, on either side of it.
double metresToBorder(const telemetry::Geofence& geofence, telemetry::GeofenceState state,
                      const telemetry::Position& position);

} // namespace monitor

#endif
