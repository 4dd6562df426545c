#include "ruxo/RuxoSystem.h"

#include <errno.h>
#include <time.h>

namespace {

constexpr uint32_t kMillisecondsPerSecond = 1000;
constexpr long kNanosecondsPerMillisecond = 1000000;

} // namespace

uint32_t ruxo_systemtick() {
    timespec now = {};
    // The boot clock goes on through a suspend and is never set.
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<uint32_t>(now.tv_sec);
}

uint32_t ruxosleep_interruptible(uint32_t milliseconds) {
    const timespec wanted = {static_cast<time_t>(milliseconds / kMillisecondsPerSecond),
                             static_cast<long>(milliseconds % kMillisecondsPerSecond) *
                                 kNanosecondsPerMillisecond};
    timespec left = {};
    if (nanosleep(&wanted, &left) == 0 || errno != EINTR)
        return 0;
    return static_cast<uint32_t>(left.tv_sec) * kMillisecondsPerSecond +
           static_cast<uint32_t>(left.tv_nsec / kNanosecondsPerMillisecond);
}
