#ifndef WRAPPING_H
#define WRAPPING_H

#include <cstddef>
#include <string>

/// The line as a terminal of so many columns shows it best: broken at words, what goes on is indented. With a
/// date, a time and a position in front, the text stays in its column where there is room for that. A word
/// that is wider than the terminal stays whole; with 0 columns the line stays as it is.
std::string wrapped(std::string line, std::size_t columns);

/// Writes a line to standard output: wrapped where that is a terminal, as it is elsewhere.
void printLine(const std::string& line);

#endif
