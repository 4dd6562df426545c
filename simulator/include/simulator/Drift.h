#ifndef DRIFT_H
#define DRIFT_H

#include <array>
#include <cstdint>

#include "simulator/Time.h"

/// The slow error of a receiver's positions, as it shows when the antenna stands: on each axis a Gauss-Markov
/// process of the first order. An error of now goes back towards nought and is pushed anew all the time, so
/// positions drift, and the drift never repeats.

namespace simulator {

struct DriftSettings {
    double sigmaM = 0; ///< standard deviation of north and of east; that of the height is half as much again
    Duration correlation = std::chrono::seconds(300); ///< above 0; what is left of an error after it: 1/e
};

struct DriftOffset {
    double northM = 0;
    double eastM = 0;
    double upM = 0;
};

class PositionDrift {
public:
    /// The same seed and the same times bring the same drift.
    PositionDrift(const DriftSettings& settings, uint64_t seed) : settings_(settings), seed_(seed) {}

    /// The error at this time, which must not be before that of the last call. The first one is as far off as
    /// any other.
    DriftOffset at(TimePoint now);

private:
    static constexpr std::size_t kAxes = 3;

    DriftSettings settings_;
    uint64_t seed_;
    uint64_t steps_ = 0; ///< 0: not begun
    TimePoint last_{};
    std::array<double, kAxes> errors_{}; ///< in standard deviations
};

} // namespace simulator

#endif
