#include "Options.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <sstream>

#include "SettingsFile.h"
#include "Words.h"

namespace monitor {

namespace {

constexpr char kUsage[] = R"(Usage: ruxogps-monitor [OPTIONS]

Runs the GPS service on a unit and shows what it does: on a terminal a live view, else a line for each event. On a
machine that is no unit, tools/virtual-unit makes one. While it runs, no other application may use the service.

What is shown:
  --lines                 a line for each event, and one with the readings in each status interval; without a terminal
                          this is what happens
  --json                  each line as a JSON object; telemetry.schema.json describes them
  --once                  prints the readings when the service is up, and ends; with --json as an object
  --wait SECONDS          how long --once waits for a fix (0)
  --log FILE              the service's own log goes there, not to the standard error

What is kept:
  --record FILE           every reading and event, behind those of earlier starts; ruxogps-report shows it
  --gpx FILE              the track with events and geofences as GPX, written at the end
  --geojson FILE          the same as GeoJSON

Settings, which hold instead of the file's:
  --settings FILE         a file of settings
  --interval SECONDS      between two updates of the position, 1 to 3600 (1)
  --status-interval SECONDS
                          between two updates of satellites, antenna and clock, 1 to 3600 (2)
  --log-interval SECONDS  between two detailed lines of the log, 0 to 4095 (900; 0: none)
  --tracking PERIOD[,BASE[,OFFSET]]
                          tracking reports at multiples of PERIOD seconds of UTC - BASE + OFFSET
  --geofence NAME,LATITUDE,LONGITUDE,WIDTH,HEIGHT[,MARGIN]
                          watches an area beside the file's: its centre in degrees, its size in degrees or, as 250m, in
                          metres (12 areas at most)
  --odometer METRES       what the odometer starts with

  -h, --help              prints this text
  --version               prints the version

Exit status: 0 when it was ended by its reader's wish; 1 when the service does not come up, or something could not be
written; 2 for a wrong option or setting; 128 + N when signal N ended it, in order; 255 when the library itself ended
the process, as the serial line can't be set up. A second signal ends it at once.
)";

// --- Numbers --------------------------------------------------------------------------------------------

/// The number at the begin of a text, and what stands behind it.
Given numberIn(const std::string& text, const std::string& place, std::string* rest = nullptr) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    const bool isNumber = end != text.c_str() && (rest != nullptr || *end == '\0');
    if (!isNumber || std::isspace(static_cast<unsigned char>(text[0])) != 0)
        throw OptionError(place + " is '" + text + "'; it must be a number");
    if (rest != nullptr)
        *rest = end;
    return {value, text, place};
}

double number(const std::string& text, const std::string& place, double low, double high) {
    const Given given = numberIn(text, place);
    try {
        checkRange(given, "a number", low, high);
    } catch (const SettingError& error) {
        throw OptionError(error.what());
    }
    return given.value;
}

template <class Integer>
Integer whole(const std::string& text, const std::string& place, double low, double high) {
    const double value = number(text, place, low, high);
    if (value != std::floor(value))
        throw OptionError(place + " is " + text + "; it must be a whole number");
    return static_cast<Integer>(value);
}

std::vector<std::string> parts(const std::string& text) {
    std::vector<std::string> found;
    std::istringstream stream(text + ",");
    for (std::string part; std::getline(stream, part, ',');)
        found.push_back(part);
    return found;
}

// --- Values of their own --------------------------------------------------------------------------------

GivenLength lengthIn(const std::string& text, const std::string& place) {
    std::string unit;
    const Given given = numberIn(text, place, &unit);
    if (!unit.empty() && unit != "m")
        throw OptionError(place + " is '" + text +
                          "'; it must be a number of degrees, or of metres with an 'm'");
    return {given, unit == "m"};
}

GivenGeofence parseGeofence(const std::string& text) {
    const std::vector<std::string> words = parts(text);
    if (words.size() < 5 || words.size() > 6)
        throw OptionError("--geofence is '" + text +
                          "'; it must be NAME,LATITUDE,LONGITUDE,WIDTH,HEIGHT[,MARGIN]");
    const std::string place = "--geofence: ";
    GivenGeofence given;
    given.name = words[0];
    given.place = place + "NAME";
    given.latitude = numberIn(words[1], place + "LATITUDE");
    given.longitude = numberIn(words[2], place + "LONGITUDE");
    given.width = lengthIn(words[3], place + "WIDTH");
    given.height = lengthIn(words[4], place + "HEIGHT");
    if (words.size() == 6)
        given.margin = lengthIn(words[5], place + "MARGIN");
    return given;
}

