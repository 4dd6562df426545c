#include "Options.h"

#include <cmath>
#include <cstdlib>
#include <functional>
#include <sstream>

#include "Expectations.h"
#include "GPSParams.h"
#include "Microdegrees.h"

namespace {

constexpr double kLongestDurationS = 1e6;

constexpr char kUsage[] = R"(Usage: drive [OPTIONS]

Runs the GPS service on a unit and prints each event as one line. All times are seconds of the unit's clock. On
a machine that is no unit, tools/virtual-unit makes one.

  --for SECONDS               ends after this time, counted from the service's start (600)
  --until-seen                ends as soon as everything expected was seen
  --geofence NAME,LATITUDE,LONGITUDE,WIDTH,HEIGHT
                              watches an area: its centre in degrees, its size in metres (up to 12 times)
  --learn SECONDS             watches the track for this time, then draws two geofences on it
  --tracking SECONDS          period of the tracking reports (30; 0: none)
  --expect KINDS              what must be seen for exit status 0, separated by commas; of
                              fix,availability,position,tracking,geofence,antenna,odometer (all)
  --allow-excuses             nothing is due that the receiver's data can't bring: metres while it stands, a
                              fix while all of them are too poor for the service
  --first-fix-before SECONDS  the first fix must come sooner than this (0: doesn't matter)
  --first-fix-file FILE       writes the seconds to the first fix to FILE
  --record FILE               writes all that is seen to FILE, for ruxogps-report
  --no-summary                leaves the verdict and the summary line out
  -h, --help                  prints this text
  --version                   prints the version

Exit status: 0 when everything expected was seen, 1 when something was not, 2 for a wrong option, 3 when this is
no unit or the service doesn't start, 4 when something was not seen but excused.
)";

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        parts.push_back(part);
    return parts;
}

double parseNumber(const std::string& option, const std::string& text, double low, double high) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(value >= low && value <= high)) {
        std::ostringstream message;
        message << option << " needs a number from " << low << " to " << high << ", not '" << text << "'";
        throw OptionError(message.str());
    }
    return value;
}

int32_t parseWholeNumber(const std::string& option, const std::string& text, int32_t low, int32_t high) {
    const double value = parseNumber(option, text, low, high);
    if (value != std::floor(value))
        throw OptionError(option + " needs a whole number, not '" + text + "'");
    return static_cast<int32_t>(value);
}

GPSGeofence parseGeofence(const std::string& text) {
    const std::string option = "--geofence";
    const std::vector<std::string> parts = split(text, ',');
    if (parts.size() != 5 || parts[0].empty())
        throw OptionError("--geofence needs NAME,LATITUDE,LONGITUDE,WIDTH,HEIGHT, not '" + text + "'");
    const double latitude = parseNumber(option, parts[1], -89, 89);
    const double longitude = parseNumber(option, parts[2], -180, 180);
    GPSGeofence geofence;
    geofence.name.setStr(parts[0].c_str());
    geofence.latitude = microdegrees(latitude);
    geofence.longitude = microdegrees(longitude);
    geofence.width = microdegreesOfLongitude(parseNumber(option, parts[3], 1, 1e6), latitude);
    geofence.height = microdegreesOfLatitude(parseNumber(option, parts[4], 1, 1e6));
    geofence.margin = microdegreesOfLatitude(kGeofenceMarginM);
    return geofence;
}

std::string joined(const std::vector<std::string>& parts, const char* separator) {
    std::string text;
    for (const std::string& part : parts)
        text += (text.empty() ? "" : separator) + part;
    return text;
}

std::vector<std::string> parseExpected(const std::string& text) {
    std::vector<std::string> names = split(text + ",", ',');
    std::vector<std::string> unknown;
    for (const std::string& name : names)
        if (!isExpectationName(name))
            unknown.push_back("'" + name + "'");
    if (!unknown.empty())
        throw OptionError("--expect knows " + joined(knownExpectations(), ",") + ", but not " +
                          joined(unknown, " and "));
    return names;
}

std::string parseFile(const std::string& option, const std::string& text) {
    if (text.empty())
        throw OptionError(option + " needs the name of a file");
    return text;
}

struct OptionRow {
    const char* name;
    bool hasValue;
    std::function<void(Options&, const std::string& value)> take;
};

const OptionRow kOptions[] = {
    {"for", true,
     [](Options& o, const std::string& v) { o.durationS = parseNumber("--for", v, 1, kLongestDurationS); }},
    {"until-seen", false, [](Options& o, const std::string&) { o.untilSeen = true; }},
    {"geofence", true, [](Options& o, const std::string& v) { o.geofences.push_back(parseGeofence(v)); }},
    {"learn", true,
     [](Options& o, const std::string& v) { o.learnS = parseNumber("--learn", v, 1, kLongestDurationS); }},
    {"tracking", true,
     [](Options& o, const std::string& v) {
         o.trackingPeriodS = parseWholeNumber("--tracking", v, 0, 86400);
     }},
    {"expect", true, [](Options& o, const std::string& v) { o.expected = parseExpected(v); }},
    {"allow-excuses", false, [](Options& o, const std::string&) { o.allowExcuses = true; }},
    {"first-fix-before", true,
     [](Options& o, const std::string& v) {
         o.firstFixBeforeS = parseNumber("--first-fix-before", v, 0, kLongestDurationS);
     }},
    {"first-fix-file", true,
     [](Options& o, const std::string& v) { o.firstFixFile = parseFile("--first-fix-file", v); }},
    {"record", true, [](Options& o, const std::string& v) { o.recordFile = parseFile("--record", v); }},
    {"no-summary", false, [](Options& o, const std::string&) { o.summary = false; }},
    {"help", false, [](Options& o, const std::string&) { o.help = true; }},
    {"version", false, [](Options& o, const std::string&) { o.version = true; }},
};

void check(const Options& options) {
    const std::size_t learned = options.learnS > 0 ? kLearnedGeofences : 0;
    if (options.geofences.size() + learned > kGPSMaxGeofences)
        throw OptionError("there can't be more than " + std::to_string(kGPSMaxGeofences) + " geofences");
}

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    Options options;
    options.expected = knownExpectations();
    options = command_line::takenBy(kOptions, argc, argv, options);
    if (!options.help && !options.version)
        check(options);
    return options;
}

const char* usage() { return kUsage; }
