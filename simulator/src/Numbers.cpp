#include "simulator/Numbers.h"

#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace simulator {

std::optional<double> parseNumber(const std::string& text, double lowest, double highest) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    const bool whole = !text.empty() && end == text.c_str() + text.size();
    const bool within = value >= lowest && value <= highest; // false for NaN
    return whole && within ? std::optional<double>(value) : std::nullopt;
}

std::optional<uint32_t> parseWhole(std::string_view text, uint32_t least, uint32_t most) {
    uint32_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < least || value > most)
        return std::nullopt;
    return value;
}

double leadingNumber(const std::string& text) { return std::strtod(text.c_str(), nullptr); }

std::string formatted(const char* format, ...) {
    va_list values;
    va_start(values, format);
    va_list sameValues;
    va_copy(sameValues, values);
    const int length = std::vsnprintf(nullptr, 0, format, values);
    std::string text(static_cast<std::size_t>(length > 0 ? length : 0), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, sameValues);
    va_end(sameValues);
    va_end(values);
    return text;
}

} // namespace simulator
