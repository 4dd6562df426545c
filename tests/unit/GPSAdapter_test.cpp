// The adapter itself: construction and destruction, its lock, and the life cycle of receiver and worker.
// Settings and readings, update cycle and odometer have files of their own.

#include "GPSAdapter.h"

#include <array>
#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

#include "AdapterFixture.h"
#include "FailingMemory.h"
#include "GPSHAL_RUXO_3.h"
#include "InstanceNames.h"
#include "PlatformHooks.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr char kSource[] = "src/GPSAdapter.cpp";

// --- Construction ---------------------------------------------------------------------------------------

class AdapterConstruction : public UnitTest {
protected:
    void expectFailure(std::size_t size) {
        try {
            const FailingMemory memory = FailingMemory::ofSize(size);
            const GPSAdapter adapter(nullptr);
            FAIL() << "nothing was thrown";
        } catch (const NoMemory& error) {
            EXPECT_EQ(error.size, size);
        }
        EXPECT_EQ(unit.journal.count("log 2 src/GPSAdapter.cpp GPSAdapter failed to create worker class"),
                  1u);
        EXPECT_EQ(unit.semaphores.count(VirtualSemaphores::Init), 0) << "neither worker nor lock";
    }
};

TEST_F(AdapterConstruction, MakesTheDriverTheWorkerAndTheLockInThisOrder) {
    alignas(GPSAdapter) static unsigned char memory[sizeof(GPSAdapter)];
    const sem_t* const lock = &(reinterpret_cast<GPSAdapter*>(memory)->*memberOf(AdapterLock()));
    Lines made;
    unit.semaphores.beforeEachCall = [&](VirtualSemaphores::Call call, const sem_t* semaphore) {
        if (call != VirtualSemaphores::Init)
            return;
        EXPECT_FALSE(unit.port.sent.empty()) << "the driver has configured the receiver";
        made.push_back(semaphore == lock ? "lock" : "worker");
    };
    auto* adapter = new (memory) GPSAdapter(nullptr);
    EXPECT_THAT(made, ElementsAre("worker", "lock"));
    adapter->~GPSAdapter();
}

TEST_F(AdapterConstruction, MakesALockForOneProcessThatIsFree) {
    alignas(GPSAdapter) static unsigned char memory[sizeof(GPSAdapter)];
    const auto& lock = reinterpret_cast<GPSAdapter*>(memory)->*memberOf(AdapterLock());
    unit.semaphores.journalAs(&lock, "lock");
    auto* adapter = new (memory) GPSAdapter(nullptr);
    EXPECT_THAT(unit.journal.only({"sem_"}),
                ElementsAre("sem_init lock 0 1", "sem_wait lock", "sem_post lock"));
    EXPECT_FALSE(VirtualSemaphores::isTaken(adapter->*memberOf(AdapterLock())));
    adapter->~GPSAdapter();
}

TEST_F(AdapterConstruction, SetsEveryMember) {
    alignas(GPSAdapter) static unsigned char memory[sizeof(GPSAdapter)];
    std::memset(memory, 0xEE, sizeof memory);
    RecordingCallback callback;
    auto* adapter = new (memory) GPSAdapter(&callback);
    EXPECT_EQ(adapter->*memberOf(AdapterCallback()), &callback);
    EXPECT_EQ(adapter->*memberOf(AdapterOdometerWarmup()), 180);
    EXPECT_EQ(adapter->*memberOf(AdapterPreviousAntennaState()), 0u);
    EXPECT_EQ(adapter->*memberOf(AdapterMaxGeofences()), 12u);
    EXPECT_FALSE(adapter->*memberOf(AdapterNtpServiceAvailable()));
    EXPECT_FALSE(adapter->*memberOf(AdapterAntennaCallbackFlag()));
    EXPECT_EQ(adapter->*memberOf(AdapterValidFixCounter()), 0u);
    EXPECT_FALSE((adapter->*memberOf(AdapterParams())).resetTimeDeviation);
    EXPECT_FALSE((adapter->*memberOf(AdapterOdometerFiltered())).valid);
    EXPECT_FALSE((adapter->*memberOf(AdapterOdometerReference())).valid);
    adapter->~GPSAdapter();
}

