#ifndef RANDOM_H
#define RANDOM_H

#include <cstdint>

/// The source of everything random in the simulator: numbers that follow from seed and keys alone, so that
/// two runs bring the same bytes. No state.

namespace simulator {

/// What a step from one seed to the next adds.
constexpr uint64_t kSeedStep = 0x9E3779B97F4A7C15u;

/// Spreads 64 bits over all 64 bits.
constexpr uint64_t mixed(uint64_t bits) {
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9u;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBu;
    return bits ^ (bits >> 31);
}

/// A number from 0 to below 1 for a seed and two keys.
constexpr double scatter(uint64_t seed, uint64_t a, uint64_t b = 0) {
    constexpr double kTwoTo53 = 9007199254740992.0;
    const uint64_t bits = seed * kSeedStep + a * 0xBF58476D1CE4E5B9u + b * 0x94D049BB133111EBu + 1;
    return static_cast<double>(mixed(bits) >> 11) / kTwoTo53;
}

} // namespace simulator

#endif
