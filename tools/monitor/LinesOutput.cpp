#include "LinesOutput.h"

#include "Words.h"

namespace monitor {

namespace {

constexpr std::int64_t kMsPerSecond = 1000;

} // namespace

std::string LinesOutput::textOf(const telemetry::Line& line) {
    if (const auto* const taken = std::get_if<telemetry::SettingsTaken>(&line.content))
        statusIntervalMs_ = taken->settings.statusIntervalS * kMsPerSecond;
    const std::string text = isDue(line) ? inOneLine(line, remarkOn(line)) : "";
    keepStates(line);
    return text;
}

/// A geofence that nothing is known of is left at once where the unit is outside; from inside nothing is
/// told.
const char* LinesOutput::remarkOn(const telemetry::Line& line) const {
    const auto* const crossing = std::get_if<telemetry::GeofenceCrossed>(&line.content);
    const bool isFirstLook = crossing != nullptr && !crossing->entered && crossing->slot &&
                             geofenceStates_[*crossing->slot] == telemetry::GeofenceState::Unknown;
    return isFirstLook ? " (first look at it, from outside)" : "";
}

void LinesOutput::keepStates(const telemetry::Line& line) {
    if (const auto* const taken = std::get_if<telemetry::ReadingsTaken>(&line.content))
        geofenceStates_ = taken->readings.geofenceStates;
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
