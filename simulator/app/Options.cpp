#include "Options.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

#include "simulator/Numbers.h"

namespace simulator {

namespace {

using command_line::LongOption;
using command_line::Mistake;

constexpr double kUsualGeoidSeparationM = 47;
constexpr Duration kUsualDeafTime = std::chrono::milliseconds(500);
constexpr uint32_t kRecordingBaudRate = 115200; // of a receiver that doesn't follow the host

// What is gathered before it can be put together.
struct Draft {
    Draft() {
        options.engineName = "ubx";
        options.settings.deafTime = kUsualDeafTime;
        options.engine.cutsFirstEpoch = true;
        options.engine.input.linePaced = true;
    }

    Options options;
    std::string start = "47.2852,8.5653,450";
    std::optional<std::string> waypoints;
    bool routeFromFile = false;
    bool repeat = false;
    bool baudGiven = false;
};

// An option as it was given; a switch has no text.
struct Given {
    std::string option; // with its dashes
    std::string text;
};

// --- Values ---------------------------------------------------------------------------------------------

[[noreturn]] void refuse(const Given& given, const std::string& wanted) {
    throw OptionError(given.option + " needs " + wanted + ", not '" + given.text + "'");
}

double number(const Given& given, double lowest, double highest) {
    const auto value = parseNumber(given.text, lowest, highest);
    if (!value)
        refuse(given, formatted("a number from %.10g to %.10g", lowest, highest));
    return *value;
}

uint64_t wholeNumber(const Given& given, double highest) {
    const auto value = parseNumber(given.text, 0, highest);
    if (!value || std::floor(*value) < *value)
        refuse(given, formatted("a whole number from 0 to %.16g", highest));
    return static_cast<uint64_t>(*value);
}

Duration seconds(const Given& given) {
    return std::chrono::milliseconds(std::lround(1000 * number(given, 0, 3600)));
}

template <typename Value>
struct Choice {
    const char* name;
    Value value;
};

template <typename Value, std::size_t count>
Value choose(const Given& given, const std::array<Choice<Value>, count>& choices) {
    std::string names;
    for (const Choice<Value>& choice : choices) {
        if (given.text == choice.name)
            return choice.value;
        names += (names.empty() ? "" : ", ") + std::string(choice.name);
    }
    refuse(given, "one of " + names);
}

std::string path(const Given& given) {
    if (given.text.empty())
        refuse(given, "a path");
    return given.text;
}

std::string contentOf(const Given& file) {
    if (std::filesystem::is_directory(file.text))
        throw FileError(file.option + ": '" + file.text + "' is a folder");
    std::ifstream stream(file.text, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!stream.is_open() || stream.bad())
        throw FileError(file.option + ": can't read '" + file.text + "'");
    return content;
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
constexpr std::array<Choice<bool>, 2> kFirstEpochs{{{"cut", true}, {"whole", false}}};
constexpr std::array<Choice<bool>, 2> kGnssAcks{{{"first", true}, {"last", false}}};
constexpr std::array<Choice<bool>, 2> kUtcForms{{{"floored", false}, {"hundredths", true}}};
constexpr std::array<Choice<bool>, 2> kNumberings{{{"strict", false}, {"extended", true}}};
constexpr std::array<Choice<uint32_t>, 9> kSpeeds{{
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
constexpr std::array<Choice<int32_t>, 2> kQualities{{{"1", 1}, {"2", 2}}};
constexpr std::array<Choice<DatabaseStyle>, 2> kDatabases{
    {{"mixed", DatabaseStyle::Mixed}, {"recorded", DatabaseStyle::Recorded}}};
constexpr std::array<Choice<EmptyDatabaseReply>, 2> kEmptyDatabases{
    {{"refused", EmptyDatabaseReply::Refused}, {"counted", EmptyDatabaseReply::Counted}}};
constexpr std::array<Choice<const char*>, 2> kEngines{{{"nmea", "nmea"}, {"ubx", "ubx"}}};

void setSystems(Draft& draft, const Given& given) {
    std::set<Constellation>& enabled = draft.options.engine.factory.enabled;
    enabled.clear();
    std::istringstream stream(given.text);
    for (std::string name; std::getline(stream, name, ',');)
        enabled.insert(choose({given.option, name}, kSystems));
    if (enabled.empty())
        refuse(given, "at least one system");
    if (enabled.count(Constellation::Gps) != 0)
        enabled.insert(Constellation::Sbas);
}

void setLatenessDescriptors(Draft& draft, const Given& given) {
    constexpr double kHighestDescriptor = 1023;
    draft.options.latenessDescriptors.clear();
    std::istringstream stream(given.text);
    for (std::string number; std::getline(stream, number, ',');)
        draft.options.latenessDescriptors.push_back(
            static_cast<int32_t>(wholeNumber({given.option, number}, kHighestDescriptor)));
}

void setBaud(Draft& draft, const Given& given) {
    draft.options.engine.baudRate = choose(given, kSpeeds);
    draft.baudGiven = true;
}

void setRate(Draft& draft, const Given& given) {
    const double rate = number(given, 1, 10);
    draft.options.engine.factory.epochPeriod = std::chrono::milliseconds(std::lround(1000 / rate));
}

// Deviation, and behind a comma the correlation time.
void setDrift(Draft& draft, const Given& given) {
    const std::size_t comma = given.text.find(',');
    DriftSettings& drift = draft.options.settings.drift;
    drift.sigmaM = number({given.option, given.text.substr(0, comma)}, 0, 1000);
    if (comma != std::string::npos)
        drift.correlation = fromSeconds(number({given.option, given.text.substr(comma + 1)}, 1, 1e6));
}

void setRouteFile(Draft& draft, const Given& given) {
    draft.waypoints = contentOf(given);
    draft.routeFromFile = true;
}

void setRecording(Draft& draft, const Given& given) {
    Recording recording = Recording::parse(contentOf(given));
    if (recording.content().sentences == 0 && recording.content().frames == 0)
        throw FileError(given.option + ": '" + given.text +
                        "' has no sentence and no UBX frame with a right checksum");
    draft.options.settings.recording = std::move(recording);
}

void checkRecording(Draft& draft, const Given& given) {
    setRecording(draft, given);
    draft.options.checkRecording = true;
}

// --- Table ----------------------------------------------------------------------------------------------

struct Row {
    const char* name;     // without its dashes
    const char* argument; // empty: a switch
    void (*set)(Draft& draft, const Given& given);
    const char* help;
};

const Row kRows[] = {
    {"link", "PATH", [](Draft& d, const Given& g) { d.options.link = path(g); },
     "symbolic link to the port, while the program runs"},
    {"engine", "nmea|ubx", [](Draft& d, const Given& g) { d.options.engineName = choose(g, kEngines); },
     "what the receiver understands: nothing, or UBX (default)"},
    {"baud", "SPEED", setBaud, "speed after power-up (9600; 115200 for recordings with the nmea engine)"},
    {"port-baud", "SPEED", [](Draft& d, const Given& g) { d.options.portBaudRate = choose(g, kSpeeds); },
     "speed of the host's port until a client sets another (9600)"},
    {"hz", "RATE", setRate, "epochs per second, 1 to 10 (1)"},
    {"seed", "N",
     [](Draft& d, const Given& g) { d.options.settings.seed = d.options.engine.seed = wholeNumber(g, 1e15); },
     "everything random follows from it (1)"},
    {"start", "LAT,LON[,ALT]", [](Draft& d, const Given& g) { d.start = g.text; },
     "where the antenna stands, degrees and metres"},
    {"route", "FILE", setRouteFile,
     "drives these waypoints, LAT,LON,SPEED[,PAUSE][,alt=METRES][,tunnel] a line"},
    {"waypoints", "LIST",
     [](Draft& d, const Given& g) {
         d.waypoints = g.text;
         d.routeFromFile = false;
     },
     "the same in the argument itself, separated by ';'"},
    {"repeat", "", [](Draft& d, const Given&) { d.repeat = true; },
     "route or recording begin again at their end, the route leads back to its start"},
    {"print-route-length", "", [](Draft& d, const Given&) { d.options.printRouteLength = true; },
     "prints the route's length in metres and ends"},
    {"recording", "FILE", setRecording, "plays this file in place of the sentences"},
    {"check-recording", "FILE", checkRecording,
     "says what was recognised in a recording and ends: 0 if it can be played, else 1"},
    {"restamp", "", [](Draft& d, const Given&) { d.options.settings.restamp = true; },
     "gives the recording the times of now"},
    {"playback-speed", "X",
     [](Draft& d, const Given& g) { d.options.settings.playbackSpeed = number(g, 0.1, 100); },
     "plays the recording X times faster (1)"},
    {"hold", "", [](Draft& d, const Given&) { d.options.settings.hold = true; },
     "route or recording wait for the command 'go'"},
    {"quit-at-end", "", [](Draft& d, const Given&) { d.options.quitAtEnd = true; },
     "ends with the route or the recording"},
    {"quality", "1|2", [](Draft& d, const Given& g) { d.options.settings.quality = choose(g, kQualities); },
     "fixes are autonomous (1) or corrected by SBAS (2, the default)"},
    {"noise", "METRES", [](Draft& d, const Given& g) { d.options.settings.noiseM = number(g, 0, 1000); },
     "how far positions wander from the true one (0)"},
    {"drift", "METRES[,SECONDS]", setDrift,
     "positions drift by a Gauss-Markov process: deviation of north and of east (0), correlation time (300)"},
    {"ttff", "SECONDS", [](Draft& d, const Given& g) { d.options.settings.fixTimes.cold = seconds(g); },
     "time to first fix, knowing nothing (26)"},
    {"ttff-aided", "SECONDS",
     [](Draft& d, const Given& g) { d.options.settings.fixTimes.aided = seconds(g); },
     "the same, knowing position and time (8)"},
    {"ttff-warm", "SECONDS", [](Draft& d, const Given& g) { d.options.settings.fixTimes.warm = seconds(g); },
     "the same, with a navigation database (2)"},
    {"first-epoch", "cut|whole",
     [](Draft& d, const Given& g) { d.options.engine.cutsFirstEpoch = choose(g, kFirstEpochs); },
     "UBX messages begin in the middle of an epoch (cut, the default), or with its first"},
    {"unhealthy", "COUNT",
     [](Draft& d, const Given& g) {
         d.options.settings.unhealthySatellites = static_cast<std::size_t>(wholeNumber(g, 100));
     },
     "so many satellites in the sky are unhealthy (0)"},
    {"leap-after", "SECONDS",
     [](Draft& d, const Given& g) { d.options.settings.timeToLeapSeconds = seconds(g); },
     "without GLONASS UTC is a second wrong for so long after a cold start (750)"},
    {"utc", "floored|hundredths",
     [](Draft& d, const Given& g) { d.options.engine.factory.utcToHundredths = choose(g, kUtcForms); },
     "UTC in UBX: second floored (default), or of the nearest hundredth"},
    {"deaf", "SECONDS", [](Draft& d, const Given& g) { d.options.settings.deafTime = seconds(g); },
     "takes nothing in for so long after power-up and reset (0.5, assumed)"},
    {"message-time", "SECONDS",
     [](Draft& d, const Given& g) { d.options.engine.input.messageTime = seconds(g); },
     "answers so long after a message, and takes the next then (0.005, assumed)"},
    {"gnss-busy", "SECONDS",
     [](Draft& d, const Given& g) { d.options.engine.input.gnssBusyTime = seconds(g); },
     "neither answers nor takes anything for so long after CFG-GNSS (0.5)"},
    {"gnss-ack", "first|last",
     [](Draft& d, const Given& g) { d.options.engine.input.acknowledgesGnssFirst = choose(g, kGnssAcks); },
     "CFG-GNSS is acknowledged before it is busy (first, the default), or after"},
    {"input-buffer", "BYTES",
     [](Draft& d, const Given& g) {
         d.options.engine.input.bufferBytes = static_cast<std::size_t>(wholeNumber(g, 1e6));
     },
     "what waits for it is lost beyond so many bytes (1000)"},
    {"output-buffer", "BYTES",
     [](Draft& d, const Given& g) {
         d.options.settings.outputBufferBytes = static_cast<std::size_t>(wholeNumber(g, 1e6));
     },
     "a slow line lags by so many bytes before something is left out (4096, assumed)"},
    {"database", "mixed|recorded",
     [](Draft& d, const Given& g) { d.options.engine.database = choose(g, kDatabases); },
     "some fifty records of all sizes, or several hundred, more than the service can name (mixed)"},
    {"empty-database", "refused|counted",
     [](Draft& d, const Given& g) { d.options.engine.emptyDatabase = choose(g, kEmptyDatabases); },
     "its poll is answered with a refusal (default), or with a count of 0"},
    {"gnss", "LIST", setSystems, "gps,glonass,galileo,sbas,qzss,beidou; gps brings sbas along"},
    {"nmea", "VERSION",
     [](Draft& d, const Given& g) { d.options.engine.factory.nmeaVersion = choose(g, kVersions); },
     "2.1, 2.3, 4.0 (default) or 4.1"},
    {"numbering", "strict|extended",
     [](Draft& d, const Given& g) { d.options.engine.factory.extendedNumbering = choose(g, kNumberings); },
     "satellite numbers in GSA and GSV (strict)"},
    {"burst", "", [](Draft& d, const Given&) { d.options.settings.delivery = Delivery::Burst; },
     "delivers whole frames at once, not byte by byte"},
    {"control", "FIFO", [](Draft& d, const Given& g) { d.options.controlFifo = path(g); },
     "named pipe that takes the commands below, one a line"},
    {"command", "LINE", [](Draft& d, const Given& g) { d.options.commands.push_back(g.text); },
     "carries out one of them at the start (may be repeated)"},
    {"state", "FILE", [](Draft& d, const Given& g) { d.options.stateFile = path(g); },
     "keeps key=value lines with what is true now"},
    {"log", "FILE", [](Draft& d, const Given& g) { d.options.logFile = path(g); },
     "writes down what the host sent"},
    {"capture", "FILE", [](Draft& d, const Given& g) { d.options.captureFile = path(g); },
     "writes down what the receiver sent, for --recording"},
    {"reset-line", "FILE", [](Draft& d, const Given& g) { d.options.resetLineFile = path(g); },
     "value file of the reset line's GPIO: 0 holds the receiver, 1 lets it go"},
    {"lateness", "LIST", setLatenessDescriptors,
     "open descriptors that get a line when the host was late with it, like 7,8"},
    {"help", "", [](Draft& d, const Given&) { d.options.help = true; }, "prints this text and ends"},
    {"version", "", [](Draft& d, const Given&) { d.options.version = true; }, "prints the version and ends"},
};

// --- Command line ---------------------------------------------------------------------------------------

std::vector<LongOption> knownOptions() {
    std::vector<LongOption> known;
    for (const Row& row : kRows)
        known.push_back({row.name, *row.argument != '\0'});
    return known;
}

std::string inWords(const Mistake& mistake) {
    const Row& row = kRows[mistake.row];
    const std::string option = std::string("option '--") + row.name + "' ";
    switch (mistake.kind) {
    case Mistake::Kind::UnknownOption:
        return "unrecognized option '" + mistake.word + "'";
    case Mistake::Kind::MissingValue:
        return option + "requires an argument: " + row.argument;
    case Mistake::Kind::UnneededValue:
        return option + "doesn't allow an argument";
    case Mistake::Kind::UnexpectedArgument:
        break;
    }
    return command_line::usualWords(mistake);
}

void takeArguments(Draft& draft, const std::vector<std::string>& arguments) {
    command_line::LongOptions given(knownOptions(), arguments, inWords);
    while (const auto option = given.next())
        kRows[option->row].set(draft, {std::string("--") + kRows[option->row].name, option->value});
}

// --- Putting together -----------------------------------------------------------------------------------

void checkCombination(const Draft& draft) {
    const bool playsRecording = draft.options.settings.recording.has_value();
    if (playsRecording && draft.waypoints)
        throw OptionError("--recording and a route exclude each other");
    if (!playsRecording && draft.options.settings.restamp)
        throw OptionError("--restamp needs --recording");
    if (!draft.waypoints && draft.options.printRouteLength)
        throw OptionError("--print-route-length needs --route or --waypoints");
}

GeoPosition startOf(const Draft& draft) {
    GeoPosition base;
    base.geoidSeparationM = kUsualGeoidSeparationM;
    try {
        return parsePosition(draft.start, base);
    } catch (const RouteError& error) {
        throw OptionError(std::string("--start: ") + error.what());
    }
}

Route routeOf(const Draft& draft) {
    const GeoPosition start = startOf(draft);
    if (!draft.waypoints)
        return Route(start);
    try {
        return Route(parseWaypoints(*draft.waypoints, start), draft.repeat);
    } catch (const RouteError& error) {
        if (draft.routeFromFile)
            throw FileError(error.what());
        throw OptionError(error.what());
    }
}

} // namespace

Options parseOptions(const std::vector<std::string>& arguments) {
    Draft draft;
    takeArguments(draft, arguments);
    checkCombination(draft);
    SimulatorSettings& settings = draft.options.settings;
    settings.route = routeOf(draft);
    settings.repeatRecording = draft.repeat;
    if (settings.recording && !draft.baudGiven && draft.options.engineName == "nmea")
        draft.options.engine.baudRate = kRecordingBaudRate;
    return draft.options;
}

std::string optionHelp() {
    std::string help = "receiver-simulator: a u-blox M8 on a pseudo terminal\n\nOptions:\n";
    for (const Row& row : kRows) {
        const bool hasShortForm = std::string(row.name) == "help";
        const std::string usage = std::string(hasShortForm ? "-h, --" : "--") + row.name +
                                  (*row.argument != '\0' ? " " : "") + row.argument;
        help += formatted("  %-30s %s\n", usage.c_str(), row.help);
    }
    return help + "\nExit status: 0 at the end, 1 for a port or file that can't be had or used, 2 for a "
                  "wrong option.\n";
}

std::string versionText() { return "receiver-simulator (ruxogps) " SIMULATOR_VERSION; }

} // namespace simulator
