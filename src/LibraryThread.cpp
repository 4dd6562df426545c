#include "LibraryThread.h"

thread_local bool runsOnLibraryThread = false;

namespace {

/// The signals that the application blocked where it first started a thread of the library's.
const sigset_t& applicationSignals(const sigset_t& now) {
    static const sigset_t first = now;
    return first;
}

} // namespace

ApplicationSignals::ApplicationSignals() {
    if (!runsOnLibraryThread)
        return;
    pthread_sigmask(SIG_SETMASK, nullptr, &before_);
    pthread_sigmask(SIG_SETMASK, &applicationSignals(before_), nullptr);
}

ApplicationSignals::~ApplicationSignals() {
    if (runsOnLibraryThread)
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

int createLibraryThread(pthread_t& thread, void* (*body)(void*), void* argument) {
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
