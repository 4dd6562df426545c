#ifndef WHOLEFILE_H
#define WHOLEFILE_H

#include <functional>
#include <optional>
#include <ostream>
#include <string>

namespace telemetry {

/// Writes a file as a whole or not at all: into another file of the same folder, which then takes the name.
/// What is no regular file (a pipe, /dev/stdout) is written to as it is.
///
/// Nothing when all went well; else why not: "x.gpx: No space left on device".
std::optional<std::string> writeWholeFile(const std::string& path,
                                          const std::function<void(std::ostream& output)>& write);

/// Nothing where `writeWholeFile` could begin; else why not. For programs that write it at their end, and
/// should tell at their begin.
std::optional<std::string> whyNotWritable(const std::string& path);

} // namespace telemetry

#endif
