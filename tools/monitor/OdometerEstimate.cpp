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
    seenMs_ = uptimeMs;
    warmupCycles_ = kWarmupS;
}

// A cycle is reckoned once it must have come: while nothing shows it, the worker may stand.
void OdometerEstimate::advance(std::int64_t uptimeMs, const Input& input) {
    input_ = input;
    const std::int64_t intervalMs = intervalOf(input) * kMsPerSecond;
    nextCycleMs_ = std::max(nextCycleMs_, uptimeMs - kMostCyclesBehind * intervalMs);
    const std::int64_t knownMs = input.wouldShow ? std::min(uptimeMs, seenMs_ + intervalMs) : uptimeMs;
    for (; running_ && nextCycleMs_ <= knownMs; nextCycleMs_ += intervalMs)
        cycle();
}

// Behind a pause as long as a restart of gpsd the cycles of the pause have not been; shorter ones were the
// monitor's.
void OdometerEstimate::noticeCycle(std::int64_t uptimeMs) {
    const std::int64_t restartMs = (telemetry::kShortestRestartS + intervalOf(input_)) * kMsPerSecond;
    if (input_.wouldShow && uptimeMs - seenMs_ >= restartMs)
        nextCycleMs_ = std::max(nextCycleMs_, uptimeMs);
    seenMs_ = uptimeMs;
}

void OdometerEstimate::noticeCount() {
    if (running_ && !reference_)
        begin();
    if (lastWasDropped_) {
        --droppedSteps_;
        droppedMetres_ -= lastStepM_;
    }
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
    lastWasDropped_ = false;
}

void OdometerEstimate::step(double metres) {
    reference_ = filtered_;
    lastStepMs_ = nextCycleMs_;
    lastStepM_ = metres;
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
    const std::int64_t lastCycleMs =
        std::max(nextCycleMs_, uptimeMs) + warmupCycles_ * intervalOf(input_) * kMsPerSecond;
    return static_cast<double>(std::max<std::int64_t>(lastCycleMs - uptimeMs, 0)) /
           static_cast<double>(kMsPerSecond);
}

} // namespace monitor
