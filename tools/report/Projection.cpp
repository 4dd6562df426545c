#include "Projection.h"

#include <cmath>

#include "OdometerArithmetic.h"

namespace report {

namespace {

constexpr double kMicrodegrees = 1e6;
constexpr double kRadians = odometry::kPi / 180;
constexpr double kMetresPerRadian = odometry::kMetresPerMicrodegree * kMicrodegrees / kRadians;

double degrees(std::int32_t microdegrees) { return microdegrees / kMicrodegrees; }

std::int32_t microdegrees(double radians) {
    return static_cast<std::int32_t>(std::llround(radians / kRadians * kMicrodegrees));
}

} // namespace

Projection::Projection(telemetry::Position centre)
    : centre_(centre), longitude_(degrees(centre.longitude) * kRadians),
      sine_(std::sin(degrees(centre.latitude) * kRadians)),
      cosine_(std::cos(degrees(centre.latitude) * kRadians)) {}

Projection Projection::around(const std::vector<telemetry::Position>& positions) {
    double x = 0; // The middle is the direction of their sum: no seam anywhere.
    double y = 0;
    double z = 0;
    for (const telemetry::Position& each : positions) {
        const double latitude = degrees(each.latitude) * kRadians;
        const double longitude = degrees(each.longitude) * kRadians;
        x += std::cos(latitude) * std::cos(longitude);
        y += std::cos(latitude) * std::sin(longitude);
        z += std::sin(latitude);
    }
    return Projection({microdegrees(std::atan2(z, std::hypot(x, y))), microdegrees(std::atan2(y, x))});
}

Ground Projection::on(double latitudeDeg, double longitudeDeg) const {
    const double latitude = latitudeDeg * kRadians;
    const double difference = longitudeDeg * kRadians - longitude_;
    const double east = std::cos(latitude) * std::sin(difference);
    const double north = cosine_ * std::sin(latitude) - sine_ * std::cos(latitude) * std::cos(difference);
    const double up = sine_ * std::sin(latitude) + cosine_ * std::cos(latitude) * std::cos(difference);
    const double across = std::hypot(east, north);
    const double stretch = across > 0 ? std::atan2(across, up) / across * kMetresPerRadian : kMetresPerRadian;
    return {east * stretch, north * stretch};
}

Ground Projection::on(telemetry::Position position) const {
    return on(degrees(position.latitude), degrees(position.longitude));
}

} // namespace report
