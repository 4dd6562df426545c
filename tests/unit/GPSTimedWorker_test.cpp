// The worker: its thread's life, and the schedule of its cycle. Tracking has a file of its own.

#include "GPSTimedWorker.h"

#include <signal.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <new>

#include "InstanceNames.h"
#include "PlatformHooks.h"
#include "WorkerFixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

constexpr char kSource[] = "src/GPSTimedWorker.cpp";
constexpr uint32_t kUnsignedMax = std::numeric_limits<uint32_t>::max();
constexpr uint32_t kStart = VirtualClock::kStartTick;

// --- Construction and destruction -----------------------------------------------------------------------

class WorkerConstruction : public WorkerFixture {};

TEST_F(WorkerConstruction, SetsEveryMember) {
    alignas(GPSTimedWorker) static unsigned char memory[sizeof(GPSTimedWorker)];
    std::memset(memory, 0xEE, sizeof memory);
    auto* fresh = new (memory) GPSTimedWorker(*adapter);
    EXPECT_FALSE(fresh->*memberOf(WorkerRunning()));
    EXPECT_FALSE(fresh->*memberOf(WorkerStopRequested()));
    EXPECT_EQ(fresh->*memberOf(WorkerThread()), 0u);
    int value = 0;
    sem_getvalue(&(fresh->*memberOf(WorkerStartSemaphore())), &value);
    EXPECT_EQ(value, 1);
    EXPECT_FALSE(fresh->IsActive());
    EXPECT_THAT(unit.journal.lines(), IsEmpty()) << "nobody is called, no thread is created";
    fresh->~GPSTimedWorker();
}

TEST_F(WorkerConstruction, MakesATokenOfOneProcess) {
    alignas(GPSTimedWorker) static unsigned char memory[sizeof(GPSTimedWorker)];
    unit.semaphores.journalAs(&(reinterpret_cast<GPSTimedWorker*>(memory)->*memberOf(WorkerStartSemaphore())),
                              "its token");
    auto* fresh = new (memory) GPSTimedWorker(*adapter);
    EXPECT_THAT(unit.journal.take(), ElementsAre("sem_init its token 0 1"));
    fresh->~GPSTimedWorker();
    EXPECT_THAT(unit.journal.take(), ElementsAre("sem_destroy its token"));
}

TEST_F(WorkerConstruction, LogsATokenThatCanNotBeMadeAndCarriesOn) {
    unit.semaphores.fail(VirtualSemaphores::Init, ENOSPC);
    const GPSTimedWorker fresh(*adapter);
    EXPECT_THAT(logged(), ElementsAre("2 GPSTimedWorker failed to create semaphore (errno 28)"));
    EXPECT_EQ(source(), kSource);
    EXPECT_FALSE(fresh.IsActive());
}

class WorkerDestruction : public WorkerFixture {
protected:
    std::unique_ptr<GPSTimedWorker> doomed = std::make_unique<GPSTimedWorker>(*adapter);
};

TEST_F(WorkerDestruction, JoinsNoThreadThatWasNeverCreated) {
    doomed.reset();
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
}

TEST_F(WorkerDestruction, StopsTheThreadAndJoinsItOnce) {
    doomed->Start();
    unit.forget();
    doomed.reset();
    EXPECT_THAT(unit.journal.lines(), ElementsAre("pthread_join thread 1"));
}

TEST_F(WorkerDestruction, JoinsAThreadThatEndedByItself) {
    set([](GPSParams& p) { p.enabled = false; });
    doomed->Start();
    unit.threads.run();
    EXPECT_FALSE(doomed->IsActive());
    unit.forget();
    doomed.reset();
    EXPECT_THAT(unit.journal.lines(), ElementsAre("pthread_join thread 1"));
}

TEST_F(WorkerDestruction, LogsAFailedStop) {
    doomed->Start();
    unit.forget();
    unit.threads.joinFails(ESRCH);
    unit.threads.cancelFails(ESRCH);
    doomed.reset();
    EXPECT_EQ(logged().back(), "3 GPSTimedWorker failed to stop worker thread (error code 0x17000101)");
    EXPECT_EQ(source(), kSource);
}

TEST_F(WorkerDestruction, LeavesAThreadAloneThatCouldBeNeitherJoinedNorCancelled) {
    doomed->Start();
    unit.forget();
    unit.threads.joinFails(ESRCH);
    unit.threads.cancelFails(ESRCH);
    doomed.reset();
    EXPECT_THAT(unit.journal.only({"pthread_"}),
                ElementsAre("pthread_join thread 1 failed", "pthread_cancel thread 1 failed"));
}

