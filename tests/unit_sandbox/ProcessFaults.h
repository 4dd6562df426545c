#ifndef PROCESSFAULTS_H
#define PROCESSFAULTS_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

/// What the probe does to its own process, and so to the library in it: a clock that is set, calls that the
/// system refuses, descriptors, signals and forks. gpsd and the receiver beside it keep their clock and all
/// they need.
///
/// Clock and refusals are made by the probe's own `time`, `popen` and so on, which the linker finds before
/// those of the C library.
namespace processfaults {

/// The unit's time, whatever the process's clock says; seconds since 1970.
double unitTime();

/// From now on the process's clock is this far ahead of the unit's.
void shiftClock(int64_t seconds);

/// Until they are allowed again, no thread can be created (`pthread_create`: EAGAIN).
void refuseThreads(bool refused);
/// Until they are allowed again, no process can be started (`popen`, `system`: EAGAIN).
void refuseProcesses(bool refused);

/// Opens descriptors until none below `below` is free; closes those of an earlier call first.
void holdDescriptors(int below, bool closeOnExec);
/// The soft limit of open descriptors, for this process and those that it starts; false when the host forbids
/// it.
bool limitDescriptors(unsigned int most);

/// Forks, and lets the child end in one of the ways an application's does: "_exit", "exit", "exec", "spawn"
/// (posix_spawn, which is a vfork) or "daemon" (a child's child that goes on for 1000 s, in a session of its
/// own). True when the child ended well.
bool forks(const std::string& way);

/// Forks, and lets the child make this call; false when it didn't come back from it within this time, which
/// timers count as the host's.
bool childComesBackFrom(const std::function<void()>& call, double hostSeconds);

/// Threads, open descriptors and children (zombies included) of this process.
std::string held();

/// Sends signals to all threads of the process, each in turn, and counts where their handlers ran.
class SignalStorm {
public:
    SignalStorm() = default;
    ~SignalStorm() { end(); }
    SignalStorm(const SignalStorm&) = delete;
    SignalStorm& operator=(const SignalStorm&) = delete;

    /// `signals` by their numbers in turn, `perSecond` of the unit's to each thread: what is late is caught
    /// up. The handlers don't ask for a restart of what they interrupt (no SA_RESTART).
    void begin(const std::vector<int>& signals, double perSecond);
    /// What came of it: "ms=6100 rounds=305 sent=912 here=300 elsewhere=0"; `here` is the main thread.
    std::string end();

private:
    void run(double perSecond);
    void sendToEachThread(int signal);

    std::vector<int> signals_;
    std::thread thread_;
    std::atomic<bool> ended_{false};
    double begin_ = 0;
    long rounds_ = 0;
    long sent_ = 0;
};

} // namespace processfaults

#endif
