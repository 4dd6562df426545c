#ifndef UTILITIES_UTIL_H
#define UTILITIES_UTIL_H

#include "ruxo/Visibility.h"

namespace Util {

namespace File {

/// Removes the file `path`. True when it is gone afterwards because of this call; false when there was
/// none, when it is no file (a folder stays), when it may not be removed, or when `path` is null.
RUXO_API bool RemoveSingleFile(const char* path);

} // namespace File

namespace Time {

/// Sets `*utcSeconds` to the current UTC time in seconds since the Unix epoch and returns true; false,
/// with nothing changed, when `utcSeconds` is null or the clock can't be read.
RUXO_API bool GetGmTime(long* utcSeconds);

} // namespace Time

} // namespace Util

#endif