TEST_F(WorkerDestruction, JoinsACancelledThread) {
    doomed->Start();
    unit.forget();
    unit.threads.joinFails(ESRCH);
    doomed.reset();
    EXPECT_THAT(
        unit.journal.only({"pthread_"}),
        ElementsAre("pthread_join thread 1 failed", "pthread_cancel thread 1", "pthread_join thread 1"));
}

TEST_F(WorkerDestruction, LogsATokenThatCanNotBeDestroyed) {
    unit.semaphores.fail(VirtualSemaphores::Destroy, EBUSY);
    doomed.reset();
    EXPECT_THAT(logged(), ElementsAre("3 GPSTimedWorker failed to destroy semaphoire (errno is 16)"));
    EXPECT_EQ(source(), kSource);
}

// --- Start ----------------------------------------------------------------------------------------------

class WorkerStart : public WorkerFixture {
protected:
    /// The thread of a worker that was disabled: it has run and ended without a stop.
    void letAThreadEndByItself() {
        set([](GPSParams& p) { p.enabled = false; });
        EXPECT_EQ(worker().Start(), 0u);
        unit.threads.run();
        set([](GPSParams& p) { p.enabled = true; });
    }
    void expectOnlyLogged(const std::string& line) {
        EXPECT_THAT(logged(), ElementsAre(line));
        EXPECT_EQ(source(), kSource);
    }
};

TEST_F(WorkerStart, TakesTheTokenAndThenCreatesTheThread) {
    stopRequested() = true;
    EXPECT_EQ(worker().Start(), 0u);
    EXPECT_THAT(unit.journal.lines(), ElementsAre("sem_timedwait token", "pthread_create thread 1"));
    EXPECT_TRUE(worker().IsActive());
    EXPECT_FALSE(stopRequested());
    EXPECT_TRUE(VirtualSemaphores::isTaken(token()));
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WorkerStart, TakesAStopBackBeforeItCreatesTheThreadAndCountsAsRunningAfterwards) {
    stopRequested() = true;
    bool created = false;
    unit.threads.atCreation = [&] {
        created = true;
        EXPECT_FALSE(stopRequested()) << "or a quick thread would end at once";
        EXPECT_FALSE(worker().IsActive());
    };
    worker().Start();
    EXPECT_TRUE(created);
    EXPECT_TRUE(worker().IsActive());
}

TEST_F(WorkerStart, WaitsForTheTokenUntilTheNextSecondAnd250Nanoseconds) {
    unit.clock.setUtc(1700000000);
    unit.clock.advance(400ms);
    worker().Start();
    EXPECT_EQ(unit.semaphores.lastDeadline.tv_sec, 1700000001);
    EXPECT_EQ(unit.semaphores.lastDeadline.tv_nsec, 250);
    EXPECT_EQ(unit.clock.elapsed() % 1s, 400ms) << "a free token costs no time";
}

TEST_F(WorkerStart, GivesTheThreadTheWorkerAndDefaultAttributes) {
    worker().Start();
    EXPECT_EQ(unit.threads.last().argument, &worker());
    EXPECT_TRUE(unit.threads.last().defaultAttributes);
}

TEST_F(WorkerStart, KeepsTheApplicationsSignalsFromTheThreadAndInTheApplication) {
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    worker().Start();
    for (const int signal : {SIGALRM, SIGTERM, SIGCHLD, SIGUSR1, SIGRTMIN})
        EXPECT_EQ(sigismember(&unit.threads.last().signalMask, signal), 1) << signal;
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (const int signal : {SIGALRM, SIGTERM, SIGCHLD, SIGUSR1, SIGRTMIN})
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
}

TEST_F(WorkerStart, OnlyTakesBackAStopWhileTheThreadRuns) {
    worker().Start();
    stopRequested() = true;
    unit.forget();
    EXPECT_EQ(worker().Start(), 0u);
    expectOnlyLogged("6 GPSTimedWorker already running");
    EXPECT_FALSE(stopRequested());
    EXPECT_EQ(unit.threads.count(), 1u);
    EXPECT_EQ(unit.journal.count("sem_"), 0u);
}

