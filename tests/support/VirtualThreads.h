#ifndef VIRTUALTHREADS_H
#define VIRTUALTHREADS_H

#include <pthread.h>
#include <semaphore.h>
#include <signal.h>

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Journal.h"
#include "VirtualClock.h"

/// The threads that the library creates.
///
/// Usually captured: `pthread_create` keeps function and argument, and the test calls the body itself with
/// `run`; joining one does nothing but be recorded. After `VirtualUnit::useRealThreads` they are real.
class VirtualThreads {
public:
    struct Thread {
        void* (*body)(void*);
        void* argument;
        sigset_t signalMask;    ///< of the creator at that moment, which the new thread inherits
        bool defaultAttributes; ///< created with null attributes
        bool joined = false;
        bool cancelled = false;
        bool hasRun = false;
        // With real threads only.
        bool ended = false;
        bool joinerWaits = false;
    };

    VirtualThreads(Journal& journal, VirtualClock& clock) : journal_(journal), clock_(clock) {}

    /// All threads created so far, in order.
    std::size_t count() const { return threads_.size(); }
    Thread& at(std::size_t index);
    Thread& last() { return *threads_.back(); }

    /// Calls the body of a captured thread, by default the last one's, and returns what it returns.
    void* run(std::size_t index);
    void* run() { return run(threads_.size() - 1); }
    /// Joining a captured thread that has not been run yet runs it, as if it had been slow to start.
    bool runsAtJoin = false;

    /// Runs in each `pthread_create` that succeeds, before it returns.
    std::function<void()> atCreation;

    /// The next `pthread_create`, `pthread_join` or `pthread_cancel` gives `error`.
    void createFails(int error) { createError_ = error; }
    void joinFails(int error) { joinError_ = error; }
    void cancelFails(int error) { cancelError_ = error; }

    // --- pthreads -------------------------------------------------------------------------------------

    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    using Join = int (*)(pthread_t, void**);
    int create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*), void* argument,
               Create real);
    int join(pthread_t handle, void** result, Join real);
    int cancel(pthread_t handle);
    bool owns(pthread_t handle) const;

private:
    std::size_t keep(const Thread& thread);
    std::size_t indexOf(pthread_t handle) const;
    int createReal(std::size_t index, pthread_t* handle, Create real);
    int joinReal(Thread& thread, pthread_t handle, void** result, Join real);
    static void* runReal(void* start);
    static void shiftEvents();

    Journal& journal_;
    VirtualClock& clock_;
    std::vector<std::unique_ptr<Thread>> threads_;
    std::map<pthread_t, std::size_t> handles_;
    int createError_ = 0;
    int joinError_ = 0;
    int cancelError_ = 0;
};

/// The POSIX semaphores of the library. The real ones are used; a wait that could never end fails the test.
class VirtualSemaphores {
public:
    enum Call { Init, Wait, TimedWait, Post, Destroy };

    VirtualSemaphores(Journal& journal, VirtualClock& clock) : journal_(journal), clock_(clock) {}

    /// The next `times` calls return -1 with this `errno`; with `sem`, only on that one.
    void fail(Call call, int error, int times = 1, const sem_t* sem = nullptr);
    /// From now on calls on this semaphore stand in the journal, as "sem_wait NAME".
    void journalAs(const sem_t* sem, const std::string& name) { names_[sem] = name; }
    /// Runs before each call, failing ones included.
    std::function<void(Call, const sem_t*)> beforeEachCall;
    /// Calls so far.
    int count(Call call) const;
    /// The deadline of the last `sem_timedwait`.
    timespec lastDeadline{};

    /// Whether somebody holds it: its value is 0.
    static bool isTaken(sem_t& sem);

    // --- POSIX ----------------------------------------------------------------------------------------

    bool fails(Call call, const sem_t* sem, const std::string& arguments = "");
    int wait(sem_t* sem) { return waitUntil(sem, VirtualClock::kNever); }
    int waitUntilUtc(sem_t* sem, const timespec& deadline);
    int post(sem_t* sem, int (*real)(sem_t*));

private:
    VirtualClock::Duration timeUntil(const timespec& deadline) const;
    int waitUntil(sem_t* sem, VirtualClock::Duration deadline);
    int waitForPost(sem_t* sem, VirtualClock::Duration deadline);

    struct Failure {
        Call call;
        int error;
        int times;
        const sem_t* sem;
    };

    Journal& journal_;
    VirtualClock& clock_;
    std::vector<Failure> failures_;
    std::map<const sem_t*, std::string> names_;
    std::map<Call, int> counts_;
    std::multimap<const sem_t*, VirtualClock::Waiter*> waiters_;
};

#endif
