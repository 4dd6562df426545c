#include "VirtualThreads.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

#include "Abort.h"

namespace {

constexpr pthread_t kFirstHandle = 0x7E570001;

struct Start {
    VirtualThreads::Thread* thread;
    VirtualClock* clock;
};

const char* nameOf(VirtualSemaphores::Call call) {
    switch (call) {
    case VirtualSemaphores::Init:
        return "sem_init";
    case VirtualSemaphores::Wait:
        return "sem_wait";
    case VirtualSemaphores::TimedWait:
        return "sem_timedwait";
    case VirtualSemaphores::Post:
        return "sem_post";
    default:
        return "sem_destroy";
    }
}

int takenOrZero(int& error) {
    const int taken = error;
    error = 0;
    return taken;
}

std::string numbered(std::size_t index) { return "thread " + std::to_string(index + 1); }

} // namespace

// --- Threads --------------------------------------------------------------------------------------------

int VirtualThreads::create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                           void* argument, Create real) {
    if (createError_ != 0) {
        journal_.add("pthread_create failed");
        return takenOrZero(createError_);
    }
    Thread thread{};
    thread.body = body;
    thread.argument = argument;
    thread.defaultAttributes = attributes == nullptr;
    pthread_sigmask(SIG_SETMASK, nullptr, &thread.signalMask);
    const std::size_t index = keep(thread);
    journal_.add("pthread_create " + numbered(index));
    if (atCreation)
        atCreation();
    if (clock_.hasRealThreads())
        return createReal(index, handle, real);
    *handle = kFirstHandle + index;
    handles_[*handle] = index;
    return 0;
}

std::size_t VirtualThreads::keep(const Thread& thread) {
    const GroundLock lock;
    threads_.push_back(std::make_unique<Thread>(thread));
    return threads_.size() - 1;
}

VirtualThreads::Thread& VirtualThreads::at(std::size_t index) {
    const GroundLock lock;
    return *threads_.at(index);
}

bool VirtualThreads::owns(pthread_t handle) const {
    const GroundLock lock;
    return handles_.count(handle) != 0;
}

std::size_t VirtualThreads::indexOf(pthread_t handle) const {
    const GroundLock lock;
    return handles_.at(handle);
}

void* VirtualThreads::run(std::size_t index) {
    Thread& thread = at(index);
    thread.hasRun = true;
    return thread.body(thread.argument);
}

int VirtualThreads::join(pthread_t handle, void** result, Join real) {
    const std::size_t index = indexOf(handle);
    Thread& thread = at(index);
    if (joinError_ != 0) {
        journal_.add("pthread_join " + numbered(index) + " failed");
        return takenOrZero(joinError_);
    }
    journal_.add("pthread_join " + numbered(index));
    if (thread.joined)
        abortTest("a thread is joined twice");
    if (clock_.hasRealThreads())
        return joinReal(thread, handle, result, real);
    if (runsAtJoin && !thread.hasRun)
        run(index);
    thread.joined = true;
    return 0;
}

int VirtualThreads::cancel(pthread_t handle) {
    const std::size_t index = indexOf(handle);
    journal_.add("pthread_cancel " + numbered(index) + (cancelError_ != 0 ? " failed" : ""));
    if (clock_.hasRealThreads())
        abortTest("a real thread is cancelled, which the virtual clock doesn't know of");
    if (cancelError_ != 0)
        return takenOrZero(cancelError_);
    at(index).cancelled = true;
    return 0;
}

int VirtualThreads::createReal(std::size_t index, pthread_t* handle, Create real) {
    {
        const GroundLock lock;
        clock_.oneMoreRuns();
    }
    const int error = real(handle, nullptr, runReal, new Start{&at(index), &clock_});
    if (error != 0)
        abortTest("the host can't create a thread");
    const GroundLock lock;
    handles_[*handle] = index;
    return 0;
}

void* VirtualThreads::runReal(void* argument) {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    shiftEvents();
    void* const result = start->thread->body(start->thread->argument);
    const GroundLock lock;
    start->thread->ended = true;
    if (start->thread->joinerWaits)
        start->clock->oneMoreRuns();
    start->clock->oneLessRuns();
    return result;
}

int VirtualThreads::joinReal(Thread& thread, pthread_t handle, void** result, Join real) {
    {
        const GroundLock lock;
        if (!thread.ended) {
            thread.joinerWaits = true;
            clock_.oneLessRuns();
        }
        thread.joined = true;
        handles_.erase(handle);
    }
    return real(handle, result);
}

