#include "simulator/Drift.h"

#include <cmath>

#include "simulator/Constants.h"
#include "simulator/Random.h"

namespace simulator {

namespace {

constexpr double kUpToNorth = 1.5; // an assumption: a height is known worse, as all satellites stand above
constexpr uint64_t kFirstKey = 50; // of this file's random numbers, two for each axis

// Box and Muller: a normally distributed number from two evenly distributed ones.
double normal(uint64_t seed, uint64_t axis, uint64_t step) {
    const double radius = std::sqrt(-2 * std::log(1 - scatter(seed, kFirstKey + 2 * axis, step)));
    return radius * std::cos(2 * kPi * scatter(seed, kFirstKey + 2 * axis + 1, step));
}

} // namespace

DriftOffset PositionDrift::at(TimePoint now) {
    const double sinceLast = inSeconds(now - last_) / inSeconds(settings_.correlation);
    const double kept = steps_ == 0 ? 0 : std::exp(-sinceLast);
    const double pushed = std::sqrt(1 - kept * kept); // so that the deviation stays what it is
    for (std::size_t axis = 0; axis < kAxes; ++axis)
        errors_.at(axis) = kept * errors_.at(axis) + pushed * normal(seed_, axis, steps_);
    ++steps_;
    last_ = now;
    return {settings_.sigmaM * errors_[0], settings_.sigmaM * errors_[1],
            kUpToNorth * settings_.sigmaM * errors_[2]};
}

} // namespace simulator
