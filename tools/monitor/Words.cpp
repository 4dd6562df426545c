#include "Words.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace monitor {

namespace {

constexpr double kMicrodegrees = 1e6;
constexpr double kThousandths = 1e3;
constexpr char kNoPosition[] = "           no position";

using telemetry::Position;

std::string positionText(const std::optional<Position>& where) {
    if (!where)
        return kNoPosition;
    return format("%10.6f %11.6f", where->latitude / kMicrodegrees, where->longitude / kMicrodegrees);
}

std::optional<Position> placeOf(const std::optional<telemetry::Fix>& fix) {
    return fix ? std::optional(fix->position) : std::nullopt;
}

/// What a line says behind its time, and where.
struct Sentence {
    std::optional<Position> where;
    std::string text;
};

std::string timeText(std::int64_t utcMs) {
    std::string text = telemetry::utcText(utcMs, false);
    text[10] = ' ';
    text.pop_back();
    return text;
}

// --- The service's way up and down ----------------------------------------------------------------------

const char* meaning(telemetry::ServiceStep::Step step) {
    using Step = telemetry::ServiceStep::Step;
    switch (step) {
    case Step::Constructing:
        return "coming up: the driver takes the receiver over and configures it";
    case Step::Initializing:
        return "coming up: gpsd is started on the receiver's port";
    case Step::Starting:
        return "coming up: waiting for gpsd to take connections";
    case Step::Running:
        return "the service is up";
    case Step::Stopping:
        return "going down: the service stops";
    case Step::Finalizing:
        return "going down: gpsd ends";
    case Step::Destroying:
        return "going down: the receiver's navigation database is saved, and the receiver given back";
    case Step::Down:
        return "the service is down";
    case Step::Failed:
        return "the service does not come up";
    }
    return "";
}

std::string textOf(const telemetry::ServiceStep& step) {
    std::string text = meaning(step.step);
    if (step.longestS > 0)
        text += step.elapsedS > 0 ? format(": %.0f s of %.0f s at most", step.elapsedS, step.longestS)
                                  : format(" (%.0f s at most)", step.longestS);
    if (step.result && *step.result != 0)
        text += format(" (error code 0x%08X)", *step.result);
    return text;
}

// --- Readings and settings ------------------------------------------------------------------------------

std::string ageText(const telemetry::Moment& at, const telemetry::Readings& readings) {
    return format("%u s old", at.tickS - readings.fixTickS);
}

std::string statusText(const telemetry::Moment& at, const telemetry::Readings& readings) {
    std::string text = readings.available ? "available" : "not available";
    if (readings.fix)
        text += format(", fix %s, within %u m, %.1f m/s, course %.0f", ageText(at, readings).c_str(),
                       readings.horizontalErrorM, readings.fix->speedMmPerS / kThousandths,
                       readings.fix->courseMdeg / kThousandths);
    return text + format(", %u satellites, %u dB-Hz, antenna %s, odometer %u m", readings.satellites,
                         readings.snrDbHz, telemetry::antennaInWords(readings.antennaState).c_str(),
                         readings.odometerM);
}

unsigned int configured(const telemetry::Settings& settings) {
    unsigned int count = 0;
    for (const telemetry::Geofence& geofence : settings.geofences)
        count += geofence.isConfigured() ? 1 : 0;
    return count;
}

std::string textOf(const telemetry::Settings& settings) {
    std::string text = format("settings: position every %u s, status every %u s, ",
                              settings.positionIntervalS, settings.statusIntervalS);
    text += settings.trackingEnabled ? format("tracking every %d s, ", settings.trackingPeriodS)
                                     : std::string("no tracking, ");
    const unsigned int geofences = configured(settings);
    return text + format("%u geofence%s%s", geofences, geofences == 1 ? "" : "s",
                         geofences > 0 && !settings.geofencesEnabled ? " (not watched)" : "");
}

std::string textOf(const telemetry::Command& command) {
    using Kind = telemetry::Command::Kind;
    if (command.kind == Kind::SetOdometer)
        return format("asked for: odometer %u m", command.odometerM);
    return format("asked for: %s %s", command.kind == Kind::Tracking ? "tracking" : "geofences",
                  command.enabled ? "on" : "off");
}

// --- Each kind of line ----------------------------------------------------------------------------------

struct SentenceOf {
    const telemetry::Moment& at;

