#ifndef LOG_H
#define LOG_H

#include "GPSPlatform.h"

/// Writes a log line under the file's `kLogSource`, the literal path that log readers filter by, whatever
/// folder the library was built in.
#define LOG(level, ...) Logging::Message(level, kLogSource, __LINE__, __VA_ARGS__)

#endif
