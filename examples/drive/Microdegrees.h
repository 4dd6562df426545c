#ifndef MICRODEGREES_H
#define MICRODEGREES_H

#include <cmath>
#include <cstdint>

// Positions and sizes as the service takes them: integer millionths of a degree.

constexpr double kDegreesPerRadian = 180 / 3.141592653589793;
constexpr double kMicrodegreesPerMetre = 1e6 / 111132.86;

inline int32_t microdegrees(double degrees) { return static_cast<int32_t>(std::lround(degrees * 1e6)); }

/// `metres` up to some thousand kilometres.
inline uint32_t microdegreesOfLatitude(double metres) {
    return static_cast<uint32_t>(std::lround(metres * kMicrodegreesPerMetre));
}

inline uint32_t microdegreesOfLongitude(double metres, double latitudeDegrees) {
    return microdegreesOfLatitude(metres / std::cos(latitudeDegrees / kDegreesPerRadian));
}

/// Straight distance between two positions not more than some kilometres apart.
inline double metresBetween(int32_t latitudeA, int32_t longitudeA, int32_t latitudeB, int32_t longitudeB) {
    const double north = (static_cast<double>(latitudeB) - latitudeA) / kMicrodegreesPerMetre;
    const double east = (static_cast<double>(longitudeB) - longitudeA) / kMicrodegreesPerMetre *
                        std::cos(latitudeB / 1e6 / kDegreesPerRadian);
    return std::hypot(north, east);
}

#endif
