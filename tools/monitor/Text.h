#ifndef MONITOR_TEXT_H
#define MONITOR_TEXT_H

#include <cstddef>
#include <string>
#include <vector>

/// Text for a terminal, in the character set of the current locale (LC_CTYPE).
namespace monitor {

/// `text` with a '?' for each character that the terminal must not get or can't show: control characters,
/// what moves or hides others, and what is not of the locale's character set.
std::string showable(const std::string& text);

/// How many columns a printable text takes.
std::size_t columnsOf(const std::string& text);

/// A printable text that takes at most so many columns; one that was cut ends with a '~'.
std::string cut(const std::string& text, std::size_t columns);

/// A printable text that takes exactly so many columns: cut, or blanks behind it.
std::string padded(const std::string& text, std::size_t columns);

/// The printable text in pieces of at most so many columns; all but the first are indented.
std::vector<std::string> wrapped(const std::string& text, std::size_t columns);

/// "13.40"
std::string decimal(double value, int digits);

/// "7 s", "2:05", "1:02:05"
std::string duration(double seconds);

/// "340 m", "1.2 km", "340 km"
std::string distance(double metres);

} // namespace monitor

#endif
