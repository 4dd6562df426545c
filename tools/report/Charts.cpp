#include "Charts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <utility>

#include "Markup.h"

namespace report {

namespace {

constexpr double kWide = 1000; // units of a chart's drawing, which is stretched to its place
constexpr double kHigh = 100;

/// Lines between times and values: x is seconds, y the reading.
using Pieces = std::vector<std::vector<Place>>;

struct Line {
    std::string style;
    Pieces pieces;
    bool inSteps = false; ///< the value holds until the next one
};

/// A value of the axis, with words.
struct Tick {
    double value;
    std::string words;
};

struct Chart {
    std::string id;
    std::string title;
    std::string unit;
    std::vector<Tick> ticks; ///< the lowest and the highest are the chart's borders
    std::vector<Line> lines;
    std::string key;    ///< what several lines mean, as elements
    std::string inside; ///< more of its drawing
};

// --- Axes -----------------------------------------------------------------------------------------------

/// A round number of which no more than `most` make `whole`.
double roundStep(double whole, double most) {
    const double least = std::max(whole, 1e-9) / most;
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0})
        if (factor * power >= least * 0.999)
            return factor * power;
    return 10 * power;
}

/// From a round number below to one above.
std::vector<Tick> ticksFor(double low, double high, double leastStep) {
    constexpr double kMost = 3;
    const double step = std::max(roundStep(high - low, kMost), leastStep);
    std::vector<Tick> ticks;
    const double first = std::floor(low / step) * step;
    for (double value = first; value < high + step || ticks.size() < 2; value += step) {
        ticks.push_back({value, number(value, 1)});
        if (value >= high && ticks.size() >= 2)
            break;
    }
    return ticks;
}

double highest(const std::vector<Line>& lines) {
    double found = 0;
    for (const Line& line : lines)
        for (const std::vector<Place>& piece : line.pieces)
            for (const Place& place : piece)
                found = std::max(found, place.y);
    return found;
}

double lowest(const std::vector<Line>& lines) {
    double found = highest(lines);
    for (const Line& line : lines)
        for (const std::vector<Place>& piece : line.pieces)
            for (const Place& place : piece)
                found = std::min(found, place.y);
    return found;
}

// --- Lines ----------------------------------------------------------------------------------------------

double durationOf(const Drive& drive) { return std::max(drive.durationS, 1.0); }

/// Of the places in one column of the drawing those that are seen: first, lowest, highest and last.
std::vector<Place> columns(const std::vector<Place>& piece) {
    std::vector<Place> kept;
    for (std::size_t from = 0; from < piece.size();) {
        std::size_t to = from;
        while (to < piece.size() && std::floor(piece[to].x) == std::floor(piece[from].x))
            ++to;
        const auto byHeight = [](const Place& a, const Place& b) { return a.y < b.y; };
        const auto first = piece.begin() + static_cast<std::ptrdiff_t>(from);
        const auto end = piece.begin() + static_cast<std::ptrdiff_t>(to);
        const auto extremes = std::minmax_element(first, end, byHeight);
        std::array<std::vector<Place>::const_iterator, 4> seen{first, extremes.first, extremes.second,
                                                               end - 1};
        std::sort(seen.begin(), seen.end());
        for (std::size_t i = 0; i < seen.size(); ++i)
            if (i == 0 || seen[i] != seen[i - 1])
                kept.push_back(*seen[i]);
        from = to;
    }
    return kept;
}

/// From where to where a chart reaches.
struct Scale {
    double durationS;
    double low;
    double high;

    Place on(const Place& place) const {
        return {place.x / durationS * kWide, kHigh - (place.y - low) / (high - low) * kHigh};
    }
};

std::string pieceData(const std::vector<Place>& piece, bool inSteps) {
    std::string data;
    for (const Place& place : piece) {
        const std::string x = number(place.x, 1);
        const std::string y = number(place.y, 1);
        if (data.empty())
            data = "M" + x + " " + y;
        else
            data += inSteps ? "H" + x + "V" + y : "L" + x + " " + y;
    }
    return piece.size() == 1 ? data + "h.1" : data;
}

std::string drawn(const Line& line, const Scale& scale) {
    std::string data;
    for (const std::vector<Place>& piece : line.pieces) {
        std::vector<Place> places;
        for (const Place& place : piece)
            places.push_back(scale.on(place));
        data += pieceData(columns(places), line.inSteps);
    }
    return data.empty() ? "" : "<path class=\"line " + line.style + "\" d=\"" + data + "\"/>\n";
}

// --- What was missing -----------------------------------------------------------------------------------

/// A stretch on the drawing; those of a kind that would touch are one.
struct Band {
    Stretch::Kind kind;
    double from;
    double to;
    std::string words;
};

