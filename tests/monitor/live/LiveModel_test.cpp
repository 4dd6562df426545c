// What the live view works out from the lines that it takes.

#include <cmath>
#include <gtest/gtest.h>

#include "GeofenceArithmetic.h"
#include "Geometry.h"
#include "LiveScene.h"
#include "OdometerArithmetic.h"

namespace {

using monitor::LiveModel;
using monitor::OdometerEstimate;
using Phase = OdometerEstimate::Phase;
using Step = telemetry::ServiceStep::Step;

// --- The odometer's estimate ----------------------------------------------------------------------------

class LiveOdometer : public testing::Test, protected LiveScene {
protected:
    Phase phase() const { return model.odometer().phase(at.uptimeMs); }
    double left() const { return model.odometer().secondsLeft(at.uptimeMs); }

    /// Readings each second, as the last ones.
    void nothingChanges(int seconds) {
        for (int i = 0; i < seconds; ++i) {
            pass(1);
            readings();
        }
    }
};

TEST_F(LiveOdometer, IsOffUntilTheServiceRuns) {
    step(Step::Constructing);
    EXPECT_EQ(phase(), Phase::Off);
    comeUp();
    EXPECT_EQ(phase(), Phase::WarmUp);
    step(Step::Stopping);
    EXPECT_EQ(phase(), Phase::Off);
}

TEST_F(LiveOdometer, CountsItsWarmUpDown) {
    comeUp();
    EXPECT_DOUBLE_EQ(left(), 179);
    drive(100, 0, 10);
    EXPECT_DOUBLE_EQ(left(), 79);
    drive(78, 0, 10);
    EXPECT_EQ(phase(), Phase::WarmUp);
    drive(1, 0, 10);
    EXPECT_EQ(phase(), Phase::Counting);
}

TEST_F(LiveOdometer, WarmsUpForAsManyCyclesWhateverTheirLength) {
    given.positionIntervalS = 5;
    comeUp();
    EXPECT_DOUBLE_EQ(left(), 5 * 180 - 1);
}

TEST_F(LiveOdometer, WarmsUpAgainAfterAJump) {
    comeUp();
    drive(200, 0, 10);
    EXPECT_FALSE(model.odometer().hasJumped());
    drive(1, 20000, 0);
    EXPECT_EQ(phase(), Phase::WarmUp);
    EXPECT_TRUE(model.odometer().hasJumped());
    EXPECT_DOUBLE_EQ(left(), 181);
}

TEST_F(LiveOdometer, WarmsUpAgainWhenTheFirstFixComesAfterTheFirstWarmUp) {
    step(Step::Running);
    for (int i = 0; i < 200; ++i) {
        pass(1);
        readings();
    }
    EXPECT_EQ(phase(), Phase::NoFix);
    drive(1);
    EXPECT_EQ(phase(), Phase::WarmUp);
}

TEST_F(LiveOdometer, SaysThatStepsAreDroppedAndWhichOnes) {
    comeUp();
    now.horizontalErrorM = 20;
    drive(250, 0, 10);
    EXPECT_EQ(phase(), Phase::Dropping);
    EXPECT_DOUBLE_EQ(model.odometer().gateMetres(), 40);
    EXPECT_GT(model.odometer().droppedSteps(), 20U);
    now.horizontalErrorM = 5;
    drive(10, 0, 10);
    EXPECT_EQ(phase(), Phase::Counting);
}

TEST_F(LiveOdometer, StandsWhenNoStepCameForSomeTime) {
    comeUp();
    drive(200, 0, 10);
    drive(10);
    EXPECT_EQ(phase(), Phase::Counting);
    drive(70);
    EXPECT_EQ(phase(), Phase::Standing);
}

TEST_F(LiveOdometer, HasNothingToCountWithoutAFix) {
    comeUp();
    drive(200, 0, 10);
    pass(11);
    model.advance(at);
    EXPECT_EQ(phase(), Phase::NoFix);
}

TEST_F(LiveOdometer, EndsItsWarmUpWhenTheServiceIsSeenToCount) {
    comeUp();
    drive(100, 0, 10);
    now.odometerM = 16;
    drive(1, 0, 10);
    EXPECT_EQ(phase(), Phase::Counting);
}

TEST_F(LiveOdometer, TakesAValueThatWasSetForNoCount) {
    comeUp();
    take(telemetry::Command{telemetry::Command::Kind::SetOdometer, 5000, false});
    now.odometerM = 5000;
    drive(1);
    EXPECT_EQ(phase(), Phase::WarmUp);
}

TEST_F(LiveOdometer, TakesNoLaterCountForTheValueThatWasSet) {
    comeUp();
    take(telemetry::Command{telemetry::Command::Kind::SetOdometer, 0, false});
    drive(1, 0, 10); // which it had already
    now.odometerM = 16;
    drive(1, 0, 10);
    EXPECT_EQ(phase(), Phase::Counting);
}

TEST_F(LiveOdometer, TakesAStepBackThatTheServiceIsSeenToCount) {
    comeUp();
    now.horizontalErrorM = 20;
    drive(250, 0, 10);
    const std::uint32_t steps = model.odometer().droppedSteps();
    const double metres = model.odometer().droppedMetres();
    now.odometerM = 20;
    readings();
    EXPECT_EQ(model.odometer().droppedSteps(), steps - 1);
    EXPECT_NEAR(model.odometer().droppedMetres(), metres - 20, 5);
    now.odometerM = 40;
    readings();
    EXPECT_EQ(model.odometer().droppedSteps(), steps - 1) << "one step once";
}

TEST_F(LiveOdometer, TakesNoStepBackForACountOfTheCycleAfterIt) {
    comeUp();
    now.horizontalErrorM = 20;
    drive(250, 0, 20); // a step a cycle
    const std::uint32_t steps = model.odometer().droppedSteps();
    now.horizontalErrorM = 1;
    now.odometerM = 20;
    drive(1, 0, 20);
    EXPECT_EQ(model.odometer().droppedSteps(), steps);
}

// --- A worker that stands -------------------------------------------------------------------------------

TEST_F(LiveOdometer, HoldsItsWarmUpWhileTheWatchdogKeepsTheWorker) {
    comeUp();
    drive(50, 0, 10);
    EXPECT_DOUBLE_EQ(left(), 129);
    nothingChanges(12);
    EXPECT_DOUBLE_EQ(left(), 127) << "one cycle, with which the restart began";
    drive(1, 0, 10);
    EXPECT_DOUBLE_EQ(left(), 127);
    drive(126, 0, 10);
    EXPECT_EQ(phase(), Phase::WarmUp);
    drive(1, 0, 10);
    EXPECT_EQ(phase(), Phase::Counting);
}

TEST_F(LiveOdometer, HoldsItsWarmUpAfterAJumpAsWell) {
    comeUp();
    drive(200, 0, 10);
    drive(1, 20000, 0);
    EXPECT_DOUBLE_EQ(left(), 181);
    drive(1, 0, 10);
    nothingChanges(11);
    drive(1, 0, 10);
    EXPECT_DOUBLE_EQ(left(), 178);
}

TEST_F(LiveOdometer, CatchesUpAfterAPauseThatIsTooShortForARestart) {
    comeUp();
    drive(50, 0, 10);
    nothingChanges(5);
    drive(1, 0, 10);
    EXPECT_DOUBLE_EQ(left(), 123);
}

TEST_F(LiveOdometer, GoesOnWhereNothingCouldChange) {
    comeUp();
    now.satellites = 0; // gpsd is silent
    nothingChanges(20);
    EXPECT_DOUBLE_EQ(left(), 159);
    now.satellites = 9;
    now.available = false; // the antenna is gone
    nothingChanges(20);
    EXPECT_DOUBLE_EQ(left(), 139);
}

TEST_F(LiveOdometer, GoesOnWhileTheLossOfTheFixIsToldInEachCycle) {
    comeUp();
    for (int i = 0; i < 20; ++i) {
        pass(1);
        take(telemetry::AvailabilityChanged{false, {}});
        readings();
    }
    EXPECT_DOUBLE_EQ(left(), 159);
}

/// The service's own arithmetic, a cycle a second.
struct ServicesOdometer {
    int warmup = 180;
    bool hasReference = false;
    telemetry::Position reference;
    telemetry::Position filtered;
    std::uint32_t dropped = 0;

