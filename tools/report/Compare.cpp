#include "Compare.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Markup.h"
#include "WhatIf.h"

namespace report {

namespace {

/// A crossing of one of the two replays, or the same one of both.
struct Pair {
    const Crossing* recorded = nullptr;
    const Crossing* other = nullptr;

    double timeS() const { return recorded != nullptr ? recorded->timeS : other->timeS; }
};

constexpr double kSameS = 1; // the same crossing, seen by another cycle

bool isSame(const Crossing& a, const Crossing& b) {
    return a.slot == b.slot && a.entered == b.entered && std::abs(a.timeS - b.timeS) <= kSameS;
}

/// Both in the order of time, with those that are the same in one row.
std::vector<Pair> paired(const std::vector<Crossing>& recorded, const std::vector<Crossing>& other) {
    std::vector<Pair> pairs;
    std::vector<bool> used(other.size(), false);
    std::size_t first = 0; // of the others that may be the same
    for (const Crossing& crossing : recorded) {
        Pair pair{&crossing, nullptr};
        while (first < other.size() && other[first].timeS < crossing.timeS - kSameS)
            ++first;
        for (std::size_t i = first; i < other.size() && other[i].timeS <= crossing.timeS + kSameS; ++i)
            if (!used[i] && isSame(crossing, other[i])) {
                pair.other = &other[i];
                used[i] = true;
                break;
            }
        pairs.push_back(pair);
    }
    for (std::size_t i = 0; i < other.size(); ++i)
        if (!used[i])
            pairs.push_back({nullptr, &other[i]});
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const Pair& a, const Pair& b) { return a.timeS() < b.timeS(); });
    return pairs;
}

std::string inWords(const Crossing& crossing) {
    return "<bdi>" + escaped(crossing.name) + "</bdi> " + (crossing.entered ? "entered" : "left");
}

std::string cell(const Crossing* crossing, const Crossing* opposite) {
    if (crossing == nullptr)
        return "<td class=\"none\">not here</td>";
    return std::string("<td") + (opposite == nullptr ? " class=\"only\"" : "") + ">" + inWords(*crossing) +
           (opposite == nullptr ? " <em>only here</em>" : "") + "</td>";
}

std::string crossingRows(const std::vector<Pair>& pairs) {
    constexpr std::size_t kMost = 2000;
    std::string rows;
    for (std::size_t i = 0; i < std::min(pairs.size(), kMost); ++i)
        rows += "<tr" +
                std::string(pairs[i].recorded == nullptr || pairs[i].other == nullptr ? " class=\"differs\""
                                                                                      : "") +
                "><th scope=\"row\"><span class=\"time\" data-t=\"" + number(pairs[i].timeS(), 1) + "\">" +
                elapsed(pairs[i].timeS()) + "</span></th>" + cell(pairs[i].recorded, pairs[i].other) +
                cell(pairs[i].other, pairs[i].recorded) + "</tr>\n";
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

std::string comparison(const Contents& contents) {
    if (!contents.other)
        return "";
    const std::string words = escaped(contents.other->whatIf.words);
    const Replay& other = contents.other->replay;
    const std::vector<Pair> pairs = paired(contents.replay.crossings, other.crossings);
    return "<section id=\"what-if\" aria-labelledby=\"what-if-head\">\n<h2 id=\"what-if-head\">What if "
           "<code>" +
           words +
           "</code></h2>\n<p>Worked out from the recorded fixes with the service's own arithmetic, with the "
           "settings of "
           "the recording and with the others.</p>\n<div class=\"wide\" tabindex=\"0\" role=\"region\" "
           "aria-label=\"Sums of both settings\">\n" +
           tableHead("Sums", "sum", words) + sums(contents.replay, other) +
           "</tbody>\n</table>\n</div>\n<div class=\"wide\" tabindex=\"0\" role=\"region\" "
           "aria-label=\"Crossings of both "
           "settings\">\n" +
           tableHead("Geofences entered and left", "time", words) + crossingRows(pairs) +
           "</tbody>\n</table>\n</div>\n</section>\n";
}

} // namespace report