std::vector<Band> bandsOf(const Drive& drive) {
    constexpr double kLeast = 1.5; // units: what is shorter or nearer would not be seen
    std::vector<Band> bands;
    for (const Stretch& stretch : drive.stretches) {
        const double from = stretch.fromS / durationOf(drive) * kWide;
        const double to = std::max(stretch.toS / durationOf(drive) * kWide, from + kLeast);
        const auto before = std::find_if(bands.rbegin(), bands.rend(),
                                         [&](const Band& band) { return band.kind == stretch.kind; });
        if (before == bands.rend() || from - before->to > kLeast)
            bands.push_back({stretch.kind, from, to, stretch.words});
        else
            *before = {stretch.kind, before->from, std::max(before->to, to), before->words};
    }
    return bands;
}

/// Drawn once, and shown in each chart.
std::string bands(const Drive& drive) {
    std::string drawn;
    for (const Band& band : bandsOf(drive))
        drawn += "<rect class=\"band " + std::string(styleOf(band.kind)) + "\" x=\"" + number(band.from, 1) +
                 "\" width=\"" + number(band.to - band.from, 1) + "\" height=\"100\"><title>" +
                 escaped(band.words) + "</title></rect>\n";
    return "<g id=\"bands\">\n" + drawn + "</g>\n";
}

// --- A chart --------------------------------------------------------------------------------------------

std::string percent(double share) { return number(share * 100, 2) + "%"; }

std::string gridLines(const Chart& chart, const Scale& scale) {
    std::string data;
    for (const Tick& tick : chart.ticks)
        data += "M0 " + number(scale.on({0, tick.value}).y, 1) + "H1000";
    return "<path class=\"grid\" d=\"" + data + "\"/>\n";
}

std::string tickWords(const Chart& chart, const Scale& scale) {
    std::string words;
    for (const Tick& tick : chart.ticks) {
        if (chart.ticks.size() > 2 && &tick == &chart.ticks.back())
            break; // it would stand on the one below
        const double share = scale.on({0, tick.value}).y / kHigh;
        const char* down = share < 0.1 ? "12" : "-3"; // inside the drawing, above its line
        words += "<text class=\"tick\" x=\"4\" dy=\"" + std::string(down) + "\" y=\"" + percent(share) +
                 "\">" + escaped(tick.words) + "</text>\n";
    }
    return words;
}

std::string caption(const Chart& chart) {
    return "<figcaption><strong>" + chart.title + "</strong>" +
           (chart.unit.empty() ? "" : " <span class=\"unit\">" + chart.unit + "</span>") + chart.key +
           " <span class=\"value\" data-value=\"" + chart.id + "\"></span></figcaption>\n";
}

std::string ariaLabel(const Chart& chart) {
    if (chart.lines.empty() || chart.lines.front().pieces.empty())
        return chart.title + ": nothing was read";
    return chart.title + " over time, from " + number(lowest(chart.lines), 1) + " to " +
           number(highest(chart.lines), 1) + " " + chart.unit;
}

std::string drawn(const Chart& chart, const Drive& drive) {
    const Scale scale{durationOf(drive), chart.ticks.front().value, chart.ticks.back().value};
    std::string lines;
    for (const Line& line : chart.lines)
        lines += drawn(line, scale);
    return "<figure class=\"chart\" id=\"chart-" + chart.id + "\">\n" + caption(chart) +
           "<svg class=\"plot\" role=\"img\" aria-label=\"" + ariaLabel(chart) +
           "\">\n<svg viewBox=\"0 0 1000 100\" preserveAspectRatio=\"none\" width=\"100%\" "
           "height=\"100%\">\n" +
           "<use href=\"#bands\"/>\n" + gridLines(chart, scale) + chart.inside + lines + "</svg>\n" +
           tickWords(chart, scale) +
           "<line class=\"cursor\" y2=\"100%\" visibility=\"hidden\"/>\n</svg>\n</figure>\n";
}

// --- Readings -------------------------------------------------------------------------------------------

using Value = std::function<double(const Sample& sample)>;

void append(Pieces& pieces, const Breaks& breaks, const Place& place) {
    if (pieces.empty() || breaks.between(pieces.back().back().x, place.x))
        pieces.emplace_back();
    pieces.back().push_back(place);
}

Pieces ofReadings(const Drive& drive, const Value& value) {
    const Breaks breaks(drive, Breaks::Of::Readings);
    Pieces pieces;
    for (const Sample& sample : drive.samples)
        append(pieces, breaks, {sample.timeS, value(sample)});
    return pieces;
}

