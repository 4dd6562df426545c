// The adapter's update cycle: fix, satellites, error estimates, antenna, time deviation, geofences, tracking
// and the detail lines of the log. The odometer has a file of its own.

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

#include "AdapterFixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

constexpr char kSource[] = "src/GPSAdapter.cpp";
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr uint32_t kUnsignedMax = std::numeric_limits<uint32_t>::max();
constexpr int32_t kIntMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kIntMin = std::numeric_limits<int32_t>::min();

const Lines kLockedOnce = {"sem_wait lock", "sem_post lock"};

// --- Fix ------------------------------------------------------------------------------------------------

class UpdateCurrentPosition : public AdapterFixture {
protected:
    UpdateCurrentPosition() { hal->fix = fixAt(48137154, 11576124); }

    unsigned int update() { return adapter->UpdateCurrentPosition(); }
    void update(int times) {
        for (int i = 0; i < times; ++i)
            EXPECT_EQ(update(), 0u);
    }
    /// Valid fixes have been accepted, nobody has been told of the position yet.
    void beAvailable() {
        update(1);
        unit.forget();
    }
};

TEST_F(UpdateCurrentPosition, StoresAGoodFixWithItsTick) {
    hal->fix.altitude = -500;
    hal->fix.time = 1700000000;
    hal->fix.speed = 13889;
    hal->fix.course = 271500;
    unit.clock.setTick(777);
    EXPECT_EQ(update(), 0u);
    const GPSReadings r = readings();
    EXPECT_TRUE(r.available && r.data.valid);
    EXPECT_EQ(r.fixTick, 777u);
    EXPECT_THAT((std::vector<long>{r.data.latitude, r.data.longitude, r.data.altitude, r.data.time}),
                ElementsAre(48137154, 11576124, -500, 1700000000));
    EXPECT_THAT((std::vector<unsigned>{r.data.speed, r.data.course}), ElementsAre(13889u, 271500u));
    EXPECT_EQ(r.data.pdop, 1.5f);
}

TEST_F(UpdateCurrentPosition, AsksTheReceiverBeforeItTakesTheLock) {
    update();
    EXPECT_THAT(unit.journal.lines(), ElementsAre("hal GetData", "sem_wait lock",
                                                  "callback OnAvailabilityChanged 1", "sem_post lock"));
}

TEST_F(UpdateCurrentPosition, ChangesNothingWhenTheReceiverFails) {
    beAvailable();
    hal->fixResult = 0x17000205;
    hal->fix = fixAt(1, 2);
    EXPECT_EQ(update(), 0x17000205u);
    EXPECT_THAT(unit.journal.lines(), ElementsAre("hal GetData")) << "not even the lock is taken";
    EXPECT_TRUE(readings().available);
    EXPECT_EQ(readings().data.latitude, 48137154);
    EXPECT_EQ(member(AdapterValidFixCounter()), 1u);
}

