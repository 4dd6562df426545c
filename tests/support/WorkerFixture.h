#ifndef WORKERFIXTURE_H
#define WORKERFIXTURE_H

#include <map>
#include <string>
#include <vector>

#include "AdapterFixture.h"

/// The worker of an adapter with a scripted receiver. Its thread is captured; the tests run its body, and
/// each of its sleeps puts the clock forward.
class WorkerFixture : public AdapterFixture {
protected:
    using Ticks = std::vector<uint32_t>;
    static constexpr VirtualClock::Duration kSecond{1000000};

    WorkerFixture() {
        unit.semaphores.journalAs(&token(), "token");
        // From here on at the begin of a second: the receiver's configuration took its time.
        unit.clock.advance(kSecond - unit.clock.elapsed() % kSecond);
        unit.clock.setTick(VirtualClock::kStartTick);
        hal->atCall = [this](const std::string& name) { ticks[name].push_back(unit.clock.tick()); };
        callback.atCall = [this](const std::string& call) {
            ticks[call.substr(0, call.find(' '))].push_back(unit.clock.tick());
        };
    }
    ~WorkerFixture() override { unit.clock.afterEachSleep = nullptr; }

    bool& running() { return worker().*memberOf(WorkerRunning()); }
    bool& stopRequested() { return worker().*memberOf(WorkerStopRequested()); }
    pthread_t& thread() { return worker().*memberOf(WorkerThread()); }
    sem_t& token() { return worker().*memberOf(WorkerStartSemaphore()); }

    /// Runs the body until so much time has passed; a cycle that would begin at the end doesn't come.
    void runFor(VirtualClock::Duration duration) {
        const VirtualClock::Duration end = unit.clock.elapsed() + duration;
        runUntil([this, end] { return unit.clock.elapsed() >= end; });
    }
    void runCycles(int cycles) {
        runUntil([&cycles] { return --cycles <= 0; });
    }
    /// Runs the body until `isOver` holds after a sleep.
    template <typename IsOver>
    void runUntil(IsOver isOver) {
        stopRequested() = false;
        unit.clock.afterEachSleep = [&](VirtualClock::Duration) {
            if (inSleep)
                inSleep();
            if (isOver())
                stopRequested() = true;
        };
        worker().Run();
        unit.clock.afterEachSleep = nullptr;
    }

    /// What the thread did, without the locking and the line with which it starts.
    Lines cycle() { return unit.journal.only({"hal ", "callback ", "usleep", "log 6 src/GPSAdapter"}); }

    /// When the receiver or the callback was called, by the operation's name.
    std::map<std::string, Ticks> ticks;
    /// Runs in each of the thread's sleeps.
    std::function<void()> inSleep;
};

#endif
