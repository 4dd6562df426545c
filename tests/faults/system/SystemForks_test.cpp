// The application forks while the service runs.

#include "SystemFault.h"

using testing::SizeIs;

namespace {

class ForkedChildren : public SystemFault {
protected:
    void disturbNothing(const std::string& row, const std::string& way) {
        liveThrough({kFirstFix, "fork " + way + " 20", "until-fix 5", "forget", "until position 1 20", "stop",
                     "finalize", "initialize", "start", "until-fix 40"});
        EXPECT_EQ(unit.line("forked").text("well"), "20");
        EXPECT_THAT(unit.lines("event", "position"), SizeIs(testing::Ge(2u)));
        noteRecovery(row, unit.line("forked"), 2.5);
        faultFigure(row, "events_lost", 0);
        expectNothingLeaked(row);
    }
};

TEST_F(ForkedChildren, ThatEndAtOnceDisturbNothing) {
    disturbNothing("system.fork-and-end-at-once", "_exit");
}
TEST_F(ForkedChildren, ThatExitDisturbNothing) { disturbNothing("system.fork-and-exit", "exit"); }
TEST_F(ForkedChildren, ThatBecomeAnotherProgramDisturbNothing) {
    disturbNothing("system.fork-and-exec", "exec");
}
TEST_F(ForkedChildren, ThatAreSpawnedDisturbNothing) { disturbNothing("system.spawn", "spawn"); }

// They keep what the application had open without CLOEXEC, the connection to gpsd included.
TEST_F(ForkedChildren, ThatBecomeDaemonsDisturbNothing) { disturbNothing("system.fork-daemons", "daemon"); }

class SystemForks : public SystemFault {};

TEST_F(SystemForks, LetAChildHaveReadingsUnlessTheLockWasTaken) {
    liveThrough({kFirstFix, "fork readings 5", "callback position 20", "until position 1 20",
                 "fork readings 1", "clock 0", "until-fix 40"});
    const auto forked = unit.lines("forked");
    ASSERT_THAT(forked, SizeIs(2));
    EXPECT_EQ(forked[0].text("well"), "5");
    EXPECT_EQ(forked[1].text("well"), "0") << "the thread that would give the lock back is not in the child";
    noteRecovery("system.fork-readings", unit.line("clock"), 25);
    expectNothingLeaked("system.fork-readings");
}

// The child's destructor does what the parent's would: gpsd is killed, the port set to its first speed.
TEST_F(SystemForks, OfWhichOneDestroysTheAdapterCostTheParentItsGpsd) {
    liveThrough({kFirstFix, "fork destroy 1", "clock 0", "until-fix 180", "state"});
    EXPECT_THAT(unit.logged(3, kWatchdog), SizeIs(testing::Ge(1u)));
    EXPECT_GE(std::stoi(unit.receiverStates().at(0)["resets"]), 2) << "by each restart";
    noteRecovery("system.fork-destroy", unit.line("clock"), 180);
    expectNothingLeaked("system.fork-destroy");
}

} // namespace
