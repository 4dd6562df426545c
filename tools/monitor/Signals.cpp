#include "Signals.h"

#include <atomic>
#include <csignal>
#include <ctime>
#include <initializer_list>
#include <sys/times.h>

namespace monitor {

namespace {

// The handler runs on whichever thread the signal meets.
std::atomic<clock_t> firstAt{0}; ///< in ticks, 0 before
std::atomic<int> came{0};
std::atomic<void (*)()> atASuddenEnd{nullptr};
static_assert(std::atomic<clock_t>::is_always_lock_free && std::atomic<int>::is_always_lock_free &&
              std::atomic<void (*)()>::is_always_lock_free);

// timeout(1) sends its signal twice, to the program and to its process group: that is one wish.
constexpr clock_t kOneWishTicks = 5; // of 10 ms

clock_t now() {
    struct tms unused = {};
    return times(&unused); // which a handler may call
}

void take(int signal) {
    clock_t first = 0;
    if (firstAt.compare_exchange_strong(first, now())) {
        came = signal;
        return;
    }
    if (now() - first < kOneWishTicks)
        return;
    if (void (*const action)() = atASuddenEnd)
        action();
    std::signal(signal, SIG_DFL);
    raise(signal); // takes effect when this handler returns
}

} // namespace

void takeSignals() {
    std::signal(SIGCHLD, SIG_DFL);
    struct sigaction former = {};
    struct sigaction taking = {};
    taking.sa_handler = take;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        if (sigaction(signal, nullptr, &former) == 0 && former.sa_handler != SIG_IGN)
            sigaction(signal, &taking, nullptr);
}

int signalThatCame() { return came; }

void beforeASuddenEnd(void (*action)()) { atASuddenEnd = action; }

} // namespace monitor
