// The adapter itself: construction and destruction, its lock, settings and readings, and the life cycle of
// receiver and worker.

#include "GPSAdapter.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <new>
#include <vector>

#include "AdapterFixture.h"
#include "GPSHAL_RUXO_3.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// --- Want of memory -------------------------------------------------------------------------------------

namespace {

/// Objects of this size can't be made while it is not 0.
std::size_t unobtainableSize = 0;

/// Unlike a plain `bad_alloc` it can be told from one that somebody else has thrown.
struct NoMemoryFor : std::bad_alloc {
    explicit NoMemoryFor(std::size_t wanted) : size(wanted) {}
    std::size_t size;
};

} // namespace

// Not inlined: g++ would take `free` for the wrong partner of `new`.
#define KEPT_APART __attribute__((noinline))

KEPT_APART void* operator new(std::size_t size) {
    if (size == unobtainableSize)
        throw NoMemoryFor(size);
    if (void* const memory = std::malloc(size != 0 ? size : 1))
        return memory;
    throw std::bad_alloc();
}
KEPT_APART void operator delete(void* memory) noexcept { std::free(memory); }
KEPT_APART void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

constexpr char kSource[] = "src/GPSAdapter.cpp";

// --- Construction ---------------------------------------------------------------------------------------

class AdapterConstruction : public UnitTest {
protected:
    ~AdapterConstruction() override { unobtainableSize = 0; }

