#include "Wrapping.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

namespace {

constexpr std::size_t kTextColumn = 45; // behind date, time and position
constexpr std::size_t kLeastText = 30;  // columns
constexpr std::size_t kIndent = 4;

bool hasColumns(const std::string& line) {
    constexpr char kTime[] = "0000-00-00 00:00:00  ";
    if (line.size() < kTextColumn)
        return false;
    for (std::size_t i = 0; i + 1 < sizeof kTime; ++i)
        if (kTime[i] == '0' ? line[i] < '0' || line[i] > '9' : line[i] != kTime[i])
            return false;
    return true;
}

/// Columns have no meaning where there is no room for them.
void squeezeBlanks(std::string& line) {
    for (std::size_t at = line.find("   "); at != std::string::npos; at = line.find("   ", at))
        line.erase(at, 1);
}

std::size_t terminalColumns() {
    winsize size = {};
    const bool isTerminal = isatty(STDOUT_FILENO) == 1 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0;
    return isTerminal ? size.ws_col : 0;
}

} // namespace

std::string wrapped(std::string line, std::size_t columns) {
    if (columns == 0 || line.size() <= columns)
        return line;
    const bool keepsColumns = columns >= kTextColumn + kLeastText && hasColumns(line);
    const std::size_t indent = keepsColumns ? kTextColumn : kIndent;
    if (!keepsColumns)
        squeezeBlanks(line);
    std::string rows;
    while (line.size() > columns) {
        const std::size_t blank = line.rfind(' ', columns);
        const std::size_t last = blank == std::string::npos ? blank : line.find_last_not_of(' ', blank);
        if (last == std::string::npos)
            break;
        rows += line.substr(0, last + 1) + "\n";
        line = std::string(indent, ' ') + line.substr(line.find_first_not_of(' ', blank));
    }
    return rows + line;
}

void printLine(const std::string& line) { std::puts(wrapped(line, terminalColumns()).c_str()); }