TEST_F(WorkerStart, GoesOnWhenTheTokenDoesNotComeInTime) {
    unit.semaphores.fail(VirtualSemaphores::TimedWait, ETIMEDOUT);
    EXPECT_EQ(worker().Start(), 0u);
    EXPECT_EQ(unit.threads.count(), 1u);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WorkerStart, FailsWhenTheTokenCanNotBeTaken) {
    for (const int error : {EINTR, EINVAL, EAGAIN}) {
        unit.forget();
        unit.semaphores.fail(VirtualSemaphores::TimedWait, error);
        EXPECT_EQ(worker().Start(), 0x17000003u);
        expectOnlyLogged("2 GPS worker failed to wait for semaphore (errno " + std::to_string(error) + ")!");
        EXPECT_FALSE(worker().IsActive());
    }
    EXPECT_EQ(unit.threads.count(), 0u);
}

TEST_F(WorkerStart, FailsWhenTheThreadCanNotBeCreated) {
    unit.threads.createFails(EAGAIN);
    EXPECT_EQ(worker().Start(), 0x17000101u);
    expectOnlyLogged("3 GPSTimedWorker failed to start worker thread (result is 11)");
    EXPECT_FALSE(worker().IsActive());
    EXPECT_EQ(thread(), 0u);
}

TEST_F(WorkerStart, MayBeTriedAgainAfterTheThreadCouldNotBeCreated) {
    unit.threads.createFails(EAGAIN);
    worker().Start();
    EXPECT_EQ(worker().Stop(), 0u);
    unit.forget();
    EXPECT_EQ(worker().Start(), 0u) << "the token was not given back: the wait for it runs out";
    EXPECT_THAT(unit.journal.lines(), ElementsAre("sem_timedwait token", "pthread_create thread 1"));
}

TEST_F(WorkerStart, WaitsASecondAfterAThreadThatEndedByItselfAndJoinsIt) {
    letAThreadEndByItself();
    const auto before = unit.clock.elapsed();
    EXPECT_EQ(worker().Start(), 0u);
    EXPECT_GT(unit.clock.elapsed(), before);
    EXPECT_LE(unit.clock.elapsed() - before, 1s);
    EXPECT_THAT(unit.journal.lines(),
                ElementsAre("sem_timedwait token", "pthread_join thread 1", "pthread_create thread 2"));
    EXPECT_TRUE(worker().IsActive());
}

TEST_F(WorkerStart, LeavesNoHandleOfAnEndedThreadWhenTheNewOneCanNotBeCreated) {
    letAThreadEndByItself();
    unit.threads.createFails(EAGAIN);
    EXPECT_EQ(worker().Start(), 0x17000101u);
    EXPECT_EQ(thread(), 0u);
    EXPECT_EQ(unit.journal.count("pthread_join thread 1"), 1u);
}

TEST_F(WorkerStart, TakesTheTokenThatAStopGaveBackAtOnce) {
    for (int round = 1; round <= 3; ++round) {
        const auto before = unit.clock.elapsed();
        EXPECT_EQ(worker().Start(), 0u);
        EXPECT_EQ(unit.clock.elapsed(), before);
        EXPECT_EQ(worker().Stop(), 0u);
    }
    EXPECT_EQ(unit.threads.count(), 3u);
}

// --- The thread's entry ---------------------------------------------------------------------------------

class WorkerEntry : public WorkerFixture {};

TEST_F(WorkerEntry, RunsTheWorkerAndReturnsNull) {
    worker().Start();
    stopRequested() = true;
    EXPECT_EQ(unit.threads.run(), nullptr);
    EXPECT_LOGGED(6, "GPS worker stopped.");
}

TEST_F(WorkerEntry, DoesNothingWithoutAWorker) {
    worker().Start();
    unit.forget();
    EXPECT_EQ(unit.threads.last().body(nullptr), nullptr);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
}

// --- Stop -----------------------------------------------------------------------------------------------

class WorkerStop : public WorkerFixture {
protected:
    WorkerStop() {
        worker().Start();
        unit.forget();
    }
    const std::string kPostFailed = "3 GPSTimedWorker failed to signal worker thread (result is -1)";
    const std::string kJoinFailed = "3 GPSTimedWorker failed to join worker thread (result is 3)";
    const std::string kCancelFailed = "3 GPSTimedWorker failed to cancel worker thread (result is 3)";
};

TEST_F(WorkerStop, GivesTheTokenBackAndJoinsTheThread) {
    EXPECT_EQ(worker().Stop(), 0u);
    EXPECT_THAT(unit.journal.lines(), ElementsAre("sem_post token", "pthread_join thread 1"));
    EXPECT_FALSE(worker().IsActive());
    EXPECT_EQ(thread(), 0u);
    EXPECT_FALSE(VirtualSemaphores::isTaken(token()));
}

