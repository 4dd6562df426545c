// An application that misbehaves in its callbacks, and one with a locale of its own.

#include "SystemFault.h"

using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class SystemCallbacks : public SystemFault {
protected:
    static constexpr int kAborted = 128 + 6;
    static constexpr double kAntennaBack = 2 * (2 + 0.25); ///< looked at twice: bad, and in order again
    /// The reader connects, gpsd opens the receiver's port for it and recognises the receiver (as long as a
    /// reader's wait for a report, 5 s), and a report and a cycle as above; the antenna is asked every 2 s.
    static constexpr double kStartToFix = 5 + 2 + kNextFix;
    /// From the construction to the end of a stop: the reset's and the configuration's answers (3 s), the
    /// start (3 s), gpsd that recognises the receiver (5 s), its first fix (2 s) and eleven fixes, a wait for
    /// each of them in a cycle (2.5 s), and the reader's last wait (5 s).
    static constexpr int kLifeSeconds = 32;

    /// The call never came back, its thread has gone, and the application's `stop` and `start` succeeded.
    void expectTheWorkerIsLost() const {
        EXPECT_THAT(unit.logged(3, "GPSTimedWorker failed to join worker thread (result is 35)"), SizeIs(1));
        EXPECT_THAT(unit.lines("misbehaves"), SizeIs(1));
        EXPECT_THAT(unit.lines("behaves"), IsEmpty());
        EXPECT_THAT(resultsOf("start"), ElementsAre("0x00000000", "0x00000000"));
    }
    std::vector<std::string> resultsOf(const std::string& name) const {
        std::vector<std::string> results;
        for (const ProbeLine& end : unit.lines("end", name))
            results.push_back(end.text("rc"));
        return results;
    }

    /// Looks when a service that ends has ended whether the probe has come to its end by itself.
    void lookWhetherItEnds(const std::string& steps) {
        unit.script("\"$0\" " + steps + R"( & probe=$!
            "$0" "run )" +
                    std::to_string(kLifeSeconds) + R"("
            kill -0 $probe 2>/dev/null && echo "output hangs" || echo "output ended"
            kill -9 $probe; wait $probe 2>/dev/null)");
    }
};

TEST_F(SystemCallbacks, ThatThrowEndTheProcess) {
    unit.probe({"construct", "initialize", "start", "callback position throw", kFirstFix, "run 5"});
    EXPECT_EQ(unit.status(), kAborted);
    faultFigure("system.callback-throws", "exit_status", unit.status());
}

TEST_F(SystemCallbacks, ThatBlockHoldTheServiceUpAsLong) {
    liveThrough(
        {"callback position 30", kFirstFix, "run 1", "readings", "clock 0", "until-fix 40", "readings"});
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(2));
    EXPECT_GE(readings[0].t, unit.line("behaves").t) << "whoever asks for readings waits for the callback";
    EXPECT_GE(unit.line("behaves").t - unit.line("misbehaves").t, 30);
    EXPECT_THAT(unit.logged(3, kWatchdog), IsEmpty()) << "the reader goes on meanwhile";
    noteRecovery("system.callback-blocks", unit.line("behaves"), kNextFix);
    expectNothingLeaked("system.callback-blocks");
}

TEST_F(SystemCallbacks, ThatAskForReadingsUnderTheLockWaitForEver) {
    lookWhetherItEnds(
        R"(construct initialize start "callback position readings" "until position 1 30" stop)");
    EXPECT_THAT(unit.output(), ElementsAre("hangs"));
    EXPECT_THAT(unit.lines("behaves"), IsEmpty());
    EXPECT_THAT(unit.lines("end", "stop"), IsEmpty());
}

TEST_F(SystemCallbacks, OfTheAntennaMayAskForReadings) {
    liveThrough({kFirstFix, "callback antenna readings", "write /run/unit/antenna 3",
                 "until antenna,state=3 1 10", "write /run/unit/antenna 1", "until antenna,state=1 1 10",
                 "until-fix 10"});
    EXPECT_THAT(unit.lines("behaves"), SizeIs(1));
    noteRecovery("system.callback-of-the-antenna-reads", unit.line("behaves"), kAntennaBack + kNextFix);
    expectNothingLeaked("system.callback-of-the-antenna-reads");
}

// The worker can't wait for its own end, and is cancelled where it stands next.
TEST_F(SystemCallbacks, ThatStopTheAdapterLoseTheWorkerAndAStartMakesAnother) {
    liveThrough({"callback position stop", kFirstFix, "run 12", "stop", "start", "until-fix 20"});
    expectTheWorkerIsLost();
    EXPECT_THAT(unit.lines("event", "position"), SizeIs(Ge(2u))) << "the cut one comes once more";
    noteRecovery("system.callback-stops", unit.lines("begin", "stop")[1], kStartToFix);
    expectNothingLeaked("system.callback-stops");
}