TEST_F(AdapterConstruction, CreatesNoThreadAndCallsNobody) {
    RecordingCallback callback;
    const GPSAdapter adapter(&callback);
    EXPECT_EQ(unit.threads.count(), 0u);
    EXPECT_THAT(unit.journal.only({"callback "}), IsEmpty());
    EXPECT_EQ(unit.gpsd.opens(), 0);
}

TEST_F(AdapterConstruction, PassesOnWhatTheDriversCreationThrows) {
    expectFailure(sizeof(GPSHAL_RUXO_3));
    EXPECT_THAT(unit.port.sent, IsEmpty());
}

TEST_F(AdapterConstruction, PassesOnThatThereIsNoMemoryForItsGeofencesNames) {
    for (const std::size_t geofence : {1u, 7u, 12u}) {
        const FailingMemory memory(geofence);
        EXPECT_THROW(const GPSAdapter adapter(nullptr), std::bad_alloc);
    }
    EXPECT_THAT(unit.journal.lines(), IsEmpty()) << "nothing is logged, and the receiver is left alone";
}

TEST_F(AdapterConstruction, PassesOnWhatTheWorkersCreationThrowsAndReleasesTheDriver) {
    expectFailure(sizeof(GPSTimedWorker));
    EXPECT_EQ(unit.journal.count("fopen /data/NavigationDatabaseDump wb"), 1u) << "the driver's destruction";
}

class GPSAdapterDeathTest : public UnitTest {
protected:
    /// An adapter whose lock can't be created; what was logged goes to standard error.
    void construct() {
        std::set_terminate([] {
            for (const std::string& line : VirtualUnit::current()->journal.only({"log 2"}))
                fprintf(stderr, "%s\n", line.c_str());
            std::abort();
        });
        alignas(GPSAdapter) static unsigned char memory[sizeof(GPSAdapter)];
        const auto& lock = reinterpret_cast<GPSAdapter*>(memory)->*memberOf(AdapterLock());
        unit.semaphores.fail(VirtualSemaphores::Init, ENOSPC, 1, &lock);
        new (memory) GPSAdapter(nullptr);
    }
};

TEST_F(GPSAdapterDeathTest, EndsTheProcessWhenTheLockCanNotBeCreated) {
    EXPECT_EXIT(construct(), ::testing::KilledBySignal(SIGABRT),
                "log 2 src/GPSAdapter.cpp GPSAdapter failed to initialize semaphore \\(errno=28\\)");
}

// --- Destruction ----------------------------------------------------------------------------------------

class AdapterDestruction : public AdapterFixture {};

TEST_F(AdapterDestruction, StopsFinalizesAndThenReleasesUnderTheLock) {
    unit.semaphores.journalAs(&(worker().*memberOf(WorkerStartSemaphore())), "token");
    adapter.reset();
    EXPECT_THAT(unit.journal.lines(), ElementsAre("hal Stop", "hal Stop", "hal Finalize", "sem_wait lock",
                                                  "sem_destroy token", "hal destroyed", "sem_destroy lock"));
}

TEST_F(AdapterDestruction, StopsARunningWorkerOnce) {
    unit.threads.runsAtJoin = true;
    ASSERT_EQ(adapter->Start(), 0u);
    adapter.reset();
    EXPECT_EQ(unit.journal.count("pthread_join thread 1"), 1u);
    EXPECT_EQ(unit.journal.count("pthread_cancel"), 0u);
}

