#ifndef LOADEDLIBRARY_H
#define LOADEDLIBRARY_H

#include <string>
#include <vector>

#include "Finding.h"

/// A shared library as the loader of this unit takes it. Nothing of it is called.

namespace check {

class LoadedLibrary {
public:
    /// Loads `name` with all that it needs, and keeps it to the program's end.
    explicit LoadedLibrary(const std::string& name);

    bool isLoaded() const { return error_.empty(); }
    const std::string& error() const { return error_; } ///< the loader's words
    const std::string& path() const { return path_; }   ///< of the file that the loader took

    const std::vector<std::string>& needed() const { return needed_; } ///< sonames of what it links
    const std::vector<std::string>& names() const { return names_; }   ///< all symbols, its own and others'

private:
    void readTables(const void* linkMap);

    std::string error_;
    std::string path_;
    std::vector<std::string> needed_;
    std::vector<std::string> names_;
};

/// The soname that begins with `prefix` ("libgps.so."), or nothing.
std::string sonameOf(const std::vector<std::string>& sonames, const std::string& prefix);

/// The width of `time_t` that a library of a machine with `longBits` was built with, by the names of the C
/// library's time functions that it calls: on 32 bits there are two of each. 0: can't be told.
int timeBits(const std::vector<std::string>& names, int longBits);

/// Both in bits; `libgps` is 0 where it can't be told.
Finding compareTimeWidths(int library, int libgps);

} // namespace check

#endif
