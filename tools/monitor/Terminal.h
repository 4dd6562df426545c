#ifndef TERMINAL_H
#define TERMINAL_H

#include <cstddef>
#include <stdexcept>
#include <string>

#include "Layout.h"

namespace monitor {

/// Standard input and output are no terminal that a view could be drawn on; what() says why.
class NoTerminal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The terminal of standard input and output: each key at once and each byte as it is. It is given back as it
/// was however the process ends: in order, by exit() on any thread, or by a signal; only SIGKILL leaves it as
/// it is, and then `reset` mends it. A stop (Ctrl-Z, SIGTSTP) gives it back as well.
///
/// Nothing here waits for the terminal: what it doesn't take stays pending. One at a time.
class Terminal {
public:
    Terminal();  ///< throws NoTerminal; changes nothing yet
    ~Terminal(); ///< as leave()
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Takes the terminal. `enter` is written to it now, `leave` when it is given back.
    void enter(const std::string& enter, const std::string& leave);

    /// Gives it back.
    void leave() { giveBack(); }

    /// It was given back for a stop, or may have been changed in one: enter() is due again. Asked once.
    bool hasBeenStopped();

    /// Its size has changed. Asked once.
    bool wasResized();

    Size size() const;

    /// The bytes that have come from the keys; nothing where there are none. `isGone()` where none will come.
    std::string read();
    bool isGone() const { return isGone_; }

    void write(const std::string& bytes);
    void flush();
    bool isPending() const { return !pending_.empty(); }

    /// A descriptor to wait on for room.
    int descriptor() const;

    /// Gives it back. May be called from a signal's handler and from any thread.
    static void giveBack();

private:
    std::string pending_;
    bool isGone_ = false;
};

} // namespace monitor

#endif
