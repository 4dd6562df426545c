#ifndef FORMAT_H
#define FORMAT_H

#include <cstdio>
#include <string>

/// As printf, up to 255 characters; what is longer is cut.
template <typename... Values>
std::string format(const char* text, Values... values) {
    char line[256];
    std::snprintf(line, sizeof line, text, values...);
    return line;
}

#endif
