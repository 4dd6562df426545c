// gpsd itself: killed, stopped, missing, slow, watched over by somebody else.

#include <fstream>

#include "FaultOnUnit.h"

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

class GpsdFaults : public FaultOnUnit {
protected:
    /// The service runs and has had a fix.
    const Steps healthy = {"until-fix 60", "run 2", "resources"};
    /// The last report that gpsd sent before a fault is taken, at the worker's next cycle: the next fix is
    /// one that came back.
    static constexpr char kTakeLast[] = "run 2";
    /// The same once more, after a fault.
    const Steps recovered = {"until-fix 150", "run 2", "resources", "readings", "shell pidof gpsd"};

    /// The probe with a folder of its own in front of PATH, and no other gpsd than one in that folder.
    void serveWithOwnGpsd(const std::string& prepare, const Steps& steps) {
        std::string script =
            "mkdir /run/bin; ln -s /unit/bin/timeout /run/bin; PATH=/run/bin:/usr/bin:/bin; " + prepare +
            "; exec \"$0\"";
        for (const std::string& step : steps)
            script += " '" + step + "'";
        unit.receiver("--ttff 2 --burst");
        unit.script(script);
        EXPECT_EQ(unit.status(), 0) << "an event was waited for in vain";
    }

    /// A gpsd of the given lines of bash in that folder.
    static std::string ownGpsd(const std::vector<std::string>& lines) {
        std::string command = R"(printf "%s\n" "#!/bin/bash")";
        for (const std::string& line : lines)
            command += " \"" + line + "\"";
        return command + " >/run/bin/gpsd; chmod +x /run/bin/gpsd";
    }

    void serveThrough(const Steps& steps) {
        unit.receiver("--ttff 2 --burst");
        serve(steps);
    }

    static constexpr double kMetresPerDegree = 111195; // of latitude

    /// A kilometre's length of the way due north from 1 N 8 E.
    static std::string fence(const std::string& name, double middleMetres) {
        return "geofence " + name + " " + std::to_string(1 + middleMetres / kMetresPerDegree) +
               " 8 9000 9000";
    }

    /// So long, and what its processes take: a check for gpsd before each second's sleep, and behind the
    /// last.
    void expectInitializeTook(double seconds) const {
        const double took = unit.line("end", "initialize").number("seconds");
        EXPECT_GT(took, seconds - kProcess); // of what runs beside it, and began a process earlier
        EXPECT_LT(took, seconds + 11 * kProcess);
    }
    static constexpr double kProcess = 0.25; ///< as late as the unit's clock may be

    std::size_t restarts() const { return unit.logged(3, kWatchdog).size(); }

    // --- The database's file

    /// A whole record and its number, so that what a run leaves can't be what was there before.
    void putOldDatabase() const {
        std::ofstream file(unit.dataFolder() + "/NavigationDatabaseDump", std::ios::binary);
        file << std::string("\xB5\x62\x13\x80\x04\x00old!\xF7\x19", 12) << "000001";
    }
};

const std::vector<std::string> kBegin = {"construct", "resources", "initialize", "start"};
const std::vector<std::string> kEnd = {"stop", "finalize", "forget", "resources", "destroy"};
constexpr char kInstall[] = "shell ln -sf /unit/bin/gpsd /run/bin/gpsd";
// Lines of a gpsd of the test's own; the shell takes off what quotes them.
constexpr char kInBackground[] = R"(exec /unit/bin/gpsd \"\$@\")";
constexpr char kInForeground[] = R"(exec /unit/bin/gpsd -N \"\$@\")";
constexpr char kOnAnotherPort[] = R"(exec /unit/bin/gpsd -S 2948 \"\$@\")";
constexpr char kKill[] = "shell kill -9 $(pidof gpsd)";
constexpr char kPrintDatabase[] = "shell cat /data/NavigationDatabaseDump; echo";
constexpr char kPrintSpeed[] = "shell stty -F /dev/ttymxc1 speed";

// The line's speed as it is now: the receiver writes its state with each command. A gpsd that stands still
// changes nothing any more, so the second look is the one that counts.
constexpr char kKillAt9600[] =
    "shell is9600() { echo hz 0 >/run/unit/receiver.control; sleep 0.2;"
    " grep -q ^port_baud=9600 /run/unit/receiver.state; };"
    " for try in $(seq 50); do p=$(pidof gpsd) && is9600 && kill -STOP $p && is9600 && break;"
    " kill -CONT $p; p=; done;"
    " kill -9 $p && sleep 1 && test -n \"$p\" && ! test -e /proc/$p && echo killed";

