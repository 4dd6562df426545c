#ifndef LIVINGCOUNTS_H
#define LIVINGCOUNTS_H

#include <atomic>
#include <cstdint>

/// What the reader of a living service took so far, in a file that two processes map.
struct LivingCounts {
    std::atomic<uint64_t> reports; ///< reads that brought one
    std::atomic<uint64_t> bursts;  ///< waits that lasted until one came
};

#endif
