#include "Gpx.h"

#include <algorithm>

#include "Area.h"
#include "ExportText.h"

namespace telemetry {

namespace {

constexpr std::int64_t kMsPerSecond = 1000;
constexpr std::int32_t kDateLine = 180000000;

constexpr const char* kHead =
    R"(<?xml version="1.0" encoding="UTF-8"?>
<gpx version="1.1" creator=")";
constexpr const char* kNamespaces =
    R"(" xmlns="http://www.topografix.com/GPX/1/1" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
    R"( xmlns:gpxtpx="http://www.garmin.com/xmlschemas/TrackPointExtension/v2")"
    R"( xsi:schemaLocation="http://www.topografix.com/GPX/1/1 http://www.topografix.com/GPX/1/1/gpx.xsd)"
    R"( http://www.garmin.com/xmlschemas/TrackPointExtension/v2)"
    R"( http://www.garmin.com/xmlschemas/TrackPointExtensionv2.xsd">
)";

/// Its name and value; nothing where there is no value.
std::string element(const char* name, const std::string& value) {
    if (value.empty())
        return "";
    return std::string("<") + name + ">" + value + "</" + name + ">";
}

/// The longitude of 180 degrees is written as -180: GPX ends before it.
std::string attributes(const Position& position) {
    const std::int32_t longitude = position.longitude == kDateLine ? -kDateLine : position.longitude;
    return R"( lat=")" + decimal(position.latitude, 6) + R"(" lon=")" + decimal(longitude, 6) + R"(")";
}

// --- Events ---------------------------------------------------------------------------------------------

/// Without a place there is no waypoint.
void write(std::ostream& output, const Mark& mark) {
    if (!mark.where)
        return;
    output << "  <wpt" << attributes(*mark.where) << ">" << element("time", utcText(mark.utcMs))
           << element("name", inXml(mark.name)) << element("type", inXml(mark.type)) << "</wpt>\n";
}

// --- Geofences ------------------------------------------------------------------------------------------

void writeBox(std::ostream& output, const std::string& name, const char* type, const Box& box) {
    // The eastern border on the date line would be drawn around the Earth as -180.
    const std::int32_t east = std::min(box.northEast.longitude, kDateLine - 1);
    const Position corners[] = {box.southWest,
                                {box.southWest.latitude, east},
                                {box.northEast.latitude, east},
                                {box.northEast.latitude, box.southWest.longitude},
                                box.southWest};
    output << "  <rte>" << element("name", inXml(name)) << element("type", type) << "\n";
    for (const Position& corner : corners)
        output << "    <rtept" << attributes(corner) << "/>\n";
    output << "  </rte>\n";
}

void write(std::ostream& output, const Geofence& geofence) {
    const Area area = areaOf(geofence, 0);
    if (area.counted)
        writeBox(output, geofence.name, "geofence", *area.counted);
    const Area withMargin = areaOf(geofence, geofence.margin);
    if (geofence.margin > 0 && withMargin.counted)
        writeBox(output, geofence.name + " (margin)", "geofence_margin", *withMargin.counted);
    if (area.beyond)
        writeBox(output, geofence.name + " (beyond the date line)", "geofence_beyond_date_line",
                 *area.beyond);
}

// --- The track ------------------------------------------------------------------------------------------

std::string motionOf(const TrackPoint& point) {
    constexpr std::uint32_t kTurnMdeg = 360000;
    return element("extensions",
                   element("gpxtpx:TrackPointExtension",
                           element("gpxtpx:speed", decimal(point.speedMmPerS, 3)) +
                               element("gpxtpx:course", decimal(point.courseMdeg % kTurnMdeg, 3))));
}

void write(std::ostream& output, const TrackPoint& point) {
    output << "      <trkpt" << attributes(point.position) << ">"
           << element("ele", decimal(point.altitudeMm, 3))
           << element("time", utcText(point.utcS * kMsPerSecond, false))
           << element("sat", std::to_string(point.satellites)) << element("hdop", dilutionText(point.hdop))
           << element("pdop", dilutionText(point.pdop)) << motionOf(point) << "</trkpt>\n";
}

void writeTrack(std::ostream& output, const std::vector<TrackPoint>& points) {
    output << "  <trk><name>track</name>\n    <trkseg>\n";
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (i > 0 && (points[i].begins || crossesDateLine(points[i - 1].position, points[i].position)))
            output << "    </trkseg>\n    <trkseg>\n";
        write(output, points[i]);
    }
    output << "    </trkseg>\n  </trk>\n";
}

} // namespace

void writeGpx(std::ostream& output, const Journey& journey) {
    output << kHead << inXml(journey.program().empty() ? "ruxogps" : journey.program()) << kNamespaces
           << "  <metadata>" << element("desc", inXml(inWords(journey))) << "</metadata>\n";
    for (const Mark& mark : journey.marks())
        write(output, mark);
    for (const Geofence& geofence : journey.geofences())
        write(output, geofence);
    if (!journey.points().empty())
        writeTrack(output, journey.points());
    output << "</gpx>\n";
}

} // namespace telemetry
