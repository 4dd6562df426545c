#include "Drive.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "RecordedLines.h"
#include "Stretches.h"

namespace {

using namespace report;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Kind = Stretch::Kind;
using Step = telemetry::ServiceStep::Step;

class RecordedDrive : public ::testing::Test {
protected:
    /// "20.0 to 62.0: no fix for 42 s"
    std::vector<std::string> stretches(Kind kind) const {
        std::vector<std::string> said;
        for (const Stretch& stretch : lines.drive().stretches) {
            char times[64];
            std::snprintf(times, sizeof times, "%.1f to %.1f: ", stretch.fromS, stretch.toS);
            if (stretch.kind == kind)
                said.push_back(times + stretch.words);
        }
        return said;
    }

    static std::vector<double> timesOf(const Drive& drive) {
        std::vector<double> times;
        std::transform(drive.samples.begin(), drive.samples.end(), std::back_inserter(times),
                       [](const Sample& sample) { return sample.timeS; });
        return times;
    }

    RecordedLines lines;
};

// --- Lines and counts -----------------------------------------------------------------------------------

TEST_F(RecordedDrive, HasItsReadingsOnOneAxisOfTime) {
    lines.pass(3).start().pass(1.5).reading().pass(0.25).reading();
    const Drive drive = lines.drive();
    EXPECT_THAT(timesOf(drive), ElementsAre(1.5, 1.75));
    EXPECT_EQ(drive.durationS, 1.75);
    EXPECT_EQ(drive.beginUtcMs, 1767323048000);
    EXPECT_EQ(drive.program, "ruxogps-monitor 0.1.0");
    EXPECT_EQ(drive.name, "drive.jsonl");
}

TEST_F(RecordedDrive, CountsWhatItHolds) {
    lines.start().fixesFor(3).reading();
    lines.line(telemetry::GeofenceCrossed{true, {}, "a", {}}).line(telemetry::GeofenceCrossed{});
    lines.line(telemetry::AntennaChanged{3, {}}).line(telemetry::AvailabilityChanged{});
    lines.line(telemetry::PositionUpdated{}).line(telemetry::Lost{7});
    lines.line(telemetry::Tracked{telemetry::Fix{}}).line(telemetry::Tracked{}).line(telemetry::Tracked{});
    const Counts counts = lines.drive().counts;
    EXPECT_EQ(counts.lines, 16u);
    EXPECT_EQ(counts.samples, 4u);
    EXPECT_EQ(counts.fixes, 3u);
    EXPECT_EQ(counts.entered, 1u);
    EXPECT_EQ(counts.left, 1u);
    EXPECT_EQ(counts.antennaChanges, 1u);
    EXPECT_EQ(counts.availabilityChanges, 1u);
    EXPECT_EQ(counts.positionUpdates, 1u);
    EXPECT_EQ(counts.trackingReports, 1u);
    EXPECT_EQ(counts.trackingReportsWithoutFix, 2u);
    EXPECT_EQ(counts.lost, 7u);
}

TEST_F(RecordedDrive, HasItsEventsBeforeTheReadingThatFollowsThem) {
    lines.start().reading().line(telemetry::PositionUpdated{}).reading().line(telemetry::End{0});
    const Drive drive = lines.drive();
    ASSERT_EQ(drive.events.size(), 4u); // with the start and the service that runs
    EXPECT_EQ(drive.events[2].sample, 1u);
    EXPECT_EQ(drive.events[3].sample, drive.samples.size());
}

TEST_F(RecordedDrive, HasNoEventForAStepOnTheWayUpOrDown) {
    for (const Step step : {Step::Constructing, Step::Initializing, Step::Starting, Step::Stopping,
                            Step::Finalizing, Step::Destroying})
        EXPECT_FALSE(isEvent(telemetry::ServiceStep{step, 0, 0, {}}));
    for (const Step step : {Step::Running, Step::Down, Step::Failed})
        EXPECT_TRUE(isEvent(telemetry::ServiceStep{step, 0, 0, {}}));
}

TEST_F(RecordedDrive, HasSettingsFromItsBegin) {
    EXPECT_EQ(RecordedLines().line(telemetry::Start{}).drive().settings.size(), 1u);
    lines.settings.positionIntervalS = 7;
    lines.pass(1).line(telemetry::Start{}).pass(2).start();
    const Drive drive = lines.drive();
    ASSERT_EQ(drive.settings.size(), 1u);
    EXPECT_EQ(drive.settings[0].timeS, 0);
    EXPECT_EQ(drive.settings[0].settings.positionIntervalS, 7u);
}

// --- What a loss of power leaves ------------------------------------------------------------------------

TEST_F(RecordedDrive, IsShownUpToWhereItWasCut) {
    lines.start().fixesFor(2).text(R"({"type":"readings","time_u)");
    const Drive drive = lines.drive();
    EXPECT_EQ(drive.counts.fixes, 2u);
    ASSERT_EQ(drive.damage.size(), 1u);
    EXPECT_EQ(drive.damage[0].line, 6u);
    EXPECT_EQ(drive.damage[0].what, "the last line is cut");
    EXPECT_FALSE(drive.ended);
}

TEST_F(RecordedDrive, TellsWhetherTheMonitorHasEndedIt) {
    EXPECT_FALSE(lines.start().drive().ended);
    EXPECT_TRUE(lines.line(telemetry::End{0}).drive().ended);
}

TEST_F(RecordedDrive, IsRefusedWhereNothingCanBeShown) {
    std::istringstream nothing;
    EXPECT_THROW(readDrive(nothing, "drive.jsonl"), telemetry::NoRecording);
}

// --- Restarts -------------------------------------------------------------------------------------------

TEST_F(RecordedDrive, GoesOnBehindARestartOfTheMonitor) {
    lines.start().fixesFor(10).line(telemetry::End{0}).pass(20).start().fixesFor(5);
    const Drive drive = lines.drive();
    EXPECT_EQ(drive.durationS, 35);
    ASSERT_EQ(drive.runs.size(), 2u);
    EXPECT_EQ(drive.runs[1].fromS, 30);
    EXPECT_EQ(drive.runs[1].sample, 10u);
    EXPECT_EQ(drive.runs[1].end, 15u);
    EXPECT_EQ(drive.counts.fixes, 15u);
    EXPECT_THAT(stretches(Kind::Restart),
                ElementsAre("10.0 to 30.0: the monitor had ended, and began anew after 20 s"));
    EXPECT_THAT(stretches(Kind::NoFix), IsEmpty());
}

TEST_F(RecordedDrive, SaysThatALossOfPowerHasCutIt) {
    lines.start().fixesFor(10).text("{\"ty\n").pass(90).startOnceMore(12).fixesFor(5);
    EXPECT_THAT(stretches(Kind::Restart),
                ElementsAre("10.0 to 100.0: the recording was cut off, and began anew after 1 min 30 s"));
}

TEST_F(RecordedDrive, TakesTheTicksWhereTheClockWasSetBetweenTwoRuns) {
    lines.start().fixesFor(10).setClockBy(-3600).pass(20).start().fixesFor(5);
    EXPECT_EQ(lines.drive().durationS, 35);
}

TEST_F(RecordedDrive, TakesNoTimeForAPauseThatNothingTells) {
    lines.start().fixesFor(10).setClockBy(-3600).startOnceMore(12).fixesFor(5);
    EXPECT_EQ(lines.drive().durationS, 15);
}

TEST_F(RecordedDrive, TakesNoYearsForAClockThatWasSetForTheFirstTime) {
    constexpr double kYears = 56.0 * 365 * 24 * 3600;
    lines.start().fixesFor(10).setClockBy(kYears).startOnceMore(12).fixesFor(5);
    EXPECT_EQ(lines.drive().durationS, 15);
}

TEST_F(RecordedDrive, KnowsARestartWhoseStartIsDamaged) {
    const std::string start = RecordedLines().line(telemetry::Start{}).text();
    lines.start().fixesFor(10).pass(20);
    RecordedLines later = lines;
    later.start().fixesFor(5);
    std::string text = later.text();
    text.replace(lines.text().size(), 8, "damaged ");
    const Drive drive = RecordedLines().text(text).drive();
    EXPECT_EQ(drive.runs.size(), 2u);
    EXPECT_EQ(drive.durationS, 35);
}

TEST_F(RecordedDrive, NeverGoesBack) {
    lines.start().pass(5).reading().pass(-0.5).reading().pass(2).reading();
    EXPECT_THAT(timesOf(lines.drive()), ElementsAre(5, 5, 6.5));
}

// --- What is missing ------------------------------------------------------------------------------------

TEST_F(RecordedDrive, MarksWhereNoFixWasAccepted) {
    lines.start().fixesFor(20).readingsFor(41).fixesFor(3);
    EXPECT_THAT(stretches(Kind::NoFix), ElementsAre("20.0 to 62.0: no fix for 42 s"));
}

TEST_F(RecordedDrive, DoesNotMarkASecondFixThatIsLate) {
    lines.start().fixesFor(20).readingsFor(1).fixesFor(3);
    EXPECT_THAT(stretches(Kind::NoFix), IsEmpty());
}

TEST_F(RecordedDrive, DoesNotMarkAFixThatWasReadLate) {
    lines.start().fixesFor(20).pass(0.9).reading().pass(1.05);
    lines.readings.fixTickS += 2;
    lines.reading().fixesFor(3);
    EXPECT_THAT(stretches(Kind::NoFix), IsEmpty());
}

TEST_F(RecordedDrive, MarksTheWaitForTheFirstFixAndForTheLast) {
    lines.start().readingsFor(30).fixesFor(3).readingsFor(8);
    EXPECT_THAT(stretches(Kind::NoFix),
                ElementsAre("1.0 to 31.0: no fix for 30 s", "33.0 to 41.0: no fix for 8 s"));
}

TEST_F(RecordedDrive, MeasuresAMissingFixInIntervals) {
    lines.settings.positionIntervalS = 30;
    lines.start();
    for (int i = 0; i < 4; ++i)
        lines.pass(30).fix({});
    EXPECT_THAT(stretches(Kind::NoFix), IsEmpty());
    lines.readingsFor(31).pass(30).fix({});
    EXPECT_THAT(stretches(Kind::NoFix), ElementsAre("120.0 to 181.0: no fix for 1 min 1 s"));
}

TEST_F(RecordedDrive, MarksWhereNothingWasWritten) {
    lines.start().fixesFor(20).pass(100).fixesFor(3);
    EXPECT_THAT(stretches(Kind::NoReadings),
                ElementsAre("20.0 to 121.0: nothing was recorded for 1 min 41 s"));
    EXPECT_THAT(stretches(Kind::NoFix), IsEmpty());
}

TEST_F(RecordedDrive, MarksAJumpOfTheClockAndKeepsItsAxis) {
    lines.start().fixesFor(20).setClockBy(-7500).fixesFor(20).setClockBy(3).fixesFor(2);
    EXPECT_EQ(lines.drive().durationS, 42);
    EXPECT_THAT(stretches(Kind::ClockJump),
                ElementsAre("21.0 to 21.0: the system's clock jumped back by 2 h 5 min",
                            "41.0 to 41.0: the system's clock jumped forward by 3 s"));
}

TEST_F(RecordedDrive, DoesNotMarkAClockThatIsSlewed) {
    lines.start();
    for (int i = 0; i < 100; ++i)
        lines.fixesFor(1).setClockBy(0.5);
    EXPECT_THAT(stretches(Kind::ClockJump), IsEmpty());
}

// --- The watchdog ---------------------------------------------------------------------------------------

/// A lost fix that the worker tells with each of its cycles.
void tellLostFix(RecordedLines& lines, int seconds) {
    for (int i = 0; i < seconds; ++i)
        lines.pass(1).line(telemetry::AvailabilityChanged{}).reading();
}

TEST_F(RecordedDrive, TakesAWorkerThatIsSilentAboutALostFixForTheWatchdog) {
    lines.start();
    lines.readings.satellites = 9; // as they were when gpsd died
    lines.fixesFor(20).readingsFor(10).fixesFor(3);
    EXPECT_THAT(
        stretches(Kind::Watchdog),
        ElementsAre("20.0 to 31.0: gpsd was probably restarted by the watchdog: nothing changed for 11 s"));
}

TEST_F(RecordedDrive, TakesALongSilenceOfGpsdForTheWatchdog) {
    lines.start();
    lines.readings.satellites = 9;
    lines.fixesFor(20);
    lines.readings.satellites = 0;
    lines.readingsFor(57).fixesFor(3);
    EXPECT_THAT(stretches(Kind::Watchdog),
                ElementsAre(HasSubstr("21.0 to 78.0: gpsd was probably restarted")));
}

TEST_F(RecordedDrive, TakesNoSilenceThatEndsEarlierForTheWatchdog) {
    lines.start();
    lines.readings.satellites = 9;
    lines.fixesFor(20);
    lines.readings.satellites = 0;
    lines.readingsFor(40).fixesFor(3);
    EXPECT_THAT(stretches(Kind::Watchdog), IsEmpty());
}

TEST_F(RecordedDrive, TakesNoLostFixThatTheWorkerTellsForTheWatchdog) {
    lines.start().fixesFor(20);
    tellLostFix(lines, 300);
    lines.fixesFor(3);
    EXPECT_THAT(stretches(Kind::Watchdog), IsEmpty());
}

TEST_F(RecordedDrive, TakesNoServiceWithoutAFixForTheWatchdog) {
    lines.start().readingsFor(60).fixesFor(3);
    EXPECT_THAT(stretches(Kind::Watchdog), IsEmpty());
}

TEST_F(RecordedDrive, TakesNoStopForTheWatchdog) {
    lines.start().fixesFor(20).line(telemetry::ServiceStep{Step::Stopping, 0, 0, {}}).readingsFor(30);
    EXPECT_THAT(stretches(Kind::Watchdog), IsEmpty());
    EXPECT_THAT(stretches(Kind::NoFix), IsEmpty());
}

TEST(Durations, AreSaidInWords) {
    EXPECT_EQ(durationInWords(0.4), "0 s");
    EXPECT_EQ(durationInWords(59.4), "59 s");
    EXPECT_EQ(durationInWords(200), "3 min 20 s");
    EXPECT_EQ(durationInWords(7500), "2 h 5 min");
}

} // namespace