Pieces ofFixes(const Drive& drive, const std::vector<TrackPoint>& track, const Value& value) {
    const Breaks breaks(drive, Breaks::Of::Fixes);
    Pieces pieces;
    for (const TrackPoint& point : track) {
        const double read = value(drive.samples[point.sample]);
        if (std::isfinite(read))
            append(pieces, breaks, {point.timeS, read});
    }
    return pieces;
}

Chart speed(const Drive& drive, const std::vector<TrackPoint>& track) {
    constexpr double kKmhPerMmPerS = 0.0036;
    Chart chart{"speed", "Speed", "km/h", {}, {}, "", ""};
    chart.lines = {{"first", ofFixes(drive, track, [](const Sample& sample) {
                        return sample.readings.fix->speedMmPerS * kKmhPerMmPerS;
                    })}};
    chart.ticks = ticksFor(0, highest(chart.lines), 1);
    return chart;
}

Chart signal(const Drive& drive) {
    Chart chart{"snr", "Signal", "dB-Hz", {}, {}, "", ""};
    chart.lines = {
        {"first",
         ofReadings(drive, [](const Sample& sample) { return static_cast<double>(sample.readings.snrDbHz); }),
         true}};
    chart.ticks = ticksFor(0, highest(chart.lines), 1);
    return chart;
}

Chart satellites(const Drive& drive) {
    Chart chart{"satellites", "Satellites", "in view", {}, {}, "", ""};
    chart.lines = {
        {"first",
         ofReadings(drive,
                    [](const Sample& sample) { return static_cast<double>(sample.readings.satellites); }),
         true}};
    chart.ticks = ticksFor(0, highest(chart.lines), 1);
    return chart;
}

std::string key(const char* style, const std::string& words) {
    return " <span class=\"key\"><svg class=\"swatch\" viewBox=\"0 0 24 8\" aria-hidden=\"true\"><path "
           "class=\"line " +
           std::string(style) + "\" d=\"M0 4h24\"/></svg> " + words + "</span>";
}

Chart dilution(const Drive& drive, const std::vector<TrackPoint>& track) {
    Chart chart{"dilution", "Dilution", "", {}, {}, key("first", "HDOP") + key("second", "PDOP"), ""};
    chart.lines = {
        {"first", ofFixes(drive, track, [](const Sample& sample) { return sample.readings.fix->hdop; })},
        {"second", ofFixes(drive, track, [](const Sample& sample) { return sample.readings.fix->pdop; })}};
    chart.ticks = ticksFor(0, highest(chart.lines), 0.5);
    return chart;
}

/// Four heights: what is neither of the three is lowest.
double antennaHeight(std::uint32_t state) { return state >= 1 && state <= 3 ? 4.0 - state : 0; }

Chart antenna(const Drive& drive) {
    Chart chart{"antenna", "Antenna", "", {}, {}, "", ""};
    chart.lines = {
        {"first",
         ofReadings(drive, [](const Sample& sample) { return antennaHeight(sample.readings.antennaState); }),
         true}};
    const bool anyUnknown = !drive.samples.empty() && lowest(chart.lines) < 1;
    chart.ticks = {{anyUnknown ? -0.5 : 0.5, ""}};
    if (anyUnknown)
        chart.ticks.push_back({0, "unknown"});
    chart.ticks.insert(
        chart.ticks.end(),
        {{1, "short circuit"}, {2, "disconnected"}, {3, "in order"}, {anyUnknown ? 4 : 3.6, ""}});
    return chart;
}

// --- The odometer ---------------------------------------------------------------------------------------

/// Below each step that was dropped a short line, below each jump a long one.
std::string stepMarks(const Replay& replay, const Drive& drive, const char* style) {
    std::string dropped;
    std::string jumps;
    double last = -1;
    for (const OdometerStep& step : replay.steps) {
        const double x = step.timeS / durationOf(drive) * kWide;
        if (step.kind == OdometerStep::Kind::Jump)
            jumps += "M" + number(x, 1) + " 100V0";
        if (step.kind != OdometerStep::Kind::Dropped || x - last < 0.5)
            continue;
        last = x;
        dropped += "M" + number(x, 1) + " 100v-14";
    }
    const auto path = [](const std::string& name, const std::string& data) {
        return data.empty() ? "" : "<path class=\"" + name + "\" d=\"" + data + "\"/>\n";
    };
    return path(std::string("line ") + style, dropped) + path("line jump", jumps);
}

/// What the other settings' odometer would have told at each reading.
Pieces ofReplay(const Replay& replay, const Drive& drive) {
    auto next = replay.odometer.begin();
    double metres = 0;
    return ofReadings(drive, [&](const Sample& sample) {
        for (; next != replay.odometer.end() && next->first <= sample.timeS; ++next)
            metres = next->second;
        return metres / 1000;
    });
}

