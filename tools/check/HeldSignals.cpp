#include "HeldSignals.h"

namespace check {

namespace {

constexpr std::array<int, 3> kHeld{{SIGINT, SIGTERM, SIGHUP}};

volatile sig_atomic_t lastToCome = 0;

// A handler, not a mask: a mask would be the commands' as well, and keep `timeout` from ending them.
void note(int signal) { lastToCome = signal; }

} // namespace

HeldSignals::HeldSignals() {
    lastToCome = 0;
    struct sigaction noting = {};
    noting.sa_handler = note;
    noting.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i < kHeld.size(); ++i) {
        sigaction(kHeld[i], nullptr, &former_[i]);
        if (former_[i].sa_handler != SIG_IGN)
            sigaction(kHeld[i], &noting, nullptr);
    }
}

HeldSignals::~HeldSignals() {
    for (std::size_t i = 0; i < kHeld.size(); ++i)
        sigaction(kHeld[i], &former_[i], nullptr);
    if (lastToCome != 0)
        raise(lastToCome);
}

bool HeldSignals::haveCome() const { return lastToCome != 0; }

} // namespace check
