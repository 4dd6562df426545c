#ifndef REPORT_EVENTS_H
#define REPORT_EVENTS_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Drive.h"

namespace report {

/// What kind of mark and row an event gets.
enum class EventKind { Entered, Left, Antenna, Availability, Routine, Command, Lost, Recording };

/// One event, or a row of routine ones without another between them.
struct Happening {
    EventKind kind = EventKind::Recording;
    double timeS = 0;
    std::int64_t utcMs = 0;
    std::string words;
    std::optional<telemetry::Position> where; ///< of the event itself, or else the last fix's
    std::size_t events = 1;                   ///< how many this is
    double untilS = 0;                        ///< the last one's time
    std::size_t number = 0;                   ///< of a crossing, from 1; 0 for the others
};

std::vector<Happening> happeningsOf(const Drive& drive);

/// "geofence entered", ...
const char* inWords(EventKind kind);

/// The name of its style: "entered", ...
const char* styleOf(EventKind kind);

/// "restart", "no-readings", "no-fix", "watchdog", "clock-jump"
const char* styleOf(Stretch::Kind kind);

} // namespace report

#endif
