#include "Map.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <utility>

#include "Markup.h"

namespace report {

namespace {

constexpr char kEnteredGlyph[] = "M0-9 8 5H-8z";
constexpr char kLeftGlyph[] = "M0 9 8-5H-8z";

std::string coordinates(const Place& place) { return number(place.x, 1) + " " + number(place.y, 1); }

std::string pathData(const std::vector<Place>& places, bool closed = false) {
    std::string data;
    for (const Place& place : places)
        data += (data.empty() ? "M" : " ") + coordinates(place);
    return closed && !data.empty() ? data + "z" : data;
}

std::string path(const std::string& style, const std::string& data) {
    return data.empty() ? "" : "<path class=\"" + style + "\" d=\"" + data + "\"/>\n";
}

std::string text(const std::string& style, const Place& place, const std::string& words) {
    return "<text class=\"" + style + "\" x=\"" + number(place.x, 1) + "\" y=\"" + number(place.y, 1) +
           "\">" + escaped(words) + "</text>\n";
}

// --- Ground ---------------------------------------------------------------------------------------------

/// Ground and grid go on beyond the frame: on a page the map may be wider or higher than it.
constexpr double kBeyond = 600;

std::string grid(const Frame& frame) {
    const double step = frame.gridM() * frame.unitsPerMetre();
    const Place zero = frame.on(Ground{});
    const double right = Frame::kWidth + kBeyond;
    const double below = frame.height() + kBeyond;
    const auto first = [&](double line) { return line - std::ceil((line + kBeyond) / step - 1) * step; };
    std::string data;
    for (double x = first(zero.x); x < right; x += step)
        data += "M" + number(x, 1) + " " + number(-kBeyond) + "V" + number(below);
    for (double y = first(zero.y); y < below; y += step)
        data += "M" + number(-kBeyond) + " " + number(y, 1) + "H" + number(right);
    return path("grid", data);
}

/// Where it is near: geofences end there.
std::string dateLine(const Frame& frame) {
    constexpr double kFarDeg = 5;
    constexpr double kMicrodegrees = 1e6;
    if (std::abs(frame.projection().centre().longitude / kMicrodegrees) < 180 - kFarDeg)
        return "";
    const double latitude = frame.projection().centre().latitude / kMicrodegrees;
    std::vector<Place> places;
    for (double step = -kFarDeg; step <= kFarDeg; step += 0.1)
        places.push_back(frame.on(frame.projection().on(std::clamp(latitude + step, -90.0, 90.0), 180)));
    return path("dateline", pathData(places)) +
           text("label", {frame.on(frame.projection().on(latitude, 180)).x + 6, frame.height() - 12},
                "date line");
}

std::string scaleBar(const Frame& frame) {
    constexpr double kLeft = 24;
    const double below = frame.height() - 20;
    const double right = kLeft + frame.gridM() * frame.unitsPerMetre();
    const std::string ends = number(below - 8, 1) + "V" + number(below, 1);
    return "<g class=\"edge lower\">" +
           path("scale",
                "M" + number(kLeft) + " " + ends + "H" + number(right, 1) + "V" + number(below - 8, 1)) +
           text("label", {kLeft + 6, below - 8}, distance(frame.gridM())) + "</g>\n";
}

std::string north() {
    return "<g class=\"edge upper\"><g transform=\"translate(968 58)\"><g class=\"glyph\"><path "
           "class=\"north\" d=\"M0-24 9 10 0 4-9 "
           "10z\"/>"
           "<text class=\"label middle\" y=\"30\">N</text></g></g></g>\n";
}

// --- Geofences ------------------------------------------------------------------------------------------

std::vector<Place> border(const Frame& frame, const telemetry::Geofence& geofence, std::uint32_t margin) {
    std::vector<Place> places;
    for (const Ground& ground : outline(frame.projection(), geofence, margin))
        places.push_back(frame.on(ground));
    return places;
}

/// Above the margin, or below it where the drawing ends; its end at the right border where it begins far
/// right.
std::string nameOf(const Frame& frame, const Area& area, const std::vector<Place>& places) {
    constexpr double kFarRight = 0.6 * Frame::kWidth;
    constexpr double kRoom = 40;
    constexpr double kFree = 6;
    const auto byX = [](const Place& a, const Place& b) { return a.x < b.x; };
    const auto byY = [](const Place& a, const Place& b) { return a.y < b.y; };
    const auto [left, right] = std::minmax_element(places.begin(), places.end(), byX);
    const auto [upper, lower] = std::minmax_element(places.begin(), places.end(), byY);
    const bool atRight = left->x > kFarRight;
    const bool below = upper->y < kRoom && lower->y < frame.height() - kRoom;
    const double x = std::clamp(atRight ? right->x : left->x, kFree, Frame::kWidth - kFree);
    const double y = below ? lower->y + kFree : std::max(upper->y - kFree, kRoom);
    return text(std::string("name") + (atRight ? " last" : "") + (below ? " below" : ""), {x, y},
                area.geofence.name);
}

bool isSeen(const Frame& frame, const std::vector<Place>& places) {
    const auto outside = [&](auto beyond) { return std::all_of(places.begin(), places.end(), beyond); };
    return !places.empty() && !outside([](const Place& place) { return place.x < 0; }) &&
           !outside([](const Place& place) { return place.x > Frame::kWidth; }) &&
           !outside([](const Place& place) { return place.y < 0; }) &&
           !outside([&](const Place& place) { return place.y > frame.height(); });
}

std::string areaTitle(const Area& area) {
    return "<title>" + escaped(area.geofence.name) + (area.watched ? "" : " (not watched)") + "</title>";
}

std::string drawnArea(const Frame& frame, const Area& area, const std::string& style) {
    const std::vector<Place> outer = border(frame, area.geofence, area.geofence.margin);
    const std::vector<Place> inner = border(frame, area.geofence, 0);
    if (!isSeen(frame, outer.empty() ? inner : outer))
        return "";
    return "<g class=\"area " + style + (area.watched ? "" : " unwatched") + "\">" + areaTitle(area) + "\n" +
           path("margin", pathData(outer, true)) + path("border", pathData(inner, true)) + "</g>\n";
}

std::string drawnAreas(const MapContents& contents) {
    std::string drawn;
    for (const Area& area : contents.otherAreas)
        drawn += drawnArea(contents.frame, area, "other");
    for (const Area& area : contents.areas)
        drawn += drawnArea(contents.frame, area, "recorded");
    return drawn;
}

std::string areaNames(const MapContents& contents) {
    std::string names;
    for (const Area& area : contents.areas) {
        const std::vector<Place> places = border(contents.frame, area.geofence, area.geofence.margin);
        if (isSeen(contents.frame, places))
            names += nameOf(contents.frame, area, places);
    }
    return names;
}

// --- The track ------------------------------------------------------------------------------------------

/// Lines of the track: one for each stretch that was read without a break.
std::vector<std::vector<Place>> unbroken(const MapContents& contents) {
    std::vector<std::vector<Place>> lines;
    for (const TrackPoint& point : contents.track) {
        if (point.begins)
            lines.emplace_back();
        lines.back().push_back(contents.frame.on(point.at));
    }
    return lines;
}

double apart(const Place& a, const Place& b) { return std::hypot(a.x - b.x, a.y - b.y); }

/// A stretch of the track in one colour.
struct ColouredLine {
    std::size_t step;
    std::vector<Place> places;
};

/// A colour holds for a stretch that can be seen: a speed that wavers makes no thousands of dots.
std::vector<ColouredLine> coloured(const MapContents& contents) {
    constexpr double kShortest = 3;
    std::vector<ColouredLine> lines;
    Place before;
    for (const TrackPoint& point : contents.track) {
        const Place place = contents.frame.on(point.at);
        const std::size_t step = contents.speeds.stepOf(point.speedKmh);
        if (point.begins)
            lines.push_back({step, {}});
        else if (lines.back().step != step && apart(lines.back().places.front(), place) > kShortest)
            lines.push_back({step, {before}});
        lines.back().places.push_back(place);
        before = place;
    }
    return lines;
}

/// So that a day's drawing has no more places than an hour's: none of them would be seen.
double toleranceFor(const std::vector<std::vector<Place>>& lines) {
    constexpr std::size_t kMostPlaces = 12000;
    constexpr double kFinest = 0.3;
    double tolerance = kFinest;
    while (true) {
        std::size_t places = 0;
        for (const std::vector<Place>& line : lines)
            places += thinned(line, tolerance).size();
        if (places <= kMostPlaces || tolerance > kFinest * 10)
            return tolerance;
        tolerance *= 1.6;
    }
}

/// A line that doesn't move is a dot.
std::string lineData(const std::vector<Place>& places) {
    return pathData(places) + (places.size() == 1 ? "h.01" : "");
}

std::string drawnTrack(const MapContents& contents) {
    const std::vector<std::vector<Place>> lines = unbroken(contents);
    const double tolerance = toleranceFor(lines);
    std::string casing;
    std::string gaps;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        casing += lineData(thinned(lines[i], tolerance));
        if (i > 0)
            gaps += pathData({lines[i - 1].back(), lines[i].front()});
    }
    std::array<std::string, SpeedScale::kColours> data;
    for (const ColouredLine& line : coloured(contents))
        data[contents.speeds.colour(line.step)] += lineData(thinned(line.places, tolerance));
    std::string drawn = path("gap", gaps) + path("casing", casing);
    for (std::size_t colour = 0; colour < data.size(); ++colour)
        drawn += path("track v" + std::to_string(colour), data[colour]);
    return drawn;
}

// --- Marks ----------------------------------------------------------------------------------------------

std::string mark(const Place& place, const std::string& style, double timeS, const std::string& title,
                 const std::string& glyph) {
    return "<g class=\"mark " + style + "\" data-t=\"" + number(timeS, 2) + "\" transform=\"translate(" +
           coordinates(place) + ")\"><title>" + escaped(title) + "</title><g class=\"glyph\">" + glyph +
           "</g></g>\n";
}

std::string glyph(const char* data) { return "<path d=\"" + std::string(data) + "\"/>"; }

/// Where a number may stand beside its mark, and how far from the mark it reaches on the smallest screen,
/// where marks are largest.
struct Side {
    const char* label;
    double left, right, above, below;

