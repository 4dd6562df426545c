#include "Options.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace simulator {

namespace {

constexpr double kUsualGeoidSeparationM = 47;
constexpr Duration kUsualDeafTime = std::chrono::milliseconds(500);
constexpr const char* kUsualEngine = "ubx";

// What is gathered before it can be put together.
struct Draft {
    Draft() { options.settings.deafTime = kUsualDeafTime; }

    Options options;
    std::string start = "47.2852,8.5653,450";
    std::string routeText;
    bool repeat = false;
    bool baudGiven = false;
};

// --- Values ---------------------------------------------------------------------------------------------

double number(const std::string& text, double lowest, double highest) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(value >= lowest && value <= highest)) {
        std::array<char, 96> range{};
        std::snprintf(range.data(), range.size(), "a number from %.10g to %.10g", lowest, highest);
        throw OptionError("'" + text + "' is not " + range.data());
    }
    return value;
}

template <typename Value>
struct Choice {
    const char* name;
    Value value;
};

template <typename Value, std::size_t count>
Value choose(const std::string& text, const std::array<Choice<Value>, count>& choices) {
    std::string names;
    for (const Choice<Value>& choice : choices) {
        if (text == choice.name)
            return choice.value;
        names += (names.empty() ? "" : ", ") + std::string(choice.name);
    }
    throw OptionError("'" + text + "' is none of: " + names);
}

std::string contentOf(const std::string& path) {
    if (std::filesystem::is_directory(path))
        throw OptionError("'" + path + "' is a folder");
    std::ifstream file(path, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad())
        throw OptionError("can't read '" + path + "'");
    return content;
}

Duration seconds(const std::string& text) {
    return std::chrono::milliseconds(std::lround(1000 * number(text, 0, 3600)));
}

// --- Setters --------------------------------------------------------------------------------------------

constexpr std::array<Choice<Constellation>, 6> kSystems{{
    {"gps", Constellation::Gps},
    {"glonass", Constellation::Glonass},
    {"galileo", Constellation::Galileo},
    {"sbas", Constellation::Sbas},
    {"qzss", Constellation::Qzss},
    {"beidou", Constellation::BeiDou},
}};
constexpr std::array<Choice<NmeaVersion>, 4> kVersions{{
    {"2.1", NmeaVersion::V21},
    {"2.3", NmeaVersion::V23},
    {"4.0", NmeaVersion::V40},
    {"4.1", NmeaVersion::V41},
}};
constexpr std::array<Choice<bool>, 2> kNumberings{{{"strict", false}, {"extended", true}}};
constexpr std::array<Choice<unsigned>, 9> kSpeeds{{
    {"4800", 4800},
    {"9600", 9600},
    {"19200", 19200},
    {"38400", 38400},
    {"57600", 57600},
    {"115200", 115200},
    {"230400", 230400},
    {"460800", 460800},
    {"921600", 921600},
}};
constexpr std::array<Choice<const char*>, 2> kEngines{{{"nmea", "nmea"}, {"ubx", "ubx"}}};

void setSystems(Draft& draft, const std::string& list) {
    std::istringstream stream(list);
    draft.options.engine.factory.enabled.clear();
    for (std::string name; std::getline(stream, name, ',');)
        draft.options.engine.factory.enabled.insert(choose(name, kSystems));
    if (draft.options.engine.factory.enabled.count(Constellation::Gps) != 0)
        draft.options.engine.factory.enabled.insert(Constellation::Sbas);
}

void setBaud(Draft& draft, const std::string& text) {
    draft.options.engine.baudRate = choose(text, kSpeeds);
    draft.baudGiven = true;
}

void setEngine(Draft& draft, const std::string& text) { draft.options.engineName = choose(text, kEngines); }

void setRate(Draft& draft, const std::string& text) {
    const double rate = number(text, 1, 10);
    draft.options.engine.factory.epochPeriod = std::chrono::milliseconds(std::lround(1000 / rate));
}

// --- Table ----------------------------------------------------------------------------------------------

struct Row {
    const char* name;
    const char* argument; // empty: a switch
    void (*set)(Draft& draft, const std::string& value);
    const char* help;
};