TEST_F(SystemCallbacks, OfTheAntennaThatStopTheAdapterLoseTheWorkerToo) {
    liveThrough({kFirstFix, "callback antenna stop", "write /run/unit/antenna 3", "run 12",
                 "write /run/unit/antenna 1", "stop", "start", "until-fix 20"});
    expectTheWorkerIsLost();
    noteRecovery("system.callback-of-the-antenna-stops", unit.lines("begin", "stop")[1], kStartToFix);
    expectNothingLeaked("system.callback-of-the-antenna-stops");
}

TEST_F(SystemCallbacks, ThatFinalizeTheAdapterLoseTheWorkerAndLeaveGpsd) {
    liveThrough({"callback position finalize", kFirstFix, "run 12", "shell pidof gpsd", "stop", "start",
                 "until-fix 20"});
    expectTheWorkerIsLost();
    EXPECT_THAT(unit.output(), SizeIs(1)) << "it got no further than the stop";
    noteRecovery("system.callback-finalizes", unit.line("begin", "stop"), kStartToFix);
    expectNothingLeaked("system.callback-finalizes");
}

TEST_F(SystemCallbacks, ThatInitializeAndStartTheAdapterChangeNothing) {
    liveThrough(
        {"callback position initialize", kFirstFix, "callback position start", kFirstFix, "until-fix 10"});
    EXPECT_THAT(unit.lines("behaves"), SizeIs(2));
    for (const char* name : {"initialize", "start"})
        EXPECT_THAT(resultsOf(name), ElementsAre("0x00000000", "0x00000000")) << name;
    EXPECT_THAT(unit.logged(6, "GPSTimedWorker already running"), SizeIs(1));
    EXPECT_THAT(unit.logged(3, kWatchdog), IsEmpty());
    noteRecovery("system.callback-starts", unit.lines("behaves")[1], kNextFix);
    expectNothingLeaked("system.callback-starts");
}

TEST_F(SystemCallbacks, ThatHandAPositionOverHoldTheLockUntilGpsdIsBack) {
    liveThrough({"callback position position 47.28 8.56 450", kFirstFix, "readings", "until-fix 20"});
    EXPECT_THAT(resultsOf("position"), ElementsAre("0x00000000"));
    EXPECT_GE(unit.line("readings").t, unit.line("behaves").t) << "whoever asks for readings waits";
    EXPECT_THAT(unit.loggedLike("Initial position assistance completed"), SizeIs(1));
    faultFigure("system.callback-hands-a-position-over", "readings_wait_s",
                unit.line("behaves").t - unit.line("misbehaves").t);
    noteRecovery("system.callback-hands-a-position-over", unit.line("behaves"), kStartToFix);
    expectNothingLeaked("system.callback-hands-a-position-over");
}

TEST_F(SystemCallbacks, ThatDestroyTheAdapterEndTheProcess) {
    for (const std::string event : {"position", "antenna"}) {
        unit.probe(
            {"construct", "initialize", "callback " + event + " destroy", "start", kFirstFix, "run 5"});
        EXPECT_EQ(unit.status(), kAborted) << event;
        faultFigure("system.callback-destroys", "exit_status", unit.status());
    }
}

TEST_F(SystemCallbacks, AndALocaleWithADecimalCommaChangeTheDetailsOfAFixAlone) {
    unit.script(R"(localedef -i de_DE -f UTF-8 /data/de_DE.UTF-8 2>/dev/null
        LOCPATH=/data "$0" "locale de_DE.UTF-8" construct "params logInterval=5 setOdometer=1 odometerValue=1234567" \
            initialize start "until position 1 60" "clock 3600" "run 5" stop finalize destroy)");
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.logged(6, "Set odometer from 0 to 1234567"), SizeIs(1));
    EXPECT_THAT(unit.loggedLike("fix-age=0s odometer=1234567"), SizeIs(testing::Gt(0u)));
    EXPECT_THAT(unit.loggedLike("longitude=8,5653 latitude=47,2852 alt=450m"), SizeIs(testing::Gt(0u)));
    for (const LogLine& line : unit.loggedLike("mode: 3, PDOP: "))
        EXPECT_THAT(line.text, testing::MatchesRegex(".*PDOP: [0-9]+,[0-9]+"));
    EXPECT_THAT(unit.loggedLike("mode: 3, PDOP: "), SizeIs(testing::Gt(0u)));
    EXPECT_THAT(unit.loggedLike("usleep 250000."), SizeIs(1));
    for (const LogLine& line : unit.loggedLike("GetSatellites: SNRs: ["))
        EXPECT_THAT(line.text, testing::MatchesRegex(".*\\[[0-9]+(,[0-9]+)*\\]; "));
    EXPECT_THAT(unit.logged(6, "UBXConfig: All commands have been acknowledged by positioning chip"),
                SizeIs(1));
    faultFigure("system.locale", "lines_with_a_comma",
                static_cast<double>(unit.loggedLike("longitude=8,5653").size()));
}

} // namespace