    bool covers(const Place& mark, const Place& other) const {
        const double x = other.x - mark.x;
        const double y = other.y - mark.y;
        return x > left && x < right && y > above && y < below;
    }
};

constexpr std::array<Side, 4> kSides{{
    {"<text class=\"label\" x=\"11\" y=\"5\">", 0, 75, -30, 30},
    {"<text class=\"label last\" x=\"-11\" y=\"5\">", -75, 0, -30, 30},
    {"<text class=\"label middle\" y=\"-14\">", -40, 40, -75, 0},
    {"<text class=\"label middle\" y=\"25\">", -40, 40, 0, 75},
}};

/// Leaves a number out where another one stands already, and puts it where first and last fix are free.
class Numbers {
public:
    explicit Numbers(const std::vector<Place>& ends) : ends_(ends) {}

    std::string at(const Place& place, std::size_t number) {
        constexpr double kNear = 22;
        for (const Place& each : taken_)
            if (std::abs(each.x - place.x) < kNear && std::abs(each.y - place.y) < kNear)
                return "";
        taken_.push_back(place);
        return freeSide(place).label + std::to_string(number) + "</text>";
    }

private:
    const Side& freeSide(const Place& place) const {
        // Beyond the ring that shows the place on the track: at first it is there.
        static constexpr Side kBeyondRing{"<text class=\"label\" x=\"17\" y=\"5\">", -9, 9, -9, 9};
        if (std::any_of(ends_.begin(), ends_.end(),
                        [&](const Place& end) { return kBeyondRing.covers(place, end); }))
            return kBeyondRing;
        const auto isFree = [&](const Side& side) {
            return std::none_of(ends_.begin(), ends_.end(),
                                [&](const Place& end) { return side.covers(place, end); });
        };
        const auto* const found = std::find_if(kSides.begin(), kSides.end(), isFree);
        return found == kSides.end() ? kSides.front() : *found;
    }

