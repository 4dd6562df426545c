#ifndef LIBRARYTHREAD_H
#define LIBRARYTHREAD_H

#include <pthread.h>
#include <signal.h>

/// `pthread_create` with default attributes for a thread that the application's signals leave alone: one
/// interrupted wait of libgps counts as a cycle without data. Returns its result; `thread` is 0 when it
/// failed, where the plain call may leave an old handle in place.
inline int createLibraryThread(pthread_t& thread, void* (*body)(void*), void* argument) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread = 0;
    const int rc = pthread_create(&thread, nullptr, body, argument);
    if (rc != 0)
        thread = 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return rc;
}

#endif
