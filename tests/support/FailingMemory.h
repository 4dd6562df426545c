#ifndef FAILINGMEMORY_H
#define FAILINGMEMORY_H

#include <cstddef>

/// While one lives, allocations of its thread with `operator new` fail from the `first`-th
/// on, counted from 1, for `count` of them (kForever: all that follow). Other threads get their memory.
///
/// Keep the stretch short: GoogleTest and the journal allocate too.
class FailingMemory {
public:
    static constexpr std::size_t kForever = static_cast<std::size_t>(-1);

    explicit FailingMemory(std::size_t first, std::size_t count = kForever);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    /// Whether an allocation has failed meanwhile. Once a run of a loop over `first` says no, the operation has been
    /// tried without each of its allocations.
    bool hasFailed() const;
};

#endif