TEST_F(AdapterDestruction, HasLetGoOfTheCallbackWhenTheLockIsDestroyed) {
    const GPSAdapter& dying = *adapter;
    bool destroyed = false;
    unit.semaphores.beforeEachCall = [&](VirtualSemaphores::Call call, const sem_t* semaphore) {
        if (call != VirtualSemaphores::Destroy || semaphore != callback.lock)
            return;
        destroyed = true;
        EXPECT_EQ(dying.*memberOf(AdapterCallback()), nullptr);
    };
    adapter.reset();
    EXPECT_TRUE(destroyed);
}

TEST_F(AdapterDestruction, LogsNothingWhenAllGoesWell) {
    adapter.reset();
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(AdapterDestruction, LogsAFailedStopEachTimeItIsTriedAndFinalizesAllTheSame) {
    hal->stopResult = 0x170000AB;
    adapter.reset();
    const std::string stop = "3 GPSAdapter failed to stop GPS (error code 0x170000AB)";
    EXPECT_THAT(logged(), ElementsAre(stop, stop, stop, stop,
                                      "3 GPSAdapter failed to finalize GPS (error code 0x170000AB)"));
    EXPECT_EQ(unit.journal.count("hal Finalize"), 1u);
}

TEST_F(AdapterDestruction, LogsAFailedFinalizeTwice) {
    hal->finalizeResult = 0x170000CD;
    adapter.reset();
    const std::string finalize = "3 GPSAdapter failed to finalize GPS (error code 0x170000CD)";
    EXPECT_THAT(logged(), ElementsAre(finalize, finalize));
    EXPECT_EQ(source(), kSource);
}

TEST_F(AdapterDestruction, LogsALockThatCanNotBeFreed) {
    unit.semaphores.fail(VirtualSemaphores::Destroy, EBUSY, 1, &lock());
    adapter.reset();
    EXPECT_THAT(logged(), ElementsAre("2 GPSAdapter failed to free semaphore (errno=16)"));
    EXPECT_EQ(source(), kSource);
}

// --- The lock -------------------------------------------------------------------------------------------

class AdapterLocking : public AdapterFixture {};

TEST_F(AdapterLocking, IsTakenByLockAndFreeAfterUnlock) {
    EXPECT_EQ(adapter->lock(), 0u);
    EXPECT_TRUE(VirtualSemaphores::isTaken(lock()));
    EXPECT_EQ(adapter->unlock(), 0u);
    EXPECT_FALSE(VirtualSemaphores::isTaken(lock()));
}

TEST_F(AdapterLocking, TriesAgainWhenTheWaitIsInterrupted) {
    unit.semaphores.fail(VirtualSemaphores::Wait, EINTR, 3);
    EXPECT_EQ(adapter->lock(), 0u);
    EXPECT_TRUE(VirtualSemaphores::isTaken(lock()));
    EXPECT_THAT(logged(), IsEmpty());
    EXPECT_EQ(unit.journal.count("sem_wait lock"), 4u);
    adapter->unlock();
}

TEST_F(AdapterLocking, LogsAnyOtherFailureAndReturnsWithoutTheLock) {
    unit.semaphores.fail(VirtualSemaphores::Wait, EINVAL);
    EXPECT_NE(adapter->lock(), 0u);
    EXPECT_FALSE(VirtualSemaphores::isTaken(lock()));
    EXPECT_THAT(logged(), ElementsAre("2 GPSAdapter failed to get semaphore (errno=22)"));
    EXPECT_EQ(source(), kSource);
    EXPECT_EQ(unit.journal.count("sem_wait lock"), 1u);
}

TEST_F(AdapterLocking, FailsAfterAnInterruptedWaitToo) {
    unit.semaphores.fail(VirtualSemaphores::Wait, EINTR);
    unit.semaphores.fail(VirtualSemaphores::Wait, EDEADLK);
    EXPECT_NE(adapter->lock(), 0u);
    EXPECT_THAT(logged(), ElementsAre("2 GPSAdapter failed to get semaphore (errno=35)"));
}

TEST_F(AdapterLocking, LogsAFailedRelease) {
    unit.semaphores.fail(VirtualSemaphores::Post, EOVERFLOW);
    EXPECT_NE(adapter->unlock(), 0u);
    EXPECT_THAT(logged(), ElementsAre("2 GPSAdapter failed to release semaphore (errno=75)"));
    EXPECT_EQ(source(), kSource);
}

TEST_F(AdapterLocking, IsGoneWithoutWhenItCanNotBeTaken) {
    GPSParams p = params();
    p.setOdometer = true;
    p.odometerValue = 77;
    unit.semaphores.fail(VirtualSemaphores::Wait, EINVAL);
    EXPECT_EQ(adapter->SetParams(p), 0u);
    EXPECT_EQ(member(AdapterOdometer()), 77u);
}

TEST_F(AdapterLocking, IsGivenBackEvenWhenItCouldNotBeTaken) {
    unit.semaphores.fail(VirtualSemaphores::Wait, EINVAL);
    EXPECT_EQ(adapter->SetParams(GPSParams()), 0u);
    EXPECT_THAT(unit.journal.lines(),
                ElementsAre("sem_wait lock",
                            "log 2 src/GPSAdapter.cpp GPSAdapter failed to get semaphore (errno=22)",
                            "sem_post lock"));
}

TEST_F(AdapterLocking, GuardsSettingsAndReadings) {
    GPSParams p;
    GPSReadings r;
    const Lines pair = {"sem_wait lock", "sem_post lock"};
    unit.journal.clear();
    adapter->GetParams(p);
    EXPECT_EQ(unit.journal.take(), pair);
    adapter->SetParams(p);
    EXPECT_EQ(unit.journal.take(), pair);
    adapter->GetReadings(r);
    EXPECT_EQ(unit.journal.take(), pair);
    adapter->ResetParams();
    EXPECT_EQ(unit.journal.take(), pair);
}

TEST_F(AdapterLocking, DoesNotGuardWhatNeedsNone) {
    adapter->GetMaxGeoFences();
    adapter->SetNTPServiceAvailable(true);
    adapter->GetNTPServiceAvailable();
    adapter->setInitialPosition(1, 2, 3);
    EXPECT_EQ(unit.journal.count("sem_"), 0u);
}

// --- What the lock covers ---------------------------------------------------------------------------------

/// Done neither before the lock is taken nor after it was given back.
const std::vector<bool> kWithin = {false, true};

class AdapterLockCovers : public AdapterFixture {
protected:
    using Update = unsigned int (GPSAdapter::*)();
    template <typename IsDone>
    std::vector<bool> seenIn(Update update, IsDone isDone) {
        return seenAtTheLock([&] { ((*adapter).*update)(); }, isDone);
    }
};

TEST_F(AdapterLockCovers, TheSettingsOnTheirWayOut) {
    member(AdapterParams()).enabled = true;
    member(AdapterParams()).logInterval = 77;
    GPSParams p;
    const auto read = [&] { adapter->GetParams(p); };
    EXPECT_EQ(seenAtTheLock(read, [&] { return p.enabled || p.logInterval == 77; }), kWithin);
    p = GPSParams();
    EXPECT_EQ(seenAtTheLock(read, [&] { return p.enabled && p.logInterval == 77; }), kWithin);
}

TEST_F(AdapterLockCovers, TheSettingsOnTheirWayIn) {
    GPSParams p;
    p.logInterval = 77;
    const auto set = [&] { adapter->SetParams(p); };
    const GPSParams& held = member(AdapterParams());
    EXPECT_EQ(seenAtTheLock(set, [&] { return !held.enabled || held.logInterval == 77; }), kWithin);
    adapter->ResetParams();
    EXPECT_EQ(seenAtTheLock(set, [&] { return !held.enabled && held.logInterval == 77; }), kWithin);
}

TEST_F(AdapterLockCovers, WhatNewSettingsForget) {
    GPSParams p;
    p.geofences[11].width = 10;
    p.resetTimeDeviation = true;
    GPSGeofenceState& state = member(AdapterGeofenceStates())[11] = GPSGeofenceState::Inside;
    bool& valid = member(AdapterTimeDeviationValid()) = true;
    const auto set = [&] { adapter->SetParams(p); };
    EXPECT_EQ(seenAtTheLock(set, [&] { return state == GPSGeofenceState::Unknown || !valid; }), kWithin);
}

TEST_F(AdapterLockCovers, TheDefaults) {
    member(AdapterParams()).logInterval = 77;
    member(AdapterTimeError()) = 77;
    member(AdapterOdometerWarmup()) = 77;
    const auto reset = [&] { adapter->ResetParams(); };
    EXPECT_EQ(seenAtTheLock(reset,
                            [&] {
                                return member(AdapterParams()).logInterval != 77 ||
                                       member(AdapterTimeError()) != 77 ||
                                       member(AdapterOdometerWarmup()) != 77;
                            }),
              kWithin);
}

TEST_F(AdapterLockCovers, TheReadings) {
    member(AdapterAvailable()) = true;
    member(AdapterTimeError()) = 77;
    GPSReadings r;
    const auto read = [&] { adapter->GetReadings(r); };
    EXPECT_EQ(seenAtTheLock(read, [&] { return r.available || r.timeError == 77; }), kWithin);
    r = GPSReadings();
    EXPECT_EQ(seenAtTheLock(read, [&] { return r.available && r.timeError == 77; }), kWithin);
}

TEST_F(AdapterLockCovers, SatellitesAndErrorEstimates) {
    hal->visible = hal->snr = hal->horizontalError = 7;
    hal->timeError = 7;
    EXPECT_EQ(seenIn(&GPSAdapter::UpdateSatelliteCount, [&] { return member(AdapterSatelliteCount()) == 7; }),
              kWithin);
    EXPECT_EQ(seenIn(&GPSAdapter::UpdateSNR, [&] { return member(AdapterSnr()) == 7; }), kWithin);
    EXPECT_EQ(
        seenIn(&GPSAdapter::UpdateErrorEstimates, [&] { return member(AdapterHorizontalError()) == 7; }),
        kWithin);
    member(AdapterTimeError()) = 0;
    EXPECT_EQ(seenIn(&GPSAdapter::UpdateErrorEstimates, [&] { return member(AdapterTimeError()) == 7; }),
              kWithin);
}

TEST_F(AdapterLockCovers, TheAntennasStatesAndTheAvailability) {
    hal->antenna = GPS_ANTENNA_SHORT;
    const auto update = &GPSAdapter::UpdateAntennaStatus;
    EXPECT_EQ(seenIn(update, [&] { return member(AdapterAntennaState()) == GPS_ANTENNA_SHORT; }), kWithin);
    EXPECT_EQ(seenIn(update, [&] { return member(AdapterPreviousAntennaState()) == GPS_ANTENNA_SHORT; }),
              kWithin);
    member(AdapterAvailable()) = true;
    EXPECT_EQ(seenIn(update, [&] { return !member(AdapterAvailable()); }), kWithin);
}

TEST_F(AdapterLockCovers, TheTimeDeviation) {
    unit.clock.setUtc(1700000000);
    hal->utc = 1700000005;
    const auto update = &GPSAdapter::UpdateSystemTimeDeviation;
    EXPECT_EQ(seenIn(update, [&] { return member(AdapterTimeDelta()) == 5; }), kWithin);
    member(AdapterTimeDeviationValid()) = false;
    EXPECT_EQ(seenIn(update, [&] { return member(AdapterTimeDeviationValid()); }), kWithin);
}

TEST_F(AdapterLockCovers, TheFix) {
    hal->fix = fixAt(48137154, 11576124);
    const auto update = &GPSAdapter::UpdateCurrentPosition;
    EXPECT_EQ(seenIn(update, [&] { return member(AdapterCurrentData()).valid; }), kWithin);
    EXPECT_EQ(seenIn(update, [&] { return member(AdapterValidFixCounter()) == 2; }), kWithin);
}

// --- The lock, when its operation doesn't come to its end ------------------------------------------------

using Operation = unsigned int (GPSAdapter::*)();

/// The operations that call the application with the lock held, each with something to tell.
class AdapterLockAtTheEnd : public AdapterFixture, public ::testing::WithParamInterface<Operation> {
protected:
    AdapterLockAtTheEnd() {
        hal->fix = member(AdapterCurrentData()) = fixAt(48137154, 11576124);
        GPSGeofence& far = member(AdapterParams()).geofences[5];
        far.width = far.height = 10;
    }
    void run() { (*adapter.*GetParam())(); }

    /// On a thread of the host's own, which the ground doesn't capture. True when it was cancelled.
    bool isCancelledOnAThread() {
        const auto create = reinterpret_cast<decltype(&::pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
        pthread_t thread{};
        void* result = nullptr;
        EXPECT_EQ(create(&thread, nullptr, runOnThread, this), 0);
        EXPECT_EQ(pthread_join(thread, &result), 0);
        return result == PTHREAD_CANCELED;
    }

private:
    static void* runOnThread(void* test) {
        static_cast<AdapterLockAtTheEnd*>(test)->run();
        return nullptr;
    }
};

void cancelThisThread() {
    pthread_cancel(pthread_self());
    pthread_testcancel();
}

TEST_P(AdapterLockAtTheEnd, IsFreeAfterACallbackThatThrows) {
    callback.atCall = [](const std::string& call) { throw call; };
    EXPECT_THROW(run(), std::string);
    EXPECT_FALSE(VirtualSemaphores::isTaken(lock()));
}

TEST_P(AdapterLockAtTheEnd, IsFreeAfterACallbackInWhichTheThreadIsCancelled) {
    callback.atCall = [](const std::string&) { cancelThisThread(); };
    EXPECT_TRUE(isCancelledOnAThread());
    EXPECT_FALSE(VirtualSemaphores::isTaken(lock()));
    EXPECT_EQ(unit.journal.count("callback "), 1u);
}

TEST_P(AdapterLockAtTheEnd, MayBeCancelledInTheLogLineOfALockThatCanNotBeGivenBack) {
    const PlatformHooks* const usual = platformHooks();
    PlatformHooks cancelling = *usual;
    cancelling.logLine = [](int, const char*, int, const char*) { cancelThisThread(); };
    unit.semaphores.fail(VirtualSemaphores::Post, EOVERFLOW);
    setPlatformHooks(&cancelling);
    EXPECT_TRUE(isCancelledOnAThread()) << "and the process goes on";
    setPlatformHooks(usual);
    adapter->unlock();
}

const std::array<const char*, 3> kOperations{"UpdateCurrentPosition", "UpdateGeofence", "SendTracking"};

INSTANTIATE_TEST_SUITE_P(OfEachOperation, AdapterLockAtTheEnd,
                         ::testing::Values(&GPSAdapter::UpdateCurrentPosition, &GPSAdapter::UpdateGeofence,
                                           &GPSAdapter::SendTracking),
                         [](const auto& made) { return std::string(kOperations.at(made.index)); });

// --- Life cycle -----------------------------------------------------------------------------------------

class AdapterLifeCycle : public AdapterFixture {
protected:
    /// A worker that runs and can be neither joined nor cancelled.
    void startAWorkerThatWillNotStop() {
        ASSERT_EQ(worker().Start(), 0u);
        unit.threads.joinFails(ESRCH);
        unit.threads.cancelFails(ESRCH);
        unit.forget();
    }
};

TEST_F(AdapterLifeCycle, ForwardsTheInitialPositionUnchanged) {
    hal->initialPositionResult = 0x170000EE;
    EXPECT_EQ(adapter->setInitialPosition(48137154u, 4294967295u, 0u), 0x170000EEu);
    EXPECT_THAT(unit.journal.lines(), ElementsAre("hal setInitialPosition 48137154 4294967295 0"));
}

struct InitializeRow {
    unsigned int initializeResult;
    bool active;
    unsigned int result;
};
class AdapterInitialize : public AdapterFixture, public ::testing::WithParamInterface<InitializeRow> {};

TEST_P(AdapterInitialize, GivesTheResultInTheTableAndLogsNothing) {
    hal->initializeResult = GetParam().initializeResult;
    hal->active = GetParam().active;
    EXPECT_EQ(adapter->Initialize(), GetParam().result);
    EXPECT_EQ(unit.journal.lines()[0], "hal Initialize");
    EXPECT_THAT(logged(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(EachWay, AdapterInitialize,
                         ::testing::Values(InitializeRow{0, true, 0}, InitializeRow{0, false, 0x17000001},
                                           InitializeRow{0x170000AB, true, 0x17000001},
                                           InitializeRow{1, false, 0x17000001}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.initializeResult, p.active ? "active" : "inactive");
                         });

struct StartRow {
    bool active;
    unsigned int startResult;
    bool enabled;
    bool running;
    int createError; // of the worker's thread
    unsigned int result;
    Lines done;
};
class AdapterStart : public AdapterFixture, public ::testing::WithParamInterface<StartRow> {};

TEST_P(AdapterStart, GivesTheResultInTheTable) {
    const StartRow& row = GetParam();
    set([&](GPSParams& p) { p.enabled = row.enabled; });
    hal->active = row.active;
    hal->startResult = row.startResult;
    hal->running = row.running;
    unit.threads.createFails(row.createError);
    EXPECT_EQ(adapter->Start(), row.result);
    EXPECT_EQ(unit.journal.only({"hal ", "pthread_create", "sem_"}), row.done);
}

const Lines kRefused = {"hal IsActive"};
const Lines kHalFailed = {"hal IsActive", "hal Start"};
const Lines kNoWorker = {"hal IsActive", "hal Start", "hal IsRunning"};
const Lines kWorker = {"hal IsActive", "hal Start", "pthread_create thread 1", "hal IsRunning"};
const Lines kNoThread = {"hal IsActive", "hal Start", "pthread_create failed", "hal IsRunning"};

INSTANTIATE_TEST_SUITE_P(EachWay, AdapterStart,
                         ::testing::Values(StartRow{true, 0, true, true, 0, 0, kWorker},
                                           StartRow{false, 0, true, true, 0, 0x17000002, kRefused},
                                           StartRow{true, 0x170000AB, true, true, 0, 0x170000AB, kHalFailed},
                                           StartRow{true, 0, false, true, 0, 0, kNoWorker},
                                           StartRow{true, 0, false, false, 0, 0x17000001, kNoWorker},
                                           StartRow{true, 0, true, false, 0, 0x17000001, kWorker},
                                           StartRow{true, 0, true, true, EAGAIN, 0x17000101, kNoThread},
                                           StartRow{true, 0, true, false, EAGAIN, 0x17000001, kNoThread}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.active ? "active" : "inactive", p.startResult,
                                                 p.enabled ? "enabled" : "disabled",
                                                 p.running ? "running" : "waiting", p.createError);
                         });

TEST_F(AdapterLifeCycle, HandsOnThatTheWorkersTokenCouldNotBeTaken) {
    unit.semaphores.fail(VirtualSemaphores::TimedWait, EINVAL);
    EXPECT_EQ(adapter->Start(), 0x17000003u);
    EXPECT_EQ(unit.threads.count(), 0u);
}

TEST_F(AdapterLifeCycle, StartsOneThreadHoweverOftenItIsStarted) {
    EXPECT_EQ(adapter->Start(), 0u);
    EXPECT_EQ(adapter->Start(), 0u);
    EXPECT_EQ(unit.threads.count(), 1u);
    EXPECT_LOGGED(6, "GPSTimedWorker already running");
}

TEST_F(AdapterLifeCycle, LeavesAnIdleWorkerAloneWhenItStops) {
    EXPECT_EQ(adapter->Stop(), 0u);
    EXPECT_THAT(unit.journal.lines(), ElementsAre("hal Stop"));
}

TEST_F(AdapterLifeCycle, StopsTheWorkerBeforeTheReceiver) {
    adapter->Start();
    unit.forget();
    unit.threads.runsAtJoin = true;
    EXPECT_EQ(adapter->Stop(), 0u);
    EXPECT_THAT(unit.journal.only({"pthread_", "hal "}), ElementsAre("pthread_join thread 1", "hal Stop"));
    EXPECT_FALSE(worker().IsActive());
}

TEST_F(AdapterLifeCycle, StopLogsAndReturnsTheReceiversError) {
    hal->stopResult = 0x170000AB;
    EXPECT_EQ(adapter->Stop(), 0x170000ABu);
    EXPECT_THAT(logged(), ElementsAre("3 GPSAdapter failed to stop GPS (error code 0x170000AB)"));
    EXPECT_EQ(source(), kSource);
}

TEST_F(AdapterLifeCycle, StopReturnsTheWorkersErrorWhenTheReceiverStopped) {
    startAWorkerThatWillNotStop();
    EXPECT_EQ(adapter->Stop(), 0x17000101u);
    EXPECT_NOT_LOGGED(3, "GPSAdapter failed to stop GPS (error code 0x17000101)");
    EXPECT_EQ(unit.journal.count("hal Stop"), 1u);
}

TEST_F(AdapterLifeCycle, StopPrefersTheReceiversError) {
    startAWorkerThatWillNotStop();
    hal->stopResult = 0x170000AB;
    EXPECT_EQ(adapter->Stop(), 0x170000ABu);
}

TEST_F(AdapterLifeCycle, FinalizeStopsAndFinalizesTheReceiver) {
    EXPECT_EQ(adapter->Finalize(), 0u);
    EXPECT_THAT(unit.journal.lines(), ElementsAre("hal Stop", "hal Finalize"));
}

TEST_F(AdapterLifeCycle, FinalizeReturnsTheErrorOfTheStopAndLogsItOnceMore) {
    hal->stopResult = 0x170000AB;
    EXPECT_EQ(adapter->Finalize(), 0x170000ABu);
    const std::string stop = "3 GPSAdapter failed to stop GPS (error code 0x170000AB)";
    EXPECT_THAT(logged(), ElementsAre(stop, stop));
    EXPECT_EQ(unit.journal.count("hal Finalize"), 1u);
}

TEST_F(AdapterLifeCycle, FinalizePrefersItsOwnError) {
    hal->stopResult = 0x170000AB;
    hal->finalizeResult = 0x170000CD;
    EXPECT_EQ(adapter->Finalize(), 0x170000CDu);
    EXPECT_LOGGED(3, "GPSAdapter failed to stop GPS (error code 0x170000AB)");
    EXPECT_EQ(logged().back(), "3 GPSAdapter failed to finalize GPS (error code 0x170000CD)");
}

TEST_F(AdapterLifeCycle, FinalizeLogsAndReturnsTheWorkersError) {
    startAWorkerThatWillNotStop();
    EXPECT_EQ(adapter->Finalize(), 0x17000101u);
    EXPECT_LOGGED(3, "GPSAdapter failed to stop GPS (error code 0x17000101)");
}

TEST_F(AdapterLifeCycle, MayBeginAgain) {
    unit.threads.runsAtJoin = true;
    for (int round = 1; round <= 3; ++round) {
        EXPECT_EQ(adapter->Initialize(), 0u);
        EXPECT_EQ(adapter->Start(), 0u);
        EXPECT_EQ(adapter->Stop(), 0u);
        EXPECT_EQ(adapter->Finalize(), 0u);
        EXPECT_EQ(unit.threads.count(), static_cast<std::size_t>(round));
    }
    EXPECT_EQ(unit.journal.count("pthread_join"), 3u);
}

} // namespace
