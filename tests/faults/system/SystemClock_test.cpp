// The application's clock is set while the service runs. gpsd and the receiver keep theirs, so what the
// library measures against a clock that jumps is seen alone.

#include <algorithm>

#include "SystemFault.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr double kFixesPerUpdate = 11;

class ClockJump : public SystemFault {
protected:
    /// Sets the clock by this step while fixes come, and expects this time deviation afterwards, in seconds.
    /// A jump ahead makes the last report old until the next one comes: one cycle without a fix, at most.
    void costsACycleAtMost(const std::string& row, const std::string& step, double delta) {
        liveThrough({kFirstFix, step, "until-fix 10", "until position 1 20", "readings"});
        noteRecovery(row, unit.line("clock"), 2.5);
        EXPECT_THAT(unit.lines("event", "position"), SizeIs(2));
        EXPECT_LT(longestGap(), kFixesPerUpdate + 2) << "a cycle each second, and one that found nothing";
        faultFigure(row, "events_lost", longestGap() < 2 * kFixesPerUpdate ? 0 : 1);
        EXPECT_THAT(unit.logged(3, kWatchdog), IsEmpty());
        EXPECT_NEAR(unit.line("readings").number("time"), unit.line("readings").t, 5);
        EXPECT_NEAR(unit.line("readings").number("delta"), delta, 1) << "a report is a second old at most";
        EXPECT_EQ(unit.line("readings").text("deviation"), "1");
        expectNothingLeaked(row);
    }

private:
    /// The longest time between two notifications of a position.
    double longestGap() const {
        const auto events = unit.lines("event", "position");
        double longest = 0;
        for (std::size_t i = 1; i < events.size(); ++i)
            longest = std::max(longest, events[i].t - events[i - 1].t);
        return longest;
    }
};

TEST_F(ClockJump, OfASecondBack) { costsACycleAtMost("system.clock-second-back", "clock -1", 1); }
TEST_F(ClockJump, OfASecondAhead) { costsACycleAtMost("system.clock-second-ahead", "clock 1", -1); }
TEST_F(ClockJump, OfAnHourBack) { costsACycleAtMost("system.clock-hour-back", "clock -3600", 3600); }
TEST_F(ClockJump, OfAnHourAhead) { costsACycleAtMost("system.clock-hour-ahead", "clock 3600", -3600); }

// More than 30 days from a clock that was set count as implausible, and the deviation of before stays.
TEST_F(ClockJump, Of31DaysBack) { costsACycleAtMost("system.clock-31-days-back", "clock -2678400", 0); }
TEST_F(ClockJump, Of31DaysAhead) { costsACycleAtMost("system.clock-31-days-ahead", "clock 2678400", 0); }

// Three seconds before the end of 32 bits.
TEST_F(ClockJump, AcrossTheEndOf32BitsIn2038) {
    costsACycleAtMost("system.clock-across-2038", "clock-at 2147483644", 0);
}

class SystemClock : public SystemFault {};

// Before 1990 the clock was never set, and any deviation is believed.
TEST_F(SystemClock, AtItsBeginIsMeasuredAgainstTheReceiver) {
    liveThrough({kFirstFix, "clock-at 0", "until-fix 10", "until position 1 20", "readings"});
    noteRecovery("system.clock-1970", unit.line("clock"), 2.5);
    EXPECT_THAT(unit.logged(3, kWatchdog), IsEmpty());
    EXPECT_NEAR(unit.line("readings").number("delta"), -unit.line("clock").number("ahead"), 2);
    EXPECT_EQ(unit.line("readings").text("deviation"), "1");
    expectNothingLeaked("system.clock-1970");
}

// A report's age is counted from the clock of its arrival, so an hour back makes it current for an hour. The
// reader's count of empty cycles is what ends that.
TEST_F(SystemClock, SetBackWhileGpsdHangsKeepsTheLastReportCurrentUntilTheRestart) {
    liveThrough({kFirstFix, "readings", "shell kill -STOP $(pidof gpsd)", "clock -3600", "run 30", "readings",
                 "until-state resets=2 60", "until-fix 60", "readings"});
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(3));
    EXPECT_GT(readings[1].number("fixTick") - readings[0].number("fixTick"), 25) << "accepted all the while";
    EXPECT_LE(readings[1].number("time"), readings[0].number("time") + 2)
        << "by the receiver's clock it is old";
    EXPECT_THAT(unit.logged(3, kWatchdog), SizeIs(1));
    noteRecovery("system.clock-back-while-gpsd-hangs", unit.line("clock"), 90);
    expectNothingLeaked("system.clock-back-while-gpsd-hangs");
}

TEST_F(SystemClock, TakesTheTrackingScheduleWithIt) {
    unit.probe({"construct", "params trackingEnabled=1 trackingPeriod=20", "initialize", "start", kFirstFix,
                "clock 10", "forget", "until tracking,valid=1 2 60", "stop", "finalize", "destroy"});
    EXPECT_EQ(unit.status(), 0);
    const double set = unit.line("clock").t;
    std::size_t reports = 0;
    for (const ProbeLine& report : unit.lines("event", "tracking")) {
        if (report.t < set)
            continue;
        ++reports;
        EXPECT_LT(std::fmod(report.t + 10 + 1, 20), 4) << "from a second before the new clock's boundary on";
    }
    EXPECT_GE(reports, 2u);
    faultFigure("system.clock-and-tracking", "events_lost", 0);
}

} // namespace
