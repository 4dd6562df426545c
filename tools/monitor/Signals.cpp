#include "Signals.h"

#include <csignal>
#include <initializer_list>

namespace monitor {

namespace {

volatile std::sig_atomic_t came = 0;
void (*volatile atASuddenEnd)() = nullptr;

void take(int signal) {
    if (came == 0) {
        came = signal;
        return;
    }
    if (atASuddenEnd != nullptr)
        atASuddenEnd();
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
