#include "Telemetry.h"

#include <cstdio>
#include <ctime>

namespace telemetry {

namespace {

constexpr std::int64_t kMsPerSecond = 1000;

} // namespace

bool hasNewFix(const Readings& before, const Readings& now) {
    return now.fix && now.fixTickS != before.fixTickS;
}

bool showTheWorker(const Readings& before, const Readings& now) {
    return hasNewFix(before, now) || before.available != now.available ||
           before.antennaState != now.antennaState || before.satellites != now.satellites ||
           before.snrDbHz != now.snrDbHz || before.odometerM != now.odometerM ||
           before.geofenceStates != now.geofenceStates || before.timeDeviationS != now.timeDeviationS ||
           before.horizontalErrorM != now.horizontalErrorM || before.timeErrorMs != now.timeErrorMs;
}

std::string antennaInWords(std::uint32_t state) {
    switch (state) {
    case 1:
        return "in order";
    case 2:
        return "disconnected";
    case 3:
        return "short circuit";
    default:
        return "unknown (" + std::to_string(state) + ")";
    }
}

const char* inWords(GeofenceState state) {
    switch (state) {
    case GeofenceState::Unknown:
        return "unknown";
    case GeofenceState::Inside:
        return "inside";
    case GeofenceState::Outside:
        return "outside";
    case GeofenceState::Entered:
        return "entered";
    case GeofenceState::Left:
        return "left";
    }
    return "unknown";
}

const char* inWords(ServiceStep::Step step) {
    switch (step) {
    case ServiceStep::Step::Constructing:
        return "constructing";
    case ServiceStep::Step::Initializing:
        return "initializing";
    case ServiceStep::Step::Starting:
        return "starting";
    case ServiceStep::Step::Running:
        return "running";
    case ServiceStep::Step::Stopping:
        return "stopping";
    case ServiceStep::Step::Finalizing:
        return "finalizing";
    case ServiceStep::Step::Destroying:
        return "destroying";
    case ServiceStep::Step::Down:
        return "down";
    case ServiceStep::Step::Failed:
        return "failed";
    }
    return "down";
}

std::string utcText(std::int64_t utcMs, bool withMs) {
    const std::int64_t ms = ((utcMs % kMsPerSecond) + kMsPerSecond) % kMsPerSecond;
    const auto seconds = static_cast<std::time_t>((utcMs - ms) / kMsPerSecond);
    std::tm parts = {};
    gmtime_r(&seconds, &parts);
    char day[32];
    std::strftime(day, sizeof day, "%Y-%m-%dT%H:%M:%S", &parts);
    char fraction[8] = "";
    if (withMs)
        std::snprintf(fraction, sizeof fraction, ".%03d", static_cast<int>(ms));
    return std::string(day) + fraction + "Z";
}

} // namespace telemetry
