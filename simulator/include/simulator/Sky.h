#ifndef SKY_H
#define SKY_H

#include <cstdint>
#include <set>
#include <vector>

#include "simulator/Epoch.h"
#include "simulator/Random.h"

/// The satellites over an observer: circular orbits, obstacles around the antenna and fading, all from one
/// seed.

namespace simulator {

/// Distinguishes satellites of all systems.
inline uint64_t satelliteKey(Constellation constellation, int number) {
    return static_cast<uint64_t>(constellation) * 1000 + static_cast<uint64_t>(number);
}

class Sky {
public:
    explicit Sky(uint64_t seed) : seed_(seed) {}

    /// All satellites of these systems above the horizon, by system and number, with the signal that an open
    /// antenna gets from them at this time. Nothing is marked as used. The same arguments bring the same sky.
    std::vector<Satellite> above(const GeoPosition& observer, UtcTime utc,
                                 const std::set<Constellation>& systems) const;

private:
    double carrierToNoise(const Satellite& satellite, double seconds) const;

    uint64_t seed_;
};

} // namespace simulator

#endif
