#include "logging/Logging.h"

#include <errno.h>
#include <stdlib.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

namespace {

constexpr long kNanosecondsPerMillisecond = 1000000;

struct Settings {
    int levelLimit = LOG_INFO;
    bool toSyslog = false;
};

Settings settingsFromEnvironment() {
    Settings settings;
    const char* level = getenv("RUXO_LOG_LEVEL");
    if (level != nullptr && level[0] >= '0' && level[0] <= '7' && level[1] == '\0')
        settings.levelLimit = level[0] - '0';
    const char* destination = getenv("RUXO_LOG");
    settings.toSyslog = destination != nullptr && std::strcmp(destination, "syslog") == 0;
    return settings;
}

__attribute__((format(printf, 1, 0))) std::string formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0)
        return format;
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    vsnprintf(&text[0], text.size(), format, arguments);
    text.pop_back();
    return text;
}

/// "2026-01-31T12:34:56.789Z"
std::string timeText() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm utc = {};
    gmtime_r(&now.tv_sec, &utc);
    char seconds[32];
    strftime(seconds, sizeof seconds, "%Y-%m-%dT%H:%M:%S", &utc);
    char text[48];
    snprintf(text, sizeof text, "%s.%03ldZ", seconds, now.tv_nsec / kNanosecondsPerMillisecond);
    return text;
}

/// One call of write a line, so that lines of several processes don't mix; a long line may take more calls,
/// which is why threads wait for each other.
void writeToStandardError(const std::string& line) {
    static std::mutex mutex;
    const std::lock_guard<std::mutex> hold(mutex);
    std::size_t done = 0;
    while (done < line.size()) {
        const ssize_t n = write(STDERR_FILENO, line.data() + done, line.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return; // nobody is left to tell
        done += static_cast<std::size_t>(n);
    }
}

} // namespace

void Logging::Message(Level level, const char* source, int line, const char* format, ...) {
    static const Settings settings = settingsFromEnvironment();
    if (level > settings.levelLimit)
        return;
    va_list arguments;
    va_start(arguments, format);
    const std::string text = std::string(source != nullptr ? source : "?") + ":" + std::to_string(line) +
                             " " + formatted(format, arguments);
    va_end(arguments);
    if (settings.toSyslog)
        syslog(level, "%s", text.c_str());
    else
        writeToStandardError(timeText() + " <" + std::to_string(level) + "> " + text + "\n");
}
