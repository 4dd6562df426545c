#include "Events.h"

#include <utility>
#include <variant>

#include "Markup.h"

namespace report {

namespace {

using telemetry::Position;

struct KindOf {
    EventKind operator()(const telemetry::GeofenceCrossed& event) const {
        return event.entered ? EventKind::Entered : EventKind::Left;
    }
    EventKind operator()(const telemetry::AntennaChanged&) const { return EventKind::Antenna; }
    EventKind operator()(const telemetry::AvailabilityChanged&) const { return EventKind::Availability; }
    EventKind operator()(const telemetry::PositionUpdated&) const { return EventKind::Routine; }
    EventKind operator()(const telemetry::Tracked&) const { return EventKind::Routine; }
    EventKind operator()(const telemetry::Command&) const { return EventKind::Command; }
    EventKind operator()(const telemetry::Lost&) const { return EventKind::Lost; }
    template <class Other>
    EventKind operator()(const Other&) const {
        return EventKind::Recording;
    }
};

std::string inWords(const telemetry::Command& command) {
    const std::string asked = command.enabled ? "on" : "off";
    switch (command.kind) {
    case telemetry::Command::Kind::SetOdometer:
        return "odometer set to " + std::to_string(command.odometerM) + " m";
    case telemetry::Command::Kind::Tracking:
        return "tracking switched " + asked;
    case telemetry::Command::Kind::Geofences:
        return "geofences switched " + asked;
    }
    return asked;
}

struct WordsOf {
    std::string operator()(const telemetry::GeofenceCrossed& event) const {
        const std::string name = event.name.empty() ? "a geofence without a name" : event.name;
        return event.entered ? name + " entered" : name + " left";
    }
    std::string operator()(const telemetry::AntennaChanged& event) const {
        return "antenna " + telemetry::antennaInWords(event.state);
    }
    std::string operator()(const telemetry::AvailabilityChanged& event) const {
        return event.available ? "position available" : "position not available";
    }
    std::string operator()(const telemetry::PositionUpdated&) const { return "position update"; }
    std::string operator()(const telemetry::Tracked&) const { return "tracking report"; }
    std::string operator()(const telemetry::Command& command) const { return inWords(command); }
    std::string operator()(const telemetry::Lost& lost) const {
        return std::to_string(lost.events) + " events lost: they came faster than they could be written";
    }
    std::string operator()(const telemetry::Start& start) const {
        return "recording begins: " + start.program;
    }
    std::string operator()(const telemetry::ServiceStep& step) const {
        return std::string("service ") + telemetry::inWords(step.step);
    }
    std::string operator()(const telemetry::End& end) const {
        return "recording ends" + (end.status == 0 ? "" : " with status " + std::to_string(end.status));
    }
    template <class Other>
    std::string operator()(const Other&) const {
        return "another line";
    }
};

struct WhereOf {
    std::optional<Position> operator()(const telemetry::GeofenceCrossed& event) const { return event.where; }
    std::optional<Position> operator()(const telemetry::AntennaChanged& event) const { return event.where; }
    std::optional<Position> operator()(const telemetry::AvailabilityChanged& event) const {
        return event.where;
    }
    std::optional<Position> operator()(const telemetry::PositionUpdated& event) const { return event.where; }
    std::optional<Position> operator()(const telemetry::Tracked& event) const {
        return event.fix ? std::optional(event.fix->position) : std::nullopt;
    }
    template <class Other>
    std::optional<Position> operator()(const Other&) const {
        return std::nullopt;
    }
};

/// Where the event was, as far as that is known.
std::optional<Position> whereOf(const Drive& drive, const Event& event) {
    if (const std::optional<Position> own = std::visit(WhereOf(), event.content))
        return own;
    const std::size_t before = event.sample == 0 ? drive.samples.size() : event.sample - 1;
    if (before >= drive.samples.size() || !drive.samples[before].readings.fix)
        return std::nullopt;
    return drive.samples[before].readings.fix->position;
}

/// Routine events in a row, and repeated ones, are one.
bool goesOn(const Happening& before, const Happening& event) {
    return event.kind == before.kind &&
           (event.kind == EventKind::Routine ||
            (event.kind == EventKind::Availability && event.words == before.words));
}

/// How many of each sort are in a row.
struct RoutineCount {
    std::size_t updates = 0;
    std::size_t reports = 0;
    std::size_t reportsWithoutFix = 0;

    void take(const Event& event) {
        updates += std::holds_alternative<telemetry::PositionUpdated>(event.content);
        if (const auto* tracked = std::get_if<telemetry::Tracked>(&event.content))
            ++(tracked->fix ? reports : reportsWithoutFix);
    }

    std::string words() const {
        std::string all;
        const auto add = [&](std::size_t many, const char* one, const char* more) {
            if (many != 0)
                all += (all.empty() ? "" : ", ") + counted(many, one, more);
        };
        add(updates, "position update", "position updates");
        add(reports, "tracking report", "tracking reports");
        add(reportsWithoutFix, "tracking report without a fix", "tracking reports without a fix");
        return all;
    }
};

Happening happeningOf(const Drive& drive, const Event& event) {
    Happening happening;
    happening.kind = std::visit(KindOf(), event.content);
    happening.timeS = happening.untilS = event.timeS;
    happening.utcMs = event.utcMs;
    happening.words = std::visit(WordsOf(), event.content);
    happening.where = whereOf(drive, event);
    return happening;
}

} // namespace

std::vector<Happening> happeningsOf(const Drive& drive) {
    std::vector<Happening> happenings;
    RoutineCount routine;
    std::size_t crossings = 0;
    for (const Event& event : drive.events) {
        Happening happening = happeningOf(drive, event);
        const bool more = !happenings.empty() && goesOn(happenings.back(), happening);
        if (happening.kind == EventKind::Entered || happening.kind == EventKind::Left)
            happening.number = ++crossings;
        if (!more)
            routine = {};
        routine.take(event);
        if (more) {
            ++happenings.back().events;
            happenings.back().untilS = event.timeS;
        } else {
            happenings.push_back(std::move(happening));
        }
        if (happenings.back().kind == EventKind::Routine)
            happenings.back().words = routine.words();
    }
    return happenings;
}

const char* inWords(EventKind kind) {
    switch (kind) {
    case EventKind::Entered:
        return "geofence entered";
    case EventKind::Left:
        return "geofence left";
    case EventKind::Antenna:
        return "antenna";
    case EventKind::Availability:
        return "availability";
    case EventKind::Routine:
        return "reports";
    case EventKind::Command:
        return "command";
    case EventKind::Lost:
        return "lost events";
    case EventKind::Recording:
        return "recording";
    }
    return "";
}

const char* styleOf(EventKind kind) {
    switch (kind) {
    case EventKind::Entered:
        return "entered";
    case EventKind::Left:
        return "left";
    case EventKind::Antenna:
        return "antenna";
    case EventKind::Availability:
        return "availability";
    case EventKind::Routine:
        return "routine";
    case EventKind::Command:
        return "command";
    case EventKind::Lost:
        return "lost";
    case EventKind::Recording:
        return "recording";
    }
    return "";
}

const char* styleOf(Stretch::Kind kind) {
    switch (kind) {
    case Stretch::Kind::Restart:
        return "restart";
    case Stretch::Kind::NoReadings:
        return "no-readings";
    case Stretch::Kind::NoFix:
        return "no-fix";
    case Stretch::Kind::Watchdog:
        return "watchdog";
    case Stretch::Kind::ClockJump:
        return "clock-jump";
    }
    return "";
}

} // namespace report
