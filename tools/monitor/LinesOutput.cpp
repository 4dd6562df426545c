#include "LinesOutput.h"

#include "Words.h"

namespace monitor {

namespace {

constexpr std::int64_t kMsPerSecond = 1000;

} // namespace

std::string LinesOutput::textOf(const telemetry::Line& line) {
    if (const auto* const taken = std::get_if<telemetry::SettingsTaken>(&line.content))
        statusIntervalMs_ = taken->settings.statusIntervalS * kMsPerSecond;
    return isDue(line) ? inOneLine(line) : "";
}

bool LinesOutput::isDue(const telemetry::Line& line) {
    if (const auto* const step = std::get_if<telemetry::ServiceStep>(&line.content))
        return tellsProgress_ || step->elapsedS <= 0;
    if (!std::holds_alternative<telemetry::ReadingsTaken>(line.content))
        return true;
    if (lastStatusMs_ && line.at.uptimeMs - *lastStatusMs_ < statusIntervalMs_)
        return false;
    lastStatusMs_ = line.at.uptimeMs;
    return true;
}

} // namespace monitor
