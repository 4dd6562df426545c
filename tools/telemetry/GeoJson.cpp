// Lists of the track are written point by point: a document of a day's points would take a hundred megabytes.

#include "GeoJson.h"

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <utility>

#include "Area.h"
#include "ExportText.h"

namespace telemetry {

namespace {

using nlohmann::ordered_json;

constexpr std::int64_t kMsPerSecond = 1000;
constexpr std::int64_t kDateLine = 180000000;
constexpr double kMicrodegrees = 1e6;

std::string textOf(const ordered_json& value) {
    return value.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

std::string pair(const Position& position) {
    return "[" + decimal(position.longitude, 6) + "," + decimal(position.latitude, 6) + "]";
}

ordered_json coordinates(const Position& position) {
    return {position.longitude / kMicrodegrees, position.latitude / kMicrodegrees};
}

/// Features with a comma between them.
class Collection {
public:
    explicit Collection(std::ostream& output) : output_(output) {}

    std::ostream& next() {
        output_ << (std::exchange(empty_, false) ? "\n" : ",\n");
        return output_;
    }

    void add(const ordered_json& geometry, const ordered_json& properties) {
        next() << textOf({{"type", "Feature"}, {"geometry", geometry}, {"properties", properties}});
    }

private:
    std::ostream& output_;
    bool empty_ = true;
};

// --- Events ---------------------------------------------------------------------------------------------

void add(Collection& features, const Mark& mark) {
    ordered_json geometry;
    if (mark.where)
        geometry = {{"type", "Point"}, {"coordinates", coordinates(*mark.where)}};
    ordered_json properties = {
        {"kind", "event"}, {"event", mark.type}, {"name", mark.name}, {"time_utc", utcText(mark.utcMs)}};
    if (!mark.geofence.empty())
        properties["geofence"] = mark.geofence;
    features.add(geometry, properties);
}

// --- Geofences ------------------------------------------------------------------------------------------

/// Counterclockwise, as an outer ring is.
ordered_json polygon(const Box& box) {
    const Position southEast = {box.southWest.latitude, box.northEast.longitude};
    const Position northWest = {box.northEast.latitude, box.southWest.longitude};
    const ordered_json ring = {coordinates(box.southWest), coordinates(southEast), coordinates(box.northEast),
                               coordinates(northWest), coordinates(box.southWest)};
    return {{"type", "Polygon"}, {"coordinates", ordered_json::array({ring})}};
}

void addArea(Collection& features, const char* kind, const Geofence& geofence,
             const std::optional<Box>& box) {
    features.add(box ? polygon(*box) : ordered_json(),
                 {{"kind", kind}, {"name", geofence.name}, {"margin_deg", geofence.margin / kMicrodegrees}});
}

void add(Collection& features, const Geofence& geofence) {
    const Area area = areaOf(geofence, 0);
    addArea(features, "geofence", geofence, area.counted);
    if (geofence.margin > 0)
        addArea(features, "geofence_margin", geofence, areaOf(geofence, geofence.margin).counted);
    if (area.beyond)
        addArea(features, "geofence_beyond_date_line", geofence, area.beyond);
}

// --- The track ------------------------------------------------------------------------------------------

/// A place of a line: a fix, or where the line meets the date line (no fix).
struct Place {
    Position position;
    const TrackPoint* fix;
};

using Places = std::vector<Place>;

/// Where the straight way from one to the other meets the date line, seen from the first one.
Position atDateLine(const Position& from, const Position& to) {
    const std::int64_t side = from.longitude > 0 ? kDateLine : -kDateLine;
    const std::int64_t before = std::abs(side - from.longitude);
    const std::int64_t behind = std::abs(-side - to.longitude);
    const std::int64_t climb = std::int64_t{to.latitude} - from.latitude;
    const std::int64_t way = before + behind;
    const std::int64_t latitude = from.latitude + (way > 0 ? climb * before / way : 0);
    return {static_cast<std::int32_t>(latitude), static_cast<std::int32_t>(side)};
}

/// The lines of a segment: more than one where it crosses the date line.
std::vector<Places> linesOf(const TrackPoint* first, const TrackPoint* last) {
    std::vector<Places> lines(1);
    for (const TrackPoint* point = first; point != last; ++point) {
        if (point != first && crossesDateLine(point[-1].position, point->position)) {
            const Position cut = atDateLine(point[-1].position, point->position);
            lines.back().push_back({cut, nullptr});
            lines.push_back({{{cut.latitude, -cut.longitude}, nullptr}});
        }
        lines.back().push_back({point->position, point});
    }
    return lines;
}

/// What of each place one list tells: of all lines, in the form of the coordinates.
template <class Tell>
void writeList(std::ostream& output, const std::vector<Places>& lines, Tell tell) {
    output << (lines.size() > 1 ? "[" : "");
    for (std::size_t i = 0; i < lines.size(); ++i) {
        output << (i > 0 ? ",[" : "[");
        for (std::size_t k = 0; k < lines[i].size(); ++k)
            output << (k > 0 ? "," : "") << tell(lines[i][k]);
        output << "]";
    }
    output << (lines.size() > 1 ? "]" : "");
}

/// As `tell` says of a fix, and null for the points of a cut.
template <class Tell>
void writeProperty(std::ostream& output, const char* name, const std::vector<Places>& lines, Tell tell) {
    output << ",\"" << name << "\":";
    writeList(output, lines, [&](const Place& place) { return place.fix ? tell(*place.fix) : "null"; });
}

std::string timeOf(const TrackPoint& point) { return '"' + utcText(point.utcS * kMsPerSecond, false) + '"'; }

void writeLines(std::ostream& output, std::size_t number, const std::vector<Places>& lines) {
    output << R"({"type":"Feature","geometry":{"type":")"
           << (lines.size() > 1 ? "MultiLineString" : "LineString") << R"(","coordinates":)";
    writeList(output, lines, [](const Place& place) { return pair(place.position); });
    output << R"(},"properties":{"kind":"track","segment":)" << number;
    writeProperty(output, "times_utc", lines, timeOf);
    writeProperty(output, "altitudes_m", lines,
                  [](const TrackPoint& point) { return decimal(point.altitudeMm, 3); });
    writeProperty(output, "speeds_m_per_s", lines,
                  [](const TrackPoint& point) { return decimal(point.speedMmPerS, 3); });
    writeProperty(output, "courses_deg", lines,
                  [](const TrackPoint& point) { return decimal(point.courseMdeg, 3); });
    output << "}}";
}

void addPoint(Collection& features, std::size_t number, const TrackPoint& point) {
    features.add(
        {{"type", "Point"}, {"coordinates", coordinates(point.position)}},
        {{"kind", "track"}, {"segment", number}, {"time_utc", utcText(point.utcS * kMsPerSecond, false)}});
}

void addTrack(Collection& features, const std::vector<TrackPoint>& points) {
    std::size_t number = 0;
    for (std::size_t begin = 0, end = 0; begin < points.size(); begin = end) {
        for (end = begin + 1; end < points.size() && !points[end].begins;)
            ++end;
        ++number;
        if (end == begin + 1)
            addPoint(features, number, points[begin]);
        else
            writeLines(features.next(), number, linesOf(&points[begin], &points[begin] + (end - begin)));
    }
}

} // namespace

void writeGeoJson(std::ostream& output, const Journey& journey) {
    output << R"({"type":"FeatureCollection","generator":)" << textOf(journey.program())
           << R"(,"description":)" << textOf(inWords(journey)) << R"(,"features":[)";
    Collection features(output);
    for (const Mark& mark : journey.marks())
        add(features, mark);
    for (const Geofence& geofence : journey.geofences())
        add(features, geofence);
    addTrack(features, journey.points());
    output << "\n]}\n";
}

} // namespace telemetry
