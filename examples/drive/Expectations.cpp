#include "Expectations.h"

#include <algorithm>

#include "Format.h"

namespace {

constexpr double kStandingM = 100;            ///< positions of a receiver that stands stay closer together
constexpr unsigned int kPoorFixNotices = 120; ///< so many valid fixes, and none good enough: none will be

// --- Excuses: null where there is none ------------------------------------------------------------------

const char* noExcuse(const Tally&) { return nullptr; }

const char* poorFixes(const Tally& tally) {
    const bool hopeless = tally.fixes == 0 && tally.availabilityNotices >= kPoorFixNotices;
    return hopeless ? "fixes come, but none with the PDOP below 10 that the service asks for" : nullptr;
}

const char* noArea(const Tally& tally) {
    if (tally.noAreaOnTrack)
        return "the track comes into no area and leaves it again";
    return poorFixes(tally);
}

const char* nothingToCount(const Tally& tally) {
    if (tally.fixes > 0 && tally.extentM < kStandingM)
        return "the receiver stands";
    if (tally.fixes > 0 && tally.countableM <= 0)
        return "at this speed no stretch is longer than twice the receiver's error estimate";
    return poorFixes(tally);
}

// --- Expectations ---------------------------------------------------------------------------------------

/// At least one geofence, and each of them both entered and left.
bool allCrossed(const Tally& tally) {
    const auto crossed = [](const auto& entry) { return entry.second.entered > 0 && entry.second.left > 0; };
    return !tally.geofences.empty() && std::all_of(tally.geofences.begin(), tally.geofences.end(), crossed);
}

struct Expectation {
    const char* name;
    bool (*isMet)(const Tally& tally);
    const char* met;
    const char* unmet;
    const char* (*excuse)(const Tally& tally);
};

constexpr Expectation kExpectations[] = {
    {"fix", [](const Tally& t) { return t.fixes > 0; }, "fixes", "no fix was accepted", poorFixes},
    {"availability", [](const Tally& t) { return t.becameAvailable; }, "their availability",
     "fixes never became available", noExcuse},
    {"position", [](const Tally& t) { return t.positionUpdates > 0; }, "position updates",
     "no position update came", poorFixes},
    {"tracking", [](const Tally& t) { return t.trackingReports > 0; }, "tracking reports",
     "no tracking report with a fix came", poorFixes},
    {"geofence", allCrossed, "each geofence entered and left", "not every geofence was both entered and left",
     noArea},
    {"antenna", [](const Tally& t) { return t.antennaCameBack; }, "the antenna lost and back again",
     "the antenna was not lost and back again", noExcuse},
    {"odometer", [](const Tally& t) { return t.odometerM > 0; }, "metres on the odometer",
     "the odometer counted nothing", nothingToCount},
};

const Expectation* find(const std::string& name) {
    const auto named = [&](const Expectation& expectation) { return name == expectation.name; };
    const auto found = std::find_if(std::begin(kExpectations), std::end(kExpectations), named);
    return found != std::end(kExpectations) ? found : nullptr;
}

bool isLate(const Options& options, const Tally& tally) {
    return options.firstFixBeforeS > 0 && (tally.firstFixS < 0 || tally.firstFixS >= options.firstFixBeforeS);
}

} // namespace

std::vector<std::string> knownExpectations() {
    std::vector<std::string> names;
    for (const Expectation& expectation : kExpectations)
        names.emplace_back(expectation.name);
    return names;
}

bool isExpectationName(const std::string& name) { return find(name) != nullptr; }

Verdict judge(const Options& options, const Tally& tally) {
    Verdict verdict;
    for (const std::string& name : options.expected) {
        const Expectation& expectation = *find(name);
        if (expectation.isMet(tally))
            continue;
        const char* excuse = options.allowExcuses ? expectation.excuse(tally) : nullptr;
        if (excuse != nullptr)
            verdict.excused.push_back(name + ": " + expectation.unmet + ", for " + excuse);
        else
            verdict.unmet.push_back(name + ": " + expectation.unmet);
    }
    if (isLate(options, tally))
        verdict.unmet.push_back("fix: the first one did not come sooner than asked for");
    return verdict;
}

// --- In words -------------------------------------------------------------------------------------------

namespace {

/// What of the expected was seen: "a, b and c".
std::string seen(const Options& options, const Tally& tally) {
    std::string text;
    std::string last;
    for (const std::string& name : options.expected)
        if (find(name)->isMet(tally)) {
            text += (text.empty() || last.empty() ? "" : ", ") + last;
            last = find(name)->met;
        }
    return text.empty() ? last : text + " and " + last;
}

std::string judgement(const Options& options, const Tally& tally, const Verdict& verdict) {
    const std::string found = seen(options, tally);
    const std::string end = found.empty() ? "nothing was seen" : "seen: " + found;
    if (!verdict.unmet.empty())
        return "verdict: not as it should be, see above; " + end;
    if (!verdict.excused.empty())
        return "verdict: as good as what the receiver sends allows; " + end;
    return "verdict: all is well; " + end;
}

std::string firstFixInWords(const Options& options, const Tally& tally) {
    if (options.firstFixBeforeS <= 0 || tally.firstFixS < 0)
        return "";
    return format("first fix: after %.1f s; %.1f s was the time to beat", tally.firstFixS,
                  options.firstFixBeforeS);
}

std::string odometerInWords(const Tally& tally) {
    if (tally.odometerM == 0 || tally.drivenM <= tally.odometerM)
        return "";
    return format("odometer: %u m of about %.0f m driven; it counts nothing in its first %d s, and stretches "
                  "within twice "
                  "the error estimate don't count",
                  tally.odometerM, tally.drivenM, kOdometerWarmupS);
}

} // namespace

std::vector<std::string> inWords(const Options& options, const Tally& tally, const Verdict& verdict) {
    std::vector<std::string> sentences = {judgement(options, tally, verdict)};
    for (const std::string& sentence : {firstFixInWords(options, tally), odometerInWords(tally)})
        if (!sentence.empty())
            sentences.push_back(sentence);
    return sentences;
}
