// Rows of the fault matrix about the fix, on the virtual unit with the real gpsd.

#include <algorithm>
#include <cmath>

#include "EndToEnd.h"
#include "FaultFigures.h"

using testing::Contains;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

constexpr char kFirstFix[] = "until position 1 90"; // eleven fixes, in fact

class FixFaultsOnUnit : public EndToEndTest {
protected:
    /// Readings twice a second, from the fault's end on.
    static Steps watched() {
        Steps steps{"readings"};
        for (int look = 0; look < 12; ++look)
            steps = concat(steps, {"run 0.5", "readings"});
        return steps;
    }
    static constexpr int kTurns = 6;
    static constexpr int kGap = 3; ///< seconds
    /// The epochs of a turn whose fixes don't count.
    static constexpr int kUncounted = 2 + (GAPS_HAVE_A_DILUTION ? kGap : 0);

    /// How many fixes the worker took between the first of these readings and the last.
    static int fixesTaken(const std::vector<ProbeLine>& readings) {
        int count = 0;
        for (std::size_t i = 1; i < readings.size(); ++i)
            count += readings[i].text("fixTick") != readings[i - 1].text("fixTick") ? 1 : 0;
        return count;
    }
    /// Of the fixes since the last notification.
    static void expectEachEleventhTold(const std::string& row, int taken, std::size_t told) {
        const int due = taken / 11;
        EXPECT_EQ(told, static_cast<std::size_t>(due)) << "of " << taken << " fixes";
        faultFigure(row, "events_lost", std::max(0, due - static_cast<int>(told)));
    }
    /// Seconds from the first of these readings to the first with a fix that isn't older.
    static double untilFix(const std::vector<ProbeLine>& readings) {
        for (const ProbeLine& reading : readings)
            if (reading.text("valid") == "1" && reading.number("time") >= std::floor(readings.front().t))
                return reading.t - readings.front().t;
        return NAN;
    }
};

} // namespace

// The epoch in which the position comes back has the dilution of none still, and two cycles of the worker at
// most; with a newer gpsd the gap's epochs have it as well. Their fixes don't count; each eleventh of the
// others is told.
TEST_F(FixFaultsOnUnit, LostAndFoundEveryThreeSecondsLosesNoEvent) {
    unit.receiver("--ttff 2");
    Steps turns;
    for (int turn = 0; turn < kTurns; ++turn)
        turns = concat(turns, concat({control("nofix " + std::to_string(kGap))}, watched()));
    serve(concat({kFirstFix}, turns));
    const auto readings = unit.lines("readings");
    const double end = readings.back().t;
    EXPECT_EQ(readings.back().text("available"), "1");
    EXPECT_NEAR(readings.back().number("time"), end, 5);
    EXPECT_EQ(eventsBetween("availability", readings.front().t, end), 0u) << "ten seconds bridge each gap";
    EXPECT_EQ(unit.receiverState()["resets"], "1") << "no restart";
    const int taken = fixesTaken(readings);
    EXPECT_GE(taken, std::floor(end - readings.front().t) - kUncounted * kTurns);
    expectEachEleventhTold("fix.quick-turns", taken, eventsBetween("position", readings.front().t, end));
}

TEST_F(FixFaultsOnUnit, LostForTwentySecondsComesBackAtOnce) {
    unit.receiver("--ttff 2");
    serve(concat({kFirstFix, control("nofix"), "until availability,available=0 3 60", control("clear")},
                 watched()));
    const double recovery = untilFix(unit.lines("readings"));
    EXPECT_LT(recovery, 5) << "the next epoch, gpsd, the reader, the worker's next second";
    faultFigure("fix.lost-for-20-s", "recovery_s", recovery);
}

TEST_F(FixFaultsOnUnit, NullIslandIsNoFixUntilItIsLeft) {
    unit.receiver("--ttff 2 --start 0,0,10");
    serve(concat({"until-reading satellites>4 60", "run 12", "readings", control("goto 0.001,0.001")},
                 watched()));
    auto readings = unit.lines("readings");
    EXPECT_EQ(readings.at(0).text("available"), "0");
    EXPECT_EQ(readings.at(0).text("fixTick"), "0");
    EXPECT_EQ(eventsBetween("availability", 0, readings.at(1).t), 0u);
    readings.erase(readings.begin());
    const double recovery = untilFix(readings);
    EXPECT_LT(recovery, 5);
    EXPECT_THAT(unit.lines("event", "availability"), SizeIs(1));
    faultFigure("fix.null-island", "recovery_s", recovery);
}

TEST_F(FixFaultsOnUnit, PolesAreFixesLikeOthers) {
    unit.receiver("--ttff 2 --start 90,8,10");
    serveWith(
        {"geofence pole 89.9995 8 4000000 2000"},
        {kFirstFix, "readings", control("goto -90,8"), "run 4", "forget", "until position 1 30", "readings"});
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(2));
    EXPECT_NEAR(readings[0].number("lat"), 90, 2e-6);
    EXPECT_NEAR(readings[1].number("lat"), -90, 2e-6);
    EXPECT_EQ(readings[1].text("available"), "1");
    EXPECT_EQ(readings[1].text("odometer"), "0");
    EXPECT_THAT(unit.sequence("geofence"), ElementsAre("left:pole")) << "inside at first is no event";
}

TEST_F(FixFaultsOnUnit, DateLineIsCrossedWithoutALossAndEndsAGeofence) {
    unit.receiver("--ttff 2 --hold --start 0.5,179.9985,10 --waypoints '0.5,179.9985,20;0.5,-179.9985,20'");
    serveWith({"geofence west 0.5 179.999 2000 2000", "geofence east 0.5 -179.999 2000 2000"},
              {kFirstFix, control("go"), "until geofence-entered,name=east 1 60", "readings"});
    const ProbeLine readings = unit.line("readings");
    EXPECT_LT(readings.number("lon"), -179.99);
    EXPECT_EQ(readings.text("available"), "1");
    EXPECT_EQ(eventsBetween("availability", unit.line("event", "position").t, readings.t), 0u);
    EXPECT_EQ(unit.sequence("geofence").back(), "entered:east");
    EXPECT_THAT(unit.sequence("geofence"), Contains("left:west"));
}

TEST_F(FixFaultsOnUnit, AntennaThatFlapsIsToldAndEndsInOrder) {
    unit.receiver("--ttff 2").option("--antenna=1");
    Steps turns;
    for (int turn = 0; turn < 5; ++turn)
        turns = concat(turns, {"write /run/unit/antenna 2", "until antenna,state=2 1 20",
                               "write /run/unit/antenna 1", "until antenna,state=1 1 20"});
    serve(concat(concat({kFirstFix, "forget"}, turns),
                 {"readings", "until-reading available=1 20", "readings"}));
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(2));
    EXPECT_THAT(unit.lines("event", "antenna"), SizeIs(11)) << "the start's and ten changes, each once";
    EXPECT_EQ(readings[1].text("antenna"), "1");
    faultFigure("fix.antenna-flaps", "recovery_s", readings[1].t - unit.lines("event", "antenna").back().t);
}
