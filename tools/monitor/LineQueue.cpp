#include "LineQueue.h"

#include <utility>

namespace monitor {

namespace {

constexpr std::int64_t kTellEveryMs = 1000;
constexpr double kMsPerSecond = 1000;

bool areReadings(const telemetry::Line& line) {
    return std::holds_alternative<telemetry::ReadingsTaken>(line.content);
}

} // namespace

void LineQueue::put(telemetry::Line line) {
    const std::lock_guard<std::mutex> hold(mutex_);
    store(std::move(line));
}

void LineQueue::countLost(std::uint64_t events) {
    const std::lock_guard<std::mutex> hold(mutex_);
    lost_ += events;
}

void LineQueue::enter(telemetry::ServiceStep::Step step, double longestS,
                      std::optional<std::uint32_t> result) {
    const std::lock_guard<std::mutex> hold(mutex_);
    step_ = {step, 0, longestS, result};
    begun_ = told_ = moments_.now();
    store({begun_, step_});
}

std::vector<telemetry::Line> LineQueue::takeAll() {
    const std::lock_guard<std::mutex> hold(mutex_);
    tellOfStep();
    if (lost_ != 0)
        lines_.push_back({moments_.now(), telemetry::Lost{std::exchange(lost_, 0)}});
    return std::exchange(lines_, {});
}

void LineQueue::store(telemetry::Line line) {
    const bool readings = areReadings(line);
    if (lines_.size() < (readings ? kRoomForReadings : kRoom))
        lines_.push_back(std::move(line));
    else if (!readings)
        ++lost_;
}

void LineQueue::tellOfStep() {
    const telemetry::Moment now = moments_.now();
    if (step_.longestS <= 0 || now.uptimeMs - told_.uptimeMs < kTellEveryMs)
        return;
    told_ = now;
    telemetry::ServiceStep step = step_;
    step.elapsedS = static_cast<double>(now.uptimeMs - begun_.uptimeMs) / kMsPerSecond;
    store({now, step});
}

} // namespace monitor