TEST_F(WorkerStop, AsksTheThreadToEndBeforeAnythingElse) {
    bool asked = false;
    unit.semaphores.beforeEachCall = [&](VirtualSemaphores::Call, const sem_t*) { asked = stopRequested(); };
    worker().Stop();
    EXPECT_TRUE(asked);
}

TEST_F(WorkerStop, DoesNothingWhenIdle) {
    worker().Stop();
    unit.forget();
    stopRequested() = false;
    EXPECT_EQ(worker().Stop(), 0u);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
    EXPECT_FALSE(stopRequested());
}

TEST_F(WorkerStop, DoesNothingAfterTheThreadEndedByItself) {
    set([](GPSParams& p) { p.enabled = false; });
    unit.threads.run();
    unit.forget();
    EXPECT_EQ(worker().Stop(), 0u);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
}

TEST_F(WorkerStop, CancelsWithoutAJoinWhenTheTokenCanNotBeGivenBack) {
    unit.semaphores.fail(VirtualSemaphores::Post, EOVERFLOW);
    EXPECT_EQ(worker().Stop(), 0u);
    EXPECT_THAT(unit.journal.only({"pthread_"}), ElementsAre("pthread_cancel thread 1"));
    EXPECT_THAT(logged(), ElementsAre(kPostFailed));
    EXPECT_EQ(source(), kSource);
    EXPECT_FALSE(worker().IsActive());
}

TEST_F(WorkerStop, CancelsWhenTheThreadCanNotBeJoined) {
    unit.threads.joinFails(ESRCH);
    EXPECT_EQ(worker().Stop(), 0u);
    EXPECT_THAT(unit.journal.only({"pthread_"}),
                ElementsAre("pthread_join thread 1 failed", "pthread_cancel thread 1"));
    EXPECT_THAT(logged(), ElementsAre(kJoinFailed));
    EXPECT_FALSE(worker().IsActive());
}

TEST_F(WorkerStop, FailsWhenTheThreadCanNotBeCancelledEither) {
    unit.threads.joinFails(ESRCH);
    unit.threads.cancelFails(ESRCH);
    EXPECT_EQ(worker().Stop(), 0x17000101u);
    EXPECT_THAT(logged(), ElementsAre(kJoinFailed, kCancelFailed));
    EXPECT_TRUE(worker().IsActive());
    EXPECT_EQ(worker().Stop(), 0u) << "it may be tried again";
}

TEST_F(WorkerStop, FailsWithAnUnreturnedTokenToo) {
    unit.semaphores.fail(VirtualSemaphores::Post, EOVERFLOW);
    unit.threads.cancelFails(ESRCH);
    EXPECT_EQ(worker().Stop(), 0x17000101u);
    EXPECT_THAT(logged(), ElementsAre(kPostFailed, kCancelFailed));
    EXPECT_TRUE(worker().IsActive());
}

TEST_F(WorkerStop, LeavesACancelledThreadToBeJoinedByTheNextStart) {
    unit.semaphores.fail(VirtualSemaphores::Post, EOVERFLOW);
    worker().Stop();
    unit.forget();
    EXPECT_EQ(worker().Start(), 0u);
    EXPECT_THAT(unit.journal.only({"pthread_"}),
                ElementsAre("pthread_join thread 1", "pthread_create thread 2"));
}

// --- The loop -------------------------------------------------------------------------------------------

class WorkerLoop : public WorkerFixture {};

TEST_F(WorkerLoop, SaysWhenItStartsAndStops) {
    runCycles(1);
    EXPECT_EQ(logged().front(), "6 GPS worker starts and should not exit immediately, usleep 250000.");
    EXPECT_EQ(logged().back(), "6 GPS worker stopped.");
    EXPECT_EQ(unit.log.all().front().source, kSource);
    EXPECT_EQ(source(), kSource);
}

TEST_F(WorkerLoop, CountsAsRunningFromItsBeginToItsEnd) {
    inSleep = [this] { EXPECT_TRUE(worker().IsActive()); };
    runCycles(3);
    EXPECT_FALSE(worker().IsActive());
}

/// Whether the worker counted as running at its last log line.
bool wasRunningWhenItLogged = false;
const GPSTimedWorker* logging = nullptr;

