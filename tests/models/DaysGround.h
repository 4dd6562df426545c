#ifndef DAYSGROUND_H
#define DAYSGROUND_H

#include <cstdint>

#include "Days.h"

/// What a long run stands on: the C functions, libgps and the platform, like the unit tests' ground, but made
/// for tens of millions of calls. Threads are contexts of one host thread that hand over to each other where
/// they sleep, so the clock is a number and a run is the same each time. Nothing of it allocates while it
/// runs.
namespace days {

/// Since the begin, which is before the adapter is made.
int64_t now();
/// Lets the library's threads go on until then.
void sleepUntil(int64_t time);
/// Calls so far of what the ground itself sees.
Tally& tally();
/// What is allocated and not freed; its bytes as they were requested.
struct Memory {
    int64_t blocks = 0;
    int64_t bytes = 0;
};
Memory memory();
/// Threads of the library that live.
int threads();
void setUp();
void tearDown();

} // namespace days

#endif
