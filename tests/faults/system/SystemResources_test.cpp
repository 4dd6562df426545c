// Descriptors, threads and processes that the system refuses to the service's process, for a while or for
// good.

#include <algorithm>
#include <fstream>
#include <iterator>

#include "SystemFault.h"

using testing::ElementsAre;
using testing::Gt;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

// The unit's time a second later, while the probe can't start a shell any more.
constexpr char kKillGpsdSoon[] = "shell (sleep 1; kill -9 $(pidof gpsd)) >/dev/null 2>&1 &";
constexpr char kThreadFailed[] = "GPSD Start: Failed creating data thread!";

class SystemResources : public SystemFault {
protected:
    static constexpr double kPortPauses = 3; ///< a second behind each try to set the port's speed

    /// Of a file in /data.
    std::string content(const std::string& name) const {
        std::ifstream file(unit.dataFolder() + "/" + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// What a database's trailer says.
    static int countOf(const std::string& database) {
        return database.size() < 6 ? -1 : std::stoi(database.substr(database.size() - 6));
    }
    /// How many messages each restore used.
    std::vector<int> databasesRestored() const {
        constexpr char line[] = "UBXConfig: Restoring navigation database completed, ";
        std::vector<int> used;
        for (const LogLine& logged : unit.loggedLike(line))
            used.push_back(std::stoi(logged.text.substr(sizeof line - 1)));
        return used;
    }

    double secondsOfTheSecondPortSetUp() const {
        const auto sent = unit.logged(6, "UBXConfig: Setting baud rate to 115200");
        const auto heard = unit.loggedLike("received for the command: \"UBXConfig: Setting baud rate");
        return sent.size() < 2 || heard.size() < 2 ? 0 : heard[1].t - sent[1].t;
    }
};

// --- Descriptors ----------------------------------------------------------------------------------------

TEST_F(SystemResources, FiveDescriptorsAreMissedByARestartAlone) {
    liveThrough({kFirstFix, kKillGpsdSoon, "descriptor-limit 5", "run 40", "readings",
                 "descriptor-limit 1024", "clock 0", "until-fix 120", "readings"});
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(2));
    EXPECT_LT(readings[0].number("time"), readings[0].t - (40 - kFresh)) << "no fix all the while";
    EXPECT_THAT(unit.loggedLike("Failed to"), SizeIs(Gt(1u))) << "more than the missing database";
    noteRecovery("system.5-descriptors", unit.line("clock"), kRefusedRestart);
    EXPECT_NEAR(readings[1].number("time"), readings[1].t, kFixAge);
    expectNothingLeaked("system.5-descriptors");
}

// Either the process ends as it does without a serial line, or the life runs to its end. Without a worker:
// one that is in a restart would be waited for.
TEST_F(SystemResources, FiveToEightDescriptorsFromTheBeginOnEndInNoCrashAndNoHang) {
    unit.script(R"(for limit in 5 6 7 8; do
            "$0" "descriptor-limit $limit" construct "params enabled=0" initialize start "run 2" stop finalize destroy
            echo "output $?"
        done
        "$0" construct initialize start "until position 1 60" stop finalize destroy)");
    EXPECT_EQ(unit.status(), 0) << "another process, with descriptors, finds all it needs";
    const std::vector<std::string> statuses = unit.output();
    ASSERT_THAT(statuses, SizeIs(4));
    EXPECT_THAT(statuses, testing::Each(testing::AnyOf("0", "255")));
    const auto whole = static_cast<std::size_t>(std::count(statuses.begin(), statuses.end(), "0"));
    EXPECT_THAT(unit.lines("end", "destroy"), SizeIs(whole + 1));
    faultFigure("system.few-descriptors-from-the-begin", "whole_lives", static_cast<double>(whole));
}

TEST_F(SystemResources, DescriptorsAbove1023AreRefusedUntilLowerOnesAreFree) {
    liveThrough({kFirstFix, "stop", "descriptor-limit 4096", "descriptors 1100", "start", "run 30",
                 "readings", "descriptors 0", "clock 0", "until-fix 60"});
    EXPECT_LT(unit.line("readings").number("time"), unit.line("readings").t - (30 - kFresh))
        << "no fix all the while";
    EXPECT_THAT(unit.loggedLike("Failed to connect to GPSD server (errno=-24)"), SizeIs(Gt(0u)));
    noteRecovery("system.1100-descriptors", unit.line("clock"), kRestart + kNextFix);
    expectNothingLeaked("system.1100-descriptors");
}

// gpsd's own descriptors come behind those that it inherits, and it waits with select as well.
TEST_F(SystemResources, InheritedDescriptorsBurdenTheNextGpsdAsWell) {
    liveThrough({kFirstFix, "descriptor-limit 4096", "descriptors 1100 inherited", kKillGpsd, "run 30",
                 "readings", "descriptors 0", "clock 0", "until-fix 60"});
    EXPECT_LT(unit.line("readings").number("time"), unit.line("readings").t - (30 - kFresh))
        << "no fix all the while";
    noteRecovery("system.1100-descriptors-inherited", unit.line("clock"),
                 2 * kRestart); // the one that is on its way too
    expectNothingLeaked("system.1100-descriptors-inherited");
}

TEST_F(SystemResources, ADescriptorWithoutCloexecStaysOpenInAGpsdThatOutlivesTheApplication) {
    unit.script(R"bash(holders() { ls -l /proc/"$(pidof gpsd)"/fd | grep -c /dev/null; }
        for how in "" inherited; do
            "$0" "descriptors 100 $how" construct initialize start "run 60" & probe=$!
            until pidof gpsd; do "$0" "run 1"; done >/dev/null
            "$0" "run 4"; kill -9 $probe; wait $probe
            echo "output $(holders)"
        done 2>/dev/null
        "$0" construct destroy
        pidof gpsd; echo "output $?")bash");
    const std::vector<std::string> output = unit.output();
    ASSERT_THAT(output, SizeIs(3));
    EXPECT_LT(std::stoi(output[0]), 10) << "gpsd's own";
    EXPECT_GT(std::stoi(output[1]), 80) << "all but those that were open before";
    EXPECT_EQ(output[2], "1") << "gone with the next start";
    faultFigure("system.descriptors-inherited", "with_cloexec", std::stoi(output[0]));
    faultFigure("system.descriptors-inherited", "without_cloexec", std::stoi(output[1]));
}

// --- Threads --------------------------------------------------------------------------------------------

TEST_F(SystemResources, NoReaderAtTheStartIsMendedByAStopAndAStart) {
    unit.probe({"held", "construct", "initialize", "refuse threads", "start", "run 15", "readings",
                "allow threads", "stop", "start", "until-fix 30", "stop", "finalize", "destroy", "held"});
    EXPECT_EQ(unit.status(), 0);
    EXPECT_EQ(unit.lines("end", "start")[0].text("rc"), "0x17000101") << "of the worker";
    EXPECT_EQ(unit.lines("end", "start")[1].text("rc"), "0x00000000");
    EXPECT_THAT(unit.logged(3, kThreadFailed), SizeIs(1));
    EXPECT_THAT(unit.logged(3, "GPSTimedWorker failed to start worker thread (result is 11)"), SizeIs(1));
    EXPECT_EQ(unit.line("readings").text("fixTick"), "0");
    noteRecovery("system.no-threads-at-start", unit.line("allow"), kStopAndStart);
    expectNothingLeaked("system.no-threads-at-start");
}

// Nobody counts empty cycles without a reader, so no further restart comes.
TEST_F(SystemResources, NoReaderInTheWatchdogsRestartLeavesTheServiceWithoutFixesUntilItIsStartedAnew) {
    liveThrough({kFirstFix, kKillGpsd, "refuse threads", "run 30", "allow threads", "run 30", "readings",
                 "stop", "start", "until-fix 30"});
    EXPECT_THAT(unit.logged(3, kWatchdog), SizeIs(1));
    EXPECT_THAT(unit.logged(3, kThreadFailed), SizeIs(1));
    EXPECT_LT(unit.line("readings").number("time"), unit.line("readings").t - (60 - kFresh));
    EXPECT_EQ(unit.line("readings").text("available"), "1");
    noteRecovery("system.no-threads-in-the-restart", unit.line("begin", "stop"), kStopAndStart);
    expectNothingLeaked("system.no-threads-in-the-restart");
}

// --- Processes ------------------------------------------------------------------------------------------

TEST_F(SystemResources, NoProcessesFor45SecondsAreOvercome) {
    liveThrough({kFirstFix, kKillGpsd, "refuse processes", "run 45", "readings", "allow processes",
                 "until-fix 60", "readings"});
    EXPECT_THAT(unit.loggedLike("Failed to check if GPSD is running"), SizeIs(Gt(3u)));
    EXPECT_THAT(unit.loggedLike("Failed to start GPSD"), SizeIs(Gt(0u)));
    EXPECT_NEAR(unit.lines("readings").back().number("time"), unit.lines("readings").back().t, kFixAge);
    noteRecovery("system.no-processes", unit.line("allow"), kRefusedRestart);
    expectNothingLeaked("system.no-processes");
}

TEST_F(SystemResources, NoProcessesAreNeededWhileFixesCome) {
    liveThrough({kFirstFix, "refuse processes", "until position 3 40", "allow processes", "until-fix 10"});
    EXPECT_THAT(unit.loggedLike("Failed to"), SizeIs(1)) << "no database at the first start";
    noteRecovery("system.no-processes-while-fixes-come", unit.line("allow"), kNextFix);
    expectNothingLeaked("system.no-processes-while-fixes-come");
}

TEST_F(SystemResources, NoProcessesAtTheBeginEndTheApplication) {
    unit.script(R"("$0" "refuse processes" construct; echo "output $?"
        "$0" construct initialize start "until position 1 60" stop finalize destroy)");
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.output(), ElementsAre("255"));
    EXPECT_THAT(unit.lines("end", "construct"), SizeIs(1));
    faultFigure("system.no-processes-at-the-start", "exit_status", std::stoi(unit.output().at(0)));
}

