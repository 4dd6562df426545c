#ifndef LOG_H
#define LOG_H

#include <new>

#include "GPSPlatform.h"

/// The platform's type of a level, which each vendor names in its own way: `Logging::Message`'s first
/// argument.
template <typename Result, typename Level>
Level levelOf(Result (*)(Level level, const char* source, int line, const char* format, ...));
using LogLevel = decltype(levelOf(&Logging::Message));

// The levels that this library uses, by number: those of syslog. The enumerators' names, and whether there
// are any, come with the vendor's header.

constexpr LogLevel kLogCritical = LogLevel(2); ///< a fault of set-up
constexpr LogLevel kLogError = LogLevel(3);    ///< an operation failed
constexpr LogLevel kLogInfo = LogLevel(6);     ///< information and progress

/// Writes a log line: `level` is one of the three above, then printf's format and its arguments. The line
/// goes out under the file's `kLogSource`, the literal path that log readers filter by, whatever folder the
/// library was built in: every source that logs defines it. The line number is that of the call; in a private
/// piece that logs under another source's name it counts the piece's own lines. From any thread; may block as
/// long as the platform's log does.
///
/// The platform makes a text of it, which needs memory. Without, the line is lost and nothing else happens: a
/// caller goes on as if it had been written. Nothing but the want of memory is caught, as a thread that is
/// cancelled in the platform's log unwinds through here.
#define LOG(level, ...)                                                                                      \
    do {                                                                                                     \
        try {                                                                                                \
            Logging::Message(level, kLogSource, __LINE__, __VA_ARGS__);                                      \
        } catch (const std::bad_alloc&) {                                                                    \
        }                                                                                                    \
    } while (false)

#endif
