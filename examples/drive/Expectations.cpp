#include "Expectations.h"

#include <algorithm>

namespace {

constexpr char kOdometerIfMoved[] = "odometer-if-moved";

/// At least one geofence, and each of them both entered and left.
bool allCrossed(const Tally& tally) {
    const auto crossed = [](const auto& entry) { return entry.second.entered > 0 && entry.second.left > 0; };
    return !tally.geofences.empty() && std::all_of(tally.geofences.begin(), tally.geofences.end(), crossed);
}

constexpr double kStandingM = 100; ///< positions of a receiver that stands stay closer together than this

bool stands(const Tally& tally) { return tally.extentM < kStandingM; }

struct Expectation {
    const char* name;
    bool (*isMet)(const Tally& tally);
    const char* unmet;
};

constexpr Expectation kExpectations[] = {
    {"fix", [](const Tally& t) { return t.fixes > 0; }, "no fix was accepted"},
    {"availability", [](const Tally& t) { return t.becameAvailable; }, "fixes never became available"},
    {"position", [](const Tally& t) { return t.positionUpdates > 0; }, "no position update came"},
    {"tracking", [](const Tally& t) { return t.trackingReports > 0; }, "no tracking report with a fix came"},
    {"geofence", allCrossed, "not every geofence was both entered and left"},
    {"antenna", [](const Tally& t) { return t.antennaCameBack; }, "the antenna was not lost and back again"},
    {"odometer", [](const Tally& t) { return t.odometerM > 0; }, "the odometer counted nothing"},
    {kOdometerIfMoved, [](const Tally& t) { return t.odometerM > 0 || stands(t); },
     "the odometer counted nothing although the positions moved on"},
};

const Expectation* find(const std::string& name) {
    for (const Expectation& expectation : kExpectations)
        if (name == expectation.name)
            return &expectation;
    return nullptr;
}

bool isLate(const Options& options, const Tally& tally) {
    return options.firstFixBeforeS > 0 && (tally.firstFixS < 0 || tally.firstFixS >= options.firstFixBeforeS);
}

} // namespace

std::string expectationNames() {
    std::string names;
    for (const Expectation& expectation : kExpectations)
        names += (names.empty() ? "" : ",") + std::string(expectation.name);
    return names;
}

bool isExpectationName(const std::string& name) { return find(name) != nullptr; }

std::vector<std::string> unmetExpectations(const Options& options, const Tally& tally) {
    std::vector<std::string> unmet;
    for (const std::string& name : options.expected)
        if (!find(name)->isMet(tally))
            unmet.push_back(name + ": " + find(name)->unmet);
    if (isLate(options, tally))
        unmet.push_back("the first fix did not come sooner than asked for");
    return unmet;
}

bool isOdometerExcused(const Options& options, const Tally& tally) {
    const auto& names = options.expected;
    return std::find(names.begin(), names.end(), kOdometerIfMoved) != names.end() && tally.odometerM == 0 &&
           stands(tally);
}
