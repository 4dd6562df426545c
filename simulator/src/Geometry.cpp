#include "simulator/Geometry.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace simulator {

// --- Sphere ---------------------------------------------------------------------------------------------

double normalizedCourse(double courseDeg) {
    const double course = std::fmod(courseDeg, 360);
    return course < 0 ? course + 360 : course;
}

double distanceM(const GeoPosition& from, const GeoPosition& to) {
    const double lat1 = radians(from.latitudeDeg);
    const double lat2 = radians(to.latitudeDeg);
    const double halfLat = std::sin((lat2 - lat1) / 2);
    const double halfLon = std::sin(radians(to.longitudeDeg - from.longitudeDeg) / 2);
    const double a = halfLat * halfLat + std::cos(lat1) * std::cos(lat2) * halfLon * halfLon;
    return 2 * kEarthRadiusM * std::asin(std::min(1.0, std::sqrt(a)));
}

double bearingDeg(const GeoPosition& from, const GeoPosition& to) {
    const double lat1 = radians(from.latitudeDeg);
    const double lat2 = radians(to.latitudeDeg);
    const double dLon = radians(to.longitudeDeg - from.longitudeDeg);
    const double east = std::sin(dLon) * std::cos(lat2);
    const double north = std::cos(lat1) * std::sin(lat2) - std::sin(lat1) * std::cos(lat2) * std::cos(dLon);
    return normalizedCourse(degrees(std::atan2(east, north)));
}

GeoPosition interpolated(const GeoPosition& from, const GeoPosition& to, double fraction) {
    const double angle = distanceM(from, to) / kEarthRadiusM * fraction;
    const double bearing = radians(bearingDeg(from, to));
    const double lat1 = radians(from.latitudeDeg);
    const double lat2 =
        std::asin(std::sin(lat1) * std::cos(angle) + std::cos(lat1) * std::sin(angle) * std::cos(bearing));
    const double dLon = std::atan2(std::sin(bearing) * std::sin(angle) * std::cos(lat1),
                                   std::cos(angle) - std::sin(lat1) * std::sin(lat2));
    GeoPosition point = from;
    point.latitudeDeg = degrees(lat2);
    point.longitudeDeg = std::remainder(from.longitudeDeg + degrees(dLon), 360);
    point.altitudeMslM += fraction * (to.altitudeMslM - from.altitudeMslM);
    point.geoidSeparationM += fraction * (to.geoidSeparationM - from.geoidSeparationM);
    return point;
}

GeoPosition shifted(GeoPosition position, double northM, double eastM, double upM) {
    const double metresPerDegree = radians(1) * kEarthRadiusM;
    const double shrink = std::max(0.01, std::cos(radians(position.latitudeDeg)));
    position.latitudeDeg += northM / metresPerDegree;
    position.longitudeDeg += eastM / metresPerDegree / shrink;
    position.altitudeMslM += upM;
    return position;
}

// --- Ellipsoid and sky ----------------------------------------------------------------------------------

Vector3 earthFixed(const GeoPosition& position) {
    const double lat = radians(position.latitudeDeg);
    const double lon = radians(position.longitudeDeg);
    const double height = position.altitudeMslM + position.geoidSeparationM;
    const double n = kSemiMajorM / std::sqrt(1 - kEccentricity2 * std::sin(lat) * std::sin(lat));
    return {(n + height) * std::cos(lat) * std::cos(lon), (n + height) * std::cos(lat) * std::sin(lon),
            (n * (1 - kEccentricity2) + height) * std::sin(lat)};
}

Direction directionTo(const GeoPosition& observer, const Vector3& target) {
    const Vector3 self = earthFixed(observer);
    const Vector3 d{target.x - self.x, target.y - self.y, target.z - self.z};
    const double lat = radians(observer.latitudeDeg);
    const double lon = radians(observer.longitudeDeg);
    const double east = -std::sin(lon) * d.x + std::cos(lon) * d.y;
    const double outwards = std::cos(lon) * d.x + std::sin(lon) * d.y;
    const double north = -std::sin(lat) * outwards + std::cos(lat) * d.z;
    const double up = std::cos(lat) * outwards + std::sin(lat) * d.z;
    return {degrees(std::atan2(up, std::hypot(east, north))),
            normalizedCourse(degrees(std::atan2(east, north)))};
}

// --- Dilution of precision ------------------------------------------------------------------------------

namespace {

constexpr std::size_t kMaxUnknowns = 8; // east, north, up and the clocks of up to five systems
using Matrix = std::array<std::array<double, kMaxUnknowns>, kMaxUnknowns>;

struct Unknowns {
    std::size_t spatial = 3;
    std::vector<Constellation> clocks;

