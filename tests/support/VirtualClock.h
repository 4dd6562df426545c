#ifndef VIRTUALCLOCK_H
#define VIRTUALCLOCK_H

#include <sys/time.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <functional>
#include <list>
#include <map>

#include "Unobserved.h"

/// The one clock of a virtual unit: nothing ever waits for real.
///
/// With captured threads (the usual case) there is one thread; a sleep puts the clock forward and runs what
/// the test has scheduled for that time. With real threads the clock jumps to the earliest wake-up as soon as
/// every thread waits; threads that are due at the same time run side by side.
class VirtualClock {
public:
    using Duration = std::chrono::microseconds;

    static constexpr time_t kStartUtc = 1700000000; // 2023-11-14 22:13:20
    static constexpr uint32_t kStartTick = 5000;    // seconds since the unit was started

    /// Time since the virtual unit was made.
    Duration elapsed() const;
    time_t utc() const;
    timeval timeOfDay() const;
    uint32_t tick() const;
    void setUtc(time_t utc);
    void setTick(uint32_t tick);

    /// Lets time pass, as a sleep of the library does.
    void advance(Duration duration);
    void advanceTo(Duration elapsed);

    /// Runs `action` when the clock comes there; with captured threads only.
    void in(Duration fromNow, std::function<void()> action);
    /// Runs after every sleep and wait, with its length; with captured threads only. Part of most scripts.
    std::function<void(Duration)> afterEachSleep;

    /// How often the library may sleep before that counts as an endless loop, which aborts the test.
    void allowSleeps(long most) { mostSleeps_ = most; }

    // --- For the ground itself ------------------------------------------------------------------------

    void useRealThreads() { realThreads_ = true; }
    bool hasRealThreads() const { return realThreads_; }

    /// Someone who waits, for a time or for a semaphore.
    struct Waiter {
        Duration wake;
        bool awake = false;
    };
    static constexpr Duration kNever = Duration::max();

    /// Waits until somebody calls `wake` or the clock stands at `waiter.wake`.
    void wait(GroundLock& lock, Waiter& waiter);
    void wake(Waiter& waiter);
    bool isDue(const Waiter& waiter) const { return waiter.wake <= elapsed_; }
    /// Bookkeeping of who runs; with the lock held.
    void oneMoreRuns() { ++running_; }
    void oneLessRuns();

private:
    void pass(Duration until);
    void jump();
    void countSleep();

    bool realThreads_ = false;
    Duration elapsed_{0};
    time_t utcBase_ = kStartUtc;
    uint32_t tickBase_ = kStartTick;
    long sleeps_ = 0;
    long mostSleeps_ = 5'000'000;
    std::multimap<Duration, std::function<void()>> scheduled_;

    int running_ = 1; // the test's own thread
    std::list<Waiter*> waiters_;
    std::condition_variable changed_;
};

#endif
