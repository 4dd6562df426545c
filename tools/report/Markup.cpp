#include "Markup.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace report {

namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD"; // U+FFFD

/// Bytes of the UTF-8 character that begins with `first`, 0 where none does.
std::size_t lengthOf(unsigned char first) {
    if (first < 0x80)
        return 1;
    if (first >= 0xC2 && first < 0xE0)
        return 2;
    if (first >= 0xE0 && first < 0xF0)
        return 3;
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

std::uint32_t codeOf(std::string_view character) {
    constexpr std::array<unsigned char, 5> kFirstBits{0, 0x7F, 0x1F, 0x0F, 0x07};
    std::uint32_t code = static_cast<unsigned char>(character[0]) & kFirstBits[character.size()];
    for (const char each : character.substr(1))
        code = code << 6 | (static_cast<unsigned char>(each) & 0x3Fu);
    return code;
}

bool goesOn(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// Whether XML may hold it and it was written in the shortest way.
bool isAllowed(std::uint32_t code, std::size_t length) {
    if (code < 0x20)
        return code == '\t' || code == '\n';
    if (code == 0x7F || code == 0xFFFE || code == 0xFFFF || (code >= 0xD800 && code < 0xE000))
        return false;
    constexpr std::array<std::uint32_t, 5> kLowest{0, 0, 0x80, 0x800, 0x10000};
    return code >= kLowest[length] && code < 0x110000;
}

/// The character at the begin of `text`, empty where there is none that may stand in a page.
std::string_view characterOf(std::string_view text) {
    const std::size_t length = lengthOf(static_cast<unsigned char>(text[0]));
    if (length == 0 || length > text.size())
        return {};
    for (std::size_t i = 1; i < length; ++i)
        if (!goesOn(text[i]))
            return {};
    const std::string_view character = text.substr(0, length);
    return isAllowed(codeOf(character), length) ? character : std::string_view();
}

void append(std::string& to, std::string_view character) {
    if (character == "&")
        to += "&amp;";
    else if (character == "<")
        to += "&lt;";
    else if (character == ">")
        to += "&gt;";
    else if (character == "\"")
        to += "&quot;";
    else if (character.empty())
        to += kReplacement;
    else
        to += character;
}

} // namespace

std::string escaped(std::string_view text) {
    std::string to;
    to.reserve(text.size());
    while (!text.empty()) {
        const std::string_view character = characterOf(text);
        append(to, character);
        text.remove_prefix(character.empty() ? 1 : character.size());
    }
    return to;
}

std::string number(double value, int decimals) {
    if (!std::isfinite(value))
        return "?";
    std::array<char, 350> room{}; // the largest double has 309 digits before its point
    const auto end =
        std::to_chars(room.data(), room.data() + room.size(), value, std::chars_format::fixed, decimals).ptr;
    std::string text(room.data(), end);
    if (text.find('.') != std::string::npos)
        text.erase(text.find_last_not_of('0') + 1);
    if (!text.empty() && text.back() == '.')
        text.pop_back();
    return text == "-0" ? "0" : text;
}

std::string elapsed(double seconds) {
    constexpr std::int64_t kMinute = 60;
    constexpr std::int64_t kHour = 3600;
    const auto whole = static_cast<std::int64_t>(std::llround(seconds));
    const auto twoDigits = [](std::int64_t value) { return (value < 10 ? "0" : "") + std::to_string(value); };
    const std::int64_t minutes = whole / kMinute % kMinute;
    const std::string hours = whole < kHour ? "" : std::to_string(whole / kHour) + ":";
    return hours + (hours.empty() ? std::to_string(minutes) : twoDigits(minutes)) + ":" +
           twoDigits(whole % kMinute);
}

std::string distance(double metres) {
    constexpr double kKilometre = 1000;
    constexpr double kFromHereWithoutDecimals = 100 * kKilometre;
    if (metres < kKilometre)
        return number(metres) + " m";
    return number(metres / kKilometre, metres < kFromHereWithoutDecimals ? 1 : 0) + " km";
}

std::string counted(std::uint64_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

} // namespace report
