#ifndef GEOMETRY_H
#define GEOMETRY_H

#include <vector>

#include "simulator/Constants.h"
#include "simulator/Epoch.h"

/// Geometry on the earth and of the sky: distances, bearings, ECEF, dilutions of precision. Pure functions.

namespace simulator {

inline double radians(double degrees) { return degrees * kPi / 180; }
inline double degrees(double radians) { return radians * 180 / kPi; }

/// Into 0 to 360.
double normalizedCourse(double courseDeg);

/// Great-circle distance; stable for millimetres as for thousands of kilometres.
double distanceM(const GeoPosition& from, const GeoPosition& to);

/// Bearing at `from` towards `to`, 0 to 360.
double bearingDeg(const GeoPosition& from, const GeoPosition& to);

/// The point at `fraction` (0 to 1) of the great circle; altitude and separation follow linearly.
GeoPosition interpolated(const GeoPosition& from, const GeoPosition& to, double fraction);

/// The point so many metres to the north, to the east and above. For short ways; near a pole east is short of
/// the mark.
GeoPosition shifted(GeoPosition position, double northM, double eastM, double upM);

struct Vector3 {
    double x = 0;
    double y = 0;
    double z = 0;
};

/// Metres from the centre of the WGS 84 ellipsoid.
Vector3 earthFixed(const GeoPosition& position);

struct Direction {
    double elevationDeg = 0; // -90 to 90
    double azimuthDeg = 0;   // 0 to 360
};
/// Where `target` (earth-fixed metres) stands in the sky of `observer`.
Direction directionTo(const GeoPosition& observer, const Vector3& target);

/// Dilutions of precision from the satellites that are marked as used, by inverting the geometry's normal
/// matrix. Each system beyond the first adds its own clock as an unknown. With `heightHeld` the height isn't
/// estimated (2D). `solvable` is false with too few satellites or where they stand in one plane.
struct DopResult {
    bool solvable = false;
    Dops dops;
};
DopResult computeDops(const std::vector<Satellite>& satellites, bool heightHeld);

} // namespace simulator

#endif
