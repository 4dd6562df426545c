#ifndef FAILINGMEMORY_H
#define FAILINGMEMORY_H

#include <cstddef>
#include <new>

/// What is thrown then; with its size it can be told from one that somebody else has thrown.
struct NoMemory : std::bad_alloc {
    explicit NoMemory(std::size_t wanted) : size(wanted) {}
    std::size_t size;
};

/// While one lives, allocations of its thread with `operator new` fail from the `first`-th
/// on, counted from 1, for `count` of them (kForever: all that follow). Other threads get their memory.
///
/// Keep the stretch short: GoogleTest allocates too. The virtual unit gets its memory (`GroundMemory`).
class FailingMemory {
public:
    static constexpr std::size_t kForever = static_cast<std::size_t>(-1);

    explicit FailingMemory(std::size_t first, std::size_t count = kForever);
    /// Every allocation of exactly this size fails instead, which picks out one kind of object.
    static FailingMemory ofSize(std::size_t size);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    /// Whether an allocation has failed meanwhile. Once a run of a loop over `first` says no, the operation
    /// has been tried without each of its allocations.
    bool hasFailed() const;

private:
    FailingMemory(std::size_t first, std::size_t count, std::size_t size);
};

/// While one lives, its thread gets its memory all the same, and it isn't counted: for what the tests' ground
/// records while the library has none.
class GroundMemory {
public:
    GroundMemory();
    ~GroundMemory();
    GroundMemory(const GroundMemory&) = delete;
    GroundMemory& operator=(const GroundMemory&) = delete;

    /// Whether one lives on this thread: what is done now is the ground's, not the library's.
    static bool lives();

private:
    const bool before_;
};

#endif
