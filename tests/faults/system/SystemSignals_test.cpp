// Signals at the blocking calls of each thread: those that applications use as timers and notices come to all
// of them fifty times a second, with handlers that restart nothing.

#include "SystemFault.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class SystemSignals : public SystemFault {
protected:
    /// Every 20 ms: in each pause of the reader (50 ms) and between two reads of the port (21.7 ms) at least
    /// one.
    static constexpr char kSignals[] = "signals 50";
    static constexpr double kPerSecond = 50;

    /// The storm kept its rate, and most of it was handled on the application's thread: that blocks them in
    /// the library's pauses, which are less than half of each of these runs.
    void expectHandled(const std::string& row) {
        const ProbeLine storm = unit.line("signals");
        const double seconds = storm.number("ms") / 1000;
        EXPECT_GE(storm.number("rounds"), kPerSecond * (seconds - kLateness));
        EXPECT_GT(storm.number("here"), storm.number("rounds") / 2);
        faultFigure(row, "signals_a_second", storm.number("rounds") / seconds);
        faultFigure(row, "handled", storm.number("here"));
    }

    void expectHandledHereAlone(const std::string& row) {
        expectHandled(row);
        EXPECT_EQ(unit.line("signals").text("elsewhere"), "0") << "reader and worker block all signals";
    }
};

// Three seconds before the start: its delay is cut by signals, and gpsd may not be there yet (a row below).
TEST_F(SystemSignals, OfTimersAndNoticesDisturbNoPartOfAWholeLife) {
    unit.probe({"held", kSignals, "construct", "initialize", "run 3", "start", kFirstFix, "clock 0",
                "until-fix 10", "stop", "finalize", "destroy", "signals 0", "held"});
    EXPECT_EQ(unit.status(), 0);
    for (const ProbeLine& end : unit.lines("end"))
        EXPECT_EQ(end.text("rc"), "0x00000000") << end.name;
    EXPECT_EQ(emptyCyclesAfter(unit.line("seen")), 0u);
    EXPECT_THAT(unit.logged(6, "UBXConfig: All commands have been acknowledged by positioning chip"),
                SizeIs(1));
    expectHandledHereAlone("system.signals");
    noteRecovery("system.signals", unit.line("clock"), kNextFix);
    expectNothingLeaked("system.signals");
}

// The shell commands of the restart get the application's mask, and while they start so has the worker:
// handlers may run on it then.
TEST_F(SystemSignals, DisturbNoRestart) {
    liveThrough(
        {kFirstFix, kSignals, kKillGpsd, "clock 0", "until-state resets=2 60", "until-fix 60", "signals 0"});
    EXPECT_THAT(unit.logged(3, kWatchdog), SizeIs(1));
    expectHandled("system.signals-in-a-restart");
    faultFigure("system.signals-in-a-restart", "handled_on_the_worker",
                unit.line("signals").number("elsewhere"));
    noteRecovery("system.signals-in-a-restart", unit.line("clock"), kRestart);
    expectNothingLeaked("system.signals-in-a-restart");
}

TEST_F(SystemSignals, CutTheDelayOfStartWhichConnectsEarlier) {
    unit.probe({"construct", "initialize", kSignals, "start", "clock 0", "until-fix 30", "signals 0", "stop",
                "finalize", "destroy"});
    EXPECT_EQ(unit.status(), 0);
    EXPECT_EQ(unit.line("end", "start").text("rc"), "0x00000000");
    EXPECT_LT(unit.line("end", "start").number("seconds"), kStartDelay - 1);
    // gpsd may not be there yet, and then a restart looks after it.
    noteRecovery("system.signals-in-the-start-delay", unit.line("clock"), kRestart + kNextFix);
}

TEST_F(SystemSignals, CutTheWaitForTheTokenAndStartMayBeCalledAgain) {
    liveThrough({kFirstFix, "params enabled=0", "run 3", "params enabled=1", kSignals, "start", "signals 0",
                 "start", "until-fix 10"});
    const auto starts = unit.lines("end", "start");
    ASSERT_THAT(starts, SizeIs(3));
    EXPECT_EQ(starts[1].text("rc"), "0x17000003");
    EXPECT_THAT(unit.logged(2, "GPS worker failed to wait for semaphore (errno 4)!"), SizeIs(1));
    EXPECT_EQ(starts[2].text("rc"), "0x00000000");
    noteRecovery("system.signals-in-the-token-wait", starts[1], 1 + kNextFix); // and the token's
    expectNothingLeaked("system.signals-in-the-token-wait");
}

// The ones that people and supervisors send. The construction is in its longest pause then.
TEST_F(SystemSignals, ThatEndAProcessEndItInAPauseAtOnce) {
    unit.receiver("--deaf 100");
    unit.script(R"bash(for signal in INT TERM HUP QUIT; do
            env --default-signal=INT --default-signal=QUIT "$0" construct 2>/dev/null & probe=$!
            "$0" "run 3"; kill -$signal $probe
            wait $probe; echo "output $(kill -l $?)"
        done 2>/dev/null)bash");
    EXPECT_THAT(unit.output(), ElementsAre("INT", "TERM", "HUP", "QUIT"));
    EXPECT_THAT(unit.lines("end", "construct"), IsEmpty());
    faultFigure("system.signals-that-end", "ended", static_cast<double>(unit.output().size()));
}

} // namespace
