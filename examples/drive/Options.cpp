#include "Options.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <sstream>

#include "Expectations.h"
#include "GPSParams.h"
#include "Microdegrees.h"

namespace {

constexpr double kLongestDurationS = 1e6;
constexpr char kKinds[] = "fix,availability,position,tracking,geofence,antenna,odometer";

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

std::vector<std::string> parseExpected(const std::string& text) {
    std::vector<std::string> names = split(text, ',');
    for (const std::string& name : names)
        if (!isExpectationName(name))
            throw OptionError("--expect knows " + std::string(kKinds) + ", but not '" + name + "'");
    return names;
}

struct OptionRow {
    const char* name;
    std::function<void(Options&, const std::string&)> take;
};

const OptionRow kOptionsWithValue[] = {
    {"--for",
     [](Options& o, const std::string& v) { o.durationS = parseNumber("--for", v, 1, kLongestDurationS); }},
    {"--geofence", [](Options& o, const std::string& v) { o.geofences.push_back(parseGeofence(v)); }},
    {"--learn",
     [](Options& o, const std::string& v) { o.learnS = parseNumber("--learn", v, 1, kLongestDurationS); }},
    {"--tracking",
     [](Options& o, const std::string& v) {
         o.trackingPeriodS = static_cast<int32_t>(parseNumber("--tracking", v, 0, 86400));
     }},
    {"--expect", [](Options& o, const std::string& v) { o.expected = parseExpected(v); }},
    {"--first-fix-before",
     [](Options& o, const std::string& v) {
         o.firstFixBeforeS = parseNumber("--first-fix-before", v, 0, kLongestDurationS);
     }},
    {"--first-fix-file", [](Options& o, const std::string& v) { o.firstFixFile = v; }},
};

struct FlagRow {
    const char* name;
    bool Options::*member;
    bool value;
};

constexpr FlagRow kFlags[] = {
    {"--until-seen", &Options::untilSeen, true},
    {"--allow-excuses", &Options::allowExcuses, true},
    {"--no-summary", &Options::summary, false},
    {"--help", &Options::help, true},
    {"-h", &Options::help, true},
};

bool takeFlag(Options& options, const std::string& name) {
    for (const FlagRow& row : kFlags)
        if (name == row.name) {
            options.*row.member = row.value;
            return true;
        }
    return false;
}

const OptionRow& rowOf(const std::string& name) {
    for (const OptionRow& row : kOptionsWithValue)
        if (name == row.name)
            return row;
    throw OptionError("unknown option '" + name + "'");
}

void check(const Options& options) {
    const std::size_t learned = options.learnS > 0 ? kLearnedGeofences : 0;
    if (options.geofences.size() + learned > kGPSMaxGeofences)
        throw OptionError("there can't be more than " + std::to_string(kGPSMaxGeofences) + " geofences");
}

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    Options options;
    options.expected = split(kKinds, ',');
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (takeFlag(options, name))
            continue;
        const OptionRow& row = rowOf(name);
        if (++i == argc)
            throw OptionError(name + " needs a value");
        row.take(options, argv[i]);
    }
    check(options);
    return options;
}

const char* usage() {
    return "Usage: drive [OPTIONS]\n"
           "\n"
           "Runs the GPS service and prints each event as one line. All times are seconds of the unit's "
           "clock.\n"
           "\n"
           "  --for SECONDS               ends after this time, counted from the service's start (600)\n"
           "  --until-seen                ends as soon as everything expected was seen\n"
           "  --geofence NAME,LATITUDE,LONGITUDE,WIDTH,HEIGHT\n"
           "                              watches an area: its centre in degrees, its size in metres\n"
           "                              (up to 12 times)\n"
           "  --learn SECONDS             watches the track for this time, then draws two geofences on it\n"
           "  --tracking SECONDS          period of the tracking reports (30; 0: none)\n"
           "  --expect KINDS              what must be seen for exit status 0, separated by commas; of\n"
           "                              fix,availability,position,tracking,geofence,antenna,odometer "
           "(all)\n"
           "  --allow-excuses             nothing is due that the receiver's data can't bring: metres while "
           "it\n"
           "                              stands, a fix while all of them are too poor for the service\n"
           "  --first-fix-before SECONDS  the first fix must come sooner than this\n"
           "  --first-fix-file FILE       writes the seconds to the first fix to FILE\n"
           "  --no-summary                leaves the closing line out\n"
           "  --help                      prints this text\n"
           "\n"
           "Exit status: 0 when everything expected was seen, 1 when something was not, 2 for a wrong "
           "option,\n"
           "3 when the service doesn't start, 4 when something was not seen but excused.\n";
}
