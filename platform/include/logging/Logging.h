#ifndef LOGGING_LOGGING_H
#define LOGGING_LOGGING_H

#include "ruxo/Visibility.h"

/// The platform's log. Levels are those of syslog: the smaller the number, the graver the matter.
namespace Logging {

enum Level {
    LevelCritical = 2, ///< a fault of set-up
    LevelError = 3,    ///< an operation failed
    LevelInfo = 6,     ///< information and progress
};

/// Writes one line with time, level, source, line and text. `format` is printf's. Safe from several
/// threads: lines never mix. May block as long as the destination does.
///
/// The host version takes its settings from the environment, once, at the first line:
/// RUXO_LOG_LEVEL (0 to 7, default 6): lines with a greater number are dropped;
/// RUXO_LOG ("stderr", the default, or "syslog"): where lines go.
/// A setting that it doesn't know counts as not set.
RUXO_API void Message(Level level, const char* source, int line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

} // namespace Logging

#endif
