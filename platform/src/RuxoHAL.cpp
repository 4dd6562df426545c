#include "ruxohal/RuxoHAL.h"

#include <errno.h>
#include <stdlib.h>

#include <cstdio>
#include <string>

namespace {

constexpr char kDefaultAntennaFile[] = "/run/ruxo/antenna";
constexpr unsigned long kLargestState = 0xFFFFFFFFul;
constexpr std::size_t kLongestContent = 64;

const char* antennaFile() {
    const char* path = getenv("RUXO_ANTENNA_FILE");
    return path != nullptr && *path != '\0' ? path : kDefaultAntennaFile;
}

/// The file's text, or its first bytes when it is far too long for a number.
bool readText(FILE* file, std::string& text) {
    char buffer[kLongestContent];
    text.assign(buffer, fread(buffer, 1, sizeof buffer, file));
    return ferror(file) == 0;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/// One unsigned decimal number, blanks around it allowed.
bool parseState(const std::string& text, GPSAntennaState& state) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && isBlank(text[begin]))
        ++begin;
    while (end > begin && isBlank(text[end - 1]))
        --end;
    const std::string digits = text.substr(begin, end - begin);
    if (digits.empty() || digits.size() > 10 || digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const unsigned long long value = strtoull(digits.c_str(), nullptr, 10);
    if (value > kLargestState)
        return false;
    state = static_cast<GPSAntennaState>(value);
    return true;
}

} // namespace

RuxoHAL* RuxoHAL::Instance() {
    static RuxoHAL instance;
    return &instance;
}

unsigned int RuxoHAL::GetGNSSAntennaState(GPSAntennaState& state) {
    FILE* file = fopen(antennaFile(), "re");
    if (file == nullptr) {
        if (errno != ENOENT)
            return RUXOHAL_ERR_READ;
        state = GPS_ANTENNA_OK;
        return 0;
    }
    std::string text;
    const bool read = readText(file, text);
    fclose(file);
    if (!read)
        return RUXOHAL_ERR_READ;
    return parseState(text, state) ? 0 : RUXOHAL_ERR_CONTENT;
}
