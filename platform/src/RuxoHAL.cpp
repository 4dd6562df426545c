#include "ruxohal/RuxoHAL.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace {

constexpr char kDefaultAntennaFile[] = "/run/ruxo/antenna";
constexpr unsigned long kLargestState = 0xFFFFFFFFul;
constexpr std::size_t kLongestContent = 64;
constexpr int kReadsOfAnEmptyFile = 20;
constexpr useconds_t kPauseBetweenReadsUs = 1000;

const char* antennaFile() {
    const char* path = getenv("RUXO_ANTENNA_FILE");
    return path != nullptr && *path != '\0' ? path : kDefaultAntennaFile;
}

/// The file's text, or its first bytes when it is far too long for a number. 0, or what went wrong as errno
/// says it.
int readText(const char* path, std::string& text) {
    // A named pipe must not hold the caller up.
    const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0)
        return errno;
    char buffer[kLongestContent];
    const ssize_t length = read(file, buffer, sizeof buffer);
    const int failure = length < 0 ? errno : 0;
    close(file);
    text.assign(buffer, length < 0 ? 0 : static_cast<std::size_t>(length));
    return failure;
}

/// The same, patient with a file that is being rewritten: for a moment it is empty.
int readSettledText(const char* path, std::string& text) {
    int failure = readText(path, text);
    for (int reads = 1; failure == 0 && text.empty() && reads < kReadsOfAnEmptyFile; ++reads) {
        usleep(kPauseBetweenReadsUs);
        failure = readText(path, text);
    }
    return failure;
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
    std::string text;
    const int failure = readSettledText(antennaFile(), text);
    if (failure == ENOENT) {
        state = GPS_ANTENNA_OK;
        return 0;
    }
    if (failure != 0)
        return RUXOHAL_ERR_READ;
    return parseState(text, state) ? 0 : RUXOHAL_ERR_CONTENT;
}