constexpr char kKillEveryTwoSeconds[] = "while :; do kill -9 $(pidof gpsd); sleep 2; done";
// Those that have the line: one that finds the port taken ends before it opens that.
constexpr char kPrintGpsds[] =
    "shell for p in $(pidof gpsd); do readlink /proc/$p/fd/* | grep -q -e ^/dev/pts/ -e ^/dev/ttymxc1"
    " && tr '\\0' ' ' </proc/$p/cmdline && echo; done";
// Waits until a reader is connected with port 2947, 0x0B83.
constexpr char kAwaitConnection[] =
    "shell for look in $(seq 600); do cat /proc/net/tcp* | grep -q ':0B83 01 '"
    " && echo connected && break; sleep 0.2; done";
// About the same, until one has the line at its own speed: that one stands still until its kill, as the
// watchdog would have the line set again within seconds of it.
constexpr char kKillEveryTwoSecondsButOneAt9600[] =
    "while :; do p=$(pidof gpsd) && for look in 1 2 3 4 5; do kill -STOP $p &&"
    " test $(stty -F /dev/ttymxc1 speed) = 9600 && touch /run/held && break 2; kill -CONT $p; sleep 0.2; "
    "done;"
    " kill -9 $p; sleep 0.5; done";
constexpr char kAwaitHeld[] =
    "shell for look in $(seq 600); do test -e /run/held && echo held && break; sleep 0.2; done";

} // namespace

// --- Killed ---------------------------------------------------------------------------------------------

TEST_F(GpsdFaults, KilledOnceComesBack) {
    serveThrough(concat(concat(healthy, {kKill, kTakeLast}), recovered));
    EXPECT_EQ(restarts(), 1u);
    EXPECT_THAT(unit.logged(3, cyclesWithoutData(11)), SizeIs(1));
    EXPECT_THAT(unit.logged(3, kCloses), IsEmpty()) << "reads that fail end no reader";
    expectRecovery("gpsd.killed-once", secondsToSee("fix"), kCountsToRestart + kRestartSeconds);
    expectNothingLeft("gpsd.killed-once");
    expectAllSucceeded();
}

TEST_F(GpsdFaults, KilledEveryTwoSecondsComesBackWhenThatEnds) {
    serveThrough(concat(concat(healthy, {inBackground(kKillEveryTwoSeconds), "run 12", "readings", "run 40",
                                         "readings", endBackground()}),
                        recovered));
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(3));
    EXPECT_EQ(readings[0].text("fixTick"), readings[1].text("fixTick")) << "no fix meanwhile";
    EXPECT_GE(restarts(), 3u);
    EXPECT_THAT(unit.loggedLike(kNotConnected), Not(IsEmpty()));
    expectRecovery("gpsd.killed-every-2-s", secondsToSee("fix"), 2 * (kCountsToRestart + kRestartSeconds));
    expectNothingLeft("gpsd.killed-every-2-s");
    expectAllSucceeded();
}

// The service ends around such a kill, which leaves the line at gpsd's speed until a restart's reload.
TEST_F(GpsdFaults, KilledEveryTwoSecondsUntilTheEndLeavesAnEmptyDatabase) {
    putOldDatabase();
    unit.receiver("--ttff 2 --burst");
    unit.probe(
        concat(concat(kBegin, healthy), {inBackground(kKillEveryTwoSecondsButOneAt9600), kAwaitHeld, "state",
                                         "stop", kKill, "finalize", kPrintSpeed, "destroy", kPrintDatabase}));
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.output(), ElementsAre("held", "9600", "000000"));
    EXPECT_GT(std::stoi(unit.receiverStates().at(0)["database_frames"]), 10) << "there was one to save";
    EXPECT_THAT(unit.receiverLog("MGA-DBD poll"), IsEmpty());
    const auto shells = unit.lines("end", "shell");
    faultFigure("gpsd.killed-every-2-s-at-the-end", "until_that_kill_s", shells.at(1).t - shells.at(0).t);
    expectAllSucceeded();
}