TEST_F(WorkerLoop, StillCountsAsRunningWhenItSaysThatItStopped) {
    const PlatformHooks* const usual = platformHooks();
    PlatformHooks watching = *usual;
    watching.logLine = [](int, const char*, int, const char*) {
        wasRunningWhenItLogged = logging->IsActive();
    };
    logging = &worker();
    setPlatformHooks(&watching);
    runCycles(1);
    setPlatformHooks(usual);
    EXPECT_TRUE(wasRunningWhenItLogged);
    EXPECT_FALSE(worker().IsActive());
}

TEST_F(WorkerLoop, EndsBeforeItsFirstCycleWhenItIsToStop) {
    stopRequested() = true;
    worker().Run();
    EXPECT_THAT(logged(), ElementsAre("6 GPS worker starts and should exit immediately, usleep 250000.",
                                      "6 GPS worker stopped."));
    EXPECT_THAT(cycle(), IsEmpty());
    EXPECT_FALSE(worker().IsActive());
}

TEST_F(WorkerLoop, RunsItsBlocksInThisOrder) {
    set([](GPSParams& p) {
        p.trackingEnabled = true;
        p.trackingPeriod = 1;
    });
    runCycles(1);
    EXPECT_THAT(
        cycle(),
        ElementsAre(
            "hal GetData", "callback OnTracking 0 0", "hal GetSatellites", "hal GetSatellites",
            "hal GetAntennaStatus", "callback OnAntennaStateChanged 1", "hal GetCurrentTime",
            "hal GetErrorEstimates",
            "log 6 src/GPSAdapter.cpp GPS is down: antenna=1 sat-count=0 SNR=0 time-deviation=invalid "
            "time-delta=0s fix-age=-1s odometer=0",
            "log 6 src/GPSAdapter.cpp Current GPS data: not valid", "usleep 250000"));
}

TEST_F(WorkerLoop, AsksForTheSatelliteCountBeforeTheRatio) {
    hal->visible = 12;
    hal->snr = 38;
    hal->atCall = [this](const std::string& name) {
        if (name == "GetAntennaStatus") {
            EXPECT_EQ(readings().snr, 38u);
        }
        if (name == "GetSatellites" && readings().satelliteCount == 0) {
            EXPECT_EQ(readings().snr, 0u);
        }
    };
    runCycles(1);
    EXPECT_EQ(readings().satelliteCount, 12u);
}

TEST_F(WorkerLoop, HoldsTheSettingsOfItsCycle) {
    hal->atCall = [this](const std::string& name) {
        if (name == "GetData") {
            set([](GPSParams& p) { p.enabled = p.trackingEnabled = false; });
        }
    };
    set([](GPSParams& p) {
        p.trackingEnabled = true;
        p.trackingPeriod = 1;
    });
    runCycles(3);
    EXPECT_EQ(ticks["OnTracking"].size(), 1u);
    EXPECT_EQ(unit.journal.count("usleep"), 2u) << "the second cycle finds the worker disabled";
}

TEST_F(WorkerLoop, SleepsOnceMoreAndEndsWhenDisabled) {
    set([](GPSParams& p) { p.enabled = false; });
    worker().Run();
    EXPECT_EQ(ticks["GetData"].size(), 1u) << "the cycle itself still runs";
    const Lines lines = unit.journal.lines();
    EXPECT_EQ(lines[lines.size() - 2], "usleep 250000");
    EXPECT_EQ(lines.back(), "log 6 src/GPSTimedWorker.cpp GPS worker stopped.");
    EXPECT_FALSE(worker().IsActive());
    EXPECT_TRUE(stopRequested());
}

TEST_F(WorkerLoop, EndsAfterASingleSleepWhenItIsDisabledWhileItRuns) {
    inSleep = [this] {
        if (unit.clock.elapsed() == 1h)
            adapter->SetParams(GPSParams());
    };
    unit.clock.advance(1h - unit.clock.elapsed() - 10s);
    runFor(1h);
    EXPECT_EQ(unit.clock.elapsed(), 1h + 250ms);
}

TEST_F(WorkerLoop, GoesOnWhenASecondStartTakesTheStopBack) {
    int sleeps = 0;
    inSleep = [&] {
        if (++sleeps == 3) {
            stopRequested() = true;
            EXPECT_EQ(worker().Start(), 0u);
        }
    };
    runCycles(10);
    EXPECT_EQ(sleeps, 10);
    EXPECT_LOGGED(6, "GPSTimedWorker already running");
}

