#ifndef LIBRARYTHREAD_H
#define LIBRARYTHREAD_H

#include <pthread.h>
#include <signal.h>

/// Set on threads of the library's that run shell commands.
inline thread_local bool runsOnLibraryThread = false;

/// The signals that the application blocked where it first started a thread of the library's.
inline const sigset_t& applicationSignals(const sigset_t& now) {
    static const sigset_t first = now;
    return first;
}

/// While one lives on a thread of the library's, signals are blocked as the application has them. A child
/// inherits the mask: with all signals blocked `timeout` could not end a hanging `stty`, nor anybody gpsd.
class ApplicationSignals {
public:
    ApplicationSignals() {
        if (!runsOnLibraryThread)
            return;
        pthread_sigmask(SIG_SETMASK, nullptr, &before_);
        pthread_sigmask(SIG_SETMASK, &applicationSignals(before_), nullptr);
    }
    ~ApplicationSignals() {
        if (runsOnLibraryThread)
            pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    ApplicationSignals(const ApplicationSignals&) = delete;
    ApplicationSignals& operator=(const ApplicationSignals&) = delete;

private:
    sigset_t before_;
};

/// `pthread_create` with default attributes for a thread that the application's signals leave alone: one
/// interrupted wait of libgps counts as a cycle without data. Returns its result; `thread` is 0 when it
/// failed, where the plain call may leave an old handle in place.
inline int createLibraryThread(pthread_t& thread, void* (*body)(void*), void* argument) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    applicationSignals(before);
    thread = 0;
    const int rc = pthread_create(&thread, nullptr, body, argument);
    if (rc != 0)
        thread = 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return rc;
}

#endif
