#include "Compare.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

#include "Markup.h"
#include "WhatIf.h"

namespace report {

namespace {

/// A crossing of one of the two replays, or the same one of both.
struct Pair {
    const Crossing* recorded; // null where only the other settings' replay has it
    const Crossing* other;    // null where only the recorded settings' has it
    double timeS;             // of the recorded one where there are both
};

constexpr double kSameS = 1; // the same crossing, seen by another cycle

/// Of the others that are not taken the same crossing that is nearest, between the recorded ones of its
/// geofence before and after it: with a wider margin it is left later, and with a longer interval all is
/// later.
std::size_t sameOf(const Crossing& crossing, std::pair<double, double> between,
                   const std::vector<Crossing>& other, const std::vector<bool>& taken) {
    std::size_t found = other.size();
    const auto first =
        std::upper_bound(other.begin(), other.end(), between.first,
                         [](double timeS, const Crossing& each) { return timeS < each.timeS; });
    for (auto each = first; each != other.end() && each->timeS < between.second; ++each) {
        const auto i = static_cast<std::size_t>(each - other.begin());
        if (each->slot != crossing.slot || each->entered != crossing.entered || taken[i])
            continue;
        if (found == other.size() ||
            std::abs(each->timeS - crossing.timeS) < std::abs(other[found].timeS - crossing.timeS))
            found = i;
    }
    return found;
}

/// When the geofence of a recorded crossing was crossed before and after it.
std::pair<double, double> neighbours(const std::vector<Crossing>& recorded, std::size_t i) {
    const auto isSameGeofence = [&](const Crossing& each) { return each.slot == recorded[i].slot; };
    const auto here = recorded.begin() + static_cast<std::ptrdiff_t>(i);
    const auto after = std::find_if(here + 1, recorded.end(), isSameGeofence);
    const auto before = std::find_if(std::make_reverse_iterator(here), recorded.rend(), isSameGeofence);
    return {before == recorded.rend() ? -1 : before->timeS,
            after == recorded.end() ? std::numeric_limits<double>::infinity() : after->timeS};
}

/// Both in the order of time, with those that are the same in one row.
std::vector<Pair> paired(const std::vector<Crossing>& recorded, const std::vector<Crossing>& other) {
    std::vector<Pair> pairs;
    std::vector<bool> taken(other.size(), false);
    for (std::size_t i = 0; i < recorded.size(); ++i) {
        const std::size_t same = sameOf(recorded[i], neighbours(recorded, i), other, taken);
        pairs.push_back({&recorded[i], same == other.size() ? nullptr : &other[same], recorded[i].timeS});
        if (same != other.size())
            taken[same] = true;
    }
    for (std::size_t i = 0; i < other.size(); ++i)
        if (!taken[i])
            pairs.push_back({nullptr, &other[i], other[i].timeS});
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const Pair& a, const Pair& b) { return a.timeS < b.timeS; });
    return pairs;
}

std::string inWords(const Crossing& crossing) {
    return "<bdi>" + escaped(crossing.name) + "</bdi> " + (crossing.entered ? "entered" : "left");
}

/// How the other settings' crossing differs from the recorded one's.
std::string difference(const Pair& pair) {
    if (pair.recorded == nullptr)
        return " <em>only here</em>";
    const double laterS = pair.other->timeS - pair.recorded->timeS;
    if (std::abs(laterS) <= kSameS)
        return "";
    return " <em>" + elapsed(std::abs(laterS)) + (laterS > 0 ? " later" : " earlier") + "</em>";
}

std::string row(const Pair& pair) {
    const std::string none = "<td class=\"none\">not here</td>";
    const bool differs = pair.recorded == nullptr || pair.other == nullptr || !difference(pair).empty();
    const std::string only = pair.other == nullptr ? " <em>only here</em>" : "";
    return "<tr" + std::string(differs ? " class=\"differs\"" : "") +
           "><th scope=\"row\"><span class=\"time\" data-t=\"" + number(pair.timeS, 2) + "\">" +
           elapsed(pair.timeS) + "</span></th>" +
           (pair.recorded == nullptr ? none : "<td>" + inWords(*pair.recorded) + only + "</td>") +
           (pair.other == nullptr ? none : "<td>" + inWords(*pair.other) + difference(pair) + "</td>") +
           "</tr>\n";
}

