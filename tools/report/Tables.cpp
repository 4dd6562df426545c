#include "Tables.h"

#include <cstdint>

#include "Markup.h"

namespace report {

namespace {

std::string count(const char* name, std::uint64_t value, const char* words) {
    const std::string text = std::to_string(value);
    return "<div><dt>" + std::string(words) + "</dt><dd><data id=\"data-count-" + name + "\" value=\"" +
           text + "\">" + text + "</data></dd></div>\n";
}

} // namespace

std::string countsTable(const Drive& drive) {
    const Counts& counts = drive.counts;
    return "<dl class=\"counts\">\n" + count("fixes", counts.fixes, "fixes") +
           count("samples", counts.samples, "readings") + count("events", drive.events.size(), "events") +
           count("entered", counts.entered, "geofences entered") +
           count("left", counts.left, "geofences left") +
           count("antenna", counts.antennaChanges, "antenna changes") +
           count("availability", counts.availabilityChanges, "availability changes") +
           count("position-updates", counts.positionUpdates, "position updates") +
           count("tracking", counts.trackingReports, "tracking reports") +
           count("lost", counts.lost, "events lost") + count("damage", drive.damage.size(), "damaged lines") +
           count("lines", counts.lines, "lines") + "</dl>\n";
}

std::string eventsTable(const Drive&, const std::vector<Happening>& happenings) {
    std::string rows;
    for (const Happening& happening : happenings)
        rows +=
            "<tr><td>" + elapsed(happening.timeS) + "</td><td>" + escaped(happening.words) + "</td></tr>\n";
    return "<table><caption>Events</caption><thead><tr><th scope=\"col\">time</th><th "
           "scope=\"col\">event</th></tr></thead><tbody>\n" +
           rows + "</tbody></table>\n";
}

} // namespace report