TEST_F(WorkerLoop, IsNotEndedByAnyFailure) {
    hal->fixResult = hal->satellitesResult = hal->antennaResult = hal->utcResult = hal->errorsResult =
        0x17000205;
    callback.result = 0x42;
    unit.timeOfDayError = EFAULT;
    set([](GPSParams& p) {
        p.trackingEnabled = true;
        p.trackingPeriod = 1;
    });
    runFor(10s);
    EXPECT_EQ(ticks["GetData"].size(), 10u);
    EXPECT_EQ(ticks["GetErrorEstimates"].size(), 5u);
    EXPECT_EQ(ticks["OnTracking"].size(), 2u);
}

TEST_F(WorkerLoop, TakesTheLockBackFromNoCycle) {
    runFor(60s);
    EXPECT_FALSE(VirtualSemaphores::isTaken(lock()));
    EXPECT_EQ(unit.journal.count("sem_wait lock"), unit.journal.count("sem_post lock"));
    EXPECT_EQ(unit.threads.count(), 0u);
}

// --- Position block -------------------------------------------------------------------------------------

class PositionBlock : public WorkerFixture {
protected:
    PositionBlock() { hal->fix = fixAt(50000000, 10000000); }

    void watchAnAreaElsewhere() {
        set([](GPSParams& p) {
            p.geofencesEnabled = true;
            p.geofences[11].width = p.geofences[11].height = 10;
        });
    }
};

TEST_F(PositionBlock, TakesTheFixThenTheOdometerThenTheGeofences) {
    watchAnAreaElsewhere();
    std::vector<int32_t> warmups;
    hal->atCall = [&](const std::string& name) {
        if (name == "GetData")
            warmups.push_back(member(AdapterOdometerWarmup()));
    };
    callback.atCall = [&](const std::string& call) {
        if (call == "OnGeofenceLeft ")
            warmups.push_back(member(AdapterOdometerWarmup()));
    };
    runCycles(1);
    EXPECT_THAT(warmups, ElementsAre(180, 179));
    EXPECT_EQ(callback.geofence, &member(AdapterParams()).geofences[11]) << "seen from the fix just taken";
}

TEST_F(PositionBlock, ChecksNoGeofenceWhileTheyAreDisabled) {
    watchAnAreaElsewhere();
    set([](GPSParams& p) { p.geofencesEnabled = false; });
    runFor(5s);
    EXPECT_EQ(ticks.count("OnGeofenceLeft"), 0u);
    EXPECT_EQ(readings().geofenceStates[11], GPSGeofenceState::Unknown);
}

TEST_F(PositionBlock, LogsAFailedCheck) {
    watchAnAreaElsewhere();
    callback.result = 0x42;
    runCycles(1);
    EXPECT_EQ(unit.log.count(3, "GPSAdapter: check geofence returns rc=0x00000042"), 1);
    EXPECT_EQ(unit.log.count(3, "GPS worker failed to check geofence (error code 0x00000042)!"), 1);
    EXPECT_EQ(unit.journal.count("log 3 src/GPSTimedWorker.cpp GPS worker failed to check geofence"), 1u);
}

TEST_F(PositionBlock, CountsItsIntervalFromItsBegin) {
    hal->atCall = [&](const std::string& name) {
        if (name != "GetData")
            return;
        ticks[name].push_back(unit.clock.tick());
        unit.clock.advance(1200ms);
    };
    runFor(5s);
    // Due again a second after its begin: the cycle after the sleep, 1.45 s later, runs it.
    EXPECT_THAT(ticks["GetData"], ElementsAre(kStart, kStart + 1, kStart + 2, kStart + 4));
}

TEST_F(PositionBlock, TakesThe180SecondsOfTheWarmUp) {
    runFor(180s);
    EXPECT_EQ(member(AdapterOdometerWarmup()), 0);
    EXPECT_FALSE(member(AdapterOdometerReference()).valid);
    runCycles(1);
    EXPECT_TRUE(member(AdapterOdometerReference()).valid);
}

// --- Schedule -------------------------------------------------------------------------------------------

class WorkerSchedule : public WorkerFixture {
protected:
    void setIntervals(uint32_t position, uint32_t status, uint32_t log = 0) {
        set([=](GPSParams& p) {
            p.positionInterval = position;
            p.statusInterval = status;
            p.logInterval = log;
        });
    }
    static Ticks every(uint32_t seconds, uint32_t first, uint32_t end) {
        Ticks all;
        for (uint32_t tick = first; tick < end; tick += seconds)
            all.push_back(tick);
        return all;
    }
    std::size_t detailLines() { return unit.journal.count("log 6 src/GPSAdapter.cpp GPS is "); }
};