    void expectFailure(std::size_t size) {
        unobtainableSize = size;
        try {
            const GPSAdapter adapter(nullptr);
            FAIL() << "nothing was thrown";
        } catch (const NoMemoryFor& error) {
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

// --- Defaults -------------------------------------------------------------------------------------------

class AdapterDefaults : public AdapterFixture {
protected:
    void expectDefaultSettings() {
        const GPSParams p = params();
        EXPECT_TRUE(p.enabled);
        EXPECT_EQ(p.positionInterval, 1u);
        EXPECT_EQ(p.statusInterval, 2u);
        EXPECT_FALSE(p.trackingEnabled);
        EXPECT_EQ(p.trackingPeriod, 0);
        EXPECT_EQ(p.trackingBase, 0);
        EXPECT_EQ(p.trackingOffset, 0);
        EXPECT_FALSE(p.geofencesEnabled);
        EXPECT_EQ(p.odometerValue, 0u);
        EXPECT_FALSE(p.setOdometer);
        EXPECT_EQ(p.logInterval, 900u);
        for (const GPSGeofence& geofence : p.geofences)
            expectCleared(geofence);
    }

    void expectCleared(const GPSGeofence& geofence) {
        EXPECT_EQ(geofence.longitude, 0);
        EXPECT_EQ(geofence.latitude, 0);
        EXPECT_EQ(geofence.width, 0u);
        EXPECT_EQ(geofence.height, 0u);
        EXPECT_EQ(geofence.margin, 0u);
    }

    void expectDefaultReadings() {
        const GPSReadings r = readings();
        EXPECT_FALSE(r.available);
        EXPECT_EQ(r.antennaState, 2u);
        EXPECT_EQ(r.satelliteCount, 0u);
        EXPECT_EQ(r.snr, 0u);
        EXPECT_EQ(r.fixTick, 0u);
        EXPECT_EQ(r.odometer, 0u);
        EXPECT_FALSE(r.timeDeviationValid);
        EXPECT_EQ(r.timeDelta, 0);
        EXPECT_EQ(r.horizontalError, 0u);
        EXPECT_EQ(r.timeError, 0);
        for (const GPSGeofenceState state : r.geofenceStates)
            EXPECT_EQ(state, GPSGeofenceState::Unknown);
        expectNoFix(r.data);
    }

    void expectNoFix(const GPSData& data) {
        EXPECT_FALSE(data.valid);
        EXPECT_EQ(data.latitude, 0);
        EXPECT_EQ(data.longitude, 0);
        EXPECT_EQ(data.time, 0);
        EXPECT_EQ(data.pdop, 0.0f);
    }

    void disturbSettings() {
        GPSParams& p = member(AdapterParams());
        p.enabled = false;
        p.positionInterval = p.statusInterval = p.odometerValue = p.logInterval = 77;
        p.trackingPeriod = p.trackingBase = p.trackingOffset = -77;
        p.trackingEnabled = p.geofencesEnabled = p.setOdometer = true;
        for (GPSGeofence& geofence : p.geofences) {
            geofence.name.setStr("yard");
            geofence.longitude = geofence.latitude = 77;
            geofence.width = geofence.height = geofence.margin = 77;
        }
    }

    void disturbReadings() {
        member(AdapterAvailable()) = member(AdapterTimeDeviationValid()) = true;
        member(AdapterAntennaState()) = GPS_ANTENNA_SHORT;
        member(AdapterSatelliteCount()) = member(AdapterSnr()) = member(AdapterFixTick()) = 77;
        member(AdapterOdometer()) = member(AdapterHorizontalError()) = 77;
        member(AdapterTimeDelta()) = member(AdapterTimeError()) = -77;
        member(AdapterCurrentData()) = fixAt(77, 78);
        for (GPSGeofenceState& state : member(AdapterGeofenceStates()))
            state = GPSGeofenceState::Left;
    }
};

TEST_F(AdapterDefaults, WatchTwelveGeofences) { EXPECT_EQ(adapter->GetMaxGeoFences(), 12u); }

TEST_F(AdapterDefaults, StandRightAfterConstruction) {
    expectDefaultSettings();
    expectDefaultReadings();
    EXPECT_FALSE(params().resetTimeDeviation);
    EXPECT_FALSE(adapter->GetNTPServiceAvailable());
}

TEST_F(AdapterDefaults, ComeBackWithResetParams) {
    disturbSettings();
    disturbReadings();
    EXPECT_EQ(adapter->ResetParams(), 0u);
    expectDefaultSettings();
    expectDefaultReadings();
    EXPECT_STREQ(params().geofences[11].name.getStr(), "yard") << "clearing a geofence keeps its name";
}

TEST_F(AdapterDefaults, ComeBackWithTheOdometerAtTheBeginOfItsWarmUp) {
    member(AdapterOdometerFiltered()) = fixAt(77, 78);
    member(AdapterOdometerReference()) = fixAt(77, 78);
    member(AdapterOdometerWarmup()) = 5;
    adapter->ResetParams();
    expectNoFix(member(AdapterOdometerFiltered()));
    expectNoFix(member(AdapterOdometerReference()));
    EXPECT_EQ(member(AdapterOdometerWarmup()), 180);
}

TEST_F(AdapterDefaults, WarmTheOdometerUpFor180CyclesWhateverTheIntervalWasBefore) {
    for (const uint32_t interval : {0u, 7u, std::numeric_limits<uint32_t>::max()}) {
        member(AdapterParams()).positionInterval = interval;
        adapter->ResetParams();
        EXPECT_EQ(member(AdapterOdometerWarmup()), 180) << interval;
    }
}

TEST_F(AdapterDefaults, AreNotWhatResetParamsLeavesAlone) {
    member(AdapterParams()).resetTimeDeviation = true;
    member(AdapterPreviousAntennaState()) = GPS_ANTENNA_SHORT;
    member(AdapterNtpServiceAvailable()) = true;
    member(AdapterAntennaCallbackFlag()) = true;
    member(AdapterValidFixCounter()) = 7;
    adapter->ResetParams();
    EXPECT_TRUE(params().resetTimeDeviation);
    EXPECT_EQ(member(AdapterPreviousAntennaState()), GPS_ANTENNA_SHORT);
    EXPECT_TRUE(adapter->GetNTPServiceAvailable());
    EXPECT_TRUE(member(AdapterAntennaCallbackFlag()));
    EXPECT_EQ(member(AdapterValidFixCounter()), 7u);
}

// --- Settings -------------------------------------------------------------------------------------------

class AdapterSettings : public AdapterFixture {
protected:
    AdapterSettings() {
        GPSGeofence& yard = settings.geofences[3];
        yard.name.setStr("yard");
        yard.longitude = 10000000;
        yard.latitude = 50000000;
        yard.width = 2000;
        yard.height = 1000;
        yard.margin = 1500;
        adapter->SetParams(settings);
        unit.forget();
    }

    GPSGeofenceState& state(std::size_t index) { return member(AdapterGeofenceStates())[index]; }

    GPSParams settings;
};

TEST_F(AdapterSettings, ReturnEveryNumberAsGiven) {
    GPSParams p;
    p.positionInterval = 11;
    p.statusInterval = 12;
    p.trackingPeriod = -13;
    p.trackingBase = -14;
    p.trackingOffset = -15;
    p.odometerValue = 16;
    p.logInterval = 4096;
    EXPECT_EQ(adapter->SetParams(p), 0u);
    const GPSParams back = params();
    EXPECT_EQ(back.positionInterval, 11u);
    EXPECT_EQ(back.statusInterval, 12u);
    EXPECT_EQ(back.trackingPeriod, -13);
    EXPECT_EQ(back.trackingBase, -14);
    EXPECT_EQ(back.trackingOffset, -15);
    EXPECT_EQ(back.odometerValue, 16u);
    EXPECT_EQ(back.logInterval, 4096u);
}

TEST_F(AdapterSettings, ReturnEveryFlagAsGiven) {
    for (bool GPSParams::*flag :
         {&GPSParams::enabled, &GPSParams::trackingEnabled, &GPSParams::geofencesEnabled,
          &GPSParams::resetTimeDeviation, &GPSParams::setOdometer}) {
        GPSParams p;
        p.*flag = true;
        adapter->SetParams(p);
        const GPSParams back = params();
        EXPECT_TRUE(back.*flag);
        EXPECT_EQ(back.enabled + back.trackingEnabled + back.geofencesEnabled + back.resetTimeDeviation +
                      back.setOdometer,
                  1);
    }
}

TEST_F(AdapterSettings, ReturnEveryGeofenceAsGiven) {
    for (std::size_t i = 0; i < 12; ++i) {
        settings.geofences[i] = settings.geofences[3];
        settings.geofences[i].longitude = static_cast<int32_t>(i);
    }
    adapter->SetParams(settings);
    const GPSParams back = params();
    for (std::size_t i = 0; i < 12; ++i) {
        EXPECT_STREQ(back.geofences[i].name.getStr(), "yard");
        EXPECT_EQ(back.geofences[i].longitude, static_cast<int32_t>(i));
        EXPECT_EQ(back.geofences[i].latitude, 50000000);
        EXPECT_EQ(back.geofences[i].width, 2000u);
        EXPECT_EQ(back.geofences[i].height, 1000u);
        EXPECT_EQ(back.geofences[i].margin, 1500u);
    }
}

TEST_F(AdapterSettings, AreTheAdaptersOwnCopy) {
    settings.geofences[3].name.setStr("elsewhere");
    settings.positionInterval = 99;
    EXPECT_STREQ(params().geofences[3].name.getStr(), "yard");
    EXPECT_EQ(params().positionInterval, 0u);
}

TEST_F(AdapterSettings, KeepTheStateOfEveryUnchangedGeofence) {
    for (std::size_t i = 0; i < 12; ++i)
        state(i) = GPSGeofenceState::Outside;
    adapter->SetParams(settings);
    for (const GPSGeofenceState kept : readings().geofenceStates)
        EXPECT_EQ(kept, GPSGeofenceState::Outside);
}

TEST_F(AdapterSettings, ForgetTheStateOfAGeofenceChangedInAnyOfSixWays) {
    const GPSGeofence yard = settings.geofences[3];
    using Change = void (*)(GPSGeofence&);
    const Change changes[] = {[](GPSGeofence& g) { g.name.setStr("Yard"); },
                              [](GPSGeofence& g) { ++g.longitude; },
                              [](GPSGeofence& g) { ++g.latitude; },
                              [](GPSGeofence& g) { ++g.width; },
                              [](GPSGeofence& g) { ++g.height; },
                              [](GPSGeofence& g) { ++g.margin; }};
    for (const Change change : changes) {
        settings.geofences[3] = yard;
        adapter->SetParams(settings);
        state(2) = state(3) = state(4) = GPSGeofenceState::Inside;
        change(settings.geofences[3]);
        adapter->SetParams(settings);
        EXPECT_EQ(state(3), GPSGeofenceState::Unknown) << "change " << &change - changes;
        EXPECT_EQ(state(2), GPSGeofenceState::Inside);
        EXPECT_EQ(state(4), GPSGeofenceState::Inside);
    }
}

TEST_F(AdapterSettings, CompareTheFirstAndTheLastGeofenceToo) {
    for (const std::size_t index : {std::size_t(0), std::size_t(11)}) {
        state(index) = GPSGeofenceState::Inside;
        settings.geofences[index].margin = 7;
        adapter->SetParams(settings);
        EXPECT_EQ(state(index), GPSGeofenceState::Unknown);
    }
}

TEST_F(AdapterSettings, ForgetTheTimeDeviationOnRequestOnly) {
    member(AdapterTimeDeviationValid()) = true;
    member(AdapterTimeDelta()) = -3;
    adapter->SetParams(settings);
    EXPECT_TRUE(readings().timeDeviationValid);
    EXPECT_EQ(readings().timeDelta, -3);
    settings.resetTimeDeviation = true;
    adapter->SetParams(settings);
    EXPECT_FALSE(readings().timeDeviationValid);
    EXPECT_EQ(readings().timeDelta, 0);
}

TEST_F(AdapterSettings, ImposeTheOdometerOnRequest) {
    settings.setOdometer = true;
    settings.odometerValue = 12345;
    adapter->SetParams(settings);
    EXPECT_THAT(logged(), ElementsAre("6 Set odometer from 0 to 12345"));
    EXPECT_EQ(source(), kSource);
    EXPECT_EQ(readings().odometer, 12345u);
    settings.odometerValue = 5;
    adapter->SetParams(settings);
    EXPECT_LOGGED(6, "Set odometer from 12345 to 5");
}

TEST_F(AdapterSettings, LogTheOdometerUnderTheLockBeforeItIsSet) {
    settings.setOdometer = true;
    settings.odometerValue = 9;
    adapter->SetParams(settings);
    EXPECT_THAT(
        unit.journal.lines(),
        ElementsAre("sem_wait lock", "log 6 src/GPSAdapter.cpp Set odometer from 0 to 9", "sem_post lock"));
}

TEST_F(AdapterSettings, ImposeAnOdometerBeyondTheSignedRange) {
    settings.setOdometer = true;
    settings.odometerValue = std::numeric_limits<uint32_t>::max();
    adapter->SetParams(settings);
    EXPECT_EQ(readings().odometer, std::numeric_limits<uint32_t>::max());
    EXPECT_LOGGED(6, "Set odometer from 0 to -1");
}

TEST_F(AdapterSettings, LeaveTheOdometerAloneWithoutTheRequest) {
    settings.odometerValue = 12345;
    adapter->SetParams(settings);
    EXPECT_EQ(readings().odometer, 0u);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(AdapterSettings, ImposeTheOdometerAgainWhenTheSameRecordComesBack) {
    settings.setOdometer = true;
    settings.odometerValue = 100;
    adapter->SetParams(settings);
    member(AdapterOdometer()) = 250;
    adapter->SetParams(params());
    EXPECT_EQ(readings().odometer, 100u);
}

TEST_F(AdapterSettings, NeverTouchTheOdometersWarmUp) {
    member(AdapterOdometerWarmup()) = 33;
    settings.positionInterval = 60;
    adapter->SetParams(settings);
    EXPECT_EQ(member(AdapterOdometerWarmup()), 33);
}

TEST_F(AdapterSettings, HoldTheNtpFlag) {
    adapter->SetNTPServiceAvailable(true);
    EXPECT_TRUE(adapter->GetNTPServiceAvailable());
    adapter->SetNTPServiceAvailable(false);
    EXPECT_FALSE(adapter->GetNTPServiceAvailable());
}

// --- Readings -------------------------------------------------------------------------------------------

class AdapterReadings : public AdapterFixture {};

TEST_F(AdapterReadings, CopyEveryNumber) {
    member(AdapterAvailable()) = true;
    member(AdapterAntennaState()) = GPS_ANTENNA_SHORT;
    member(AdapterSatelliteCount()) = 11;
    member(AdapterSnr()) = 12;
    member(AdapterFixTick()) = 13;
    member(AdapterOdometer()) = 14;
    const GPSReadings r = readings();
    EXPECT_TRUE(r.available);
    EXPECT_EQ(r.antennaState, GPS_ANTENNA_SHORT);
    EXPECT_EQ(r.satelliteCount, 11u);
    EXPECT_EQ(r.snr, 12u);
    EXPECT_EQ(r.fixTick, 13u);
    EXPECT_EQ(r.odometer, 14u);
}

TEST_F(AdapterReadings, CopyTimeDeviationErrorEstimatesAndStates) {
    member(AdapterTimeDeviationValid()) = true;
    member(AdapterTimeDelta()) = -15;
    member(AdapterHorizontalError()) = 16;
    member(AdapterTimeError()) = -17;
    for (std::size_t i = 0; i < 12; ++i)
        member(AdapterGeofenceStates())[i] = GPSGeofenceState(i % 5);
    const GPSReadings r = readings();
    EXPECT_TRUE(r.timeDeviationValid);
    EXPECT_EQ(r.timeDelta, -15);
    EXPECT_EQ(r.horizontalError, 16u);
    EXPECT_EQ(r.timeError, -17);
    for (std::size_t i = 0; i < 12; ++i)
        EXPECT_EQ(r.geofenceStates[i], GPSGeofenceState(i % 5)) << i;
}

TEST_F(AdapterReadings, CopyTheWholeFix) {
    GPSData& fix = member(AdapterCurrentData());
    fix.valid = true;
    fix.latitude = 1;
    fix.longitude = 2;
    fix.altitude = 3;
    fix.time = 4;
    fix.speed = 5;
    fix.course = 6;
    fix.hdop = 7;
    fix.tdop = 8;
    fix.pdop = 9;
    fix.gdop = 10;
    const GPSData data = readings().data;
    EXPECT_TRUE(data.valid);
    EXPECT_THAT((std::vector<int32_t>{data.latitude, data.longitude, data.altitude, data.time}),
                ElementsAre(1, 2, 3, 4));
    EXPECT_THAT((std::vector<uint32_t>{data.speed, data.course}), ElementsAre(5u, 6u));
    EXPECT_THAT((std::vector<float>{data.hdop, data.tdop, data.pdop, data.gdop}),
                ElementsAre(7.f, 8.f, 9.f, 10.f));
}

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
                                           InitializeRow{1, false, 0x17000001}));

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
                                           StartRow{true, 0, true, false, EAGAIN, 0x17000001, kNoThread}));

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
