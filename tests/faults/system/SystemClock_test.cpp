// The application's clock is set while the service runs. gpsd and the receiver keep theirs, so what the
// library measures against a clock that jumps is seen alone.

#include <algorithm>
#include <cmath>
#include <vector>

#include "SystemFault.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

class ClockJump : public SystemFault {
protected:
    /// Sets the clock by this step while fixes come, and expects this time deviation afterwards, in seconds.
    /// A jump ahead makes the last report old until the next one comes: one cycle without a fix, at most.
    void costsACycleAtMost(const std::string& row, const std::string& step, double delta) {
        liveThrough({kFirstFix, step, "until-fix 10", "until position 1 20", "readings"});
        const double end = unit.line("readings").t;
        noteRecovery(row, unit.line("clock"), kNextFix);
        EXPECT_THAT(unit.lines("event", "position"), SizeIs(2));
        EXPECT_LT(longestGap(end), kFixesPerUpdate + 2) << "a cycle each second, and one that found nothing";
        faultFigure(row, "events_lost", positionsLost(end));
        EXPECT_THAT(unit.logged(3, kWatchdog), IsEmpty());
        EXPECT_NEAR(unit.line("readings").number("time"), end, kFixAge);
        EXPECT_NEAR(unit.line("readings").number("delta"), delta, 1) << "a report is a second old at most";
        EXPECT_EQ(unit.line("readings").text("deviation"), "1");
        expectNothingLeaked(row);
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
    noteRecovery("system.clock-1970", unit.line("clock"), kNextFix);
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
    noteRecovery("system.clock-back-while-gpsd-hangs", unit.line("clock"),
                 kElevenEmptyWaits + FaultOnUnit::kRestartSeconds + kNextFix);
    expectNothingLeaked("system.clock-back-while-gpsd-hangs");
}

class ClockAndTracking : public SystemFault {
protected:
    static constexpr double kPeriod = 10;
    static constexpr double kBoundary = 3; ///< from a second before a multiple of the period to one behind it
    /// Reports are five ticks apart at least, and a tick's begin may be up to a second after its report.
    static constexpr double kLeastGap = 5 - 1;

    /// Sets the clock while reports go out, each step right behind a report: within the same millisecond
    /// where the probe happens to look at that moment, so what has the time of a step came before it.
    void setTheClock(const Steps& steps) {
        unit.probe(concat(concat({"construct", "params trackingEnabled=1 trackingPeriod=10", "initialize",
                                  "start", kFirstFix, "forget"},
                                 steps),
                          {"readings", "stop", "finalize", "destroy"}));
        EXPECT_EQ(unit.status(), 0);
    }

    /// The reports behind this time.
    std::vector<ProbeLine> reportsBehind(double begin) const {
        std::vector<ProbeLine> reports = unit.lines("event", "tracking");
        reports.erase(std::remove_if(reports.begin(), reports.end(),
                                     [begin](const ProbeLine& report) { return report.t <= begin; }),
                      reports.end());
        return reports;
    }

    /// By the clock that was set last before it, seconds from the begin of the boundary on.
    double secondsIntoTheBoundary(const ProbeLine& report) const {
        double ahead = 0;
        for (const ProbeLine& clock : unit.lines("clock"))
            ahead = clock.t < report.t ? clock.number("ahead") : ahead;
        return std::fmod(report.t + ahead + 1, kPeriod);
    }

    double leastGap() const {
        const auto reports = reportsBehind(0);
        double least = kPeriod;
        for (std::size_t i = 1; i < reports.size(); ++i)
            least = std::min(least, reports[i].t - reports[i - 1].t);
        return least;
    }

    /// Boundaries that passed since the last time that the clock was set, and had no report.
    double boundariesLost() const {
        const ProbeLine last = unit.lines("clock").back();
        const auto passed = [&last](double t) {
            return std::floor((t + last.number("ahead") + 1 - kBoundary) / kPeriod);
        };
        const double all = passed(unit.line("readings").t) - passed(last.t);
        return all - static_cast<double>(reportsBehind(last.t).size());
    }

    void expectReportsAtTheBoundaries() const {
        for (const ProbeLine& report : reportsBehind(unit.line("clock").t))
            EXPECT_LT(secondsIntoTheBoundary(report), kBoundary + 1) << "the worker's cycle is late by less";
    }
};

// Five seconds ahead between two reports; then back by one right behind one, so that its boundary begins
// anew, and ahead by seven, so that the next one begins three seconds behind it.
TEST_F(ClockAndTracking, ComesWithItAndSendsNeverTwoReportsWithinFiveSeconds) {
    setTheClock({"until tracking,valid=1 1 30", "clock 5", "until tracking,valid=1 1 30", "clock 4",
                 "until tracking,valid=1 1 30", "clock 11", "until tracking,valid=1 1 30", "run 13"});
    expectReportsAtTheBoundaries();
    EXPECT_GT(leastGap(), kLeastGap);
    const auto reports = reportsBehind(unit.lines("clock")[1].t);
    ASSERT_THAT(reports, SizeIs(3));
    EXPECT_GT(reports[0].t - unit.lines("clock")[1].t, kPeriod) << "a second later than without";
    EXPECT_LT(reports[1].t - reports[0].t, kPeriod - kBoundary) << "as soon as five seconds are over";
    faultFigure("system.clock-and-tracking", "least_gap_s", leastGap());
    faultFigure("system.clock-and-tracking", "events_lost", boundariesLost());
}

} // namespace
