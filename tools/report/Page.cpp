#include "Page.h"

#include <algorithm>
#include <utility>

#include "Charts.h"
#include "Compare.h"
#include "Map.h"
#include "Markup.h"
#include "PageFiles.h"
#include "Series.h"
#include "Tables.h"

namespace report {

namespace {

/// "YWJj" of the bytes that hexadecimal digits name.
std::string base64(const std::string& hex) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string to;
    std::uint32_t bits = 0;
    int waiting = 0;
    for (const char each : hex) {
        bits = bits << 4 | static_cast<std::uint32_t>(each <= '9' ? each - '0' : each - 'a' + 10);
        waiting += 4;
        if (waiting >= 6) {
            waiting -= 6;
            to += kDigits[bits >> waiting & 63u];
        }
    }
    if (waiting > 0)
        to += kDigits[bits << (6 - waiting) & 63u];
    return to + std::string((4 - to.size() % 4) % 4, '=');
}

/// Nothing from elsewhere, and of what stands in the page only its own style and script.
std::string policy() {
    return "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'sha256-" +
           base64(kPageStylesHash) + "'; script-src 'sha256-" + base64(kPageScriptHash) +
           "'; img-src data:; base-uri 'none'; form-action 'none'\">\n";
}

std::string head(const std::string& title) {
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n" + policy() +
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<meta name=\"color-scheme\" content=\"light dark\">\n<title>" +
           title + "</title>\n<style>" + kPictureStyle + kPageStyle + "</style>\n</head>\n";
}

std::string viewBox(double width, double height) {
    return "viewBox=\"0 0 " + number(width) + " " + number(height) + "\"";
}

/// What all parts of the page are made from.
struct Parts {
    std::vector<TrackPoint> track;
    std::vector<Happening> happenings;
    std::vector<Area> areas;
    std::vector<Area> otherAreas;

    explicit Parts(const Contents& contents)
        : track(trackOf(contents.drive)), happenings(happeningsOf(contents.drive)),
          areas(areasOf(contents.drive)), otherAreas(otherAreasOf(contents, areas)) {}

