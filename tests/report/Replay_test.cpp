#include "Replay.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>

#include "RecordedLines.h"
#include "WhatIf.h"

namespace {

using namespace report;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Kind = OdometerStep::Kind;

constexpr int kWarmUp = 180;   ///< cycles
constexpr int kMove = 90;      ///< microdegrees: ten metres
constexpr int kFarAway = 9000; ///< microdegrees: a kilometre

class ReplayOfLines : public ::testing::Test {
protected:
    ReplayOfLines() {
        lines.settings.geofencesEnabled = true;
        lines.settings.geofences[2] = {"Depot", lines.place(), 2000, 2000, 500};
    }

    Replay replayed(const std::string& whatIf = "") const {
        const Drive drive = lines.drive();
        if (whatIf.empty())
            return replay(drive);
        const WhatIf other = parseWhatIf(whatIf);
        return replay(drive, &other);
    }

    std::vector<std::string> crossings(const std::string& whatIf = "") const {
        std::vector<std::string> said;
        for (const Crossing& each : replayed(whatIf).crossings)
            said.push_back(std::to_string(std::lround(each.timeS)) + (each.entered ? " entered " : " left ") +
                           each.name);
        return said;
    }

    static std::size_t count(const Replay& replay, Kind kind) {
        return static_cast<std::size_t>(
            std::count_if(replay.steps.begin(), replay.steps.end(),
                          [kind](const OdometerStep& step) { return step.kind == kind; }));
    }

