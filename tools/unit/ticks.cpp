// unit-ticks DESCRIPTOR ...
//
// Measures how late the ticks of the unit's clock come: sleeps from tick to tick as the unit's other programs
// sleep, and writes a line to each of the open file descriptors whenever a tick comes later than any before,
// by a millisecond at least:
//
//   lateness_s=0.137 bound_s=0.25
//
// Both are seconds of the unit's clock. A run whose lateness passes the bound says nothing about the library:
// the host had no time for it. Never ends by itself.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <unistd.h>

namespace {

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr int64_t kPeriod = kNanosecondsPerSecond / 10; // two in each pause of the worker, ten in an epoch
constexpr int64_t kLeastStep = kNanosecondsPerSecond / 1000;

// A quarter of the receiver's epoch of one second: receiver, gpsd, reader and worker may each be as late as
// that, one after the other, and an epoch still reaches the application before the next one.
constexpr double kBoundSeconds = 0.25;

int64_t now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

// Returns how late it was; a signal only makes it sleep on.
int64_t sleepUntil(int64_t tick) {
    int64_t left = 0;
    while ((left = tick - now()) > 0) {
        const timespec pause = {static_cast<time_t>(left / kNanosecondsPerSecond),
                                static_cast<long>(left % kNanosecondsPerSecond)};
        nanosleep(&pause, nullptr);
    }
    return -left;
}

void report(int64_t lateness, int descriptors, char** descriptor) {
    for (int i = 0; i < descriptors; ++i)
        dprintf(static_cast<int>(strtol(descriptor[i], nullptr, 10)), "lateness_s=%.3f bound_s=%.2f\n",
                static_cast<double>(lateness) / static_cast<double>(kNanosecondsPerSecond), kBoundSeconds);
}

} // namespace

int main(int argc, char** argv) {
    int64_t largest = -kLeastStep;
    for (int64_t tick = now() + kPeriod;; tick = now() + kPeriod) {
        const int64_t lateness = sleepUntil(tick);
        if (lateness < largest + kLeastStep)
            continue;
        largest = lateness;
        report(lateness, argc - 1, argv + 1);
    }
}
