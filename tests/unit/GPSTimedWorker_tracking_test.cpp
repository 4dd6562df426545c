// The worker's tracking schedule: on which seconds a report goes out.

#include <limits>
#include <numeric>

#include "InstanceNames.h"
#include "PlatformHooks.h"
#include "WorkerFixture.h"

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

constexpr uint32_t kStart = VirtualClock::kStartTick;
constexpr int32_t kIntMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kIntMin = std::numeric_limits<int32_t>::min();
constexpr long long kMinute = 1699999980; // a multiple of 60

class TrackingBlock : public WorkerFixture {
protected:
    void track(int32_t period, int32_t base = 0, int32_t offset = 0) {
        set([=](GPSParams& p) {
            p.trackingEnabled = true;
            p.trackingPeriod = period;
            p.trackingBase = base;
            p.trackingOffset = offset;
        });
    }
    void setUtc(long long utc) { unit.clock.setUtc(static_cast<time_t>(utc)); }
    Ticks& reports() { return ticks["OnTracking"]; }
};

TEST_F(TrackingBlock, ReportsOnceAMinuteAtAPeriodOfSixty) {
    setUtc(kMinute + 20);
    track(60);
    runFor(1h);
    ASSERT_EQ(reports().size(), 60u);
    for (std::size_t i = 0; i < 60; ++i)
        EXPECT_EQ(reports()[i], kStart + 39 + 60 * i) << "at second 59";
}

TEST_F(TrackingBlock, NeverReportsTwiceWithinFiveSeconds) {
    setUtc(kMinute + 59);
    track(1);
    runFor(1h);
    EXPECT_EQ(reports().size(), 720u);
    Ticks gaps(reports().size());
    std::adjacent_difference(reports().begin(), reports().end(), gaps.begin());
    gaps.erase(gaps.begin());
    EXPECT_THAT(gaps, Each(Gt(4u)));
}

TEST_F(TrackingBlock, ReportsEveryFiveSecondsWhileTheBaseLiesAhead) {
    setUtc(kMinute + 20);
    track(60, 1800000000);
    runFor(20s);
    EXPECT_THAT(reports(), ElementsAre(kStart, kStart + 5, kStart + 10, kStart + 15));
}

TEST_F(TrackingBlock, HasNoLockOutInTheFirstFiveTicks) {
    unit.clock.setTick(0);
    track(1);
    runFor(15s);
    Ticks expected;
    for (uint32_t tick = 0; tick <= 4; ++tick)
        expected.insert(expected.end(), 4, tick); // in every cycle
    expected.insert(expected.end(), {9, 14});
    EXPECT_EQ(reports(), expected);
}

