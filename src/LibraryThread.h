#ifndef LIBRARYTHREAD_H
#define LIBRARYTHREAD_H

#include <pthread.h>
#include <signal.h>

/// Threads of the library's and the application's signals.
///
/// An application's timer must not disturb the library's threads: one interrupted wait of libgps counts as a
/// cycle without data. So they are created with all signals blocked. The shell commands that they run get
/// the mask that the application had where it first started such a thread: a child inherits the mask, and
/// with all signals blocked `timeout` could not end a hanging `stty`, nor anybody gpsd.

/// Whether the calling thread is one of the library's that runs shell commands. Set by its body.
extern thread_local bool runsOnLibraryThread;

/// While one lives on such a thread, signals are blocked as the application has them. On any other thread it
/// changes nothing. Made around everything that starts a process.
class ApplicationSignals {
public:
    ApplicationSignals();
    ~ApplicationSignals();
    ApplicationSignals(const ApplicationSignals&) = delete;
    ApplicationSignals& operator=(const ApplicationSignals&) = delete;

private:
    sigset_t before_; ///< the thread's own mask
};

/// `pthread_create` with default attributes for a thread that the application's signals leave alone. The
/// caller's mask is the same afterwards. Returns the call's result, 0 or an error number; `thread` is 0 when
/// it failed, where the plain call may leave an old handle in place. Called by driver and worker when they
/// start, on a thread of the application's or on the worker's; the handle is the caller's to join.
int createLibraryThread(pthread_t& thread, void* (*body)(void*), void* argument);

#endif
