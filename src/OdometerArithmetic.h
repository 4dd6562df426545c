#ifndef ODOMETERARITHMETIC_H
#define ODOMETERARITHMETIC_H

#include <cmath>
#include <cstdint>

#include "Saturate.h"

/// What the odometer reckons with. Positions are microdegrees; a point is anything with `latitude` and
/// `longitude`. Pure: state, lock and log are the caller's. The adapter reckons with it, and whatever shows
/// what another setting would have made of a drive.
namespace odometry {

constexpr uint32_t kWarmupSeconds = 180;
constexpr double kKeepFactor = 0.9;
// KEEP: 0.09999999999999998, not the literal 0.1.
// Pinned by UpdateOdometer.WeighsTheNewByOneMinusNineTenthsNotByATenth
constexpr double kTakeFactor = 1.0 - kKeepFactor;
constexpr double kMetresPerMicrodegree = 0.11113286273635781;
constexpr double kPi = 3.141592653589793;
constexpr double kJumpMetres = 1000.0;
constexpr double kStepMetres = 15.0;
constexpr double kErrorsInAStep = 2.0;

/// Position cycles that a warm-up takes.
inline int32_t warmupCycles(uint32_t positionInterval) {
    return static_cast<int32_t>(kWarmupSeconds / (positionInterval == 0 ? 1 : positionInterval));
}

/// A tenth of the new position and nine tenths of the smoothed one.
inline int32_t smooth(int32_t current, int32_t filtered) {
    return saturate<int32_t>(std::round(current * kTakeFactor + filtered * kKeepFactor));
}

/// Distance between two nearby points, on a sphere, the meridians' convergence taken at `to`.
template <class Point>
double distanceMetres(const Point& from, const Point& to) {
    // In double: the difference of two extreme positions would not fit 32 bits.
    const double latitudeDiff = static_cast<double>(from.latitude) - to.latitude;
    const double longitudeDiff = static_cast<double>(from.longitude) - to.longitude;
    const double dLat = latitudeDiff * kMetresPerMicrodegree;
    const double c = std::cos(to.latitude * kPi / 180 * 1e-6);
    const double dLon = longitudeDiff * kMetresPerMicrodegree * c;
    return std::sqrt(dLat * dLat + dLon * dLon);
}

/// Too far from the reference point to be driven: the warm-up begins anew.
inline bool isJump(double distance) { return distance > kJumpMetres; }

/// Far enough from the reference point to make a new one.
inline bool isStep(double distance) { return distance > kStepMetres; }

/// Whether a step counts: one within twice the error estimate may be drift.
inline bool exceedsError(double distance, uint32_t horizontalErrorMetres) {
    return distance > kErrorsInAStep * horizontalErrorMetres;
}

/// What a step adds to the odometer.
inline uint32_t wholeMetres(double distance) { return saturate<uint32_t>(std::round(distance)); }

} // namespace odometry

#endif