TEST_F(TrackingBlock, ReportsNothingWhileItIsDisabled) {
    track(1);
    set([](GPSParams& p) { p.trackingEnabled = false; });
    runFor(60s);
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(TrackingBlock, ReportsNothingAtAPeriodOfZero) {
    track(0);
    runFor(1h);
    EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(TrackingBlock, TakesATimeThatIsNotKnownForTheEpoch) {
    const PlatformHooks* const usual = platformHooks();
    PlatformHooks withoutTime = *usual;
    withoutTime.utcSeconds = [](long&) { return false; };
    setUtc(kMinute + 20);
    track(60);
    setPlatformHooks(&withoutTime);
    runCycles(1);
    setPlatformHooks(usual);
    EXPECT_EQ(reports().size(), 1u);
}

TEST_F(TrackingBlock, CountsTheLockOutFromAReportThatFailed) {
    callback.result = 0x42;
    track(1);
    runFor(6s);
    EXPECT_THAT(reports(), ElementsAre(kStart, kStart + 5));
}

/// The position block takes four seconds in each cycle that begins at `tick` or later.
class TrackingOfASlowCycle : public TrackingBlock {
protected:
    void bringFixesSlowlyFrom(uint32_t tick) {
        unit.clock.setTick(10);
        hal->atCall = [this, tick](const std::string& name) {
            if (name == "GetData" && unit.clock.tick() >= tick)
                unit.clock.advance(4s);
        };
    }
};

TEST_F(TrackingOfASlowCycle, CountsItsLockOutFromTheBeginOfTheCycle) {
    track(1);
    set([](GPSParams& p) { p.positionInterval = 10; });
    bringFixesSlowlyFrom(10);
    runFor(7s); // the second cycle begins at 16.5, five seconds after 10 and not after 14
    EXPECT_THAT(reports(), ElementsAre(14u, 16u));
}

TEST_F(TrackingOfASlowCycle, JudgesTheLockOutByTheTickAtTheBeginOfTheCycle) {
    track(1);
    set([](GPSParams& p) { p.positionInterval = 3; });
    bringFixesSlowlyFrom(13);
    runFor(3500ms); // the last cycle begins at 13 and has its fix at 17
    EXPECT_THAT(reports(), ElementsAre(10u));
}

int timesAsked = 0;

TEST_F(TrackingBlock, AsksForTheTimeInEachCycleAlsoDuringItsLockOut) {
    const PlatformHooks* const usual = platformHooks();
    PlatformHooks counting = *usual;
    counting.utcSeconds = [](long&) { return ++timesAsked != 0; };
    timesAsked = 0;
    track(1);
    setPlatformHooks(&counting);
    runCycles(7);
    setPlatformHooks(usual);
    EXPECT_EQ(timesAsked, 7);
    EXPECT_EQ(reports().size(), 1u);
}

TEST_F(TrackingBlock, StartsItsLockOutWithTheFirstReportOnly) {
    setUtc(kMinute + 57);
    track(60);
    runFor(10s);
    EXPECT_THAT(reports(), ElementsAre(kStart + 2));
}

struct Boundary {
    const char* what;
    long long utc;
    int32_t period;
    int32_t base;
    int32_t offset;
    bool reports;
};
class TrackingBoundary : public TrackingBlock, public ::testing::WithParamInterface<Boundary> {};

TEST_P(TrackingBoundary, IsWithinASecondOfAMultipleOfThePeriod) {
    const Boundary& row = GetParam();
    setUtc(row.utc);
    track(row.period, row.base, row.offset);
    runCycles(1);
    EXPECT_EQ(reports().size(), row.reports ? 1u : 0u) << row.what;
}

INSTANTIATE_TEST_SUITE_P(AtAPeriodOfSixty, TrackingBoundary,
                         ::testing::Values(Boundary{"second 57", kMinute + 57, 60, 0, 0, false},
                                           Boundary{"second 58", kMinute + 58, 60, 0, 0, false},
                                           Boundary{"second 59", kMinute + 59, 60, 0, 0, true},
                                           Boundary{"second 0", kMinute, 60, 0, 0, true},
                                           Boundary{"second 1", kMinute + 1, 60, 0, 0, true},
                                           Boundary{"second 2", kMinute + 2, 60, 0, 0, false},
                                           Boundary{"second 30", kMinute + 30, 60, 0, 0, false},
                                           Boundary{"the epoch", 0, 60, 0, 0, true},
                                           Boundary{"before the epoch", -1000, 60, 0, 0, true}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.what, "at", p.utc);
                         });

INSTANTIATE_TEST_SUITE_P(
    WithBaseAndOffset, TrackingBoundary,
    ::testing::Values(Boundary{"base is subtracted", kMinute + 30, 60, 30, 0, true},
                      Boundary{"and only there", kMinute, 60, 30, 0, false},
                      Boundary{"offset is added", kMinute + 50, 60, 0, 10, true},
                      Boundary{"and only there", kMinute + 10, 60, 0, 10, false},
                      Boundary{"both", kMinute + 25, 60, 40, 15, true},
                      Boundary{"base at the time itself", kMinute + 30, 60, kMinute + 30, 0, true},
                      Boundary{"base a second ahead", kMinute + 30, 60, kMinute + 31, 0, true},
                      Boundary{"base far ahead", kMinute + 30, 60, 1800000000, 0, true},
                      Boundary{"base ahead, offset beyond it", kMinute + 30, 60, 1800000000, 200000000,
                               false},
                      Boundary{"negative offset", kMinute + 30, 60, 0, -30, true},
                      Boundary{"greatest base", kMinute + 30, 60, kIntMax, 0, true},
                      Boundary{"least base wraps below 0", kMinute + 30, 60, kIntMin, 0, true},
                      Boundary{"greatest offset wraps below 0", kMinute + 30, 60, 0, kIntMax, true},
                      Boundary{"least of both", kMinute + 30, 60, kIntMin, kIntMin, false}),
    [](const auto& made) {
        const auto& p = made.param;
        return instanceName(p.what, "at", p.utc);
    });

INSTANTIATE_TEST_SUITE_P(
    AtOtherPeriods, TrackingBoundary,
    ::testing::Values(Boundary{"1", kMinute + 30, 1, 0, 0, true}, Boundary{"2", kMinute + 31, 2, 0, 0, true},
                      Boundary{"3", kMinute + 2, 3, 0, 0, true}, Boundary{"4", kMinute + 2, 4, 0, 0, false},
                      Boundary{"4", kMinute + 3, 4, 0, 0, true}, Boundary{"0", kMinute, 0, 0, 0, false},
                      Boundary{"-1", kMinute + 30, -1, 0, 0, true},
                      Boundary{"-1 at the least time", 0x80000000LL, -1, 0, 0, true},
                      Boundary{"-60", kMinute + 30, -60, 0, 0, true},
                      Boundary{"least", kMinute + 30, kIntMin, 0, 0, true},
                      Boundary{"greatest", kMinute + 30, kIntMax, 0, 0, false},
                      Boundary{"greatest, a second before", kIntMax - 1, kIntMax, 0, 0, true},
                      Boundary{"greatest, two before", kIntMax - 2, kIntMax, 0, 0, false}),
    [](const auto& made) {
        const auto& p = made.param;
        return instanceName(p.what, "at", p.utc);
    });

INSTANTIATE_TEST_SUITE_P(Beyond32Bits, TrackingBoundary,
                         ::testing::Values(Boundary{"2^31 is negative", 0x80000000LL, 60, 0, 0, true},
                                           Boundary{"2^32 + 20", 0x100000014LL, 60, 0, 0, false},
                                           Boundary{"2^32 + 60", 0x10000003CLL, 60, 0, 0, true}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.what, "at", p.utc);
                         });

} // namespace