// It tries other speeds of the line in its first seconds, and the line keeps the one that it was killed at.
TEST_F(GpsdFaults, KilledWhileItTriesAnotherSpeedLeavesAnEmptyDatabaseAndNoMore) {
    putOldDatabase();
    unit.receiver("--ttff 2 --burst");
    unit.probe(concat(concat(kBegin, {"until-fix 60", "stop", "finalize", "initialize", kKillAt9600,
                                      kPrintSpeed, "state", "destroy", kPrintDatabase}),
                      concat(concat(kBegin, {"until-fix 60"}), kEnd)));
    EXPECT_EQ(unit.status(), 0) << "the next start brings a fix";
    EXPECT_THAT(unit.output(), ElementsAre("killed", "9600", "000000"));
    EXPECT_GT(std::stoi(unit.receiverStates().at(0)["database_frames"]), 10) << "there was one to save";
    faultFigure("gpsd.killed-in-its-first-seconds", "killed_after_s",
                unit.lines("end", "shell").front().t - unit.lines("end", "initialize").at(1).t);
    expectAllSucceeded();
}

// What lies behind a gap is a chord: the way is counted, a geofence's bound in it is passed late.
TEST_F(GpsdFaults, KilledEveryFiveMinutesOfADriveLosesNoEventAndNoWay) {
    const double metres = 8400;
    unit.speed(1.5).receiver("--ttff 2 --burst --hold --start 1,8,400 --waypoints '1,8,20;" +
                             std::to_string(1 + metres / kMetresPerDegree) + ",8,20'");
    serveWith({fence("gap", 1800), fence("between", 4500)},
              {"until-fix 60", "run 190", control("go"), "run 60", kKill, "run 300", kKill,
               "until-state arrived=1 200", "run 70", "readings"});
    EXPECT_EQ(restarts(), 2u);
    const std::vector<std::string> passed = unit.sequence("geofence");
    EXPECT_THAT(passed, ElementsAre("left:gap", "left:between", "entered:gap", "left:gap", "entered:between",
                                    "left:between"));
    faultFigure("gpsd.killed-every-5-min", "events_lost", 6 - static_cast<double>(passed.size()));
    const double counted = unit.line("readings").number("odometer");
    EXPECT_NEAR(counted, metres, metres / 100);
    faultFigure("gpsd.killed-every-5-min", "metres_of_8400", counted);
}

TEST_F(GpsdFaults, DyingInTheStartWaitIsStartedAgain) {
    unit.receiver("--ttff 2 --burst");
    unit.probe(concat(concat({"construct", "resources", "initialize", kKill, "start"}, recovered), kEnd));
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.loggedLike(kNotConnected), SizeIs(1));
    EXPECT_EQ(restarts(), 1u);
    expectRecovery("gpsd.dies-in-start-wait", secondsToSee("fix"), 3 + kCountsToRestart + kRestartSeconds);
    expectNothingLeft("gpsd.dies-in-start-wait");
    expectAllSucceeded();
}

// --- Stopped --------------------------------------------------------------------------------------------

TEST_F(GpsdFaults, StoppedForHalfAMinuteGoesOnWithoutARestart) {
    serveThrough(concat(concat(healthy, {"shell kill -STOP $(pidof gpsd)", "run 15", "readings", "run 15",
                                         "readings", "shell kill -CONT $(pidof gpsd)"}),
                        recovered));
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(3));
    EXPECT_EQ(readings[0].text("fixTick"), readings[1].text("fixTick")) << "no fix older than 10 s";
    EXPECT_EQ(readings[1].text("available"), "1") << "nobody is told";
    EXPECT_EQ(restarts(), 0u);
    EXPECT_THAT(unit.logged(3, cyclesWithoutData(5)), SizeIs(1));
    EXPECT_THAT(unit.logged(3, cyclesWithoutData(7)), IsEmpty());
    expectRecovery("gpsd.stopped-30-s", secondsToSee("fix"), kProcess + kNextFix);
    expectNothingLeft("gpsd.stopped-30-s");
}

TEST_F(GpsdFaults, StoppedForGoodIsReplaced) {
    serveThrough(concat(concat(healthy, {"shell kill -STOP $(pidof gpsd)", kTakeLast}), recovered));
    EXPECT_EQ(restarts(), 1u);
    EXPECT_THAT(unit.logged(3, kCloses), SizeIs(1));
    EXPECT_THAT(unit.logged(3, cyclesWithoutData(11)), SizeIs(1));
    EXPECT_THAT(unit.output(), SizeIs(1)) << "the stopped one is gone";
    expectRecovery("gpsd.stopped-for-good", secondsToSee("fix"),
                   (kEmptyWaitsAllowed + 1) * kEmptyWait + 1 + kRestartSeconds);
    expectNothingLeft("gpsd.stopped-for-good");
}