TEST_F(WorkerSchedule, HasThePaceOfTheDefaults) {
    runFor(30min);
    EXPECT_EQ(ticks["GetData"], every(1, kStart, kStart + 1800));
    EXPECT_EQ(ticks["GetAntennaStatus"], every(2, kStart, kStart + 1800));
    EXPECT_EQ(detailLines(), 2u) << "at once and after 900 s";
    EXPECT_EQ(unit.journal.count("usleep 250000"), 7200u);
    EXPECT_EQ(unit.journal.count("usleep"), 7200u);
}

TEST_F(WorkerSchedule, RunsForThirtyDays) {
    setIntervals(600, 3600, 900);
    std::size_t lines = 0;
    inSleep = [&] {
        lines += detailLines();
        unit.forget();
    };
    runFor(24h * 30);
    EXPECT_EQ(ticks["GetData"], every(600, kStart, kStart + 2592000));
    EXPECT_EQ(ticks["GetAntennaStatus"], every(3600, kStart, kStart + 2592000));
    EXPECT_EQ(lines, 2880u);
}

TEST_F(WorkerSchedule, AsksAllOfTheStatusEachTime) {
    runFor(20s);
    for (const char* name : {"GetAntennaStatus", "GetCurrentTime", "GetErrorEstimates"})
        EXPECT_EQ(ticks[name], every(2, kStart, kStart + 20)) << name;
    EXPECT_EQ(ticks["GetSatellites"].size(), 20u);
    EXPECT_EQ(ticks.count("GetStatus"), 0u);
}

TEST_F(WorkerSchedule, CountsTheStatusFromTheEndOfItsBlock) {
    hal->atCall = [&](const std::string& name) {
        ticks[name].push_back(unit.clock.tick());
        if (name == "GetErrorEstimates")
            unit.clock.advance(1500ms);
    };
    runFor(10s);
    EXPECT_THAT(ticks["GetErrorEstimates"], ElementsAre(kStart, kStart + 3, kStart + 6, kStart + 9));
}

/// At tick 10, with a position block that takes four seconds.
class WorkerScheduleOfASlowCycle : public WorkerSchedule {
protected:
    WorkerScheduleOfASlowCycle() {
        unit.clock.setTick(10);
        hal->atCall = [this](const std::string& name) {
            ticks[name].push_back(unit.clock.tick());
            if (name == "GetData")
                unit.clock.advance(4s);
        };
    }
};

TEST_F(WorkerScheduleOfASlowCycle, JudgesTheLaterBlocksByTheTickAtItsBegin) {
    setIntervals(10, 12, 12);
    runFor(1s);
    EXPECT_EQ(ticks["GetData"], Ticks{10});
    EXPECT_EQ(ticks.count("GetAntennaStatus"), 0u);
    EXPECT_EQ(detailLines(), 0u);
}

TEST_F(WorkerScheduleOfASlowCycle, CountsTheLogFromItsBegin) {
    setIntervals(10, 100, 5);
    runFor(7s); // two cycles, the second at 16.5
    EXPECT_EQ(detailLines(), 2u);
}

TEST_F(WorkerSchedule, RunsABlockOnlyOnceTheTickHasPassedItsInterval) {
    setIntervals(1, 2, 900);
    unit.clock.setTick(0);
    runFor(900s);
    EXPECT_EQ(ticks["GetData"].front(), 1u);
    EXPECT_EQ(ticks["GetAntennaStatus"].front(), 2u);
    EXPECT_EQ(detailLines(), 0u);
    unit.clock.setTick(0);
    runFor(901s);
    EXPECT_EQ(detailLines(), 1u);
}

TEST_F(WorkerSchedule, RunsInEveryCycleAtAnIntervalOfZero) {
    setIntervals(0, 0);
    runCycles(1000);
    EXPECT_EQ(ticks["GetData"].size(), 1000u);
    EXPECT_EQ(ticks["GetAntennaStatus"].size(), 1000u);
    EXPECT_EQ(unit.journal.count("usleep 0"), 1000u);
}

TEST_F(WorkerSchedule, NeverComesToAnIntervalBeyondTheTick) {
    setIntervals(kUnsignedMax, kUnsignedMax);
    runCycles(10); // of 1073 s each
    EXPECT_EQ(ticks.count("GetData"), 0u);
    EXPECT_EQ(ticks.count("GetAntennaStatus"), 0u);
}

