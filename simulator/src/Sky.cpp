#include "simulator/Sky.h"

#include <array>
#include <cmath>

#include "simulator/Geometry.h"

namespace simulator {

// --- Constellations -------------------------------------------------------------------------------------

namespace {

constexpr double kEarthTurnRadPerS = 7.2921151467e-5;
constexpr double kGeostationaryRadiusM = 42'164'000;

// Satellites spread evenly over planes with a common inclination; numbers count through the planes in turn.
struct Walker {
    Constellation constellation;
    int firstNumber;
    int count;
    int planes;
    double inclinationDeg;
    double radiusM;
    double periodS;
};
constexpr std::array<Walker, 4> kWalkers{{
    {Constellation::Gps, 1, 31, 6, 55.0, 26'560'000, 43'082},
    {Constellation::Galileo, 1, 27, 3, 56.0, 29'600'000, 50'685},
    {Constellation::BeiDou, 11, 24, 3, 55.0, 27'906'000, 46'404},
    {Constellation::Glonass, 1, 24, 3, 64.8, 25'508'000, 40'544},
}};

// Satellites that stay over, or swing about, one longitude.
struct Synchronous {
    Constellation constellation;
    int number;
    double longitudeDeg;
    double inclinationDeg;
};
constexpr std::array<Synchronous, 16> kSynchronous{{
    {Constellation::Sbas, 120, -15.5, 0},
    {Constellation::Sbas, 123, 31.5, 0},
    {Constellation::Sbas, 127, 55.0, 0},
    {Constellation::Sbas, 128, 83.0, 0},
    {Constellation::Sbas, 129, 145.0, 0},
    {Constellation::Sbas, 131, -117.0, 0},
    {Constellation::Sbas, 133, -129.0, 0},
    {Constellation::Sbas, 135, -125.0, 0},
    {Constellation::Sbas, 136, 5.0, 0},
    {Constellation::Sbas, 138, -107.3, 0},
    {Constellation::Sbas, 140, 95.0, 0},
    {Constellation::Sbas, 141, 167.0, 0},
    {Constellation::Qzss, 1, 130.0, 41},
    {Constellation::Qzss, 2, 135.0, 41},
    {Constellation::Qzss, 3, 127.0, 0},
    {Constellation::Qzss, 4, 140.0, 41},
}};

// A circular orbit seen from the turning earth: `along` counts from the ascending node, which stands at
// `nodeRad`.
Vector3 onOrbit(double radiusM, double inclinationRad, double nodeRad, double along) {
    const double inPlane = std::cos(along);
    const double acrossPlane = std::sin(along) * std::cos(inclinationRad);
    return {radiusM * (std::cos(nodeRad) * inPlane - std::sin(nodeRad) * acrossPlane),
            radiusM * (std::sin(nodeRad) * inPlane + std::cos(nodeRad) * acrossPlane),
            radiusM * std::sin(along) * std::sin(inclinationRad)};
}

Vector3 positionOf(const Walker& walker, int index, uint64_t seed, double seconds) {
    const int plane = index % walker.planes;
    const int slot = index / walker.planes;
    const int slots = (walker.count + walker.planes - 1) / walker.planes;
    const uint64_t key = satelliteKey(walker.constellation, walker.firstNumber + index);
    const double jitter = 0.2 * scatter(seed, key, 1);
    const double start = scatter(seed, static_cast<uint64_t>(walker.constellation), 2);
    const double node = 2 * kPi * (start + static_cast<double>(plane) / walker.planes);
    const double along = 2 * kPi *
                         (static_cast<double>(slot) / slots +
                          static_cast<double>(plane) / (slots * walker.planes) + seconds / walker.periodS);
    return onOrbit(walker.radiusM, radians(walker.inclinationDeg), node - kEarthTurnRadPerS * seconds,
                   along + jitter);
}

Vector3 positionOf(const Synchronous& satellite, double seconds) {
    const double along = kEarthTurnRadPerS * seconds + satellite.number;
    return onOrbit(kGeostationaryRadiusM, radians(satellite.inclinationDeg),
                   radians(satellite.longitudeDeg) - along, along);
}

} // namespace

// --- Signals --------------------------------------------------------------------------------------------

namespace {

constexpr double kObstacleDb = 15;

bool isBehindObstacle(const Satellite& satellite, uint64_t seed) {
    constexpr uint64_t kObstacles = 3;
    bool behind = false;
    for (uint64_t i = 0; i < kObstacles; ++i) {
        const double offset = std::remainder(satellite.azimuthDeg - 360 * scatter(seed, 7, i), 360);
        behind = behind || (std::fabs(offset) < 5 + 15 * scatter(seed, 8, i) &&
                            satellite.elevationDeg < 8 + 14 * scatter(seed, 9, i));
    }
    return behind;
}

} // namespace

// High satellites are loud. Each fades with a period of its own, and a few obstacles, fixed by the seed,
// stand around the antenna and dampen what is behind them.
double Sky::carrierToNoise(const Satellite& satellite, double seconds) const {
    const uint64_t key = satelliteKey(satellite.constellation, satellite.number);
    double signal = 28 + 19 * std::sin(radians(satellite.elevationDeg)) + 3 * scatter(seed_, key, 3);
    const double period = 60 + 300 * scatter(seed_, key, 4);
    const double depth = 1 + 3 * scatter(seed_, key, 5);
    signal += depth * std::sin(2 * kPi * (seconds / period + scatter(seed_, key, 6)));
    return isBehindObstacle(satellite, seed_) ? signal - kObstacleDb : signal;
}

std::vector<Satellite> Sky::above(const GeoPosition& observer, UtcTime utc,
                                  const std::set<Constellation>& systems) const {
    const double seconds = inSeconds(utc.time_since_epoch());
    std::vector<Satellite> satellites;
    const auto add = [&](Constellation constellation, int number, const Vector3& position) {
        const Direction direction = directionTo(observer, position);
        if (direction.elevationDeg < 0 || systems.count(constellation) == 0)
            return;
        Satellite satellite{constellation, number, direction.elevationDeg, direction.azimuthDeg, 0, false};
        satellite.carrierToNoiseDbHz = carrierToNoise(satellite, seconds);
        satellites.push_back(satellite);
    };
    for (const Walker& walker : kWalkers)
        for (int i = 0; i < walker.count; ++i)
            add(walker.constellation, walker.firstNumber + i, positionOf(walker, i, seed_, seconds));
    for (const Synchronous& satellite : kSynchronous)
        add(satellite.constellation, satellite.number, positionOf(satellite, seconds));
    return satellites;
}

} // namespace simulator