    void cycle(const telemetry::Position& current, std::uint32_t errorM) {
        if (!hasReference) {
            if (warmup-- > 0)
                return;
            reference = filtered = current;
            hasReference = true;
            return;
        }
        filtered = {odometry::smooth(current.latitude, filtered.latitude),
                    odometry::smooth(current.longitude, filtered.longitude)};
        const double metres = odometry::distanceMetres(reference, filtered);
        if (odometry::isJump(metres)) {
            hasReference = false;
            warmup = odometry::warmupCycles(1);
        } else if (odometry::isStep(metres)) {
            dropped += odometry::exceedsError(metres, errorM) ? 0 : 1;
            reference = filtered;
        }
    }
};

TEST_F(LiveOdometer, ReckonsAsTheServiceDoes) {
    ServicesOdometer service;
    step(Step::Running);
    service.cycle({}, now.horizontalErrorM);
    for (int second = 0; second < 3000; ++second) {
        now.horizontalErrorM = static_cast<std::uint32_t>(second / 7 % 12);
        drive(1, second == 1500 ? 30000 : 8 * std::sin(second / 60.0), 14 * std::cos(second / 90.0));
        service.cycle(now.fix->position, now.horizontalErrorM);
        ASSERT_EQ(phase() == Phase::WarmUp, !service.hasReference) << "in second " << second;
        ASSERT_EQ(model.odometer().droppedSteps(), service.dropped) << "in second " << second;
    }
    EXPECT_GT(service.dropped, 10U);
}

// --- Geofences ------------------------------------------------------------------------------------------

const telemetry::Geofence kDepot = {"Depot", {52520000, 13405000}, 4000, 2000, 1500};

double toBorder(telemetry::GeofenceState state, std::int32_t latitude, std::int32_t longitude) {
    return monitor::metresToBorder(kDepot, state, {latitude, longitude});
}

TEST(LiveGeofence, IsAsFarAsItsNearestSideFromWithin) {
    EXPECT_NEAR(toBorder(telemetry::GeofenceState::Outside, 52520900, 13405000), 100 * 0.111133, 0.01);
    EXPECT_NEAR(toBorder(telemetry::GeofenceState::Outside, 52520000, 13406990), 10 * 0.111133 * 0.6085,
                0.01);
}

TEST(LiveGeofence, HasItsMarginAroundItWhileThePositionCountsAsInside) {
    using State = telemetry::GeofenceState;
    for (const State state : {State::Unknown, State::Inside, State::Outside, State::Entered, State::Left}) {
        const auto service = static_cast<GPSGeofenceState>(state);
        EXPECT_EQ(monitor::marginCounts(state), geofencing::countsAsInside(service));
    }
    EXPECT_NEAR(toBorder(State::Inside, 52520000, 13405000), 3500 * 0.6085 * 0.111133, 0.1);
    EXPECT_NEAR(toBorder(State::Left, 52520000, 13405000), 1000 * 0.111133, 0.1);
}

TEST(LiveGeofence, IsAsFarAsItsNearestCornerFromOutside) {
    const double north = 3000 * 0.111133;
    const double east = 4000 * 0.111133 * 0.6085;
    EXPECT_NEAR(toBorder(telemetry::GeofenceState::Outside, 52524000, 13411000), std::hypot(north, east),
                0.2);
}

TEST(LiveGeofence, KnowsNoWayAcrossTheDateLineAsTheServiceKnowsNone) {
    const telemetry::Geofence atDateLine = {"", {0, 179999000}, 4000, 4000, 0};
    const telemetry::Position beyond = {0, -179999500};
    EXPECT_GT(monitor::metresToBorder(atDateLine, telemetry::GeofenceState::Outside, beyond), 3e7);
}

TEST(LiveGeofence, EndsAtTheDateLineAlsoWhereItsMarginGoesOn) {
    using State = telemetry::GeofenceState;
    const telemetry::Geofence toEast = {"", {0, 179997000}, 4000, 9000, 3000};
    EXPECT_NEAR(monitor::metresToBorder(toEast, State::Inside, {0, 179999500}), 500 * 0.111133, 0.1);
    EXPECT_NEAR(monitor::metresToBorder(toEast, State::Inside, {0, 179993000}), 1000 * 0.111133, 0.1);
    const telemetry::Geofence toWest = {"", {0, -179997000}, 4000, 9000, 3000};
    EXPECT_NEAR(monitor::metresToBorder(toWest, State::Inside, {0, -179999500}), 500 * 0.111133, 0.1);
}

// --- Tracking -------------------------------------------------------------------------------------------

class LiveTracking : public testing::Test, protected LiveScene {
protected:
    void schedule(std::int32_t period, std::int32_t base = 0, std::int32_t offset = 0) {
        given.trackingEnabled = true;
        given.trackingPeriodS = period;
        given.trackingBaseS = base;
        given.trackingOffsetS = offset;
        comeUp();
    }
    std::int64_t next() const { return model.secondsToTracking(at).value_or(-1); }
};

TEST_F(LiveTracking, IsDueFromASecondBeforeAMultipleOfThePeriod) {
    schedule(60); // at 06:50:09
    EXPECT_EQ(next(), 50);
    pass(50);
    EXPECT_EQ(next(), 0);
    pass(2);
    EXPECT_EQ(next(), 0);
    pass(1);
    EXPECT_EQ(next(), 57);
}

TEST_F(LiveTracking, PausesForFiveSecondsAfterAReport) {
    schedule(60);
    pass(50);
    take(telemetry::Tracked{});
    EXPECT_EQ(next(), 60);
    schedule(3);
    take(telemetry::Tracked{});
    EXPECT_EQ(next(), 5);
}

TEST_F(LiveTracking, IsShiftedByBaseAndOffset) {
    schedule(60, 10, 0);
    EXPECT_EQ(next(), 0);
    schedule(60, 0, 20);
    EXPECT_EQ(next(), 21);
}

TEST_F(LiveTracking, IsAlwaysDueWithABaseInTheFuture) {
    schedule(60, 2000000000);
    EXPECT_EQ(next(), 0);
    take(telemetry::Tracked{});
    EXPECT_EQ(next(), 5);
}

TEST_F(LiveTracking, IsShiftedIn32BitsAsTheServiceDoesIt) {
    schedule(60, -2000000000); // the sum is beyond 2^31, and so negative
    EXPECT_EQ(next(), 0);
    schedule(60, -2000000000, -2000000000);
    EXPECT_EQ(next(), 41);
}

TEST_F(LiveTracking, NeverComesWhereItIsOffOrHasNoPeriod) {
    schedule(0);
    EXPECT_EQ(next(), -1);
    schedule(-1);
    EXPECT_EQ(next(), 0);
    given.trackingEnabled = false;
    settings();
    EXPECT_EQ(next(), -1);
}

TEST_F(LiveTracking, IsNotExpectedWhileTheServiceIsDown) {
    schedule(60);
    step(Step::Stopping);
    EXPECT_EQ(next(), -1);
}

TEST_F(LiveTracking, MayComeLaterWhereTheServiceSleepsAsLongAsAReportIsDue) {
    EXPECT_FALSE(model.trackingMayComeLater());
    given.positionIntervalS = 11;
    schedule(60);
    EXPECT_FALSE(model.trackingMayComeLater());
    given.positionIntervalS = 12;
    settings();
    EXPECT_TRUE(model.trackingMayComeLater());
    EXPECT_EQ(next(), 50) << "at the earliest";
    given.positionIntervalS = 60;
    settings();
    EXPECT_TRUE(model.trackingMayComeLater());
}

// --- Steps, events, fixes -------------------------------------------------------------------------------

class LiveState : public testing::Test, protected LiveScene {};

TEST_F(LiveState, CountsTheTimeInAStepOn) {
    step(Step::Constructing, 1.5, 31);
    pass(4);
    EXPECT_DOUBLE_EQ(model.secondsInStep(at), 5.5);
    step(Step::Constructing, 6, 31);
    EXPECT_DOUBLE_EQ(model.secondsInStep(at), 6);
    EXPECT_EQ(model.events().size(), 1U);
}

TEST_F(LiveState, KnowsTheAgeOfAFix) {
    EXPECT_FALSE(model.fixAgeS(at));
    comeUp();
    pass(7);
    EXPECT_EQ(model.fixAgeS(at), 7U);
    at.tickS = 5; // a clock that was set back
    EXPECT_EQ(model.fixAgeS(at), 0U);
}

TEST_F(LiveState, KeepsTheLastEvents) {
    for (int i = 0; i < 1000; ++i)
        take(telemetry::AvailabilityChanged{i % 2 == 0, {}});
    EXPECT_EQ(model.events().size(), LiveModel::kMostEvents);
}

TEST_F(LiveState, AddsUpWhatWasLost) {
    take(telemetry::Lost{3});
    take(telemetry::Lost{4});
    EXPECT_EQ(model.lostEvents(), 7U);
}

} // namespace
