#ifndef PAUSE_H
#define PAUSE_H

#include <unistd.h>

/// The library's pauses on threads that belong to the application: it constructs and destroys the driver
/// there, and starts and stops it. Called by the driver and its configuration handler. Not by the reader,
/// whose thread has all signals blocked.
///
/// A timer or a notice of the application's would cut a pause short, and a receiver or a gpsd that was not
/// given its time fails. So these signals wait until the pause is over: SIGALRM, SIGVTALRM, SIGPROF, SIGIO,
/// SIGCHLD, SIGUSR1, SIGUSR2 and the real-time signals. Signals that end or stop a process (SIGINT, SIGTERM,
/// SIGHUP, SIGQUIT) come through and cut the pause when the application handles them. The thread's mask is
/// the same afterwards, also when the thread is cancelled meanwhile.

/// `usleep` of the C library for `microseconds`, with these signals blocked.
void pauseMicroseconds(useconds_t microseconds);

/// `sleep` of the C library for `seconds`, with these signals blocked.
void pauseSeconds(unsigned int seconds);

#endif