    std::vector<Place> ends_;
    std::vector<Place> taken_;
};

/// First and last fix, where there are some.
std::vector<Place> endsOf(const MapContents& contents) {
    if (contents.track.empty())
        return {};
    return {contents.frame.on(contents.track.front().at), contents.frame.on(contents.track.back().at)};
}

/// Where there are very many marks, one that would stand on another is left out.
class Crowd {
public:
    bool hasRoom(const Place& place) {
        constexpr std::size_t kMany = 500;
        constexpr double kCell = 12;
        const bool isFree = taken_.insert({std::floor(place.x / kCell), std::floor(place.y / kCell)}).second;
        return ++marks_ <= kMany || isFree;
    }

private:
    std::size_t marks_ = 0;
    std::set<std::pair<double, double>> taken_;
};

std::string crossingMarks(const MapContents& contents) {
    Numbers numbers(endsOf(contents));
    Crowd crowd;
    std::string marks;
    for (const Happening& happening : contents.happenings) {
        const bool entered = happening.kind == EventKind::Entered;
        if (!happening.where || (!entered && happening.kind != EventKind::Left))
            continue;
        const Place place = contents.frame.on(*happening.where);
        if (!crowd.hasRoom(place))
            continue;
        marks += mark(place, styleOf(happening.kind), happening.timeS,
                      happening.words + ", " + elapsed(happening.timeS),
                      glyph(entered ? kEnteredGlyph : kLeftGlyph) + numbers.at(place, happening.number));
    }
    return marks;
}

std::string otherCrossingMarks(const MapContents& contents) {
    Crowd crowd;
    std::string marks;
    if (!contents.page.other)
        return marks;
    const std::string with = "With " + contents.page.other->whatIf.words + ": ";
    for (const Crossing& crossing : contents.page.other->replay.crossings) {
        const Place place = contents.frame.on(crossing.at);
        if (crowd.hasRoom(place))
            marks += mark(place, "what-if", crossing.timeS,
                          with + crossing.name + (crossing.entered ? " entered, " : " left, ") +
                              elapsed(crossing.timeS),
                          glyph(crossing.entered ? kEnteredGlyph : kLeftGlyph));
    }
    return marks;
}

/// Crosses in one path: there may be thousands, and those that would touch are left out.
std::string droppedMarks(const MapContents& contents) {
    constexpr double kApart = 12;
    std::string data;
    std::optional<Place> last;
    for (const OdometerStep& step : contents.page.replay.steps) {
        if (step.kind != OdometerStep::Kind::Dropped)
            continue;
        const Place place = contents.frame.on(step.at);
        if (last && apart(*last, place) < kApart)
            continue;
        last = place;
        data += "M" + coordinates({place.x - 3, place.y - 3}) + "l6 6m-6 0 6-6";
    }
    return path("dropped", data);
}

std::string endMarks(const MapContents& contents) {
    if (contents.track.empty())
        return "";
    const TrackPoint& first = contents.track.front();
    const TrackPoint& last = contents.track.back();
    return mark(contents.frame.on(last.at), "finish", last.timeS, "Last fix, " + elapsed(last.timeS),
                "<rect x=\"-6\" y=\"-6\" width=\"12\" height=\"12\"/>") +
           mark(contents.frame.on(first.at), "begin", first.timeS, "First fix, " + elapsed(first.timeS),
                "<circle r=\"6\"/>");
}

} // namespace

