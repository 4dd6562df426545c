#ifndef WORDS_H
#define WORDS_H

#include <string>

#include "Telemetry.h"

/// Telemetry for people.

namespace monitor {

/// printf's format.
[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...);

/// A text that no terminal takes for a command: control characters become '?'.
std::string printable(const std::string& text);

/// "2026-11-22 03:25:18   47.285200    8.565300  antenna: disconnected"; empty for what is not told in lines.
/// A remark stands at its end.
std::string inOneLine(const telemetry::Line& line, const char* remark = "");

/// A block of lines, each with its label.
std::string inABlock(const telemetry::Line& line, const telemetry::Readings& readings,
                     const telemetry::Settings& settings);

} // namespace monitor

#endif