// --- Missing, slow, in the foreground -------------------------------------------------------------------

TEST_F(GpsdFaults, MissingIsLookedForAgainAndAgain) {
    serveWithOwnGpsd(":", concat(concat(kBegin, {"run 60", "readings", kInstall}), concat(recovered, kEnd)));
    expectInitializeTook(9);
    EXPECT_EQ(unit.lines("readings")[0].text("fixTick"), "0");
    EXPECT_GE(restarts(), 2u);
    EXPECT_EQ(unit.loggedLike(kNotConnected).size(), restarts()) << "each start but the last one";
    expectRecovery("gpsd.missing", secondsToSee("fix"), 9 + 3 + kCountsToRestart + kRestartSeconds);
    expectNothingLeft("gpsd.missing");
    expectAllSucceeded();
}

TEST_F(GpsdFaults, ThereOnlyAfterFifteenSecondsIsStartedByTheWatchdog) {
    serveWithOwnGpsd(":", concat(concat({"construct", "resources",
                                         inBackground("sleep 15; ln -s /unit/bin/gpsd /run/bin/gpsd"),
                                         "initialize", "start", "shell :"},
                                        recovered),
                                 kEnd));
    EXPECT_EQ(restarts(), 1u);
    EXPECT_THAT(unit.loggedLike(kNotConnected), SizeIs(1));
    expectRecovery("gpsd.late", secondsToSee("fix"), kCountsToRestart + kRestartSeconds);
    expectNothingLeft("gpsd.late");
    expectAllSucceeded();
}

TEST_F(GpsdFaults, SlowInTheForegroundOnlyDelaysTheStart) {
    serveWithOwnGpsd(ownGpsd({"sleep 15", kInBackground}),
                     concat(concat(kBegin, {"shell :"}), concat(recovered, kEnd)));
    expectInitializeTook(15);
    faultFigure("gpsd.slow", "initialize_s", unit.line("end", "initialize").number("seconds"));
    EXPECT_EQ(restarts(), 0u);
    // The reader connects within an epoch, whose rest brings no fix.
    expectRecovery("gpsd.slow", secondsToSee("fix"), 2 * kProcess + kEpoch + kNextFix);
    expectNothingLeft("gpsd.slow");
    expectAllSucceeded();
}

TEST_F(GpsdFaults, HangingInTheForegroundKeepsInitializeUntilItEnds) {
    serveWithOwnGpsd(
        ownGpsd({std::string("[ -e /run/hung ] && ") + kInBackground, "touch /run/hung", kInForeground}),
        concat({"construct", "resources", inBackground("sleep 30; kill -9 $(pidof gpsd)"), "initialize",
                "shell :", "start"},
               concat(recovered, kEnd)));
    expectInitializeTook(30);
    faultFigure("gpsd.foreground", "initialize_s", unit.line("end", "initialize").number("seconds"));
    EXPECT_EQ(restarts(), 1u) << "the one that was killed";
    expectRecovery("gpsd.foreground", secondsToSee("fix"), 3 + kCountsToRestart + kRestartSeconds);
    expectNothingLeft("gpsd.foreground");
    expectAllSucceeded();
}

TEST_F(GpsdFaults, HangingInTheForegroundAtARestartLeavesTheReadings) {
    serveWithOwnGpsd(
        "ln -s /unit/bin/gpsd /run/bin/gpsd",
        concat(concat(kBegin, healthy), concat({"shell rm /run/bin/gpsd; " + ownGpsd({kInForeground}), kKill,
                                                "run 40", "readings", "run 1", "readings", kInstall, kKill},
                                               concat(recovered, kEnd))));
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(3));
    EXPECT_NEAR(readings[1].t - readings[0].t, 1, 0.5) << "answered at once";
    EXPECT_EQ(readings[1].text("fixTick"), readings[0].text("fixTick"));
    EXPECT_EQ(restarts(), 2u) << "the one that hung, and the one after it";
    expectRecovery("gpsd.foreground-at-restart", secondsToSee("fix"), 3 + kCountsToRestart + kRestartSeconds);
    expectNothingLeft("gpsd.foreground-at-restart");
}

