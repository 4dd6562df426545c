#include "Text.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <cwctype>

namespace monitor {

namespace {

constexpr double kSecondsPerMinute = 60;
constexpr std::int64_t kMinutesPerHour = 60;
constexpr double kMetresPerKilometre = 1000;
constexpr double kFewKilometres = 100;

/// A character of a text: its bytes, and the columns that it takes; below 0 for what can't be shown.
struct Character {
    std::size_t bytes = 1;
    int columns = -1;
};

/// The bytes of one character in UTF-8, where the locale can't read it; 1 where it is no such character.
std::size_t bytesOfUtf8(const std::string& text, std::size_t at) {
    const auto isFurther = [&](std::size_t i) {
        return i < text.size() && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
    };
    const auto first = static_cast<unsigned char>(text[at]);
    const std::size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC0 ? 2 : 1;
    for (std::size_t i = 1; i < bytes; ++i)
        if (!isFurther(at + i))
            return 1;
    return bytes;
}

/// What stands alone takes a column at least: a mark without a letter would sit on the blank before it, and
/// the marks that turn the writing direction take none.
Character characterAt(const std::string& text, std::size_t at) {
    std::mbstate_t state = {};
    wchar_t wide = 0;
    const std::size_t bytes = std::mbrtowc(&wide, text.data() + at, text.size() - at, &state);
    if (bytes == 0 || bytes > text.size() - at)
        return {bytesOfUtf8(text, at), -1};
    if (std::iswprint(static_cast<std::wint_t>(wide)) == 0)
        return {bytes, -1};
    return {bytes, wcwidth(wide) > 0 ? wcwidth(wide) : -1};
}

/// What stands behind the last blank, where that is not far from the end; it may well stand in the next
/// piece.
std::string unfinishedWord(const std::string& piece) {
    const std::size_t blank = piece.find_last_of(' ');
    return blank == std::string::npos || blank < piece.size() / 2 ? "" : piece.substr(blank + 1);
}

} // namespace

std::string showable(const std::string& text) {
    std::string shown;
    for (std::size_t at = 0; at < text.size();) {
        const Character character = characterAt(text, at);
        shown += character.columns < 0 ? "?" : text.substr(at, character.bytes);
        at += character.bytes;
    }
    return shown;
}

std::size_t columnsOf(const std::string& text) {
    std::size_t columns = 0;
    for (std::size_t at = 0; at < text.size();) {
        const Character character = characterAt(text, at);
        columns += character.columns < 0 ? 1 : static_cast<std::size_t>(character.columns);
        at += character.bytes;
    }
    return columns;
}

std::string cut(const std::string& text, std::size_t columns) {
    if (columnsOf(text) <= columns)
        return text;
    std::string shown;
    std::size_t taken = 1; // the mark's
    for (std::size_t at = 0; at < text.size();) {
        const Character character = characterAt(text, at);
        taken += character.columns < 0 ? 1 : static_cast<std::size_t>(character.columns);
        if (taken > columns)
            break;
        shown += text.substr(at, character.bytes);
        at += character.bytes;
    }
    return columns == 0 ? "" : shown + "~";
}

std::string padded(const std::string& text, std::size_t columns) {
    const std::string shown = cut(text, columns);
    return shown + std::string(columns - columnsOf(shown), ' ');
}

std::vector<std::string> wrapped(const std::string& text, std::size_t columns) {
    const std::string indent = "  ";
    std::vector<std::string> pieces = {""};
    std::size_t taken = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t bytes = characterAt(text, at).bytes;
        const std::string character = text.substr(at, bytes);
        at += bytes;
        const std::size_t wide = columnsOf(character);
        if (taken + wide > columns && taken > indent.size()) {
            const std::string rest = unfinishedWord(pieces.back());
            pieces.back().resize(pieces.back().size() - rest.size());
            pieces.push_back(indent + rest);
            taken = columnsOf(pieces.back());
        }
        if (character == " " && pieces.size() > 1 && pieces.back() == indent)
            continue; // the words were parted at this blank
        pieces.back() += character;
        taken += wide;
    }
    return pieces;
}

std::string decimal(double value, int digits) {
    if (!std::isfinite(value))
        return "-";
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

std::string duration(double seconds) {
    const auto whole = static_cast<std::int64_t>(std::floor(std::fmax(seconds, 0)));
    if (seconds < kSecondsPerMinute)
        return std::to_string(whole) + " s";
    const auto minutes = whole / static_cast<std::int64_t>(kSecondsPerMinute);
    const int rest = static_cast<int>(whole % static_cast<std::int64_t>(kSecondsPerMinute));
    char text[64];
    if (minutes < kMinutesPerHour)
        std::snprintf(text, sizeof text, "%d:%02d", static_cast<int>(minutes), rest);
    else
        std::snprintf(text, sizeof text, "%lld:%02d:%02d", static_cast<long long>(minutes / kMinutesPerHour),
                      static_cast<int>(minutes % kMinutesPerHour), rest);
    return text;
}

std::string distance(double metres) {
    if (metres < kMetresPerKilometre)
        return decimal(metres, 0) + " m";
    const double kilometres = metres / kMetresPerKilometre;
    return decimal(kilometres, kilometres < kFewKilometres ? 1 : 0) + " km";
}

} // namespace monitor
