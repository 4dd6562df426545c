#ifndef LOG_H
#define LOG_H

#include <new>

#include "GPSPlatform.h"

/// Writes a log line: `level` is a `Logging::Level`, then printf's format and its arguments. The line goes
/// out under the file's `kLogSource`, the literal path that log readers filter by, whatever folder the
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