    MapContents map(const Contents& contents) const {
        std::vector<Area> all = areas;
        all.insert(all.end(), otherAreas.begin(), otherAreas.end());
        return {contents, track, happenings, areas, otherAreas, SpeedScale(track), Frame(track, all)};
    }
};

// --- The map and its key --------------------------------------------------------------------------------

std::string keyEntry(const std::string& drawing, const std::string& words) {
    return "<li><svg class=\"swatch\" viewBox=\"-12 -8 24 16\" aria-hidden=\"true\">" + drawing + "</svg> " +
           words + "</li>\n";
}

std::string speedKey(const MapContents& map) {
    if (map.track.empty())
        return "";
    const SpeedScale& speeds = map.speeds;
    std::string key;
    for (std::size_t step = 0; step < speeds.steps(); ++step)
        key += keyEntry("<path class=\"casing\" d=\"M-8 0H8\"/><path class=\"track v" +
                            std::to_string(speeds.colour(step)) + "\" d=\"M-8 0H8\"/>",
                        speeds.words(step));
    return "<ul class=\"key\" aria-label=\"Colours of the track, kilometres an hour\">\n" + key +
           "<li>km/h</li></ul>\n";
}

/// Of those that are in the charts.
std::string stretchKey(const Drive& drive) {
    const std::pair<Stretch::Kind, const char*> kinds[] = {
        {Stretch::Kind::NoFix, "no fix"},
        {Stretch::Kind::Watchdog, "gpsd restarted by the watchdog (an estimate)"},
        {Stretch::Kind::Restart, "monitor restarted"},
        {Stretch::Kind::NoReadings, "nothing recorded"},
        {Stretch::Kind::ClockJump, "clock jumped"}};
    std::string key;
    for (const auto& [kind, words] : kinds)
        if (std::any_of(drive.stretches.begin(), drive.stretches.end(),
                        [kind = kind](const Stretch& stretch) { return stretch.kind == kind; }))
            key += keyEntry("<rect class=\"band " + std::string(styleOf(kind)) +
                                "\" x=\"-11\" y=\"-7\" width=\"22\" height=\"14\"/>",
                            words);
    return key.empty() ? "" : "<ul class=\"key\" aria-label=\"Marks in the charts\">\n" + key + "</ul>\n";
}

std::string markKey(const Contents& contents) {
    std::string key =
        keyEntry("<g class=\"mark entered\"><path d=\"M0-7 7 5H-7z\"/></g>", "geofence entered") +
        keyEntry("<g class=\"mark left\"><path d=\"M0 7 7-5H-7z\"/></g>", "geofence left") +
        keyEntry("<g class=\"area\"><rect class=\"margin\" x=\"-11\" y=\"-7\" width=\"22\" height=\"14\"/>"
                 "<rect class=\"border\" x=\"-6\" y=\"-4\" width=\"12\" height=\"8\"/></g>",
                 "geofence and its margin") +
        keyEntry("<g class=\"mark begin\"><circle r=\"5\"/></g>", "first fix") +
        keyEntry("<g class=\"mark finish\"><rect x=\"-5\" y=\"-5\" width=\"10\" height=\"10\"/></g>",
                 "last fix") +
        keyEntry("<path class=\"gap\" d=\"M-11 0H11\"/>", "no fix between") +
        keyEntry("<path class=\"dropped\" d=\"M-4-4 4 4M-4 4 4-4\"/>", "odometer dropped a step");
    if (contents.other)
        key += keyEntry("<g class=\"area other\"><rect class=\"border\" x=\"-9\" y=\"-6\" width=\"18\" "
                        "height=\"12\"/></g>",
                        escaped(contents.other->whatIf.words));
    return "<ul class=\"key\" aria-label=\"Marks on the map\">\n" + key + "</ul>\n";
}

std::string mapFigure(const MapContents& map) {
    return "<svg class=\"map\" id=\"map\" role=\"img\" aria-label=\"Map of the track, with grid lines " +
           distance(map.frame.gridM()) + " apart; north is up\" " +
           viewBox(Frame::kWidth, map.frame.height()) + ">\n" + mapElements(map) +
           "<g id=\"here\" visibility=\"hidden\"><g class=\"glyph\"><circle r=\"13\"/><circle "
           "class=\"middle\" "
           "r=\"3\"/></g></g>\n</svg>\n";
}

/// What the script fills and shows; without it the page is a still one.
std::string readout() {
    return "<div class=\"readout\" id=\"readout\" hidden>\n<label for=\"time\">Time</label>\n"
           "<input type=\"range\" id=\"time\" min=\"0\" value=\"0\" step=\"any\" aria-describedby=\"keys\">\n"
           "<p class=\"now\"><strong data-value=\"t\"></strong> <span data-value=\"utc\"></span> "
           "<span data-value=\"where\"></span> <span data-value=\"fix\"></span></p>\n</div>\n";
}

std::string exploring(const Contents& contents, const Parts& parts, const MapContents& map) {
    return "<section id=\"drive\" aria-labelledby=\"drive-head\">\n<h2 id=\"drive-head\">The drive</h2>\n"
           "<p class=\"keys\" id=\"keys\" hidden>Move over a chart or the map, or use the keys on the "
           "slider: arrows for "
           "a reading, Page Up and Page Down for an event, Home and End.</p>\n" +
           speedKey(map) + markKey(contents) + stretchKey(contents.drive) +
           "<div class=\"explore\">\n<div class=\"place\">\n" + mapFigure(map) + readout() + "</div>\n" +
           charts(contents, parts.track, parts.happenings) + "</div>\n</section>\n";
}

} // namespace

std::string htmlPage(const Contents& contents) {
    const Parts parts(contents);
    const MapContents map = parts.map(contents);
    const std::string name = escaped(contents.drive.name);
    return head(name + ": a drive") + "<body>\n<header>\n<h1>Drive <bdi>" + name + "</bdi></h1>\n" +
           summary(contents.drive) + "</header>\n<main>\n" + warnings(contents.drive) +
           exploring(contents, parts, map) + comparison(contents) + countsTable(contents.drive) +
           stretchesTable(contents.drive) + geofencesTable(contents, parts.areas) +
           eventsTable(parts.happenings) + "</main>\n<script type=\"application/json\" id=\"series\">" +
           seriesJson(contents.drive, map.frame) + "</script>\n<script>" + kPageScript +
           "</script>\n</body>\n</html>\n";
}

std::string svgPicture(const Contents& contents) {
    constexpr double kKey = 48;
    const Parts parts(contents);
    const MapContents map = parts.map(contents);
    const double height = map.frame.height() + kKey;
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + number(Frame::kWidth) + "\" height=\"" +
           number(height) + "\" " + viewBox(Frame::kWidth, height) + ">\n<title>" +
           escaped(contents.drive.name) + "</title>\n<style>" + kPictureStyle + "</style>\n" +
           "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n" + "<svg width=\"" +
           number(Frame::kWidth) + "\" height=\"" + number(map.frame.height()) + "\">\n" + mapElements(map) +
           "</svg>\n<g transform=\"translate(0 " + number(map.frame.height() + 4) + ")\">" +
           speedLegend(map.speeds) + "</g>\n</svg>\n";
}

} // namespace report