std::string mapElements(const MapContents& contents) {
    const std::string ground = "<rect class=\"ground\" x=\"" + number(-kBeyond) + "\" y=\"" +
                               number(-kBeyond) + "\" width=\"" + number(Frame::kWidth + 2 * kBeyond) +
                               "\" height=\"" + number(contents.frame.height() + 2 * kBeyond) + "\"/>\n";
    if (contents.frame.isEmpty())
        return ground + text("label middle", {Frame::kWidth / 2, contents.frame.height() / 2},
                             "No fix and no geofence: there is nothing to draw");
    return ground + grid(contents.frame) + dateLine(contents.frame) + drawnAreas(contents) +
           drawnTrack(contents) + droppedMarks(contents) + areaNames(contents) + endMarks(contents) +
           otherCrossingMarks(contents) + crossingMarks(contents) + scaleBar(contents.frame) + north();
}

std::string speedLegend(const SpeedScale& speeds) {
    constexpr double kApart = 106;
    std::string legend;
    for (std::size_t step = 0; step < speeds.steps(); ++step) {
        const Place place{24 + static_cast<double>(step) * kApart, 12};
        const std::string data = "M" + coordinates(place) + "h24";
        const bool isLast = step + 1 == speeds.steps();
        legend += path("casing", data) + path("track v" + std::to_string(speeds.colour(step)), data) +
                  text("legend", {place.x, 34}, speeds.words(step) + (isLast ? " km/h" : ""));
    }
    return legend;
}

} // namespace report
