#include "Page.h"

#include "Map.h"
#include "Markup.h"
#include "PageFiles.h"
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

    explicit Parts(const Contents& contents)
        : track(trackOf(contents.drive)), happenings(happeningsOf(contents.drive)),
          areas(areasOf(contents.drive)) {}

    MapContents map(const Contents& contents) const {
        return {contents, track, happenings, areas, {}, SpeedScale(track), Frame(track, areas)};
    }
};

} // namespace

std::string htmlPage(const Contents& contents) {
    const Parts parts(contents);
    const MapContents map = parts.map(contents);
    const std::string title = "Drive " + escaped(contents.drive.name);
    return head(title) + "<body>\n<main>\n<h1>" + title + "</h1>\n" + countsTable(contents.drive) +
           "<svg class=\"map\" role=\"img\" aria-label=\"The track\" " +
           viewBox(Frame::kWidth, map.frame.height()) + ">\n" + mapElements(map) + "</svg>\n" +
           eventsTable(contents.drive, parts.happenings) + "</main>\n<script>" + kPageScript +
           "</script>\n</body>\n</html>\n";
}

std::string svgPicture(const Contents& contents) {
    constexpr double kLegend = 48;
    const Parts parts(contents);
    const MapContents map = parts.map(contents);
    const double height = map.frame.height() + kLegend;
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + number(Frame::kWidth) + "\" height=\"" +
           number(height) + "\" " + viewBox(Frame::kWidth, height) + ">\n<title>" +
           escaped(contents.drive.name) + "</title>\n<style>" + kPictureStyle + "</style>\n" +
           "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n" + mapElements(map) +
           "<g transform=\"translate(0 " + number(map.frame.height() + 4) + ")\">" + speedLegend(map.speeds) +
           "</g>\n</svg>\n";
}

} // namespace report
