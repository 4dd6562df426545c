#ifndef SIGNALMASK_H
#define SIGNALMASK_H

#include <pthread.h>
#include <signal.h>

/// The signals that the calling thread blocks.
inline sigset_t maskOfThisThread() {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return mask;
}

inline bool blocks(const sigset_t& mask, int signal) { return sigismember(&mask, signal) == 1; }

/// The highest signal that is the application's. An emulator of another machine may keep the last ones for
/// itself: they can't be blocked there, and asking for it is without effect.
inline int lastSignal() {
    sigset_t all;
    sigfillset(&all);
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &all, &before);
    const sigset_t blocked = maskOfThisThread();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    int last = SIGRTMAX;
    while (!blocks(blocked, last))
        --last;
    return last;
}

/// While one lives, its thread blocks `signal` and no other, as an application might for a purpose of its
/// own.
class BlocksOnly {
public:
    explicit BlocksOnly(int signal) {
        sigset_t own;
        sigemptyset(&own);
        sigaddset(&own, signal);
        pthread_sigmask(SIG_SETMASK, &own, &before_);
    }
    ~BlocksOnly() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    BlocksOnly(const BlocksOnly&) = delete;
    BlocksOnly& operator=(const BlocksOnly&) = delete;

private:
    sigset_t before_;
};

#endif
