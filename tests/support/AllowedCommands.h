#ifndef ALLOWEDCOMMANDS_H
#define ALLOWEDCOMMANDS_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "HandlerTest.h"

/// Every command text that the library may hand to the shell: a fixed one, or a frame in its escaped form.
/// What comes from outside is in none but as the digits of that form.

/// Whether `text` is one escaped byte after the other: backslash, x, one or two lower-case hex digits.
inline bool isEscapedFrame(std::string_view text) {
    const auto isDigit = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
    std::size_t at = 0;
    while (at < text.size()) {
        if (text.substr(at, 2) != "\\x" || at + 2 >= text.size() || !isDigit(text[at + 2]))
            return false;
        at += at + 3 < text.size() && isDigit(text[at + 3]) ? 4 : 3;
    }
    return !text.empty();
}

/// The journal's lines of the commands that hold nothing from outside, in full.
inline const Lines& fixedCommands() {
    static const Lines commands = [] {
        Lines lines = {"system killall -9 gpsd",
                       "system echo 0 >  /sys/class/gpio/gpio93/value",
                       "system echo 1 >  /sys/class/gpio/gpio93/value",
                       "popen pidof gpsd",
                       "popen kill -9 $(pidof gpsd)",
                       "popen gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1",
                       portSetUp("9600"),
                       portSetUp("115200")};
        for (const ConfigurationText& text : kConfigurationTexts) // their digits are of either case
            lines.push_back(written(text.frame));
        return lines;
    }();
    return commands;
}

/// Whether a journal line is a command.
inline bool isCommand(const std::string& line) {
    return line.compare(0, 7, "system ") == 0 || line.compare(0, 6, "popen ") == 0;
}

/// Whether a command is one of those above, and nothing else.
inline bool isAllowedCommand(const std::string& line) {
    const std::string begin = "system echo -e \"";
    const std::string end = "\" > /dev/ttymxc1";
    if (std::find(fixedCommands().begin(), fixedCommands().end(), line) != fixedCommands().end())
        return true;
    if (line.size() < begin.size() + end.size() || line.compare(0, begin.size(), begin) != 0 ||
        line.compare(line.size() - end.size(), end.size(), end) != 0)
        return false;
    return isEscapedFrame(
        std::string_view(line).substr(begin.size(), line.size() - begin.size() - end.size()));
}

#endif
