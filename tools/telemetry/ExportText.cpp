#include "ExportText.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace telemetry {

namespace {

constexpr const char* kReplacement = "\xEF\xBF\xBD"; // U+FFFD
constexpr double kMostDilution = 1e6;

/// "5 events"
std::string counted(std::size_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

/// What stands for a character of one byte.
std::string entity(char character) {
    switch (character) {
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '&':
        return "&amp;";
    case '"':
        return "&quot;";
    case '\t':
        return "&#9;";
    case '\n':
        return "&#10;";
    case '\r':
        return "&#13;";
    default:
        return static_cast<unsigned char>(character) < ' ' ? kReplacement : std::string(1, character);
    }
}

/// U+FFFE and U+FFFF are UTF-8, but no characters of XML.
bool isNoCharacter(const std::string& text, std::size_t at) {
    return text.compare(at, 3, "\xEF\xBF\xBE") == 0 || text.compare(at, 3, "\xEF\xBF\xBF") == 0;
}

} // namespace

std::string decimal(std::int64_t value, unsigned int digits) {
    std::string text = std::to_string(value < 0 ? -value : value);
    if (text.size() <= digits)
        text.insert(0, digits + 1 - text.size(), '0');
    if (digits > 0)
        text.insert(text.size() - digits, 1, '.');
    return (value < 0 ? "-" : "") + text;
}

std::string dilutionText(double value) {
    if (!std::isfinite(value) || value < 0 || value > kMostDilution)
        return "";
    return decimal(std::llround(value * 100), 2);
}

std::string inUtf8(const std::string& text) {
    const nlohmann::json value = text;
    const auto replace = nlohmann::json::error_handler_t::replace;
    return nlohmann::json::parse(value.dump(-1, ' ', false, replace)).get<std::string>();
}

std::string inXml(const std::string& text) {
    const std::string from = inUtf8(text);
    std::string to;
    for (std::size_t i = 0; i < from.size(); ++i) {
        if (isNoCharacter(from, i)) {
            to += kReplacement;
            i += 2;
        } else {
            to += entity(from[i]);
        }
    }
    return to;
}

std::string inWords(const Journey& journey) {
    std::string words = counted(journey.fixes(), "fix", "fixes") + ", " +
                        counted(journey.points().size(), "point of the track", "points of the track") + ", " +
                        counted(journey.marks().size(), "event", "events") + ", " +
                        counted(journey.geofences().size(), "geofence", "geofences");
    if (journey.marksLeftOut() > 0)
        words += "; left out: " + counted(journey.marksLeftOut(), "later event", "later events");
    if (journey.geofencesLeftOut() > 0)
        words += "; left out: " + counted(journey.geofencesLeftOut(), "later geofence", "later geofences");
    return words;
}

} // namespace telemetry