    Sentence operator()(const telemetry::Start& start) const { return {{}, start.program}; }
    Sentence operator()(const telemetry::SettingsTaken& taken) const { return {{}, textOf(taken.settings)}; }
    Sentence operator()(const telemetry::ReadingsTaken& taken) const {
        return {placeOf(taken.readings.fix), "status: " + statusText(at, taken.readings)};
    }
    Sentence operator()(const telemetry::GeofenceCrossed& event) const {
        return {event.where, format("geofence %s: \"%s\"", event.entered ? "entered" : "left",
                                    printable(event.name).c_str())};
    }
    Sentence operator()(const telemetry::AntennaChanged& event) const {
        return {event.where, "antenna: " + telemetry::antennaInWords(event.state)};
    }
    Sentence operator()(const telemetry::AvailabilityChanged& event) const {
        return {event.where, event.available ? "fixes are available" : "no valid fixes"};
    }
    Sentence operator()(const telemetry::PositionUpdated& event) const {
        return {event.where, "position update"};
    }
    Sentence operator()(const telemetry::Tracked& event) const {
        return {placeOf(event.fix), event.fix ? format("tracking report: %.1f m/s, course %.0f",
                                                       event.fix->speedMmPerS / kThousandths,
                                                       event.fix->courseMdeg / kThousandths)
                                              : "tracking report without a fix"};
    }
    Sentence operator()(const telemetry::ServiceStep& step) const { return {{}, textOf(step)}; }
    Sentence operator()(const telemetry::Command& command) const { return {{}, textOf(command)}; }
    Sentence operator()(const telemetry::Lost& lost) const {
        return {{},
                format("%llu events were lost, as they came faster than they were taken",
                       static_cast<unsigned long long>(lost.events))};
    }
    Sentence operator()(const telemetry::End& end) const {
        return {{}, format("the monitor ends with status %d", end.status)};
    }
};

// --- A block --------------------------------------------------------------------------------------------

std::string row(const char* label, const std::string& text) {
    return format("%-12s %s\n", label, text.c_str());
}

std::string fixRows(const telemetry::Moment& at, const telemetry::Readings& readings) {
    if (!readings.fix)
        return row("fix", "none yet");
    const telemetry::Fix& fix = *readings.fix;
    return row("fix", telemetry::utcText(fix.utcS * 1000, false) + ", " + ageText(at, readings)) +
           row("position",
               positionText(fix.position) + format(", altitude %.0f m", fix.altitudeMm / kThousandths)) +
           row("movement", format("%.1f m/s, course %.0f degrees", fix.speedMmPerS / kThousandths,
                                  fix.courseMdeg / kThousandths)) +
           row("dilutions",
               format("HDOP %.1f, PDOP %.1f, TDOP %.1f, GDOP %.1f", fix.hdop, fix.pdop, fix.tdop, fix.gdop));
}

std::string clockText(const telemetry::Readings& readings) {
    if (!readings.timeDeviationS)
        return "not compared with GPS time yet";
    const std::int64_t behindS = *readings.timeDeviationS;
    if (behindS == 0)
        return "as GPS time";
    return format("%lld s %s GPS time", static_cast<long long>(std::abs(behindS)),
                  behindS > 0 ? "behind" : "ahead of");
}

std::string geofenceRows(const telemetry::Readings& readings, const telemetry::Settings& settings) {
    std::string rows;
    for (std::size_t i = 0; i < telemetry::kGeofences; ++i)
        if (settings.geofences[i].isConfigured())
            rows += row("geofence", printable(settings.geofences[i].name) + ": " +
                                        telemetry::inWords(readings.geofenceStates[i]));
    return rows;
}

} // namespace

std::string format(const char* pattern, ...) {
    va_list values;
    va_start(values, pattern);
    va_list again;
    va_copy(again, values);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, pattern, again)) + 1, '\0');
    va_end(again);
    std::vsnprintf(text.data(), text.size(), pattern, values);
    va_end(values);
    text.pop_back();
    return text;
}

std::string printable(const std::string& text) {
    std::string safe;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        safe += byte < 0x20 || byte == 0x7F ? '?' : c;
    }
    return safe;
}

std::string inOneLine(const telemetry::Line& line, const char* remark) {
    const Sentence sentence = std::visit(SentenceOf{line.at}, line.content);
    return timeText(line.at.utcMs) + "  " + positionText(sentence.where) + "  " + sentence.text + remark +
           "\n";
}

std::string inABlock(const telemetry::Line& line, const telemetry::Readings& readings,
                     const telemetry::Settings& settings) {
    return row("time", telemetry::utcText(line.at.utcMs)) +
           row("available", readings.available ? "yes" : "no") + fixRows(line.at, readings) +
           row("errors", format("within %u m, %d ms", readings.horizontalErrorM, readings.timeErrorMs)) +
           row("satellites", format("%u in view, %u dB-Hz", readings.satellites, readings.snrDbHz)) +
           row("antenna", telemetry::antennaInWords(readings.antennaState)) +
           row("clock", clockText(readings)) + row("odometer", format("%u m", readings.odometerM)) +
           geofenceRows(readings, settings);
}

} // namespace monitor
