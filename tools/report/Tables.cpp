#include "Tables.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "Markup.h"
#include "OdometerArithmetic.h"

namespace report {

namespace {

constexpr double kMicrodegrees = 1e6;

std::string data(const std::string& name, std::uint64_t value) {
    const std::string text = std::to_string(value);
    return "<data id=\"data-count-" + name + "\" value=\"" + text + "\">" + text + "</data>";
}

std::string count(const char* name, std::uint64_t value, const char* words) {
    return "<div><dt>" + std::string(words) + "</dt><dd>" + data(name, value) + "</dd></div>\n";
}

/// A time that the script makes a button of.
std::string time(double timeS) {
    return "<span class=\"time\" data-t=\"" + number(timeS, 2) + "\">" + elapsed(timeS) + "</span>";
}

/// A table that may be wider than the page: then it is moved by itself, with the keys as well.
std::string table(const std::string& caption, const std::vector<const char*>& columns,
                  const std::string& rows) {
    std::string heads;
    for (const char* column : columns)
        heads += "<th scope=\"col\">" + std::string(column) + "</th>";
    return "<div class=\"wide\" tabindex=\"0\" role=\"region\" aria-label=\"" + caption +
           "\">\n<table>\n<caption>" + caption + "</caption>\n<thead><tr>" + heads +
           "</tr></thead>\n<tbody>\n" + rows + "</tbody>\n</table>\n</div>\n";
}

std::string section(const char* id, const char* head, const std::string& content) {
    return "<section id=\"" + std::string(id) + "\" aria-labelledby=\"" + id + "-head\">\n<h2 id=\"" + id +
           "-head\">" + head + "</h2>\n" + content + "</section>\n";
}

std::string degrees(std::int32_t microdegrees, char positive, char negative) {
    return number(std::abs(microdegrees / kMicrodegrees), 6) + "\u00B0 " +
           (microdegrees < 0 ? negative : positive);
}

std::string inWords(const telemetry::Position& position) {
    return degrees(position.latitude, 'N', 'S') + ", " + degrees(position.longitude, 'E', 'W');
}

/// "2026-11-22 06:40:00"
std::string clockText(std::int64_t utcMs) {
    std::string text = telemetry::utcText(utcMs, false);
    std::replace(text.begin(), text.end(), 'T', ' ');
    text.pop_back(); // its Z: the column says UTC
    return text;
}

} // namespace

// --- What it is -----------------------------------------------------------------------------------------

std::string summary(const Drive& drive) {
    const std::string utc = telemetry::utcText(drive.beginUtcMs, false);
    const std::string odometer =
        drive.samples.empty() ? ""
                              : ", odometer at the end " + distance(drive.samples.back().readings.odometerM);
    return "<p class=\"summary\"><time datetime=\"" + utc + "\">" + clockText(drive.beginUtcMs) +
           " UTC</time>, " + elapsed(drive.durationS) + " long" + odometer + ". Recorded by " +
           escaped(drive.program) + ".</p>\n";
}

namespace {

std::string damageList(const Drive& drive) {
    constexpr std::size_t kMost = 50;
    std::string list;
    for (std::size_t i = 0; i < std::min(drive.damage.size(), kMost); ++i)
        list += "<li>Line " + std::to_string(drive.damage[i].line) + ": " + escaped(drive.damage[i].what) +
                "</li>\n";
    if (drive.damagedLines() > kMost)
        list += "<li>and " + std::to_string(drive.damagedLines() - kMost) + " more</li>\n";
    return "<ul>\n" + list + "</ul>\n";
}

} // namespace

std::string warnings(const Drive& drive) {
    std::string words;
    if (!drive.damage.empty())
        words += "<p>" + counted(drive.damagedLines(), "line", "lines") +
                 " of the recording could not be read. All others are shown.</p>\n" + damageList(drive);
    if (!drive.ended)
        words += "<p>The recording has no end: it still ran, or was cut off.</p>\n";
    if (drive.counts.lost != 0)
        words += "<p>" + std::to_string(drive.counts.lost) +
                 " events came faster than they could be written, and are missing.</p>\n";
    if (drive.counts.fixes == 0)
        words += "<p>The recording has no fix, so there is no track.</p>\n";
    return words.empty() ? ""
                         : "<section id=\"damage\" class=\"warning\" aria-label=\"What is missing\">\n" +
                               words + "</section>\n";
}

std::string countsTable(const Drive& drive) {
    const Counts& counts = drive.counts;
    return section("counts", "What it holds",
                   "<dl class=\"counts\">\n" + count("fixes", counts.fixes, "fixes") +
                       count("samples", counts.samples, "readings") +
                       count("events", drive.events.size(), "events") +
                       count("entered", counts.entered, "geofences entered") +
                       count("left", counts.left, "geofences left") +
                       count("antenna", counts.antennaChanges, "antenna changes") +
                       count("availability", counts.availabilityChanges, "availability changes") +
                       count("position-updates", counts.positionUpdates, "position updates") +
                       count("tracking", counts.trackingReports, "tracking reports with a fix") +
                       count("tracking-without-fix", counts.trackingReportsWithoutFix,
                             "tracking reports without a fix") +
                       count("lost", counts.lost, "events lost") +
                       count("stretches", drive.stretches.size(), "interruptions") +
                       count("damage", drive.damagedLines(), "damaged lines") +
                       count("lines", counts.lines, "lines read") + "</dl>\n");
}

// --- What happened --------------------------------------------------------------------------------------

namespace {

std::string sumOf(const Happening& happening) {
    const bool isRoutine = happening.kind == EventKind::Routine;
    if (happening.events == 1)
        return "";
    return (isRoutine ? "" : ", " + std::to_string(happening.events) + " times") + ", until " +
           elapsed(happening.untilS);
}

std::string row(const Happening& happening) {
    const std::string style = styleOf(happening.kind);
    return "<tr class=\"" + style + "\"><td class=\"number\">" +
           (happening.number == 0 ? "" : std::to_string(happening.number)) + "</td><td>" +
           time(happening.timeS) + "</td><td class=\"clock\">" + clockText(happening.utcMs) +
           "</td><td><span class=\"dot " + style + "\"></span>" + inWords(happening.kind) + "</td><td><bdi>" +
           escaped(happening.words) + "</bdi>" + sumOf(happening) + "</td><td class=\"position\">" +
           (happening.where ? inWords(*happening.where) : std::string("not known")) + "</td></tr>\n";
}

} // namespace

std::string eventsTable(const std::vector<Happening>& happenings) {
    constexpr std::size_t kMost = 3000;
    std::string rows;
    for (std::size_t i = 0; i < std::min(happenings.size(), kMost); ++i)
        rows += row(happenings[i]);
    std::string more;
    if (happenings.size() > kMost)
        more = "<p>The table has the first " + std::to_string(kMost) + " of " +
               std::to_string(happenings.size()) + " rows. The others are in the recording.</p>\n";
    return section("events", "Events",
                   table("Events, with reports in a row as one",
                         {"No.", "time", "clock, UTC", "kind", "event", "where"}, rows) +
                       more);
}

std::string stretchesTable(const Drive& drive) {
    constexpr std::size_t kMost = 1000;
    if (drive.stretches.empty())
        return "";
    std::string rows;
    for (std::size_t i = 0; i < std::min(drive.stretches.size(), kMost); ++i) {
        const Stretch& stretch = drive.stretches[i];
        rows += "<tr><td>" + time(stretch.fromS) + "</td><td>" + elapsed(stretch.toS) +
                "</td><td><span class=\"dot band " + styleOf(stretch.kind) + "\"></span>" +
                escaped(stretch.words) + "</td></tr>\n";
    }
    if (drive.stretches.size() > kMost)
        rows += "<tr><td colspan=\"3\">and " + std::to_string(drive.stretches.size() - kMost) +
                " more</td></tr>\n";
    return section("interruptions", "Interruptions",
                   table("Gaps, restarts and jumps of the clock", {"from", "to", "what"}, rows));
}

// --- Geofences ------------------------------------------------------------------------------------------

namespace {

/// East and north, metres.
std::pair<double, double> metres(const telemetry::Geofence& geofence, double width, double height) {
    const double narrowing = std::cos(geofence.centre.latitude / kMicrodegrees * odometry::kPi / 180);
    return {width * odometry::kMetresPerMicrodegree * narrowing, height * odometry::kMetresPerMicrodegree};
}

std::string sizeOf(const telemetry::Geofence& geofence) {
    const auto [east, north] = metres(geofence, geofence.width, geofence.height);
    return distance(east) + " \u00D7 " + distance(north);
}

std::string marginOf(const telemetry::Geofence& geofence) {
    const auto [east, north] = metres(geofence, geofence.margin, geofence.margin);
    return distance(east) + ", " + distance(north);
}

/// How often it was entered or left while it was this one.
std::size_t crossingsOf(const Drive& drive, const Area& area, bool entered) {
    std::size_t found = 0;
    for (const Event& event : drive.events) {
        const auto* crossed = std::get_if<telemetry::GeofenceCrossed>(&event.content);
        if (crossed != nullptr && crossed->entered == entered && crossed->name == area.geofence.name &&
            (!crossed->slot || *crossed->slot == area.slot) && event.timeS >= area.fromS &&
            event.timeS <= area.toS)
            ++found;
    }
    return found;
}

std::string whenOf(const Drive& drive, const Area& area) {
    const bool always = area.fromS <= 1 && area.toS >= drive.durationS;
    return (always ? "whole drive" : elapsed(area.fromS) + " to " + elapsed(area.toS)) +
           (area.watched ? "" : ", not watched");
}

std::string geofenceRow(const Drive& drive, const Area& area) {
    return "<tr><th scope=\"row\"><bdi>" + escaped(area.geofence.name) + "</bdi></th><td>" +
           sizeOf(area.geofence) + "</td><td>" + marginOf(area.geofence) + "</td><td class=\"number\">" +
           std::to_string(crossingsOf(drive, area, true)) + "</td><td class=\"number\">" +
           std::to_string(crossingsOf(drive, area, false)) + "</td><td>" + whenOf(drive, area) +
           "</td><td class=\"position\">" + inWords(area.geofence.centre) + "</td></tr>\n";
}

} // namespace

std::string geofencesTable(const Contents& contents, const std::vector<Area>& areas) {
    if (areas.empty())
        return "";
    constexpr std::size_t kMost = 200; // settings may change again and again
    std::string rows;
    for (std::size_t i = 0; i < std::min(areas.size(), kMost); ++i)
        rows += geofenceRow(contents.drive, areas[i]);
    if (areas.size() > kMost)
        rows += "<tr><td colspan=\"7\">and " + std::to_string(areas.size() - kMost) + " more</td></tr>\n";
    return section("geofences", "Geofences",
                   table("Geofences: width \u00D7 height, and the margin east and north",
                         {"name", "size", "margin", "entered", "left", "when", "centre"}, rows));
}

} // namespace report