// The first life saves 20 records, or what the receiver's first fix brought, the second one has them back and
// can't save, the third has none.
TEST_F(SystemResources, NoProcessesAtTheEndCostTheSavedDatabase) {
    unit.script(R"("$0" construct "write /run/unit/receiver.control database 20" "run 1" destroy
        cp /data/NavigationDatabaseDump /data/saved
        "$0" construct initialize start "until position 1 90" stop finalize "refuse processes" destroy || exit
        cp /data/NavigationDatabaseDump /data/left
        "$0" construct)");
    EXPECT_EQ(unit.status(), 0);
    const int saved = countOf(content("saved"));
    EXPECT_GT(saved, 10);
    EXPECT_EQ(content("left"), "000000") << "the saved one is lost";
    EXPECT_THAT(databasesRestored(), ElementsAre(saved, 0))
        << "no line at the first start, which has no file";
    const double seconds = unit.lines("end", "destroy").at(1).number("seconds");
    EXPECT_GE(seconds, kWaitForAnswer);
    EXPECT_LT(seconds, kLongestWait) << "no second wait, and no hang";
    faultFigure("system.no-processes-at-the-end", "destroy_s", seconds);
    faultFigure("system.no-processes-at-the-end", "frames_before", saved);
    faultFigure("system.no-processes-at-the-end", "frames_left", countOf(content("left")));
}

TEST_F(SystemResources, ChildrenThatAreIgnoredFromTheBeginEndTheApplication) {
    unit.probe({"ignore-children", "construct"});
    EXPECT_EQ(unit.status(), 255);
    EXPECT_THAT(unit.log(), IsEmpty()) << "without a line";
    faultFigure("system.children-ignored-at-the-start", "exit_status", unit.status());
}

TEST_F(SystemResources, ChildrenThatAreIgnoredLaterDelayTheRestart) {
    liveThrough(
        {kFirstFix, kKillGpsd, "ignore-children", "clock 0", "until-state resets=2 60", "until-fix 60"});
    EXPECT_THAT(unit.logged(3, kWatchdog), SizeIs(1));
    EXPECT_GT(secondsOfTheSecondPortSetUp(), kPortPauses - 0.1)
        << "three tries, each with a pause of a second behind it";
    noteRecovery("system.children-ignored-later", unit.line("clock"), kRestart + kPortPauses);
    expectNothingLeaked("system.children-ignored-later");
}

} // namespace