const std::array<Row, 33> kRows{{
    {"--link", "PATH", [](Draft& d, const std::string& v) { d.options.link = v; },
     "symbolic link to the port, while the program runs"},
    {"--engine", "nmea|ubx", setEngine, "what the receiver understands: nothing, or UBX (default)"},
    {"--baud", "SPEED", setBaud, "speed after power-up (9600; 115200 for recordings with the nmea engine)"},
    {"--port-baud", "SPEED",
     [](Draft& d, const std::string& v) { d.options.portBaudRate = choose(v, kSpeeds); },
     "speed of the host's port until a client sets another (9600)"},
    {"--hz", "RATE", setRate, "epochs per second, 1 to 10 (1)"},
    {"--seed", "N",
     [](Draft& d, const std::string& v) {
         d.options.settings.seed = d.options.engine.seed = static_cast<std::uint64_t>(number(v, 0, 1e15));
     },
     "everything random follows from it (1)"},
    {"--start", "LAT,LON[,ALT]", [](Draft& d, const std::string& v) { d.start = v; },
     "where the antenna stands, degrees and metres"},
    {"--route", "FILE", [](Draft& d, const std::string& v) { d.routeText = contentOf(v) + "\n"; },
     "drives these waypoints, LAT,LON,SPEED[,PAUSE][,alt=METRES][,tunnel] a line"},
    {"--waypoints", "LIST", [](Draft& d, const std::string& v) { d.routeText = v; },
     "the same in the argument itself, separated by ';'"},
    {"--repeat", "", [](Draft& d, const std::string&) { d.repeat = true; },
     "route or recording begin again at their end, the route leads back to its start"},
    {"--print-route-length", "", [](Draft& d, const std::string&) { d.options.printRouteLength = true; },
     "prints the route's length in metres and ends"},
    {"--recording", "FILE",
     [](Draft& d, const std::string& v) { d.options.settings.recording = Recording::parse(contentOf(v)); },
     "plays this file in place of the sentences"},
    {"--restamp", "", [](Draft& d, const std::string&) { d.options.settings.restamp = true; },
     "gives the recording the times of now"},
    {"--playback-speed", "X",
     [](Draft& d, const std::string& v) { d.options.settings.playbackSpeed = number(v, 0.1, 100); },
     "plays the recording X times faster (1)"},
    {"--hold", "", [](Draft& d, const std::string&) { d.options.settings.hold = true; },
     "route or recording wait for the command 'go'"},
    {"--quit-at-end", "", [](Draft& d, const std::string&) { d.options.quitAtEnd = true; },
     "ends with the route or the recording"},
    {"--quality", "1|2",
     [](Draft& d, const std::string& v) {
         d.options.settings.quality = static_cast<int>(std::lround(number(v, 1, 2)));
     },
     "fixes are autonomous (1) or corrected by SBAS (2, the default)"},
    {"--noise", "METRES",
     [](Draft& d, const std::string& v) { d.options.settings.noiseM = number(v, 0, 1000); },
     "how far positions wander from the true one (0)"},
    {"--ttff", "SECONDS",
     [](Draft& d, const std::string& v) { d.options.settings.fixTimes.cold = seconds(v); },
     "time to first fix, knowing nothing (26)"},
    {"--ttff-aided", "SECONDS",
     [](Draft& d, const std::string& v) { d.options.settings.fixTimes.aided = seconds(v); },
     "the same, knowing position and time (8)"},
    {"--ttff-warm", "SECONDS",
     [](Draft& d, const std::string& v) { d.options.settings.fixTimes.warm = seconds(v); },
     "the same, with a navigation database (2)"},
    {"--deaf", "SECONDS", [](Draft& d, const std::string& v) { d.options.settings.deafTime = seconds(v); },
     "takes nothing in for so long after power-up and reset (0.5, assumed)"},
    {"--gnss", "LIST", setSystems, "gps,glonass,galileo,sbas,qzss,beidou; gps brings sbas along"},
    {"--nmea", "VERSION",
     [](Draft& d, const std::string& v) { d.options.engine.factory.nmeaVersion = choose(v, kVersions); },
     "2.1, 2.3, 4.0 (default) or 4.1"},
    {"--numbering", "strict|extended",
     [](Draft& d, const std::string& v) {
         d.options.engine.factory.extendedNumbering = choose(v, kNumberings);
     },
     "satellite numbers in GSA and GSV (strict)"},
    {"--burst", "", [](Draft& d, const std::string&) { d.options.settings.delivery = Delivery::Burst; },
     "delivers whole frames at once, not byte by byte"},
    {"--control", "FIFO", [](Draft& d, const std::string& v) { d.options.controlFifo = v; },
     "named pipe that takes the commands below, one a line"},
    {"--command", "LINE", [](Draft& d, const std::string& v) { d.options.commands.push_back(v); },
     "carries out one of them at the start (may be repeated)"},
    {"--state", "FILE", [](Draft& d, const std::string& v) { d.options.stateFile = v; },
     "keeps key=value lines with what is true now"},
    {"--log", "FILE", [](Draft& d, const std::string& v) { d.options.logFile = v; },
     "writes down what the host sent"},
    {"--capture", "FILE", [](Draft& d, const std::string& v) { d.options.captureFile = v; },
     "writes down what the receiver sent, for --recording"},
    {"--reset-line", "FILE", [](Draft& d, const std::string& v) { d.options.resetLineFile = v; },
     "value file of the reset line's GPIO: 0 holds the receiver, 1 lets it go"},
    {"--help", "", [](Draft& d, const std::string&) { d.options.help = true; }, "prints this text and ends"},
}};

