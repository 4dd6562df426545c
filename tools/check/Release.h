#ifndef RELEASE_H
#define RELEASE_H

#include <string>

#include "Finding.h"

/// gpsd's releases, "3.22" or "3.27.5", and which go together.

namespace check {

/// The release in what `gpsd -V` prints ("gpsd: 3.22 (revision 3.22)"); empty when there is none.
std::string parseRelease(const std::string& text);

/// Whether a daemon of one release serves a client library of the other. Third numbers don't matter. Both are
/// releases; `library` may be empty, where the build didn't know it.
Finding compareReleases(const std::string& daemon, const std::string& library);

} // namespace check

#endif