TEST_F(UpdateCurrentPosition, TakesAPositionOfZeroZeroForNoFix) {
    hal->fix = fixAt(0, 0);
    EXPECT_EQ(update(), 0u);
    EXPECT_FALSE(readings().available);
    EXPECT_FALSE(readings().data.valid);
    EXPECT_EQ(readings().fixTick, 0u);
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(UpdateCurrentPosition, LosesTheFixAtZeroZeroAndKeepsTheLastOne) {
    beAvailable();
    hal->fix = fixAt(0, 0);
    update();
    EXPECT_THAT(told(), ElementsAre("callback OnAvailabilityChanged 0"));
    EXPECT_FALSE(readings().available);
    EXPECT_TRUE(readings().data.valid);
    EXPECT_EQ(readings().data.latitude, 48137154);
}

TEST_F(UpdateCurrentPosition, AcceptsAPositionOnTheEquatorOrTheFirstMeridian) {
    hal->fix = fixAt(0, 1);
    update();
    EXPECT_EQ(readings().data.longitude, 1);
    hal->fix = fixAt(-1, 0);
    update();
    EXPECT_EQ(readings().data.latitude, -1);
    EXPECT_EQ(member(AdapterValidFixCounter()), 2u);
}

TEST_F(UpdateCurrentPosition, AcceptsAFixWithAPdopAboveZeroAndBelowTen) {
    for (const float pdop : {std::numeric_limits<float>::denorm_min(), 0.01f, 1.0f, 9.99f, 9.999999f}) {
        adapter->ResetParams();
        hal->fix.pdop = pdop;
        update();
        EXPECT_TRUE(readings().available) << pdop;
        EXPECT_EQ(readings().data.latitude, 48137154) << pdop;
    }
}

TEST_F(UpdateCurrentPosition, RefusesAFixWithAnyOtherPdop) {
    for (const float pdop : {0.0f, -0.0f, -1.0f, 10.0f, 10.1f, 99.99f, kNan, kInfinity, -kInfinity}) {
        hal->fix.pdop = pdop;
        EXPECT_EQ(update(), 0u);
        EXPECT_FALSE(readings().available) << pdop;
        EXPECT_FALSE(readings().data.valid) << pdop;
        EXPECT_EQ(readings().fixTick, 0u) << pdop;
        EXPECT_EQ(member(AdapterValidFixCounter()), 0u) << pdop;
    }
}

TEST_F(UpdateCurrentPosition, RepeatsAvailabilityWhileThePdopIsOutOfRange) {
    hal->fix.pdop = 10.0f;
    update(3);
    EXPECT_THAT(told(), ElementsAre("callback OnAvailabilityChanged 1", "callback OnAvailabilityChanged 1",
                                    "callback OnAvailabilityChanged 1"));
    hal->fix.pdop = 9.0f;
    update(2);
    EXPECT_THAT(told(), ElementsAre("callback OnAvailabilityChanged 1"));
}

TEST_F(UpdateCurrentPosition, RepeatsTheLossOfAFixThatBringsNoPdop) {
    beAvailable();
    hal->fix = GPSData();
    update(2);
    EXPECT_THAT(told(), ElementsAre("callback OnAvailabilityChanged 0", "callback OnAvailabilityChanged 0"));
    EXPECT_TRUE(readings().available) << "until the antenna clears it";
}

TEST_F(UpdateCurrentPosition, TellsTheLossOfAFixWithItsPdopOnce) {
    beAvailable();
    hal->fix.valid = false;
    update(3);
    EXPECT_THAT(told(), ElementsAre("callback OnAvailabilityChanged 0"));
    EXPECT_FALSE(readings().available);
}

TEST_F(UpdateCurrentPosition, ShowsTheOldAvailabilityDuringTheCall) {
    callback.atCall = [&](const std::string&) { EXPECT_FALSE(member(AdapterAvailable())); };
    update();
    EXPECT_TRUE(member(AdapterAvailable()));
}

TEST_F(UpdateCurrentPosition, StoresNoInvalidFix) {
    hal->fix.valid = false;
    update();
    EXPECT_EQ(readings().data.latitude, 0);
    EXPECT_EQ(readings().fixTick, 0u);
    EXPECT_EQ(member(AdapterValidFixCounter()), 0u);
}

TEST_F(UpdateCurrentPosition, TellsThePositionWithEveryEleventhAcceptedFix) {
    beAvailable(); // the first
    update(9);
    EXPECT_THAT(told(), IsEmpty());
    update(1);
    EXPECT_THAT(told(), ElementsAre("callback OnPositionUpdate"));
    EXPECT_EQ(member(AdapterValidFixCounter()), 0u);
    update(10);
    EXPECT_THAT(told(), IsEmpty());
    update(1);
    EXPECT_THAT(told(), ElementsAre("callback OnPositionUpdate"));
}

TEST_F(UpdateCurrentPosition, CountsOnlyFixesThatWereAccepted) {
    beAvailable();
    update(9);
    hal->fix.pdop = 11;
    update(5);
    hal->fix = fixAt(48137154, 11576124);
    hal->fix.valid = false;
    update(5);
    unit.forget();
    hal->fix = fixAt(48137154, 11576124);
    update(1);
    EXPECT_THAT(told(), ElementsAre("callback OnAvailabilityChanged 1", "callback OnPositionUpdate"));
}

TEST_F(UpdateCurrentPosition, TellsThePositionWithTheFixAlreadyStored) {
    member(AdapterValidFixCounter()) = 10;
    callback.atCall = [&](const std::string& call) {
        if (call == "OnPositionUpdate") {
            EXPECT_EQ(member(AdapterCurrentData()).latitude, 48137154);
        }
    };
    update();
    EXPECT_EQ(unit.journal.count("callback OnPositionUpdate"), 1u);
}

TEST_F(UpdateCurrentPosition, CountsAnewOnceTheCallHasReturned) {
    member(AdapterValidFixCounter()) = 10;
    callback.atCall = [&](const std::string& call) {
        if (call == "OnPositionUpdate") {
            EXPECT_EQ(member(AdapterValidFixCounter()), 11u);
        }
    };
    update();
    EXPECT_EQ(member(AdapterValidFixCounter()), 0u);
}

TEST_F(UpdateCurrentPosition, HoldsTheLockDuringItsCallbacks) {
    member(AdapterValidFixCounter()) = 10;
    int calls = 0;
    callback.atCall = [&](const std::string& call) {
        EXPECT_TRUE(VirtualSemaphores::isTaken(lock())) << call;
        ++calls;
    };
    update();
    EXPECT_EQ(calls, 2);
    EXPECT_FALSE(VirtualSemaphores::isTaken(lock()));
}

TEST_F(UpdateCurrentPosition, ReturnsTheResultOfTheLastCallback) {
    callback.result = 0x42;
    EXPECT_EQ(update(), 0x42u);
    EXPECT_EQ(update(), 0u) << "nobody was called";
    member(AdapterAvailable()) = false;
    member(AdapterValidFixCounter()) = 10;
    callback.atCall = [&](const std::string& call) { callback.result = call == "OnPositionUpdate" ? 2 : 1; };
    EXPECT_EQ(update(), 2u);
}

TEST_F(UpdateCurrentPosition, StoresTheFixWhateverTheCallbackReturns) {
    callback.result = 0x42;
    update();
    EXPECT_TRUE(readings().available);
    EXPECT_EQ(readings().data.latitude, 48137154);
}

TEST_F(AdapterWithoutCallback, AcceptsFixesAndCountsOn) {
    hal->fix = fixAt(48137154, 11576124);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(adapter->UpdateCurrentPosition(), 0u);
    EXPECT_TRUE(readings().available);
    EXPECT_EQ(member(AdapterValidFixCounter()), 20u);
}

// --- Satellites and error estimates ---------------------------------------------------------------------

class UpdateSatellites : public AdapterFixture {
protected:
    UpdateSatellites() {
        hal->snr = 38;
        hal->visible = 12;
        hal->horizontalError = 7;
        hal->timeError = -5;
    }
    const Lines kAskedAndStored = {"hal GetSatellites", "sem_wait lock", "sem_post lock"};
};

TEST_F(UpdateSatellites, StoresTheCountAlone) {
    EXPECT_EQ(adapter->UpdateSatelliteCount(), 0u);
    EXPECT_EQ(unit.journal.take(), kAskedAndStored);
    EXPECT_EQ(readings().satelliteCount, 12u);
    EXPECT_EQ(readings().snr, 0u);
}

TEST_F(UpdateSatellites, StoresTheRatioAlone) {
    EXPECT_EQ(adapter->UpdateSNR(), 0u);
    EXPECT_EQ(unit.journal.take(), kAskedAndStored);
    EXPECT_EQ(readings().snr, 38u);
    EXPECT_EQ(readings().satelliteCount, 0u);
}

TEST_F(UpdateSatellites, StoresZeroWhenTheQueryFilledInNothing) {
    member(AdapterSatelliteCount()) = member(AdapterSnr()) = 77;
    hal->fillsSatellites = false;
    hal->satellitesResult = 0x17000205;
    EXPECT_EQ(adapter->UpdateSatelliteCount(), 0x17000205u);
    EXPECT_EQ(adapter->UpdateSNR(), 0x17000205u);
    EXPECT_EQ(readings().satelliteCount, 0u);
    EXPECT_EQ(readings().snr, 0u);
}

TEST_F(UpdateSatellites, StoresWhatAFailedQueryLeft) {
    member(AdapterSatelliteCount()) = member(AdapterSnr()) = 77;
    hal->satellitesResult = 0x17000205;
    hal->snr = hal->visible = 0;
    EXPECT_EQ(adapter->UpdateSatelliteCount(), 0x17000205u);
    EXPECT_EQ(adapter->UpdateSNR(), 0x17000205u);
    EXPECT_EQ(readings().satelliteCount, 0u);
    EXPECT_EQ(readings().snr, 0u);
    hal->snr = hal->visible = 5;
    adapter->UpdateSatelliteCount();
    adapter->UpdateSNR();
    EXPECT_EQ(readings().satelliteCount, 5u);
    EXPECT_EQ(readings().snr, 5u);
}

TEST_F(UpdateSatellites, KeepsAnyReportedNumber) {
    hal->visible = kUnsignedMax;
    adapter->UpdateSatelliteCount();
    EXPECT_EQ(readings().satelliteCount, kUnsignedMax);
}

TEST_F(UpdateSatellites, StoresTheErrorEstimates) {
    EXPECT_EQ(adapter->UpdateErrorEstimates(), 0u);
    EXPECT_THAT(unit.journal.take(), ElementsAre("hal GetErrorEstimates", "sem_wait lock", "sem_post lock"));
    EXPECT_EQ(readings().horizontalError, 7u);
    EXPECT_EQ(readings().timeError, -5);
}

TEST_F(UpdateSatellites, KeepsTheErrorEstimatesWhenTheQueryFails) {
    member(AdapterHorizontalError()) = 77;
    member(AdapterTimeError()) = 78;
    hal->errorsResult = 0x17000002;
    EXPECT_EQ(adapter->UpdateErrorEstimates(), 0x17000002u);
    EXPECT_EQ(unit.journal.count("sem_"), 0u);
    EXPECT_EQ(readings().horizontalError, 77u);
    EXPECT_EQ(readings().timeError, 78);
}

// --- Antenna --------------------------------------------------------------------------------------------

class UpdateAntennaStatus : public AdapterFixture {
protected:
    unsigned int become(GPSAntennaState state) {
        hal->antenna = state;
        return adapter->UpdateAntennaStatus();
    }
    /// In order, available, nothing told.
    void beInOrder() {
        become(GPS_ANTENNA_OK);
        member(AdapterAvailable()) = true;
        unit.forget();
    }
};

TEST_F(UpdateAntennaStatus, TellsAChangeOnceAndClearsAvailability) {
    beInOrder();
    EXPECT_EQ(become(GPS_ANTENNA_SHORT), 0u);
    EXPECT_FALSE(readings().available);
    EXPECT_EQ(readings().antennaState, GPS_ANTENNA_SHORT);
    become(GPS_ANTENNA_SHORT);
    EXPECT_THAT(told(), ElementsAre("callback OnAntennaStateChanged 3"));
}

TEST_F(UpdateAntennaStatus, KeepsAvailabilityWhenInOrder) {
    member(AdapterAvailable()) = true;
    become(GPS_ANTENNA_OK);
    EXPECT_TRUE(readings().available);
    EXPECT_THAT(told(), ElementsAre("callback OnAntennaStateChanged 1"));
}

TEST_F(UpdateAntennaStatus, ClearsAvailabilityAgainWithEachUpdateThatIsNotInOrder) {
    for (const GPSAntennaState state :
         {GPS_ANTENNA_UNKNOWN, GPS_ANTENNA_DISCONNECTED, GPS_ANTENNA_SHORT, GPSAntennaState(77)}) {
        become(state);
        member(AdapterAvailable()) = true;
        become(state);
        EXPECT_FALSE(readings().available) << state;
    }
}

TEST_F(UpdateAntennaStatus, NeverTellsAvailability) {
    beInOrder();
    become(GPS_ANTENNA_DISCONNECTED);
    EXPECT_EQ(unit.journal.count("callback OnAvailabilityChanged"), 0u);
}

TEST_F(UpdateAntennaStatus, IsSilentAboutTheStateItStartsWith) {
    EXPECT_EQ(become(GPS_ANTENNA_DISCONNECTED), 0u); // the default, 2
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(UpdateAntennaStatus, RemembersTheStateBefore) {
    beInOrder();
    become(GPS_ANTENNA_SHORT);
    EXPECT_EQ(member(AdapterPreviousAntennaState()), GPS_ANTENNA_OK);
    become(GPS_ANTENNA_SHORT);
    EXPECT_EQ(member(AdapterPreviousAntennaState()), GPS_ANTENNA_SHORT);
}

TEST_F(UpdateAntennaStatus, StoresZeroWhenTheQueryFilledInNothing) {
    beInOrder();
    hal->fillsAntenna = false;
    hal->antennaResult = 0x17000002;
    EXPECT_EQ(adapter->UpdateAntennaStatus(), 0u) << "the callback's result";
    EXPECT_EQ(readings().antennaState, GPS_ANTENNA_UNKNOWN);
    EXPECT_THAT(told(), ElementsAre("callback OnAntennaStateChanged 0"));
    EXPECT_EQ(adapter->UpdateAntennaStatus(), 0x17000002u) << "no change: the query's result";
}

TEST_F(UpdateAntennaStatus, StoresWhatAFailedQueryFilledIn) {
    hal->antennaResult = 0x17000002;
    become(GPS_ANTENNA_OK);
    EXPECT_EQ(readings().antennaState, GPS_ANTENNA_OK);
    EXPECT_THAT(told(), ElementsAre("callback OnAntennaStateChanged 1"));
}

TEST_F(UpdateAntennaStatus, ReturnsTheCallbacksResultOnAChange) {
    beInOrder();
    callback.result = 0x42;
    hal->antennaResult = 0x99;
    EXPECT_EQ(become(GPS_ANTENNA_SHORT), 0x42u);
    EXPECT_EQ(become(GPS_ANTENNA_SHORT), 0x99u);
}

TEST_F(UpdateAntennaStatus, CallsWithoutTheLock) {
    bool free = false;
    callback.atCall = [&](const std::string&) {
        free = !VirtualSemaphores::isTaken(lock());
        readings(); // would wait for itself for ever with the lock held
    };
    become(GPS_ANTENNA_OK);
    EXPECT_TRUE(free);
    EXPECT_THAT(unit.journal.lines(),
                ElementsAre("hal GetAntennaStatus", "sem_wait lock", "sem_post lock",
                            "callback OnAntennaStateChanged 1", "sem_wait lock", "sem_post lock"));
}

TEST_F(UpdateAntennaStatus, HandsOutAnEmptyTextEachTime) {
    become(GPS_ANTENNA_OK);
    EXPECT_EQ(callback.antennaText, "");
    callback.antennaText = "untouched";
    become(GPS_ANTENNA_SHORT);
    EXPECT_EQ(callback.antennaText, "") << "what the application wrote the last time was discarded";
}

TEST_F(UpdateAntennaStatus, HandsOutTheFlagThatItKeeps) {
    become(GPS_ANTENNA_OK);
    EXPECT_EQ(callback.antennaFlag, &member(AdapterAntennaCallbackFlag()));
    EXPECT_FALSE(*callback.antennaFlag);
    *callback.antennaFlag = true;
    become(GPS_ANTENNA_SHORT);
    EXPECT_TRUE(*callback.antennaFlag);
}

TEST_F(AdapterWithoutCallback, AnswersAnAntennaChangeWithNotAvailable) {
    hal->antenna = GPS_ANTENNA_SHORT;
    hal->antennaResult = 0x99;
    EXPECT_EQ(adapter->UpdateAntennaStatus(), 0x17000003u);
    EXPECT_EQ(readings().antennaState, GPS_ANTENNA_SHORT);
    EXPECT_EQ(adapter->UpdateAntennaStatus(), 0x99u) << "no change";
}

// --- Time deviation -------------------------------------------------------------------------------------

class UpdateSystemTimeDeviation : public AdapterFixture {
protected:
    /// Result of an update with these two clocks.
    unsigned int update(long long system, long long gps) {
        unit.clock.setUtc(static_cast<time_t>(system));
        hal->utc = static_cast<long>(gps);
        return adapter->UpdateSystemTimeDeviation();
    }
    bool isValid() { return readings().timeDeviationValid; }
    int32_t delta() { return readings().timeDelta; }
    void expectUntouched() {
        EXPECT_FALSE(isValid());
        EXPECT_EQ(delta(), 0);
    }
};

TEST_F(UpdateSystemTimeDeviation, IsGpsTimeMinusSystemTime) {
    EXPECT_EQ(update(1700000000, 1699999997), 0u);
    EXPECT_TRUE(isValid());
    EXPECT_EQ(delta(), -3);
    update(1700000000, 1700000005);
    EXPECT_EQ(delta(), 5);
}

TEST_F(UpdateSystemTimeDeviation, IgnoresFractionsOfASecond) {
    unit.clock.advance(999999us);
    update(1700000000, 1700000000);
    EXPECT_EQ(delta(), 0);
    EXPECT_TRUE(isValid());
}

TEST_F(UpdateSystemTimeDeviation, AsksBeforeItTakesTheLock) {
    update(1700000000, 1700000000);
    EXPECT_THAT(unit.journal.lines(), ElementsAre("hal GetCurrentTime", "sem_wait lock", "sem_post lock"));
}

TEST_F(UpdateSystemTimeDeviation, IsNotMeasuredWhileAnNtpServiceKeepsTheClock) {
    update(1700000000, 1700000005);
    adapter->SetNTPServiceAvailable(true);
    unit.forget();
    hal->utcResult = 0x17000205;
    unit.timeOfDayError = EFAULT;
    EXPECT_EQ(update(1700000000, 1700000009), 0u);
    EXPECT_THAT(unit.journal.lines(), IsEmpty()) << "not even the receiver is asked";
    EXPECT_TRUE(isValid());
    EXPECT_EQ(delta(), 5);
}

TEST_F(UpdateSystemTimeDeviation, FailsWithoutTheSystemTimeBeforeItAsksTheReceiver) {
    unit.timeOfDayError = EFAULT;
    EXPECT_EQ(update(1700000000, 1700000000), 0x17000001u);
    EXPECT_THAT(logged(), ElementsAre("3 GPSAdapter: get system time deviation, timeofday fails, errno=14"));
    EXPECT_EQ(source(), kSource);
    EXPECT_EQ(unit.journal.count("hal "), 0u);
    expectUntouched();
}

TEST_F(UpdateSystemTimeDeviation, HandsOnTheReceiversErrorAndKeepsTheOldValue) {
    update(1700000000, 1700000005);
    hal->utcResult = 0x17000205;
    EXPECT_EQ(update(1700000000, 1700000009), 0x17000205u);
    EXPECT_TRUE(isValid());
    EXPECT_EQ(delta(), 5);
}

TEST_F(UpdateSystemTimeDeviation, TakesThirtyDaysEitherWay) {
    for (const int32_t days30 : {2592000, -2592000}) {
        adapter->ResetParams();
        EXPECT_EQ(update(1700000000, 1700000000LL + days30), 0u);
        EXPECT_TRUE(isValid());
        EXPECT_EQ(delta(), days30);
    }
}

TEST_F(UpdateSystemTimeDeviation, DropsASecondMoreThanThirtyDays) {
    for (const long long tooMuch : {2592001LL, -2592001LL, 31LL * 86400, 2000000000LL, -1700000000LL}) {
        EXPECT_EQ(update(1700000000, 1700000000LL + tooMuch), 0u) << tooMuch;
        expectUntouched();
    }
}

TEST_F(UpdateSystemTimeDeviation, KeepsTheLastOneWhenANewOneIsImplausible) {
    update(1700000000, 1700000005);
    EXPECT_EQ(update(1700000000, 1800000000), 0u);
    EXPECT_TRUE(isValid());
    EXPECT_EQ(delta(), 5);
}

TEST_F(UpdateSystemTimeDeviation, TakesAnyWhileTheSystemClockStandsBefore1990) {
    EXPECT_EQ(update(0, 1700000000), 0u);
    EXPECT_EQ(delta(), 1700000000);
    EXPECT_EQ(update(631151999, 1700000000), 0u);
    EXPECT_EQ(delta(), 1700000000 - 631151999);
    EXPECT_TRUE(isValid());
}

TEST_F(UpdateSystemTimeDeviation, TakesTheClockForSetFrom1990On) {
    EXPECT_EQ(update(631152000, 1700000000), 0u);
    expectUntouched();
}

TEST_F(UpdateSystemTimeDeviation, SaturatesBeyond32Bits) {
    update(-1000, 2147483647);
    EXPECT_EQ(delta(), kIntMax);
    update(631151999, -2000000000);
    EXPECT_EQ(delta(), kIntMin);
    if (sizeof(long) > 4) {
        update(0, 5000000000LL);
        EXPECT_EQ(delta(), kIntMax);
    }
}

// --- Tracking -------------------------------------------------------------------------------------------

class SendTracking : public AdapterFixture {};

TEST_F(SendTracking, HandsOutTheLastFixUnderTheLock) {
    member(AdapterCurrentData()) = fixAt(48137154, 11576124);
    bool held = false;
    callback.atCall = [&](const std::string&) { held = VirtualSemaphores::isTaken(lock()); };
    EXPECT_EQ(adapter->SendTracking(), 0u);
    EXPECT_TRUE(held);
    EXPECT_EQ(callback.data, &member(AdapterCurrentData()));
    EXPECT_THAT(unit.journal.lines(),
                ElementsAre("sem_wait lock", "callback OnTracking 48137154 11576124", "sem_post lock"));
}

TEST_F(SendTracking, HandsOutAClearedFixWhenThereWasNone) {
    EXPECT_EQ(adapter->SendTracking(), 0u);
    EXPECT_THAT(told(), ElementsAre("callback OnTracking 0 0"));
    EXPECT_FALSE(callback.data->valid);
}

TEST_F(SendTracking, ReturnsTheCallbacksResult) {
    callback.result = 0x42;
    EXPECT_EQ(adapter->SendTracking(), 0x42u);
}

TEST_F(AdapterWithoutCallback, AnswersTrackingWithNotAvailable) {
    EXPECT_EQ(adapter->SendTracking(), 0x17000003u);
    EXPECT_EQ(unit.journal.take(), kLockedOnce);
}

// --- Detail lines ---------------------------------------------------------------------------------------

class LogDetails : public AdapterFixture {
protected:
    LogDetails() {
        setenv("TZ", "UTC", 1);
        tzset();
    }
};

TEST_F(LogDetails, SaysThatThereIsNoFixYet) {
    EXPECT_EQ(adapter->LogDetails(), 0u);
    EXPECT_THAT(logged(), ElementsAre("6 GPS is down: antenna=2 sat-count=0 SNR=0 time-deviation=invalid "
                                      "time-delta=0s fix-age=-1s odometer=0",
                                      "6 Current GPS data: not valid"));
    for (const LogLine& line : unit.log.all())
        EXPECT_EQ(line.source, kSource);
}

TEST_F(LogDetails, SaysWhatTheReadingsAre) {
    member(AdapterAvailable()) = member(AdapterTimeDeviationValid()) = true;
    member(AdapterAntennaState()) = GPS_ANTENNA_OK;
    member(AdapterSatelliteCount()) = 12;
    member(AdapterSnr()) = 38;
    member(AdapterTimeDelta()) = -3;
    member(AdapterFixTick()) = unit.clock.tick() - 5;
    member(AdapterOdometer()) = 12345;
    adapter->LogDetails();
    EXPECT_EQ(logged()[0], "6 GPS is available: antenna=1 sat-count=12 SNR=38 time-deviation=valid "
                           "time-delta=-3s fix-age=5s odometer=12345");
}

TEST_F(LogDetails, SaysTheFixWithItsDateAndThatDatesLineFeed) {
    GPSData& fix = member(AdapterCurrentData());
    fix = fixAt(48137154, 11576124);
    fix.altitude = 519000;
    fix.speed = 13889;
    fix.course = 271500;
    fix.time = 1700000000;
    adapter->LogDetails();
    EXPECT_EQ(logged()[1], "6 Current GPS data: longitude=11.5761 latitude=48.1372 alt=519m speed=13.889m/s "
                           "course=271.5 date='Tue Nov 14 22:13:20 2023\n'");
}

TEST_F(LogDetails, SaysTheDateInTheTimeZoneOfTheMoment) {
    member(AdapterCurrentData()) = fixAt(48137154, 11576124);
    member(AdapterCurrentData()).time = 1700000000;
    adapter->LogDetails();
    EXPECT_THAT(logged().back(), ::testing::HasSubstr("date='Tue Nov 14 22:13:20 2023\n'"));
    setenv("TZ", "EAST-5", 1); // and no tzset
    adapter->LogDetails();
    EXPECT_THAT(logged().back(), ::testing::HasSubstr("date='Wed Nov 15 03:13:20 2023\n'"));
}

TEST_F(LogDetails, TakesAltitudeSignedAndSpeedAndCourseUnsigned) {
    GPSData& fix = member(AdapterCurrentData());
    fix = fixAt(-33856784, -151215297);
    fix.altitude = -12500;
    fix.speed = fix.course = kUnsignedMax;
    fix.time = kIntMax;
    adapter->LogDetails();
    EXPECT_EQ(logged()[1],
              "6 Current GPS data: longitude=-151.215 latitude=-33.8568 alt=-12.5m speed=4.29497e+06m/s "
              "course=4.29497e+06 date='Tue Jan 19 03:14:07 2038\n'");
}

TEST_F(LogDetails, CountsTheAgeAcrossTheTicksWrap) {
    member(AdapterFixTick()) = kUnsignedMax - 1;
    unit.clock.setTick(3);
    adapter->LogDetails();
    EXPECT_THAT(logged()[0], ::testing::HasSubstr("fix-age=5s"));
}

TEST_F(LogDetails, WritesUnderTheLock) {
    adapter->LogDetails();
    const Lines lines = unit.journal.lines();
    EXPECT_EQ(lines.front(), "sem_wait lock");
    EXPECT_EQ(lines.back(), "sem_post lock");
    EXPECT_EQ(lines.size(), 4u);
}

TEST_F(LogDetails, ReturnsTheResultOfGivingTheLockBack) {
    unit.semaphores.fail(VirtualSemaphores::Post, EOVERFLOW);
    EXPECT_NE(adapter->LogDetails(), 0u);
    EXPECT_EQ(logged().back(), "2 GPSAdapter failed to release semaphore (errno=75)");
    adapter->unlock();
}

TEST_F(LogDetails, ChangesNothing) {
    hal->atCall = [](const std::string& name) { FAIL() << name; };
    adapter->LogDetails();
    EXPECT_THAT(told(), IsEmpty());
}

} // namespace
