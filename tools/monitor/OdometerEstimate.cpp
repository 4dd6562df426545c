#include "OdometerEstimate.h"

#include <algorithm>
#include <cmath>

#include "Geometry.h"

namespace monitor {

namespace {

constexpr std::int64_t kMsPerSecond = 1000;
constexpr std::int64_t kWarmupS = 180; // of the service, as the two below
constexpr double kStepM = 15;
constexpr double kJumpM = 1000;
constexpr double kKeep = 0.9;
constexpr std::int64_t kMostCyclesBehind = 10; // the monitor was stopped, and the service with it
constexpr std::int64_t kStandingAfterMs = 15 * kMsPerSecond;
constexpr double kWalkMPerS = 0.5;

std::int32_t smooth(std::int32_t current, std::int32_t filtered) {
    return static_cast<std::int32_t>(std::lround(current * (1 - kKeep) + filtered * kKeep));
}

std::int64_t intervalOf(const OdometerEstimate::Input& input) {
    return std::max<std::int64_t>(input.intervalS, 1);
}

} // namespace

// The first warm-up is counted in cycles of a second, whatever interval is set afterwards.
void OdometerEstimate::start(std::int64_t uptimeMs) {
    *this = OdometerEstimate();
    running_ = true;
    nextCycleMs_ = uptimeMs;
    warmupCycles_ = kWarmupS;
}

void OdometerEstimate::advance(std::int64_t uptimeMs, const Input& input) {
    input_ = input;
    const std::int64_t intervalMs = intervalOf(input) * kMsPerSecond;
    nextCycleMs_ = std::max(nextCycleMs_, uptimeMs - kMostCyclesBehind * intervalMs);
    for (; running_ && nextCycleMs_ <= uptimeMs; nextCycleMs_ += intervalMs)
        cycle();
}

void OdometerEstimate::noticeCount() {
    if (running_ && !reference_)
        begin();
    lastWasDropped_ = false;
}

void OdometerEstimate::cycle() {
    if (!reference_) {
        if (warmupCycles_-- <= 0)
            begin();
        return;
    }
    filtered_ = {smooth(input_.position.latitude, filtered_.latitude),
                 smooth(input_.position.longitude, filtered_.longitude)};
    const double metres = metresBetween(*reference_, filtered_);
    if (metres > kJumpM) {
        reference_.reset();
        hasJumped_ = true;
        warmupCycles_ = kWarmupS / intervalOf(input_);
    } else if (metres > kStepM) {
        step(metres);
    }
}

void OdometerEstimate::begin() {
    reference_ = input_.position;
    filtered_ = input_.position;
    lastStepMs_.reset();
}

void OdometerEstimate::step(double metres) {
    reference_ = filtered_;
    lastStepMs_ = nextCycleMs_;
    lastWasDropped_ = metres <= gateMetres();
    if (lastWasDropped_) {
        ++droppedSteps_;
        droppedMetres_ += metres;
    }
}

double OdometerEstimate::gateMetres() const { return 2.0 * input_.horizontalErrorM; }

bool OdometerEstimate::hasRecentStep(std::int64_t uptimeMs) const {
    return lastStepMs_ && uptimeMs - *lastStepMs_ < kStandingAfterMs + intervalOf(input_) * kMsPerSecond;
}

OdometerEstimate::Phase OdometerEstimate::phase(std::int64_t uptimeMs) const {
    if (!running_)
        return Phase::Off;
    if (!reference_)
        return Phase::WarmUp;
    if (input_.fixAgeS > kFreshS)
        return Phase::NoFix;
    if (!hasRecentStep(uptimeMs) && input_.speedMPerS < kWalkMPerS)
        return Phase::Standing;
    // Each step is longer than 15 m by less than what is driven in a cycle.
    const double longestM = kStepM + input_.speedMPerS * static_cast<double>(intervalOf(input_));
    const bool willDrop = longestM <= gateMetres();
    const bool mayDrop = hasRecentStep(uptimeMs) && lastWasDropped_ && gateMetres() > kStepM;
    return willDrop || mayDrop ? Phase::Dropping : Phase::Counting;
}

double OdometerEstimate::secondsLeft(std::int64_t uptimeMs) const {
    const std::int64_t lastCycleMs = nextCycleMs_ + warmupCycles_ * intervalOf(input_) * kMsPerSecond;
    return static_cast<double>(std::max<std::int64_t>(lastCycleMs - uptimeMs, 0)) /
           static_cast<double>(kMsPerSecond);
}

} // namespace monitor
