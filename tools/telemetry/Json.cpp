// Lines of telemetry as JSON, each direction beside the other so that they stay alike.

#include "Json.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <limits>
#include <nlohmann/json.hpp>

namespace telemetry {

namespace {

using nlohmann::ordered_json;

constexpr double kMicrodegrees = 1e6;
constexpr double kThousandths = 1e3;
constexpr std::int64_t kMsPerSecond = 1000;

[[noreturn]] void refuse(const std::string& what) { throw NotTelemetry(what); }

// --- Numbers and texts ----------------------------------------------------------------------------------

const ordered_json& member(const ordered_json& object, const char* name) {
    if (!object.is_object())
        refuse("an object is missing");
    const auto found = object.find(name);
    if (found == object.end())
        refuse(std::string("\"") + name + "\" is missing");
    return *found;
}

double number(const ordered_json& object, const char* name) {
    const ordered_json& value = member(object, name);
    if (!value.is_number())
        refuse(std::string("\"") + name + "\" is no number");
    return value.get<double>();
}

/// The whole number that was divided by `scale` when it was written.
template <class Integer>
Integer scaled(const ordered_json& object, const char* name, double scale = 1) {
    const double value = std::round(number(object, name) * scale);
    // An integer of 64 bits is a time of this planet: within what a double holds exactly.
    constexpr double kExact = 9007199254740992.0;
    constexpr bool wide = sizeof(Integer) > 4;
    const double least = wide ? -kExact : static_cast<double>(std::numeric_limits<Integer>::min());
    const double most = wide ? kExact : static_cast<double>(std::numeric_limits<Integer>::max());
    if (!(value >= least && value <= most))
        refuse(std::string("\"") + name + "\" is out of range");
    return static_cast<Integer>(value);
}

bool flag(const ordered_json& object, const char* name) {
    const ordered_json& value = member(object, name);
    if (!value.is_boolean())
        refuse(std::string("\"") + name + "\" is neither true nor false");
    return value.get<bool>();
}

std::string text(const ordered_json& object, const char* name) {
    const ordered_json& value = member(object, name);
    if (!value.is_string())
        refuse(std::string("\"") + name + "\" is no text");
    return value.get<std::string>();
}

/// The value that `words` gives for one of `count` values.
template <class Value, class Words>
Value named(const std::string& word, unsigned int count, Words words) {
    for (unsigned int i = 0; i < count; ++i)
        if (word == words(static_cast<Value>(i)))
            return static_cast<Value>(i);
    refuse("\"" + word + "\" is not understood");
}

// --- Times ----------------------------------------------------------------------------------------------

std::int64_t utcMsOf(const ordered_json& object, const char* name) {
    const std::string word = text(object, name);
    std::tm parts = {};
    const char* const rest = strptime(word.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    int ms = 0;
    int length = 0;
    if (rest == nullptr ||
        (std::sscanf(rest, ".%3dZ%n", &ms, &length), length == 0 && std::string(rest) != "Z"))
        refuse("\"" + word + "\" is no time");
    return static_cast<std::int64_t>(timegm(&parts)) * kMsPerSecond + ms;
}

// --- Positions and fixes --------------------------------------------------------------------------------

void write(ordered_json& to, const Position& position) {
    to["latitude_deg"] = position.latitude / kMicrodegrees;
    to["longitude_deg"] = position.longitude / kMicrodegrees;
}

void write(ordered_json& to, const std::optional<Position>& where) {
    if (where)
        return write(to, *where);
    to["latitude_deg"] = nullptr;
    to["longitude_deg"] = nullptr;
}

Position positionOf(const ordered_json& object) {
    return {scaled<std::int32_t>(object, "latitude_deg", kMicrodegrees),
            scaled<std::int32_t>(object, "longitude_deg", kMicrodegrees)};
}

std::optional<Position> whereOf(const ordered_json& object) {
    if (member(object, "latitude_deg").is_null())
        return std::nullopt;
    return positionOf(object);
}

/// Without the digits that a float has beyond its own; null for what is no number.
ordered_json dilution(double value) {
    return std::isfinite(value) ? ordered_json(std::round(value * kThousandths) / kThousandths) : nullptr;
}

double dilutionOf(const ordered_json& object, const char* name) {
    return member(object, name).is_null() ? std::numeric_limits<double>::quiet_NaN() : number(object, name);
}

ordered_json fixToJson(const Fix& fix) {
    ordered_json to;
    to["time_utc"] = utcText(fix.utcS * kMsPerSecond, false);
    write(to, fix.position);
    to["altitude_m"] = fix.altitudeMm / kThousandths;
    to["speed_m_per_s"] = fix.speedMmPerS / kThousandths;
    to["course_deg"] = fix.courseMdeg / kThousandths;
    to["hdop"] = dilution(fix.hdop);
    to["tdop"] = dilution(fix.tdop);
    to["pdop"] = dilution(fix.pdop);
    to["gdop"] = dilution(fix.gdop);
    return to;
}

Fix fixOf(const ordered_json& object) {
    Fix fix;
    fix.utcS = utcMsOf(object, "time_utc") / kMsPerSecond;
    fix.position = positionOf(object);
    fix.altitudeMm = scaled<std::int32_t>(object, "altitude_m", kThousandths);
    fix.speedMmPerS = scaled<std::uint32_t>(object, "speed_m_per_s", kThousandths);
    fix.courseMdeg = scaled<std::uint32_t>(object, "course_deg", kThousandths);
    fix.hdop = dilutionOf(object, "hdop");
    fix.tdop = dilutionOf(object, "tdop");
    fix.pdop = dilutionOf(object, "pdop");
    fix.gdop = dilutionOf(object, "gdop");
    return fix;
}

// --- Settings -------------------------------------------------------------------------------------------

ordered_json geofenceToJson(std::size_t slot, const Geofence& geofence) {
    ordered_json to;
    to["slot"] = slot;
    to["name"] = geofence.name;
    write(to, geofence.centre);
    to["width_deg"] = geofence.width / kMicrodegrees;
    to["height_deg"] = geofence.height / kMicrodegrees;
    to["margin_deg"] = geofence.margin / kMicrodegrees;
    return to;
}

Geofence geofenceOf(const ordered_json& object) {
    Geofence geofence;
    geofence.name = text(object, "name");
    geofence.centre = positionOf(object);
    geofence.width = scaled<std::uint32_t>(object, "width_deg", kMicrodegrees);
    geofence.height = scaled<std::uint32_t>(object, "height_deg", kMicrodegrees);
    geofence.margin = scaled<std::uint32_t>(object, "margin_deg", kMicrodegrees);
    return geofence;
}

std::size_t slotOf(const ordered_json& object) {
    const auto slot = scaled<std::uint32_t>(object, "slot");
    if (slot >= kGeofences)
        refuse("\"slot\" is out of range");
    return slot;
}

void write(ordered_json& to, const SettingsTaken& taken) {
    const Settings& settings = taken.settings;
    to["enabled"] = settings.enabled;
    to["position_interval_s"] = settings.positionIntervalS;
    to["status_interval_s"] = settings.statusIntervalS;
    to["log_interval_s"] = settings.logIntervalS;
    to["tracking"] = {{"enabled", settings.trackingEnabled},
                      {"period_s", settings.trackingPeriodS},
                      {"base_s", settings.trackingBaseS},
                      {"offset_s", settings.trackingOffsetS}};
    to["geofences_enabled"] = settings.geofencesEnabled;
    to["geofences"] = ordered_json::array();
    for (std::size_t slot = 0; slot < kGeofences; ++slot)
        if (settings.geofences[slot].isConfigured())
            to["geofences"].push_back(geofenceToJson(slot, settings.geofences[slot]));
}

SettingsTaken settingsOf(const ordered_json& object) {
    Settings settings;
    settings.enabled = flag(object, "enabled");
    settings.positionIntervalS = scaled<std::uint32_t>(object, "position_interval_s");
    settings.statusIntervalS = scaled<std::uint32_t>(object, "status_interval_s");
    settings.logIntervalS = scaled<std::uint32_t>(object, "log_interval_s");
    const ordered_json& tracking = member(object, "tracking");
    settings.trackingEnabled = flag(tracking, "enabled");
    settings.trackingPeriodS = scaled<std::int32_t>(tracking, "period_s");
    settings.trackingBaseS = scaled<std::int32_t>(tracking, "base_s");
    settings.trackingOffsetS = scaled<std::int32_t>(tracking, "offset_s");
    settings.geofencesEnabled = flag(object, "geofences_enabled");
    for (const ordered_json& geofence : member(object, "geofences"))
        settings.geofences[slotOf(geofence)] = geofenceOf(geofence);
    return {settings};
}

// --- Readings -------------------------------------------------------------------------------------------

void writeAntenna(ordered_json& to, std::uint32_t state) {
    to["antenna"] = antennaInWords(state);
    to["antenna_state"] = state;
}

void write(ordered_json& to, const Readings& readings, std::uint32_t tickS) {
    to["available"] = readings.available;
    writeAntenna(to, readings.antennaState);
    to["satellites"] = readings.satellites;
    to["snr_dbhz"] = readings.snrDbHz;
    to["fix_tick_s"] = readings.fixTickS;
    to["fix_age_s"] = readings.fix ? ordered_json(tickS - readings.fixTickS) : nullptr;
    to["fix"] = readings.fix ? fixToJson(*readings.fix) : nullptr;
    to["odometer_m"] = readings.odometerM;
    to["geofence_states"] = ordered_json::array();
    for (const GeofenceState state : readings.geofenceStates)
        to["geofence_states"].push_back(inWords(state));
    to["time_deviation_s"] = readings.timeDeviationS ? ordered_json(*readings.timeDeviationS) : nullptr;
    to["horizontal_error_m"] = readings.horizontalErrorM;
    to["time_error_ms"] = readings.timeErrorMs;
}

std::array<GeofenceState, kGeofences> statesOf(const ordered_json& words) {
    std::array<GeofenceState, kGeofences> states{};
    if (!words.is_array() || words.size() != states.size())
        refuse("\"geofence_states\" has not 12 states");
    for (std::size_t i = 0; i < states.size(); ++i) {
        if (!words[i].is_string())
            refuse("\"geofence_states\" has not 12 states");
        states[i] = named<GeofenceState>(words[i].get<std::string>(), 5,
                                         [](GeofenceState state) { return inWords(state); });
    }
    return states;
}

ReadingsTaken readingsOf(const ordered_json& object) {
    Readings readings;
    readings.available = flag(object, "available");
    readings.antennaState = scaled<std::uint32_t>(object, "antenna_state");
    readings.satellites = scaled<std::uint32_t>(object, "satellites");
    readings.snrDbHz = scaled<std::uint32_t>(object, "snr_dbhz");
    readings.fixTickS = scaled<std::uint32_t>(object, "fix_tick_s");
    if (!member(object, "fix").is_null())
        readings.fix = fixOf(member(object, "fix"));
    readings.odometerM = scaled<std::uint32_t>(object, "odometer_m");
    readings.geofenceStates = statesOf(member(object, "geofence_states"));
    if (!member(object, "time_deviation_s").is_null())
        readings.timeDeviationS = scaled<std::int32_t>(object, "time_deviation_s");
    readings.horizontalErrorM = scaled<std::uint32_t>(object, "horizontal_error_m");
    readings.timeErrorMs = scaled<std::int32_t>(object, "time_error_ms");
    return {readings};
}

// --- Steps and commands ---------------------------------------------------------------------------------

const char* inWords(Command::Kind kind) {
    switch (kind) {
    case Command::Kind::SetOdometer:
        return "set_odometer";
    case Command::Kind::Tracking:
        return "tracking";
    case Command::Kind::Geofences:
        return "geofences";
    }
    return "set_odometer";
}

void write(ordered_json& to, const ServiceStep& step) {
    to["step"] = telemetry::inWords(step.step);
    to["elapsed_s"] = std::round(step.elapsedS * kThousandths) / kThousandths;
    to["longest_s"] = step.longestS > 0 ? ordered_json(step.longestS) : nullptr;
    to["result"] = step.result ? ordered_json(*step.result) : nullptr;
}

ServiceStep stepOf(const ordered_json& object) {
    ServiceStep step;
    step.step = named<ServiceStep::Step>(text(object, "step"), 9,
                                         [](ServiceStep::Step each) { return telemetry::inWords(each); });
    step.elapsedS = number(object, "elapsed_s");
    step.longestS = member(object, "longest_s").is_null() ? 0 : number(object, "longest_s");
    if (!member(object, "result").is_null())
        step.result = scaled<std::uint32_t>(object, "result");
    return step;
}

void write(ordered_json& to, const Command& command) {
    to["command"] = inWords(command.kind);
    if (command.kind == Command::Kind::SetOdometer)
        to["odometer_m"] = command.odometerM;
    else
        to["enabled"] = command.enabled;
}

Command commandOf(const ordered_json& object) {
    Command command;
    command.kind =
        named<Command::Kind>(text(object, "command"), 3, [](Command::Kind kind) { return inWords(kind); });
    if (command.kind == Command::Kind::SetOdometer)
        command.odometerM = scaled<std::uint32_t>(object, "odometer_m");
    else
        command.enabled = flag(object, "enabled");
    return command;
}

// --- Lines ----------------------------------------------------------------------------------------------

constexpr char kFormat[] = "ruxogps telemetry";

struct TypeOf {
    const char* operator()(const Start&) const { return "start"; }
    const char* operator()(const SettingsTaken&) const { return "settings"; }
    const char* operator()(const ReadingsTaken&) const { return "readings"; }
    const char* operator()(const GeofenceCrossed& event) const {
        return event.entered ? "geofence_entered" : "geofence_left";
    }
    const char* operator()(const AntennaChanged&) const { return "antenna"; }
    const char* operator()(const AvailabilityChanged&) const { return "availability"; }
    const char* operator()(const PositionUpdated&) const { return "position_update"; }
    const char* operator()(const Tracked&) const { return "tracking"; }
    const char* operator()(const ServiceStep&) const { return "service"; }
    const char* operator()(const Command&) const { return "command"; }
    const char* operator()(const Lost&) const { return "lost"; }
    const char* operator()(const End&) const { return "end"; }
};

/// Writes what a line tells behind its moment.
struct ContentWriter {
    ordered_json& to;
    std::uint32_t tickS;

    void operator()(const Start& start) const {
        to["format"] = kFormat;
        to["version"] = start.version;
        to["program"] = start.program;
    }
    void operator()(const SettingsTaken& settings) const { write(to, settings); }
    void operator()(const ReadingsTaken& taken) const { write(to, taken.readings, tickS); }
    void operator()(const GeofenceCrossed& event) const {
        to["geofence"] = {{"slot", event.slot ? ordered_json(*event.slot) : nullptr}, {"name", event.name}};
        write(to, event.where);
    }
    void operator()(const AntennaChanged& event) const {
        writeAntenna(to, event.state);
        write(to, event.where);
    }
    void operator()(const AvailabilityChanged& event) const {
        to["available"] = event.available;
        write(to, event.where);
    }
    void operator()(const PositionUpdated& event) const { write(to, event.where); }
    void operator()(const Tracked& event) const { to["fix"] = event.fix ? fixToJson(*event.fix) : nullptr; }
    void operator()(const ServiceStep& step) const { write(to, step); }
    void operator()(const Command& command) const { write(to, command); }
    void operator()(const Lost& lost) const { to["events"] = lost.events; }
    void operator()(const End& end) const { to["status"] = end.status; }
};

Start startOf(const ordered_json& object) {
    if (text(object, "format") != kFormat)
        refuse("\"format\" is not \"" + std::string(kFormat) + "\"");
    return {scaled<std::uint32_t>(object, "version"), text(object, "program")};
}

GeofenceCrossed crossingOf(const ordered_json& object, bool entered) {
    const ordered_json& geofence = member(object, "geofence");
    GeofenceCrossed event;
    event.entered = entered;
    if (!member(geofence, "slot").is_null())
        event.slot = slotOf(geofence);
    event.name = text(geofence, "name");
    event.where = whereOf(object);
    return event;
}

Tracked trackedOf(const ordered_json& object) {
    const ordered_json& fix = member(object, "fix");
    return {fix.is_null() ? std::nullopt : std::optional(fixOf(fix))};
}

struct Type {
    const char* name;
    Content (*read)(const ordered_json& object);
};

const Type kTypes[] = {
    {"start", [](const ordered_json& object) -> Content { return startOf(object); }},
    {"settings", [](const ordered_json& object) -> Content { return settingsOf(object); }},
    {"readings", [](const ordered_json& object) -> Content { return readingsOf(object); }},
    {"geofence_entered", [](const ordered_json& object) -> Content { return crossingOf(object, true); }},
    {"geofence_left", [](const ordered_json& object) -> Content { return crossingOf(object, false); }},
    {"antenna",
     [](const ordered_json& object) -> Content {
         return AntennaChanged{scaled<std::uint32_t>(object, "antenna_state"), whereOf(object)};
     }},
    {"availability",
     [](const ordered_json& object) -> Content {
         return AvailabilityChanged{flag(object, "available"), whereOf(object)};
     }},
    {"position_update",
     [](const ordered_json& object) -> Content { return PositionUpdated{whereOf(object)}; }},
    {"tracking", [](const ordered_json& object) -> Content { return trackedOf(object); }},
    {"service", [](const ordered_json& object) -> Content { return stepOf(object); }},
    {"command", [](const ordered_json& object) -> Content { return commandOf(object); }},
    {"lost",
     [](const ordered_json& object) -> Content {
         return Lost{static_cast<std::uint64_t>(scaled<std::int64_t>(object, "events"))};
     }},
    {"end",
     [](const ordered_json& object) -> Content { return End{scaled<std::int32_t>(object, "status")}; }},
};

} // namespace

std::string toJson(const Line& line) {
    ordered_json object;
    object["type"] = std::visit(TypeOf(), line.content);
    object["time_utc"] = utcText(line.at.utcMs);
    object["uptime_s"] = static_cast<double>(line.at.uptimeMs) / kThousandths;
    object["tick_s"] = line.at.tickS;
    std::visit(ContentWriter{object, line.at.tickS}, line.content);
    return object.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

std::optional<Line> fromJson(const std::string& words) {
    const ordered_json object = ordered_json::parse(words, nullptr, false);
    if (object.is_discarded() || !object.is_object())
        refuse("this is no JSON object");
    const std::string type = text(object, "type");
    for (const Type& row : kTypes)
        if (type == row.name)
            return Line{{utcMsOf(object, "time_utc"), scaled<std::int64_t>(object, "uptime_s", kThousandths),
                         scaled<std::uint32_t>(object, "tick_s")},
                        row.read(object)};
    return std::nullopt;
}

} // namespace telemetry
