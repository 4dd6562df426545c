#include "OnceOutput.h"

#include "Json.h"
#include "Words.h"

namespace monitor {

namespace {

constexpr double kMsPerSecond = 1000;

} // namespace

Output::State OnceOutput::state() const {
    const State stream = StreamOutput::state();
    return stream == State::Going && isDone_ ? State::Done : stream;
}

std::string OnceOutput::textOf(const telemetry::Line& line) {
    if (const auto* const taken = std::get_if<telemetry::SettingsTaken>(&line.content))
        settings_ = taken->settings;
    const auto* const step = std::get_if<telemetry::ServiceStep>(&line.content);
    if (step != nullptr && step->step == telemetry::ServiceStep::Step::Running)
        upMs_ = line.at.uptimeMs;
    const auto* const taken = std::get_if<telemetry::ReadingsTaken>(&line.content);
    if (taken == nullptr || !isDue(line, taken->readings))
        return "";
    isDone_ = true;
    return json_ ? telemetry::toJson(line) + '\n' : inABlock(line, taken->readings, settings_);
}

bool OnceOutput::isDue(const telemetry::Line& line, const telemetry::Readings& readings) const {
    if (isDone_ || !upMs_)
        return false;
    const double upS = static_cast<double>(line.at.uptimeMs - *upMs_) / kMsPerSecond;
    return upS > settings_.statusIntervalS && (readings.fix || upS >= waitS_);
}

} // namespace monitor
