#ifndef NUMBERS_H
#define NUMBERS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Numbers from text and into text: the one place where the simulator reads or writes digits. The program
/// never sets a locale, so the decimal separator is a point.

namespace simulator {

/// The number that `text` is, as strtod reads it ("5", "-0.5", "1e3"). None where anything stands behind it,
/// where it is no number, and where it lies outside `lowest` to `highest` (both belong to the range).
std::optional<double> parseNumber(const std::string& text, double lowest, double highest);

/// The whole number that `text` is: decimal digits alone, `least` to `most` (both belong to the range).
std::optional<uint32_t> parseWhole(std::string_view text, uint32_t least, uint32_t most);

/// The number at the beginning of `text`, as strtod reads it; 0 where there is none.
double leadingNumber(const std::string& text);

/// What printf would print, in any length. The compiler checks the arguments.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...);

} // namespace simulator

#endif