TEST_F(WorkerSchedule, ComparesUnsignedWhereTheTickWraps) {
    unit.clock.setTick(kUnsignedMax - 1);
    setIntervals(1, 2);
    runFor(5s);
    const uint32_t last = kUnsignedMax;
    // Where the due time has wrapped and the tick hasn't, a block runs in every cycle.
    EXPECT_THAT(ticks["GetData"], ElementsAre(last - 1, last, last, last, last, 0u, 1u, 2u));
    EXPECT_THAT(ticks["GetAntennaStatus"],
                ElementsAre(last - 1, last - 1, last - 1, last - 1, last, last, last, last, 1u));
}

TEST_F(WorkerSchedule, FollowsChangedIntervalsFromTheNextCycleOn) {
    inSleep = [this] {
        if (unit.clock.tick() == kStart + 4)
            setIntervals(3, 5);
    };
    runFor(20s);
    EXPECT_THAT(ticks["GetData"], ElementsAre(kStart, kStart + 1, kStart + 2, kStart + 3, kStart + 6,
                                              kStart + 9, kStart + 12, kStart + 15, kStart + 18));
    EXPECT_THAT(ticks["GetAntennaStatus"],
                ElementsAre(kStart, kStart + 2, kStart + 7, kStart + 12, kStart + 17));
}

TEST_F(WorkerSchedule, KeepsItsSleepForTheLifeOfTheThread) {
    int sleeps = 0;
    inSleep = [&] {
        if (++sleeps == 2)
            adapter->SetParams([this] {
                GPSParams p = params();
                p.positionInterval = 60;
                return p;
            }());
    };
    runCycles(20);
    EXPECT_EQ(unit.journal.count("usleep 250000"), 20u);
    unit.forget();
    runCycles(1);
    EXPECT_EQ(unit.journal.count("usleep 15000000"), 1u) << "a new thread takes the new interval";
}

struct Sleep {
    uint32_t interval;
    uint32_t microseconds;
};
class WorkerSleep : public WorkerFixture, public ::testing::WithParamInterface<Sleep> {};

TEST_P(WorkerSleep, IsAQuarterOfThePositionIntervalIn32Bits) {
    set([](GPSParams& p) { p.positionInterval = GetParam().interval; });
    runCycles(1);
    const std::string length = std::to_string(GetParam().microseconds);
    EXPECT_EQ(unit.journal.only({"usleep"}), Lines{"usleep " + length});
    EXPECT_LOGGED(6, "GPS worker starts and should not exit immediately, usleep " + length + ".");
}

INSTANTIATE_TEST_SUITE_P(ForEachInterval, WorkerSleep,
                         ::testing::Values(Sleep{0, 0}, Sleep{1, 250000}, Sleep{2, 500000}, Sleep{3, 750000},
                                           Sleep{10, 2500000}, Sleep{4294, 1073500000},
                                           Sleep{4295, 8176}, // 4,295,000,000 wraps to 32,704
                                           Sleep{8590, 16352}, Sleep{kUnsignedMax, 1073491824}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.interval);
                         });

struct LogInterval {
    uint32_t interval;
    VirtualClock::Duration time;
    std::size_t lines;
};
class WorkerLogInterval : public WorkerSchedule, public ::testing::WithParamInterface<LogInterval> {};

TEST_P(WorkerLogInterval, CountsOnlyItsLowTwelveBits) {
    setIntervals(1, 2, GetParam().interval);
    runFor(GetParam().time);
    EXPECT_EQ(detailLines(), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(
    ForEachInterval, WorkerLogInterval,
    ::testing::Values(LogInterval{900, 900s, 1}, LogInterval{900, 901s, 2}, LogInterval{0, 3600s, 0},
                      LogInterval{4096, 3600s, 0}, LogInterval{0xFFFFF000, 3600s, 0},
                      LogInterval{4196, 100s, 1}, LogInterval{4196, 1001s, 11}, LogInterval{1, 10s, 10},
                      LogInterval{kUnsignedMax, 4095s, 1}, LogInterval{kUnsignedMax, 4096s, 2}),
    [](const auto& made) {
        const auto& p = made.param;
        return instanceName(p.interval, "for",
                            std::chrono::duration_cast<std::chrono::seconds>(p.time).count(), "s");
    });

} // namespace
