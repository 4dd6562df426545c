#ifndef SHORTAGE_H
#define SHORTAGE_H

#include <cstddef>
#include <optional>

#include "FailingMemory.h"

/// What an operation may be refused, on the thread that runs it.
enum class Resource {
    Memory, ///< malloc, calloc, realloc and operator new; under a sanitizer, which has its own, operator new
            ///< alone
    Opens,  ///< fopen and open of the receiver's port and the database
    Processes, ///< system and popen
    Writes,    ///< fwrite, fprintf, fflush, fseeko and fclose of the database
};

/// While one lives, the `first`-th request for the resource, counted from 1, is refused, and those behind it
/// up to `count` of them (FailingMemory::kForever: all that follow). The virtual unit's own are neither
/// counted nor refused.
class Shortage {
public:
    Shortage(Resource resource, std::size_t first, std::size_t count);
    ~Shortage();
    Shortage(const Shortage&) = delete;
    Shortage& operator=(const Shortage&) = delete;

    /// Whether a request was refused meanwhile. When the answer is no, the operation has none behind the
    /// `first`.
    bool hasRefused() const;

private:
    std::optional<FailingMemory> memory_; ///< where the C library's memory can't be refused
};

/// While one lives, remembers what its thread takes from the C library's memory and doesn't give back.
/// Without the virtual unit's own. Under a sanitizer, which looks after that itself, it remembers nothing.
class MemoryWatch {
public:
    MemoryWatch();
    ~MemoryWatch();
    MemoryWatch(const MemoryWatch&) = delete;
    MemoryWatch& operator=(const MemoryWatch&) = delete;

    /// Blocks that are held still, and their bytes.
    std::size_t blocks() const;
    std::size_t bytes() const;
};

#endif
