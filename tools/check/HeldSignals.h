#ifndef HELDSIGNALS_H
#define HELDSIGNALS_H

#include <signal.h>

#include <array>

/// The signals by which people and service managers end a program, put off until it has put things back.

namespace check {

/// While one lives, SIGINT, SIGTERM and SIGHUP end nothing; when it goes, the last that came does what it
/// always does. What was ignored stays ignored. Commands that are started meanwhile hear all of them. One at
/// a time.
class HeldSignals {
public:
    HeldSignals();
    ~HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

    bool haveCome() const;

private:
    std::array<struct sigaction, 3> former_{}; ///< in the order of kHeld
};

} // namespace check

#endif
