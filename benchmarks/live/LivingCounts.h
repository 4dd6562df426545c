#ifndef LIVINGCOUNTS_H
#define LIVINGCOUNTS_H

#include <atomic>
#include <cstdint>

/// What a reader took so far, in a file: one process maps and writes it, another reads it.
struct LivingCounts {
    std::atomic<uint64_t> reports; ///< reads that brought one
    std::atomic<uint64_t> bursts;  ///< waits that lasted until one came
};

#endif
