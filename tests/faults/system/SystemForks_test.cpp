// The application forks while the service runs.

#include <cstdio>
#include <fstream>
#include <iterator>

#include "SystemFault.h"

using testing::SizeIs;

namespace {

/// The callback that tells of a fix comes within the worker's cycle, which may hold the adapter's lock behind
/// it: a child that needs the lock is forked in the pause between two later ones, 0.25 s apart.
constexpr char kEndOfCycle[] = "run 0.6";

class ForkedChildren : public SystemFault {
protected:
    void disturbNothing(const std::string& row, const std::string& way) {
        liveThrough({kFirstFix, "fork " + way + " 20", "until-fix 5", "forget", "until position 1 20", "stop",
                     "finalize", "initialize", "start", "until-fix 40"});
        EXPECT_EQ(unit.line("forked").text("well"), "20");
        EXPECT_THAT(unit.lines("event", "position"), SizeIs(testing::Ge(2u)));
        noteRecovery(row, unit.line("forked"), kNextFix);
        const double lost = positionsLost(unit.line("begin", "stop").t);
        EXPECT_EQ(lost, 0);
        faultFigure(row, "events_lost", lost);
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
    liveThrough({kFirstFix, kEndOfCycle, "fork readings 5", "callback position 20", "until position 1 20",
                 "fork readings 1", "clock 0", "until-fix 40"});
    const auto forked = unit.lines("forked");
    ASSERT_THAT(forked, SizeIs(2));
    EXPECT_EQ(forked[0].text("well"), "5");
    EXPECT_EQ(forked[1].text("well"), "0") << "the thread that would give the lock back is not in the child";
    noteRecovery("system.fork-readings", unit.line("clock"), 20 + kNextFix); // the callback's
    expectNothingLeaked("system.fork-readings");
}

constexpr char kOldFile[] = "old"; // too short to be restored

class DestroyedInAChild : public SystemFault {
protected:
    std::string content(const std::string& name) const {
        std::ifstream file(unit.dataFolder() + "/" + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// The file is a dump: frames, and a trailer that counts them. Returns how many.
    static int expectDump(const std::string& file) {
        int frames = 0;
        for (std::size_t at = file.find(kHeader); at != std::string::npos; at = file.find(kHeader, at + 1))
            ++frames;
        char trailer[16];
        snprintf(trailer, sizeof trailer, "%06d", frames);
        EXPECT_THAT(file, testing::EndsWith(trailer));
        return frames;
    }

private:
    static constexpr char kHeader[] = "\xB5\x62\x13\x80";
};

// The child's destructor does what the parent's would: gpsd is killed, the receiver polled, the database's
// file written anew, the port set to its first speed. The parent's restart resets the receiver meanwhile, so
// how much of the database the child's file has is chance; and each of its waits may be in vain, and its
// gpsd find the port at the wrong speed.
TEST_F(DestroyedInAChild, CostsTheParentItsGpsdAndTheFileItsContent) {
    std::ofstream(unit.dataFolder() + "/NavigationDatabaseDump") << kOldFile;
    liveThrough({control("database 20"), kFirstFix, kEndOfCycle, "fork destroy 1",
                 "shell cp /data/NavigationDatabaseDump /data/by-the-child", "clock 0", "until-fix 180",
                 "state"});
    EXPECT_EQ(unit.line("forked").text("well"), "1") << "the child comes to its end";
    EXPECT_THAT(unit.logged(6, "UBXConfig: Polling navigation database"), SizeIs(2)) << "by both";
    EXPECT_NE(content("by-the-child"), kOldFile);
    faultFigure("system.fork-destroy", "frames_by_the_child", expectDump(content("by-the-child")));
    faultFigure("system.fork-destroy", "frames_by_the_parent", expectDump(content("NavigationDatabaseDump")));
    EXPECT_THAT(unit.logged(3, kWatchdog), SizeIs(testing::Ge(1u)));
    EXPECT_GE(std::stoi(unit.receiverStates().at(0)["resets"]), 2) << "by each restart";
    noteRecovery("system.fork-destroy", unit.line("clock"),
                 kRestart + 5 * kWaitForAnswer + kElevenEmptyWaits + FaultOnUnit::kRestartSeconds + kNextFix);
    expectNothingLeaked("system.fork-destroy");
}

} // namespace