    std::size_t count() const { return spatial + clocks.size(); }
    std::size_t clockColumn(Constellation constellation) const {
        const auto found = std::find(clocks.begin(), clocks.end(), leadingSystem(constellation));
        return spatial + static_cast<std::size_t>(found - clocks.begin());
    }
};

Unknowns unknownsOf(const std::vector<Satellite>& used, bool heightHeld) {
    Unknowns unknowns;
    unknowns.spatial = heightHeld ? 2 : 3;
    for (const Satellite& satellite : used) {
        const Constellation clock = leadingSystem(satellite.constellation);
        if (std::find(unknowns.clocks.begin(), unknowns.clocks.end(), clock) == unknowns.clocks.end())
            unknowns.clocks.push_back(clock);
    }
    return unknowns;
}

std::array<double, kMaxUnknowns> lineOfSight(const Satellite& satellite, const Unknowns& unknowns) {
    const double elevation = radians(satellite.elevationDeg);
    const double azimuth = radians(satellite.azimuthDeg);
    std::array<double, kMaxUnknowns> row{std::cos(elevation) * std::sin(azimuth),
                                         std::cos(elevation) * std::cos(azimuth)};
    if (unknowns.spatial == 3)
        row[2] = std::sin(elevation);
    row.at(unknowns.clockColumn(satellite.constellation)) = 1;
    return row;
}

Matrix normalMatrix(const std::vector<Satellite>& used, const Unknowns& unknowns) {
    Matrix normal{};
    for (const Satellite& satellite : used) {
        const auto row = lineOfSight(satellite, unknowns);
        for (std::size_t i = 0; i < unknowns.count(); ++i)
            for (std::size_t j = 0; j < unknowns.count(); ++j)
                normal[i][j] += row[i] * row[j];
    }
    return normal;
}

void eliminateColumn(Matrix& left, Matrix& right, std::size_t column, std::size_t size) {
    const double pivot = left[column][column];
    for (std::size_t j = 0; j < size; ++j) {
        left[column][j] /= pivot;
        right[column][j] /= pivot;
    }
    for (std::size_t i = 0; i < size; ++i) {
        const double factor = i == column ? 0 : left[i][column];
        for (std::size_t j = 0; j < size; ++j) {
            left[i][j] -= factor * left[column][j];
            right[i][j] -= factor * right[column][j];
        }
    }
}

// Gauss-Jordan with row exchange; false where the matrix is as good as singular.
bool invert(Matrix& matrix, std::size_t size) {
    constexpr double kSmallestPivot = 1e-6;
    Matrix inverse{};
    for (std::size_t i = 0; i < size; ++i)
        inverse[i][i] = 1;
    for (std::size_t column = 0; column < size; ++column) {
        std::size_t best = column;
        for (std::size_t i = column; i < size; ++i)
            best = std::fabs(matrix[i][column]) > std::fabs(matrix[best][column]) ? i : best;
        if (std::fabs(matrix[best][column]) < kSmallestPivot)
            return false;
        std::swap(matrix[best], matrix[column]);
        std::swap(inverse[best], inverse[column]);
        eliminateColumn(matrix, inverse, column, size);
    }
    matrix = inverse;
    return true;
}

Dops dopsFrom(const Matrix& cofactors, std::size_t spatial) {
    const double east = cofactors[0][0];
    const double north = cofactors[1][1];
    const double up = spatial == 3 ? cofactors[2][2] : 0;
    const double clock = cofactors[spatial][spatial];
    Dops dops;
    dops.easting = std::sqrt(east);
    dops.northing = std::sqrt(north);
    dops.horizontal = std::sqrt(east + north);
    dops.vertical = std::sqrt(up);
    dops.position = std::sqrt(east + north + up);
    dops.time = std::sqrt(clock);
    dops.geometric = std::sqrt(east + north + up + clock);
    return dops;
}

} // namespace

DopResult computeDops(const std::vector<Satellite>& satellites, bool heightHeld) {
    std::vector<Satellite> used;
    std::copy_if(satellites.begin(), satellites.end(), std::back_inserter(used),
                 [](const Satellite& satellite) { return satellite.used; });
    const Unknowns unknowns = unknownsOf(used, heightHeld);
    DopResult result;
    if (used.empty() || used.size() < unknowns.count())
        return result;
    Matrix matrix = normalMatrix(used, unknowns);
    result.solvable = invert(matrix, unknowns.count());
    if (result.solvable)
        result.dops = dopsFrom(matrix, unknowns.spatial);
    return result;
}

} // namespace simulator