// --- More than one --------------------------------------------------------------------------------------

TEST_F(GpsdFaults, ASecondOneOnThePortEndsByItself) {
    serveThrough(concat(
        concat(healthy, {"shell gpsd -n -P /run/second.pid /dev/ttymxc1 2>/dev/null", "run 3", "shell :"}),
        recovered));
    ASSERT_THAT(unit.output(), SizeIs(1));
    EXPECT_EQ(unit.output()[0].find(' '), std::string::npos) << "one of them";
    EXPECT_EQ(restarts(), 0u);
    EXPECT_THAT(unit.loggedLike("without any data"), IsEmpty());
    expectNothingLeft("gpsd.second-on-tcp-port");
    expectRecovery("gpsd.second-on-tcp-port", secondsToSee("fix"), kProcess + kNextFix);
}

// Each byte of the line goes to one of the two, whichever reads first: fixes may go on, or stay out.
TEST_F(GpsdFaults, ASecondOneOnTheLineSharesItsBytesAndDiesWithTheFirst) {
    serveThrough(
        concat(concat(healthy,
                      {"shell gpsd -n -S 2948 -P /run/second.pid /dev/ttymxc1", "run 10", "shell pidof gpsd",
                       "shell for p in $(pidof gpsd); do readlink /proc/$p/fd/*; done | grep -c /dev/pts/",
                       kKill, kTakeLast}),
               recovered));
    ASSERT_THAT(unit.output(), SizeIs(3));
    EXPECT_NE(unit.output()[0].find(' '), std::string::npos) << "two of them";
    EXPECT_EQ(unit.output()[1], "2") << "both have the line";
    EXPECT_EQ(unit.output()[2].find(' '), std::string::npos) << "one of them";
    EXPECT_EQ(restarts(), 1u);
    expectRecovery("gpsd.second-on-line", secondsToSee("fix"), kCountsToRestart + kRestartSeconds);
    expectNothingLeft("gpsd.second-on-line");
}

// A restart that finds it there again keeps it, one that is quicker than the supervisor starts its own: one
// runs, and the reader connects with it.
TEST_F(GpsdFaults, RespawnedByASupervisorOneOfThemRunsAndFixesComeBackWhenThatEnds) {
    serveThrough(
        concat(concat(healthy, {inBackground("while :; do gpsd -N -n -P /run/other.pid /dev/ttymxc1; done"),
                                "run 2", kKill, "run 1", kAwaitConnection, kPrintGpsds,
                                endBackground() + " $(pidof gpsd)", kTakeLast}),
               recovered));
    ASSERT_THAT(unit.output(), SizeIs(3));
    EXPECT_EQ(unit.output()[0], "connected");
    const std::string supervisors = "gpsd -N -n -P /run/other.pid /dev/ttymxc1 ";
    EXPECT_THAT(unit.output()[1], AnyOf(supervisors, "gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1 "));
    faultFigure("gpsd.respawned", "kept", unit.output()[1] == supervisors ? 1 : 0);
    EXPECT_EQ(restarts(), 2u) << "another one when it has ended";
    expectRecovery("gpsd.respawned", secondsToSee("fix"), kCountsToRestart + kRestartSeconds);
    faultFigure("gpsd.respawned", "first_restart_s",
                unit.lines("end", "shell").at(2).t - unit.logged(3, kWatchdog).at(0).t);
    expectNothingLeft("gpsd.respawned");
    expectAllSucceeded();
}

TEST_F(GpsdFaults, RefusingConnectionsIsStartedAgainUntilOneAccepts) {
    serveWithOwnGpsd(ownGpsd({kOnAnotherPort}),
                     concat(concat(kBegin, {"run 45", "readings", "shell rm /run/bin/gpsd", kInstall}),
                            concat(recovered, kEnd)));
    EXPECT_EQ(unit.lines("readings")[0].text("fixTick"), "0");
    EXPECT_GE(restarts(), 2u);
    EXPECT_EQ(unit.loggedLike(kNotConnected).size(), restarts());
    expectRecovery("gpsd.refuses", secondsToSee("fix"), 3 + kCountsToRestart + 2 * kRestartSeconds);
    expectNothingLeft("gpsd.refuses");
    expectAllSucceeded();
}
