// The adapter's settings and readings: their defaults, what setting them does, and that every field is
// copied.

#include <limits>
#include <string>
#include <vector>

#include "AdapterFixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr char kSource[] = "src/GPSAdapter.cpp";

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

} // namespace
