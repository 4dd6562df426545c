#include "VirtualClock.h"

#include <algorithm>

#include "Abort.h"

namespace {

long long wholeSeconds(VirtualClock::Duration duration) {
    return std::chrono::duration_cast<std::chrono::seconds>(duration).count();
}

} // namespace

VirtualClock::Duration VirtualClock::elapsed() const {
    const GroundLock lock;
    return elapsed_;
}

time_t VirtualClock::utc() const {
    const GroundLock lock;
    return utcBase_ + static_cast<time_t>(wholeSeconds(elapsed_));
}

timeval VirtualClock::timeOfDay() const {
    const GroundLock lock;
    const auto micros = elapsed_ % std::chrono::seconds(1);
    return {utcBase_ + static_cast<time_t>(wholeSeconds(elapsed_)), static_cast<suseconds_t>(micros.count())};
}

uint32_t VirtualClock::tick() const {
    const GroundLock lock;
    return tickBase_ + static_cast<uint32_t>(wholeSeconds(elapsed_));
}

void VirtualClock::setUtc(time_t utc) {
    const GroundLock lock;
    utcBase_ = utc - static_cast<time_t>(wholeSeconds(elapsed_));
}

void VirtualClock::setTick(uint32_t tick) {
    const GroundLock lock;
    tickBase_ = tick - static_cast<uint32_t>(wholeSeconds(elapsed_));
}

void VirtualClock::advance(Duration duration) { advanceTo(elapsed() + duration); }

void VirtualClock::advanceTo(Duration until) {
    countSleep();
    const Duration before = elapsed();
    if (realThreads_) {
        GroundLock lock;
        Waiter me{until};
        wait(lock, me);
        return;
    }
    pass(until);
    if (afterEachSleep)
        afterEachSleep(elapsed() - before);
}

void VirtualClock::in(Duration fromNow, std::function<void()> action) {
    scheduled_.emplace(elapsed() + fromNow, std::move(action));
}

/// An endless loop of the library that sleeps would hang the test.
void VirtualClock::countSleep() {
    const GroundLock lock;
    if (++sleeps_ > mostSleeps_)
        abortTest("the library has slept more often than the test allows: an endless loop?");
}

void VirtualClock::pass(Duration until) {
    while (!scheduled_.empty() && scheduled_.begin()->first <= until) {
        const auto first = scheduled_.begin();
        elapsed_ = std::max(elapsed_, first->first);
        const std::function<void()> action = std::move(first->second);
        scheduled_.erase(first);
        action();
    }
    elapsed_ = std::max(elapsed_, until);
}

// --- Real threads ---------------------------------------------------------------------------------------

void VirtualClock::wait(GroundLock& lock, Waiter& waiter) {
    waiters_.push_back(&waiter);
    oneLessRuns();
    changed_.wait(lock.native(), [&] { return waiter.awake; });
}

void VirtualClock::wake(Waiter& waiter) {
    if (waiter.awake)
        return;
    waiter.awake = true;
    waiters_.remove(&waiter);
    oneMoreRuns();
    changed_.notify_all();
}

void VirtualClock::oneLessRuns() {
    if (--running_ == 0)
        jump();
}

void VirtualClock::jump() {
    Duration earliest = kNever;
    for (const Waiter* waiter : waiters_)
        earliest = std::min(earliest, waiter->wake);
    if (earliest == kNever)
        abortTest("every thread waits for another one: a deadlock");
    elapsed_ = std::max(elapsed_, earliest);
    const std::list<Waiter*> waiting = waiters_;
    for (Waiter* waiter : waiting)
        if (isDue(*waiter))
            wake(*waiter);
}