std::string crossingRows(const std::vector<Pair>& pairs) {
    constexpr std::size_t kMost = 2000;
    std::string rows;
    for (std::size_t i = 0; i < std::min(pairs.size(), kMost); ++i)
        rows += row(pairs[i]);
    if (pairs.size() > kMost)
        rows += "<tr><td colspan=\"3\">and " + std::to_string(pairs.size() - kMost) + " more</td></tr>\n";
    return rows;
}

std::string tableHead(const std::string& caption, const char* first, const std::string& other) {
    return "<table>\n<caption>" + caption + "</caption>\n<thead><tr><th scope=\"col\">" + first +
           "</th><th scope=\"col\">recorded settings</th><th scope=\"col\">" + other +
           "</th></tr></thead>\n<tbody>\n";
}

std::size_t crossings(const Replay& replay, bool entered) {
    return static_cast<std::size_t>(
        std::count_if(replay.crossings.begin(), replay.crossings.end(),
                      [&](const Crossing& crossing) { return crossing.entered == entered; }));
}

std::string sumRow(const char* words, const char* id, const std::string& recorded, const std::string& other,
                   const char* unit = "") {
    const auto value = [&](const char* whose, const std::string& number) {
        return "<td class=\"number\"><data id=\"data-" + std::string(whose) + "-" + id + "\" value=\"" +
               number + "\">" + number + "</data>" + unit + "</td>";
    };
    return "<tr" + std::string(recorded == other ? "" : " class=\"differs\"") + "><th scope=\"row\">" +
           words + "</th>" + value("recorded", recorded) + value("what-if", other) + "</tr>\n";
}

std::string sums(const Replay& recorded, const Replay& other) {
    const auto text = [](std::size_t value) { return std::to_string(value); };
    return sumRow("geofences entered", "entered", text(crossings(recorded, true)),
                  text(crossings(other, true))) +
           sumRow("geofences left", "left", text(crossings(recorded, false)), text(crossings(other, false))) +
           sumRow("odometer at the end", "odometer", text(recorded.odometerM), text(other.odometerM), " m") +
           sumRow("odometer steps dropped", "dropped", text(recorded.droppedSteps),
                  text(other.droppedSteps)) +
           sumRow("way dropped", "dropped-m", number(recorded.droppedM), number(other.droppedM), " m");
}

} // namespace

std::vector<Area> otherAreasOf(const Contents& contents, const std::vector<Area>& areas) {
    std::vector<Area> others;
    if (!contents.other)
        return others;
    for (Area area : areas) {
        telemetry::Settings settings;
        settings.geofences[area.slot] = area.geofence;
        const telemetry::Geofence other = with(contents.other->whatIf, settings).geofences[area.slot];
        const bool same = other.width == area.geofence.width && other.height == area.geofence.height &&
                          other.margin == area.geofence.margin;
        area.geofence = other;
        if (!same && other.isConfigured())
            others.push_back(area);
    }
    return others;
}

namespace {

std::string explanation(const WhatIf& whatIf) {
    return std::string("<p>Worked out from the recorded fixes with the service's own arithmetic, with the "
                       "settings of ") +
           "the recording and with the others." +
           (whatIf.positionIntervalS ? " After a start the odometer warms up for 180 position updates, so "
                                       "another interval changes "
                                       "when it begins to count."
                                     : "") +
           "</p>\n";
}

/// A table that is moved by itself where it is wider than the page.
std::string wide(const char* words, const std::string& table) {
    return "<div class=\"wide\" tabindex=\"0\" role=\"region\" aria-label=\"" + std::string(words) + "\">\n" +
           table + "</tbody>\n</table>\n</div>\n";
}

} // namespace

std::string comparison(const Contents& contents) {
    if (!contents.other)
        return "";
    const std::string words = escaped(contents.other->whatIf.words);
    const Replay& other = contents.other->replay;
    const std::vector<Pair> pairs = paired(contents.replay.crossings, other.crossings);
    return "<section id=\"what-if\" aria-labelledby=\"what-if-head\">\n<h2 id=\"what-if-head\">What if "
           "<code>" +
           words + "</code></h2>\n" + explanation(contents.other->whatIf) +
           wide("Sums of both settings", tableHead("Sums", "sum", words) + sums(contents.replay, other)) +
           wide("Crossings of both settings",
                tableHead("Geofences entered and left", "time", words) + crossingRows(pairs)) +
           "</section>\n";
}

} // namespace report