Chart odometer(const Contents& contents) {
    const Drive& drive = contents.drive;
    Chart chart{"odometer", "Odometer", "km", {}, {}, "", ""};
    chart.lines = {
        {"first", ofReadings(drive, [](const Sample& sample) { return sample.readings.odometerM / 1000.0; }),
         true}};
    chart.inside = stepMarks(contents.replay, drive, "drop");
    if (contents.replay.droppedSteps != 0)
        chart.key += key("drop", "dropped steps");
    if (contents.other) {
        chart.lines.push_back({"other", ofReplay(contents.other->replay, drive), true});
        chart.key += key("first", "recorded") + key("other", escaped(contents.other->whatIf.words));
    }
    chart.ticks = ticksFor(lowest(chart.lines), highest(chart.lines), 0.1);
    return chart;
}

// --- Time and events ------------------------------------------------------------------------------------

double timeStep(double durationS) {
    for (const double step : {1., 2., 5., 10., 15., 30., 60., 120., 300., 600., 900., 1800., 3600., 7200.,
                              14400., 21600., 43200., 86400.})
        if (durationS / step <= 6)
            return step;
    return roundStep(durationS / 86400, 6) * 86400;
}

std::string timeAxis(const Drive& drive) {
    const double duration = durationOf(drive);
    const double step = timeStep(duration);
    std::string words;
    for (double time = 0; time <= duration; time += step) {
        const bool isLast = time > duration * 0.95;
        const char* anchor = time <= 0 ? "start" : isLast ? "end" : "middle";
        words += "<text class=\"tick\" x=\"" + percent(time / duration) + "\" y=\"14\" text-anchor=\"" +
                 anchor + "\">" + elapsed(time) + "</text>";
    }
    return "<svg class=\"axis\" aria-hidden=\"true\">" + words + "</svg>\n";
}

const char* glyphOf(EventKind kind) {
    switch (kind) {
    case EventKind::Entered:
        return "M0-7 7 5H-7z";
    case EventKind::Left:
        return "M0 7 7-5H-7z";
    case EventKind::Antenna:
        return "M0-7 7 0 0 7-7 0z";
    case EventKind::Availability:
        return "M-5 0a5 5 0 1 0 10 0a5 5 0 1 0-10 0z";
    case EventKind::Command:
    case EventKind::Lost:
        return "M-5-5H5V5H-5z";
    case EventKind::Recording:
    case EventKind::Routine:
        return "M-1-8H1V8H-1z";
    }
    return "";
}

std::string eventMarks(const Drive& drive, const std::vector<Happening>& happenings) {
    constexpr std::size_t kMost = 2000;
    std::string marks;
    std::size_t drawn = 0;
    for (const Happening& happening : happenings) {
        if (happening.kind == EventKind::Routine || ++drawn > kMost)
            continue;
        const bool isCrossing = happening.kind == EventKind::Entered || happening.kind == EventKind::Left;
        marks += "<svg overflow=\"visible\" x=\"" + percent(happening.timeS / durationOf(drive)) + "\" y=\"" +
                 (isCrossing ? "30%" : "74%") + "\"><g class=\"mark " + styleOf(happening.kind) +
                 "\" data-t=\"" + number(happening.timeS, 2) + "\"><title>" + escaped(happening.words) +
                 ", " + elapsed(happening.timeS) + "</title><path d=\"" + glyphOf(happening.kind) +
                 "\"/></g></svg>\n";
    }
    return marks;
}

std::string eventLane(const Drive& drive, const std::vector<Happening>& happenings) {
    return "<figure class=\"chart\" id=\"chart-events\">\n<figcaption><strong>Events</strong>"
           " <span class=\"value\" data-value=\"event\"></span></figcaption>\n"
           "<svg class=\"plot\" role=\"img\" aria-label=\"Events over time; the table below has each of "
           "them\">\n"
           "<svg viewBox=\"0 0 1000 100\" preserveAspectRatio=\"none\" width=\"100%\" height=\"100%\">\n" +
           bands(drive) + "</svg>\n" + eventMarks(drive, happenings) +
           "<line class=\"cursor\" y2=\"100%\" visibility=\"hidden\"/>\n</svg>\n</figure>\n";
}

} // namespace

std::string charts(const Contents& contents, const std::vector<TrackPoint>& track,
                   const std::vector<Happening>& happenings) {
    const Drive& drive = contents.drive;
    std::string all = "<div class=\"charts\">\n" + eventLane(drive, happenings) + timeAxis(drive);
    for (const Chart& chart : {speed(drive, track), odometer(contents), satellites(drive), signal(drive),
                               dilution(drive, track), antenna(drive)})
        all += drawn(chart, drive);
    return all + timeAxis(drive) + "</div>\n";
}

} // namespace report
