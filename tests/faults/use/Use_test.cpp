// Lives of the service on the virtual unit: often, ended in every state, and two at once.

#include <algorithm>

#include "EndToEnd.h"
#include "FaultFigures.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// A destruction: the worker's sleep, the reader's wait for a report, the look at a gpsd that was killed, and
/// the wait for the polled database.
constexpr double kDestructionSeconds = 0.25 + 5 + 1 + 6;
/// As FaultOnUnit.h has it.
constexpr double kRestartSeconds = 18;

/// Without what the C library's threads keep at hand, which it counts as held.
constexpr char kExactMemory[] = "GLIBC_TUNABLES=glibc.malloc.tcache_count=0 ";

class Use : public EndToEndTest {
protected:
    void use(const std::string& arguments) {
        unit.script(std::string(kExactMemory) + UNIT_USE + " " + arguments);
        EXPECT_EQ(unit.status(), 0);
    }
    /// What the process held in the end, more than after its first rounds.
    double moreHeld(const std::string& what) {
        return unit.line("held", "last").number(what) - unit.line("held", "first").number(what);
    }
    /// Until the one that stays had a new fix; none where it came before.
    double recoverySince(double t) const { return std::max(unit.line("fix", "alone-again").t - t, 0.0); }
};

} // namespace

TEST_F(Use, FiftyTimesHoldsNothing) {
    unit.receiver("--ttff 2 --burst");
    use("rounds 50");
    EXPECT_THAT(unit.lines("failed"), IsEmpty());
    EXPECT_THAT(unit.loggedLike("GPSD Start: requires additional start delay."), SizeIs(6));
    for (const char* what : {"bytes", "descriptors", "threads", "processes"})
        EXPECT_EQ(moreHeld(what), 0) << what;
    faultFigure("use.fifty-starts", "leaked_kib", moreHeld("bytes") / 1024);
    faultFigure("use.fifty-starts", "leaked_descriptors", moreHeld("descriptors"));
    faultFigure("use.fifty-starts", "leaked_threads", moreHeld("threads"));
    faultFigure("use.fifty-starts", "leaked_processes", moreHeld("processes"));
    faultFigure("use.fifty-starts", "resident_kib_more", moreHeld("resident_kib"));
}

TEST_F(Use, EndsInEveryState) {
    unit.receiver("--ttff 2 --burst");
    const Steps served = {"construct", "initialize", "start", "until-reading available=1 60"};
    Steps steps = {"construct", "destroy", "construct", "initialize", "destroy"};
    for (const Steps& more :
         {Steps{}, Steps{"stop"}, Steps{"stop", "finalize"}, Steps{"params enabled=0", "run 2"}})
        steps = concat(steps, concat(concat(served, more), {"destroy", "shell pidof gpsd"}));
    unit.probe(steps);
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.output(), IsEmpty()) << "a gpsd is left";
    EXPECT_THAT(unit.lines("end", "destroy"), SizeIs(6));
    EXPECT_THAT(unit.lines("seen"), SizeIs(4));
    for (const ProbeLine& end : unit.lines("end", "destroy"))
        EXPECT_LE(end.number("seconds"), kDestructionSeconds);
}

TEST_F(Use, EndsInARestartOfGpsd) {
    unit.receiver("--ttff 2 --burst");
    unit.probe({"construct", "initialize", "start", "until-reading available=1 60",
                "shell kill -9 $(pidof gpsd)", "until-state resets=2 60", "destroy", "shell pidof gpsd",
                "construct", "initialize", "start", "until-reading available=1 60", "destroy"});
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.output(), IsEmpty()) << "the gpsd of the restart is left";
    EXPECT_THAT(unit.loggedLike("restarting GPSD"), SizeIs(1));
    EXPECT_LE(unit.line("end", "destroy").number("seconds"), kRestartSeconds + kDestructionSeconds);
    faultFigure("use.destroyed-in-a-restart-on-the-unit", "destroy_s",
                unit.line("end", "destroy").number("seconds"));
}

TEST_F(Use, ByTwoOneAfterTheOtherServesBoth) {
    unit.receiver("--ttff 2 --burst");
    const Steps life = {"construct", "initialize", "start",  "until-reading available=1 60",
                        "stop",      "finalize",   "destroy"};
    unit.probe(concat(life, life));
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.lines("seen"), SizeIs(2));
    EXPECT_THAT(unit.loggedLike("Restoring navigation database completed"), SizeIs(1));
}

TEST_F(Use, ByTwoAtOnceInOneProcessLeavesTheOneThatStaysServed) {
    unit.receiver("--ttff 2 --burst");
    use("two-at-once 25");
    EXPECT_EQ(unit.line("first", "").text("stop"), "0x00000000");
    EXPECT_THAT(unit.lines("fix", "alone-again"), SizeIs(1));
    faultFigure("use.two-at-once", "recovery_s", unit.line("fix", "alone-again").number("seconds"));
    faultFigure("use.two-at-once", "restarts",
                static_cast<double>(unit.loggedLike("restarting GPSD").size()));
}

TEST_F(Use, ByTwoProcessesAtOnceLeavesTheOneThatStaysServed) {
    unit.receiver("--ttff 2 --burst");
    const std::string second = R"(sleep 10; "$0" construct initialize start 'run 15' destroy; wait $first)";
    unit.script(std::string(UNIT_USE) + " serve 45 & first=$!; " + second);
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.lines("end", "destroy"), SizeIs(1));
    EXPECT_THAT(unit.lines("fix", "alone-again"), SizeIs(1));
    faultFigure("use.two-processes", "recovery_s", recoverySince(unit.line("end", "destroy").t));
    faultFigure("use.two-processes", "restarts",
                static_cast<double>(unit.loggedLike("restarting GPSD").size()));
}
