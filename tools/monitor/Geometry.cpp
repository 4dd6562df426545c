#include "Geometry.h"

#include <algorithm>
#include <cmath>

namespace monitor {

namespace {

constexpr double kDateLine = 180e6; // microdegrees
constexpr double kRadiansPerMicrodegree = 3.141592653589793 / 180 * 1e-6;

} // namespace

double convergence(std::int32_t latitude) { return std::cos(latitude * kRadiansPerMicrodegree); }

double metresBetween(const telemetry::Position& from, const telemetry::Position& to) {
    const double north = static_cast<double>(to.latitude) - from.latitude;
    const double east = (static_cast<double>(to.longitude) - from.longitude) * convergence(to.latitude);
    return std::hypot(north, east) * kMetresPerMicrodegree;
}

bool marginCounts(telemetry::GeofenceState state) {
    return state != telemetry::GeofenceState::Outside && state != telemetry::GeofenceState::Left;
}

// No way around the date line: the service compares plain numbers as well, so an area ends there.
double metresToBorder(const telemetry::Geofence& geofence, telemetry::GeofenceState state,
                      const telemetry::Position& position) {
    const double margin = marginCounts(state) ? geofence.margin : 0;
    const double north = std::abs(static_cast<double>(position.latitude) - geofence.centre.latitude) -
                         margin - (geofence.height >> 1);
    const double half = margin + (geofence.width >> 1);
    const double westEnd = std::max(geofence.centre.longitude - half, -kDateLine);
    const double eastEnd = std::min(geofence.centre.longitude + half, kDateLine);
    const double east =
        std::max(westEnd - position.longitude, position.longitude - eastEnd) * convergence(position.latitude);
    const double outside = std::hypot(std::max(north, 0.0), std::max(east, 0.0));
    const double inside = -std::max(north, east);
    return (outside > 0 ? outside : std::max(inside, 0.0)) * kMetresPerMicrodegree;
}

} // namespace monitor
