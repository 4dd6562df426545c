#ifndef TEXTFILE_H
#define TEXTFILE_H

#include <optional>
#include <string>

/// Files of the system that are short and read whole: of /proc, /sys and /etc.

namespace check {

/// Nothing where there is no such file, or this user may not read it.
std::optional<std::string> readFile(const std::string& path);

/// The same, empty where there is nothing.
std::string contentOf(const std::string& path);

} // namespace check

#endif