    RecordedLines lines;
};

// --- The odometer ---------------------------------------------------------------------------------------

TEST_F(ReplayOfLines, WarmsUpFor180CyclesAndCountsAfterwards) {
    lines.start().fixesFor(kWarmUp - 1, kMove);
    EXPECT_THAT(replayed().steps, IsEmpty());
    lines.fixesFor(10, kMove);
    const Replay replay = replayed();
    ASSERT_GE(replay.steps.size(), 2u);
    EXPECT_EQ(replay.steps[0].kind, Kind::WarmedUp);
    EXPECT_EQ(replay.steps[0].timeS, kWarmUp);
    EXPECT_EQ(replay.steps[1].kind, Kind::Counted);
    EXPECT_GT(replay.odometerM, 15u);
    EXPECT_EQ(replay.odometer.back().second, replay.odometerM);
}

TEST_F(ReplayOfLines, DropsStepsWithinTwiceTheErrorEstimate) {
    lines.start();
    lines.readings.horizontalErrorM = 30;
    lines.fixesFor(kWarmUp + 60, kMove);
    const Replay replay = replayed();
    EXPECT_EQ(replay.odometerM, 0u);
    EXPECT_EQ(count(replay, Kind::Counted), 0u);
    EXPECT_EQ(replay.droppedSteps, count(replay, Kind::Dropped));
    EXPECT_GT(replay.droppedM, 15 * static_cast<double>(replay.droppedSteps));
}

TEST_F(ReplayOfLines, CountsThemWithAnotherErrorEstimate) {
    lines.start();
    lines.readings.horizontalErrorM = 30;
    lines.fixesFor(kWarmUp + 60, kMove);
    const Replay replay = replayed("error=3");
    EXPECT_EQ(replay.droppedSteps, 0u);
    EXPECT_GT(replay.odometerM, 400u);
}

TEST_F(ReplayOfLines, WarmsUpAnewBehindAJump) {
    lines.start().fixesFor(kWarmUp + 20, kMove).fixesFor(1, 20 * kFarAway).fixesFor(kWarmUp + 5, kMove);
    const Replay replay = replayed();
    EXPECT_EQ(count(replay, Kind::Jump), 1u);
    EXPECT_EQ(count(replay, Kind::WarmedUp), 2u);
}

TEST_F(ReplayOfLines, BeginsWithTheValueThatTheFirstReadingTells) {
    lines.start();
    lines.readings.odometerM = 4711;
    lines.fixesFor(5);
    EXPECT_THAT(replayed().odometer, ElementsAre(std::make_pair(1.0, 4711u)));
}

TEST_F(ReplayOfLines, TakesTheValueThatAPersonHasSet) {
    using telemetry::Command;
    lines.start().fixesFor(5).line(Command{Command::Kind::SetOdometer, 1000, false});
    lines.readings.odometerM = 1000;
    lines.fixesFor(1).line(Command{Command::Kind::Tracking, 0, true}).fixesFor(5);
    EXPECT_EQ(replayed().odometerM, 1000u);
    EXPECT_EQ(replayed("interval=2").odometerM, 1000u);
}

TEST_F(ReplayOfLines, TellsFromTheReadingWhetherTheStepOrThePersonCameFirst) {
    lines.start().fixesFor(kWarmUp);
    RecordedLines before = lines;
    while (replayed().odometerM == 0) { // the last fix makes the first step
        before = lines;
        lines.fixesFor(1, kMove);
    }
    const std::uint32_t step = replayed().odometerM;
    for (const std::uint32_t read : {5000u, 5000u + step}) {
        lines = before;
        lines.line(telemetry::Command{telemetry::Command::Kind::SetOdometer, 5000, false});
        lines.readings.odometerM = read;
        EXPECT_EQ((lines.fixesFor(1, kMove), replayed().odometerM), read);
    }
}

TEST_F(ReplayOfLines, CountsDownItsWarmUpBeforeTheFirstFix) {
    lines.start().readingsFor(kWarmUp - 10).fixesFor(15, kMove);
    const Replay replay = replayed();
    ASSERT_FALSE(replay.steps.empty());
    EXPECT_EQ(replay.steps[0].kind, Kind::WarmedUp);
    EXPECT_EQ(replay.steps[0].timeS, kWarmUp);
}

TEST_F(ReplayOfLines, JumpsFromTheReferenceThatItTookWithoutAFix) {
    lines.start().readingsFor(kWarmUp + 10).fixesFor(1).readingsFor(1);
    const Replay replay = replayed();
    ASSERT_EQ(replay.steps.size(), 1u);
    EXPECT_EQ(replay.steps[0].kind, Kind::Jump);
    EXPECT_EQ(replay.steps[0].at.latitude, lines.place().latitude);
}

TEST_F(ReplayOfLines, BeginsAnewWithEachRun) {
    lines.start().fixesFor(kWarmUp - 10, kMove).pass(5).start().fixesFor(kWarmUp - 10, kMove);
    EXPECT_THAT(replayed().steps, IsEmpty());
    EXPECT_EQ(crossings().size(), 2u); // each run leaves the depot once
}

TEST_F(ReplayOfLines, RestsWhenTheWorkerHasStopped) {
    using telemetry::ServiceStep;
    lines.start().fixesFor(100).line(ServiceStep{ServiceStep::Step::Stopping, 0, 0, {}});
    lines.readingsFor(200);
    EXPECT_THAT(replayed().steps, IsEmpty());
}

// --- Geofences ------------------------------------------------------------------------------------------

TEST_F(ReplayOfLines, LeavesWithTheMarginAndEntersWithoutIt) {
    lines.start().fixesFor(2).fixesFor(10, 200).fixesFor(10, -200);
    // Half of the size is 1000, and with the margin 1500: left with the eighth step, entered with the fifth
    // back.
    EXPECT_THAT(crossings(), ElementsAre("10 left Depot", "17 entered Depot"));
}

TEST_F(ReplayOfLines, LeavesLaterWithAWiderMargin) {
    lines.start().fixesFor(2).fixesFor(10, 200).fixesFor(10, -200);
    EXPECT_THAT(crossings("margin=900"), ElementsAre("12 left Depot", "17 entered Depot"));
    EXPECT_THAT(crossings("margin.Depot=900,margin=0"), ElementsAre("12 left Depot", "17 entered Depot"));
    EXPECT_THAT(crossings("size=2"), IsEmpty());
}

TEST_F(ReplayOfLines, LooksLessOftenWithALongerInterval) {
    lines.start().fixesFor(2).fixesFor(10, 200).fixesFor(10, -200).fixesFor(5);
    EXPECT_THAT(crossings("interval=5"), ElementsAre("10 left Depot", "20 entered Depot"));
}

TEST_F(ReplayOfLines, KeepsItsPositionWhereALongerIntervalMeetsNoFix) {
    lines.start().fixesFor(5).fixesFor(1, 5000).readingsFor(60);
    EXPECT_THAT(crossings(), ElementsAre("6 left Depot"));
    EXPECT_THAT(crossings("interval=3"), ElementsAre("6 left Depot"));
    EXPECT_THAT(crossings("interval=4"), IsEmpty());
}

TEST_F(ReplayOfLines, MakesNoEventWhileGeofencesAreOff) {
    lines.settings.geofencesEnabled = false;
    lines.start().fixesFor(2).fixesFor(10, 200);
    EXPECT_THAT(crossings(), IsEmpty());
    lines.settings.geofencesEnabled = true;
    lines.line(telemetry::SettingsTaken{lines.settings}).fixesFor(2);
    EXPECT_THAT(crossings(), ElementsAre("13 left Depot"));
}

TEST_F(ReplayOfLines, ForgetsTheStateOfAGeofenceThatChanges) {
    lines.start().fixesFor(2).fixesFor(10, 200);
    lines.settings.geofences[2].margin = 501;
    lines.line(telemetry::SettingsTaken{lines.settings}).fixesFor(2);
    EXPECT_THAT(crossings(), ElementsAre("10 left Depot", "13 left Depot"));
}

TEST_F(ReplayOfLines, FollowsAnIntervalThatChanges) {
    lines.start().fixesFor(3);
    lines.settings.positionIntervalS = 5;
    lines.line(telemetry::SettingsTaken{lines.settings});
    for (int i = 0; i < 35; ++i)
        lines.pass(5).fix(lines.place());
    const Replay replay = replayed();
    EXPECT_THAT(replay.steps, IsEmpty()); // 38 cycles of 180
}

// --- Odd places and times -------------------------------------------------------------------------------

TEST_F(ReplayOfLines, HasNoWayAcrossTheDateLine) {
    lines.settings.geofences[2] = {"Pier", {0, 180000000}, 4000, 4000, 500};
    lines.start().moveTo({0, 179999000}).fixesFor(kWarmUp + 3);
    lines.moveTo({0, -179999000}).fixesFor(3);
    EXPECT_EQ(count(replayed(), Kind::Jump), 1u);
    EXPECT_EQ(crossings(), (std::vector<std::string>{std::to_string(kWarmUp + 4) + " left Pier"}));
}

TEST_F(ReplayOfLines, ReckonsAtThePole) {
    lines.start().moveTo({90000000, 0}).fixesFor(kWarmUp + 3);
    lines.moveTo({90000000, 179000000}).fixesFor(30);
    EXPECT_EQ(count(replayed(), Kind::Jump), 0u); // all meridians meet there
}

TEST_F(ReplayOfLines, EndsSoonWhereADamagedTickSpansYears) {
    lines.start().fixesFor(3);
    lines.startOnceMore(4000000000u).fixesFor(3).startOnceMore(5).readings.fixTickS = 0;
    lines.pass(3e9).reading();
    EXPECT_EQ(replayed().odometerM, 0u);
    EXPECT_EQ(replayed("interval=2").odometerM, 0u);
}

TEST_F(ReplayOfLines, HasNothingToTellOfARunWithoutReadings) {
    lines.start();
    EXPECT_THAT(replayed().odometer, IsEmpty());
}

} // namespace