const Row& rowOf(const std::string& name) {
    const auto row = std::find_if(kRows.begin(), kRows.end(), [&](const Row& r) { return name == r.name; });
    if (row == kRows.end())
        throw OptionError("unknown option '" + name + "', see --help");
    return *row;
}

// --- Putting together -----------------------------------------------------------------------------------

void finish(Draft& draft) {
    SimulatorSettings& settings = draft.options.settings;
    GeoPosition base;
    base.geoidSeparationM = kUsualGeoidSeparationM;
    const GeoPosition start = parsePosition(draft.start, base);
    settings.route =
        draft.routeText.empty() ? Route(start) : Route(parseWaypoints(draft.routeText, start), draft.repeat);
    if (draft.options.engineName.empty())
        draft.options.engineName = kUsualEngine;
    settings.repeatRecording = draft.repeat;
    if (settings.recording && !draft.baudGiven && draft.options.engineName == "nmea")
        draft.options.engine.baudRate = 115200;
}

void checkCombination(const Draft& draft) {
    const bool playsRecording = draft.options.settings.recording.has_value();
    if (playsRecording && !draft.routeText.empty())
        throw OptionError("--recording and a route exclude each other");
    if (!playsRecording && draft.options.settings.restamp)
        throw OptionError("--restamp needs --recording");
    if (draft.routeText.empty() && draft.options.printRouteLength)
        throw OptionError("--print-route-length needs --route or --waypoints");
}

} // namespace

Options parseOptions(const std::vector<std::string>& arguments) {
    Draft draft;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::size_t equals = arguments[i].find('=');
        const bool joined = arguments[i].rfind("--", 0) == 0 && equals != std::string::npos;
        const Row& row = rowOf(joined ? arguments[i].substr(0, equals) : arguments[i]);
        const bool takesValue = *row.argument != '\0';
        if (!takesValue && joined)
            throw OptionError(std::string(row.name) + " takes no value");
        if (takesValue && !joined && i + 1 == arguments.size())
            throw OptionError(std::string(row.name) + " needs a value: " + row.argument);
        const std::string value = joined ? arguments[i].substr(equals + 1) : takesValue ? arguments[++i] : "";
        try {
            row.set(draft, value);
        } catch (const OptionError& error) {
            throw OptionError(std::string(row.name) + ": " + error.what());
        }
    }
    checkCombination(draft);
    try {
        finish(draft);
    } catch (const RouteError& error) {
        throw OptionError(error.what());
    }
    return draft.options;
}

std::string optionHelp() {
    std::string help = "receiver-simulator: a u-blox M8 on a pseudo terminal\n\nOptions:\n";
    for (const Row& row : kRows) {
        std::array<char, 160> line{};
        const std::string usage = std::string(row.name) + (*row.argument != '\0' ? " " : "") + row.argument;
        std::snprintf(line.data(), line.size(), "  %-30s %s\n", usage.c_str(), row.help);
        help += line.data();
    }
    return help;
}

} // namespace simulator
