#ifndef SIGNALS_H
#define SIGNALS_H

namespace monitor {

/// SIGINT, SIGTERM and SIGHUP ask for an end in order from now on, but for those that are ignored. A second
/// one, more than 50 ms later, ends the process at once.
void takeSignals();

/// The first that has come, or 0.
int signalThatCame();

/// Called in the signal's handler in front of such a sudden end: it may only do what a handler may.
void beforeASuddenEnd(void (*action)());

} // namespace monitor

#endif