/// ThreadSanitizer keeps four accesses of a word, and which of them the next one replaces goes by the count
/// of what its thread did so far: the same in each run, so a race that one run misses all miss. tests/tsan
/// gives each run another number of accesses ahead.
void VirtualThreads::shiftEvents() {
    static std::array<char, 100> touched;
    const char* const ahead = std::getenv("RUXOGPS_TSAN_EVENTS_AHEAD");
    if (ahead == nullptr)
        return;
    const auto count = std::min<std::size_t>(std::strtoul(ahead, nullptr, 10), touched.size());
    for (std::size_t i = 0; i < count; ++i)
        const_cast<volatile char&>(touched[i]) = 1;
}

// --- Semaphores -----------------------------------------------------------------------------------------

void VirtualSemaphores::fail(Call call, int error, int times, const sem_t* semaphore) {
    failures_.push_back({call, error, times, semaphore});
}

int VirtualSemaphores::count(Call call) const {
    const GroundLock lock;
    const auto found = counts_.find(call);
    return found == counts_.end() ? 0 : found->second;
}

bool VirtualSemaphores::isTaken(sem_t& semaphore) {
    int value = 0;
    sem_getvalue(&semaphore, &value);
    return value == 0;
}

bool VirtualSemaphores::fails(Call call, const sem_t* semaphore, const std::string& arguments) {
    if (beforeEachCall)
        beforeEachCall(call, semaphore);
    if (names_.count(semaphore) != 0)
        journal_.add(std::string(nameOf(call)) + " " + names_[semaphore] + arguments);
    const GroundLock lock;
    ++counts_[call];
    for (Failure& failure : failures_) {
        const bool meant = failure.sem == nullptr || failure.sem == semaphore;
        if (failure.times <= 0 || failure.call != call || !meant)
            continue;
        --failure.times;
        errno = failure.error;
        return true;
    }
    return false;
}

/// Waits on, like the real one, while the clock was set back meanwhile.
int VirtualSemaphores::waitUntilUtc(sem_t* semaphore, const timespec& deadline) {
    lastDeadline = deadline;
    for (;;) {
        const int result = waitUntil(semaphore, clock_.elapsed() + timeUntil(deadline));
        if (result == 0 || timeUntil(deadline) <= VirtualClock::Duration(0))
            return result;
    }
}

VirtualClock::Duration VirtualSemaphores::timeUntil(const timespec& deadline) const {
    const timeval now = clock_.timeOfDay();
    return std::chrono::seconds(deadline.tv_sec - now.tv_sec) +
           std::chrono::microseconds(deadline.tv_nsec / 1000 - now.tv_usec);
}

int VirtualSemaphores::waitUntil(sem_t* semaphore, VirtualClock::Duration deadline) {
    if (clock_.hasRealThreads())
        return waitForPost(semaphore, deadline);
    if (sem_trywait(semaphore) == 0)
        return 0;
    if (deadline == VirtualClock::kNever)
        abortTest("a semaphore is waited for that nobody can give back: a deadlock");
    clock_.advanceTo(deadline);
    if (sem_trywait(semaphore) == 0) // a scheduled action has given it back
        return 0;
    errno = ETIMEDOUT;
    return -1;
}

int VirtualSemaphores::waitForPost(sem_t* semaphore, VirtualClock::Duration deadline) {
    for (;;) {
        if (sem_trywait(semaphore) == 0)
            return 0;
        VirtualClock::Waiter me{deadline};
        GroundLock lock;
        int value = 0;
        sem_getvalue(semaphore, &value);
        if (value > 0)
            continue;
        if (clock_.isDue(me)) {
            errno = ETIMEDOUT;
            return -1;
        }
        const auto entry = waiters_.emplace(semaphore, &me);
        clock_.wait(lock, me);
        waiters_.erase(entry);
    }
}

int VirtualSemaphores::post(sem_t* semaphore, int (*real)(sem_t*)) {
    const int result = real(semaphore); // seen by ThreadSanitizer: the library's own order
    const GroundLock lock;
    const auto waiters = waiters_.equal_range(semaphore);
    for (auto waiter = waiters.first; waiter != waiters.second; ++waiter)
        clock_.wake(*waiter->second);
    return result;
}
