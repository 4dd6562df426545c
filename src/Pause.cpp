#include "Pause.h"

#include <pthread.h>
#include <signal.h>

namespace {

constexpr int kTimersAndNotices[] = {SIGALRM, SIGVTALRM, SIGPROF, SIGIO, SIGCHLD, SIGUSR1, SIGUSR2};

sigset_t timersAndNotices() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : kTimersAndNotices)
        sigaddset(&set, signal);
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal)
        sigaddset(&set, signal);
    return set;
}

/// While one lives, the thread's timers and notices wait.
class UndisturbedThread {
public:
    UndisturbedThread() {
        const sigset_t set = timersAndNotices();
        pthread_sigmask(SIG_BLOCK, &set, &before_);
    }
    ~UndisturbedThread() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    UndisturbedThread(const UndisturbedThread&) = delete;
    UndisturbedThread& operator=(const UndisturbedThread&) = delete;

private:
    sigset_t before_;
};

} // namespace

void pauseMicroseconds(useconds_t microseconds) {
    const UndisturbedThread undisturbed;
    usleep(microseconds);
}

void pauseSeconds(unsigned int seconds) {
    const UndisturbedThread undisturbed;
    sleep(seconds);
}