Options::Tracking parseTracking(const std::string& text) {
    const std::vector<std::string> words = parts(text);
    if (words.size() > 3)
        throw OptionError("--tracking is '" + text + "'; it must be PERIOD[,BASE[,OFFSET]]");
    Options::Tracking tracking;
    tracking.periodS = whole<std::int32_t>(words[0], "--tracking: PERIOD", 1, kMostSeconds);
    if (words.size() > 1)
        tracking.baseS = whole<std::int32_t>(words[1], "--tracking: BASE", -kMostSeconds, kMostSeconds);
    if (words.size() > 2)
        tracking.offsetS = whole<std::int32_t>(words[2], "--tracking: OFFSET", -kMostSeconds, kMostSeconds);
    return tracking;
}

std::uint32_t parseInterval(const std::string& option, const std::string& text) {
    return whole<std::uint32_t>(text, option, kShortestIntervalS, kLongestIntervalS);
}

std::string parseFile(const std::string& option, const std::string& text) {
    if (text.empty())
        throw OptionError(option + " needs the name of a file");
    return text;
}

// --- The table ------------------------------------------------------------------------------------------

struct OptionRow {
    const char* name;
    bool hasValue;
    void (*take)(Options& options, const std::string& value);
};

const std::array<OptionRow, 17> kOptions{{
    {"lines", false, [](Options& o, const std::string&) { o.lines = true; }},
    {"json", false, [](Options& o, const std::string&) { o.json = true; }},
    {"once", false, [](Options& o, const std::string&) { o.once = true; }},
    {"wait", true, [](Options& o, const std::string& v) { o.waitS = number(v, "--wait", 0, 1e6); }},
    {"log", true, [](Options& o, const std::string& v) { o.log = parseFile("--log", v); }},
    {"record", true, [](Options& o, const std::string& v) { o.record = parseFile("--record", v); }},
    {"gpx", true, [](Options& o, const std::string& v) { o.gpx = parseFile("--gpx", v); }},
    {"geojson", true, [](Options& o, const std::string& v) { o.geoJson = parseFile("--geojson", v); }},
    {"settings", true, [](Options& o, const std::string& v) { o.settings = parseFile("--settings", v); }},
    {"interval", true,
     [](Options& o, const std::string& v) { o.positionIntervalS = parseInterval("--interval", v); }},
    {"status-interval", true,
     [](Options& o, const std::string& v) { o.statusIntervalS = parseInterval("--status-interval", v); }},
    {"log-interval", true,
     [](Options& o, const std::string& v) {
         o.logIntervalS = whole<std::uint32_t>(v, "--log-interval", 0, kLongestLogIntervalS);
     }},
    {"tracking", true, [](Options& o, const std::string& v) { o.tracking = parseTracking(v); }},
    {"geofence", true, [](Options& o, const std::string& v) { o.geofences.push_back(parseGeofence(v)); }},
    {"odometer", true,
     [](Options& o, const std::string& v) {
         o.odometerM = whole<std::uint32_t>(v, "--odometer", 0, kMostMetres);
     }},
    {"help", false, [](Options& o, const std::string&) { o.help = true; }},
    {"version", false, [](Options& o, const std::string&) { o.version = true; }},
}};

void checkCombination(const Options& options) {
    if (options.lines && options.json)
        throw OptionError("--lines and --json exclude each other");
    if (options.lines && options.once)
        throw OptionError("--lines and --once exclude each other");
    if (options.waitS > 0 && !options.once)
        throw OptionError("--wait is of use with --once alone");
}

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    const auto options = command_line::takenBy<Options>(kOptions, argc, argv);
    if (!options.help && !options.version)
        checkCombination(options);
    return options;
}

Wishes wishesOf(const Options& options) {
    Wishes wishes;
    if (!options.settings.empty())
        readSettings(options.settings, wishes);
    telemetry::Settings& settings = wishes.settings;
    settings.positionIntervalS = options.positionIntervalS.value_or(settings.positionIntervalS);
    settings.statusIntervalS = options.statusIntervalS.value_or(settings.statusIntervalS);
    settings.logIntervalS = options.logIntervalS.value_or(settings.logIntervalS);
    if (options.odometerM)
        wishes.odometerM = options.odometerM;
    if (options.tracking) {
        settings.trackingEnabled = true;
        settings.trackingPeriodS = options.tracking->periodS;
        settings.trackingBaseS = options.tracking->baseS;
        settings.trackingOffsetS = options.tracking->offsetS;
    }
    for (const GivenGeofence& geofence : options.geofences)
        add(geofence, settings);
    return wishes;
}

const char* usage() { return kUsage; }

} // namespace monitor
