// The adapter's odometer: warm-up, smoothing, distance, and what a step counts. All of it in exact figures.

#include <cmath>
#include <limits>

#include "AdapterFixture.h"
#include "InstanceNames.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr uint32_t kUnsignedMax = std::numeric_limits<uint32_t>::max();
constexpr int32_t kIntMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kIntMin = std::numeric_limits<int32_t>::min();

class UpdateOdometer : public AdapterFixture {
protected:
    GPSData& current() { return member(AdapterCurrentData()); }
    GPSData& filtered() { return member(AdapterOdometerFiltered()); }
    GPSData& reference() { return member(AdapterOdometerReference()); }
    int32_t& warmup() { return member(AdapterOdometerWarmup()); }
    uint32_t& metres() { return member(AdapterOdometer()); }

    void update(int times = 1) {
        for (int i = 0; i < times; ++i)
            EXPECT_EQ(adapter->UpdateOdometer(), 0u);
    }

    /// Tracking: the reference at `from`, the smoothed point (which a fix at the same place leaves there) at
    /// `to`.
    void track(const GPSData& from, const GPSData& to) {
        reference() = from;
        filtered() = current() = to;
        update();
    }
    /// A straight step, in microdegrees, up to 0 N 0 E.
    void step(int32_t latitude, int32_t longitude = 0) { track(fixAt(latitude, longitude), fixAt(0, 0)); }

    static std::pair<int32_t, int32_t> point(const GPSData& data) { return {data.latitude, data.longitude}; }
    static std::pair<int32_t, int32_t> at(int32_t latitude, int32_t longitude) {
        return {latitude, longitude};
    }

    using Seen = std::vector<bool>;
    const Lines kOnce = {"sem_wait lock", "sem_post lock"};
    const Lines kTwice = {"sem_wait lock", "sem_post lock", "sem_wait lock", "sem_post lock"};
};

// --- Warm-up --------------------------------------------------------------------------------------------

TEST_F(UpdateOdometer, TakesItsFirstReferenceAfter180Cycles) {
    current() = fixAt(48137154, 11576124);
    update(180);
    EXPECT_EQ(warmup(), 0);
    EXPECT_FALSE(reference().valid);
    update();
    EXPECT_TRUE(reference().valid);
    EXPECT_TRUE(filtered().valid);
    EXPECT_EQ(point(reference()), at(48137154, 11576124));
    EXPECT_EQ(point(filtered()), at(48137154, 11576124));
    EXPECT_EQ(metres(), 0u);
}

TEST_F(UpdateOdometer, CountsTheWarmUpWithoutTheLockAndTakesTheReferenceUnderIt) {
    warmup() = 1;
    update();
    EXPECT_THAT(unit.journal.take(), IsEmpty());
    update();
    EXPECT_EQ(unit.journal.take(), kOnce);
}

TEST_F(UpdateOdometer, CountsNothingDuringTheWarmUp) {
    for (int i = 0; i < 180; ++i) {
        current() = fixAt(48137154 + 500 * i, 11576124);
        update();
    }
    EXPECT_EQ(metres(), 0u);
    EXPECT_EQ(point(filtered()), at(0, 0));
}

TEST_F(UpdateOdometer, TakesItsFirstReferenceEvenWithoutAFix) {
    warmup() = 0;
    update();
    EXPECT_TRUE(reference().valid);
    EXPECT_EQ(point(reference()), at(0, 0));
}

TEST_F(UpdateOdometer, TakesItsReferenceAtOnceWhenTheWarmUpIsBelowZero) {
    warmup() = -5;
    update();
    EXPECT_TRUE(reference().valid);
    EXPECT_EQ(warmup(), -5);
}

TEST_F(UpdateOdometer, AsksNobodyAndTellsNobody) {
    warmup() = 2;
    update(10);
    step(180);
    EXPECT_EQ(unit.journal.count("hal "), 0u);
    EXPECT_THAT(told(), IsEmpty());
    EXPECT_THAT(logged(), IsEmpty());
}

// --- Smoothing ------------------------------------------------------------------------------------------

TEST_F(UpdateOdometer, TakesATenthOfTheNewAndNineTenthsOfTheOld) {
    reference() = filtered() = fixAt(1000, -1000);
    current() = fixAt(1100, -1200);
    update();
    EXPECT_EQ(point(filtered()), at(1010, -1020));
    update();
    EXPECT_EQ(point(filtered()), at(1019, -1038));
}

TEST_F(UpdateOdometer, WeighsTheNewByOneMinusNineTenthsNotByATenth) {
    // 5 x 0.1 is 0.5, which rounds to 1; 5 x 0.09999999999999998 is just below and rounds to 0.
    reference() = filtered() = fixAt(0, 0);
    current() = fixAt(5, -5);
    update();
    EXPECT_EQ(point(filtered()), at(0, 0));
    current() = fixAt(6, -6);
    update();
    EXPECT_EQ(point(filtered()), at(1, -1));
}

TEST_F(UpdateOdometer, RoundsHalvesAwayFromZero) {
    // 0.9 x 5 is 4.5 exactly.
    reference() = filtered() = fixAt(5, -5);
    current() = fixAt(0, 0);
    update();
    EXPECT_EQ(point(filtered()), at(5, -5));
}

TEST_F(UpdateOdometer, KeepsAPointThatDoesNotMove) {
    for (const int32_t place : {1, 48137154, -90000000, 180000000, kIntMax, kIntMin}) {
        track(fixAt(place, place), fixAt(place, place));
        EXPECT_EQ(point(filtered()), at(place, place));
        EXPECT_TRUE(reference().valid);
    }
    EXPECT_EQ(metres(), 0u);
}

TEST_F(UpdateOdometer, SmoothsTowardsTheLastAcceptedFixWhetherOrNotItIsStillThere) {
    member(AdapterAvailable()) = false;
    reference() = filtered() = fixAt(0, 0);
    current() = fixAt(1000, 0);
    update(3);
    EXPECT_EQ(filtered().latitude, 271);
}

// --- Distance -------------------------------------------------------------------------------------------

struct Distance {
    int32_t latitude;   // of the step, microdegrees
    int32_t longitude;  //
    int32_t atLatitude; // where it ends
    uint32_t metres;    // that it counts
};

class OdometerDistance : public UpdateOdometer, public ::testing::WithParamInterface<Distance> {};

TEST_P(OdometerDistance, CountsRoundedMetres) {
    const Distance& row = GetParam();
    track(fixAt(row.atLatitude + row.latitude, row.longitude), fixAt(row.atLatitude, 0));
    EXPECT_EQ(metres(), row.metres);
    EXPECT_TRUE(reference().valid);
}

// A microdegree is 0.11113286273635781 m. Steps whose length lies within 0.0003 m of a half show its digits.
INSTANTIATE_TEST_SUITE_P(AlongAMeridian, OdometerDistance,
                         ::testing::Values(Distance{180, 0, 0, 20},   // 20.0039
                                           Distance{-180, 0, 0, 20},  //
                                           Distance{2551, 0, 0, 283}, // 283.499933
                                           Distance{2560, 0, 0, 285}, // 284.500129
                                           Distance{7662, 0, 0, 851}, // 851.499994286
                                           Distance{7671, 0, 0, 853}, // 852.500190
                                           Distance{-7662, 0, 60000000, 851},
                                           Distance{8998, 0, -60000000, 1000}), // 999.9735
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.latitude, p.longitude, "at", p.atLatitude);
                         });

// Meridians converge: at 60 degrees a microdegree of longitude is half as long.
INSTANTIATE_TEST_SUITE_P(AlongAParallel, OdometerDistance,
                         ::testing::Values(Distance{0, 180, 0, 20}, Distance{0, -180, 0, 20},
                                           Distance{0, 360, 60000000, 20}, Distance{0, 360, -60000000, 20},
                                           Distance{0, 15324, 60000000, 851}, // 851.499994286
                                           Distance{0, 5120, 60000000, 285},  // 284.500129
                                           Distance{0, 2663, 48137154, 198},  // 197.500035
                                           Distance{0, 9216, 48137154, 683},  // 683.499932
                                           Distance{0, 1000000, 90000000, 0}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.latitude, p.longitude, "at", p.atLatitude);
                         });

INSTANTIATE_TEST_SUITE_P(AcrossBoth, OdometerDistance,
                         ::testing::Values(Distance{300, 400, 0, 56},             // 55.566
                                           Distance{-300, 400, 0, 56},            //
                                           Distance{3000, -8000, 60000000, 556}), // 555.664
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.latitude, p.longitude, "at", p.atLatitude);
                         });

TEST_F(UpdateOdometer, TakesTheConvergenceAtTheSmoothedPoint) {
    // 989.549 m with the cosine of the end at 60 N, 989.452 m with that of the start at 60.0061 N.
    track(fixAt(60006100, 12973), fixAt(60000000, 0));
    EXPECT_EQ(metres(), 990u);
}

// --- What a step counts ---------------------------------------------------------------------------------

TEST_F(UpdateOdometer, LetsADistanceOfFourteenMetresBuildUp) {
    step(126); // 14.003 m
    EXPECT_EQ(metres(), 0u);
    EXPECT_EQ(point(reference()), at(126, 0));
    EXPECT_EQ(unit.journal.take(), kOnce) << "smoothing alone";
    track(reference(), fixAt(-9, 0)); // and one metre more
    EXPECT_EQ(metres(), 15u);
}

TEST_F(UpdateOdometer, CountsBeyondFifteenMetres) {
    step(134);     // 14.892 m
    step(69, 116); // 14.99964 m
    EXPECT_EQ(metres(), 0u);
    step(23, 133); // 15.00005 m
    EXPECT_EQ(metres(), 15u);
    step(135); // 15.003 m
    EXPECT_EQ(metres(), 30u);
}

TEST_F(UpdateOdometer, MovesTheReferenceToTheSmoothedPointAfterAStep) {
    track(fixAt(180, 5), fixAt(0, 7));
    EXPECT_EQ(point(reference()), at(0, 7));
    EXPECT_EQ(unit.journal.take(), kTwice);
    update();
    EXPECT_EQ(metres(), 20u) << "counted once";
}

TEST_F(UpdateOdometer, CountsAStepBeyondTwiceTheErrorEstimate) {
    member(AdapterHorizontalError()) = 5;
    step(180); // 20.004 m
    EXPECT_EQ(metres(), 20u);
    member(AdapterHorizontalError()) = 10;
    step(180);
    EXPECT_EQ(metres(), 40u);
    step(179); // 19.893 m
    EXPECT_EQ(metres(), 40u);
}

TEST_F(UpdateOdometer, DropsAStepWithinTwiceTheErrorEstimate) {
    member(AdapterHorizontalError()) = 12;
    step(180); // 20.004 m, not above 24
    EXPECT_EQ(metres(), 0u);
    EXPECT_EQ(point(reference()), at(0, 0)) << "the reference moves all the same";
    track(reference(), fixAt(180, 0));
    EXPECT_EQ(metres(), 0u) << "dropped, not carried over";
}

TEST_F(UpdateOdometer, DropsEveryStepWithAHugeErrorEstimate) {
    for (const uint32_t error : {501u, 0x7FFFFFFFu, 0x80000000u, 0x80000001u, kUnsignedMax}) {
        member(AdapterHorizontalError()) = error;
        step(8998);
        EXPECT_EQ(metres(), 0u) << error << ": doubled in double, not in 32 bits";
    }
}

TEST_F(UpdateOdometer, AddsToWhatItHas) {
    metres() = 1000;
    step(180);
    step(2560);
    EXPECT_EQ(metres(), 1305u);
}

TEST_F(UpdateOdometer, WrapsAtItsEnd) {
    metres() = kUnsignedMax;
    step(180);
    EXPECT_EQ(metres(), 19u);
}

// --- What the lock covers -------------------------------------------------------------------------------

TEST_F(UpdateOdometer, TakesItsReferenceUnderTheLock) {
    current() = fixAt(48137154, 11576124);
    warmup() = 0;
    const auto moved = [&] { return reference().latitude != 0 || filtered().longitude != 0; };
    EXPECT_EQ(seenAtTheLock([&] { update(); }, moved), (Seen{false, true}));
}

TEST_F(UpdateOdometer, SmoothsUnderTheLock) {
    reference() = filtered() = fixAt(1000, 1000);
    current() = fixAt(1100, 1100);
    const auto smoothed = [&] { return filtered().latitude != 1000 || filtered().longitude != 1000; };
    EXPECT_EQ(seenAtTheLock([&] { update(); }, smoothed), (Seen{false, true}));
}

TEST_F(UpdateOdometer, CountsUnderTheLockAndMovesTheReferenceBehindIt) {
    const auto counted = [&] { return metres() != 0; };
    EXPECT_EQ(seenAtTheLock([&] { step(180); }, counted), (Seen{false, false, false, true}));
    const auto moved = [&] { return reference().latitude != 180; };
    EXPECT_EQ(seenAtTheLock([&] { step(180); }, moved), (Seen{false, false, false, false}));
}

TEST_F(UpdateOdometer, ForgetsBothPointsBeforeItTakesTheLockForTheWarmUp) {
    warmup() = 0;
    EXPECT_EQ(seenAtTheLock([&] { step(9008); }, [&] { return warmup() == 180; }),
              (Seen{false, false, false, true}));
    const auto forgotten = [&] { return !reference().valid && !filtered().valid; };
    EXPECT_EQ(seenAtTheLock([&] { step(9008); }, forgotten), (Seen{false, false, true, true}));
}

// --- Jumps ----------------------------------------------------------------------------------------------

TEST_F(UpdateOdometer, TakesUpToAThousandMetresForAStep) {
    step(506, 8984); // 999.99998 m
    EXPECT_EQ(metres(), 1000u);
    EXPECT_TRUE(reference().valid);
}

TEST_F(UpdateOdometer, StartsAnewBeyondAThousandMetres) {
    warmup() = 0;
    step(1701, 8836); // 1000.00001 m
    EXPECT_EQ(metres(), 0u);
    EXPECT_FALSE(reference().valid);
    EXPECT_FALSE(filtered().valid);
    EXPECT_EQ(warmup(), 180);
    EXPECT_EQ(unit.journal.take(), kTwice);
}

TEST_F(UpdateOdometer, StartsAnewAfterAJumpOf1001Metres) {
    step(9008); // 1001.08 m
    EXPECT_FALSE(reference().valid);
    EXPECT_FALSE(filtered().valid);
    EXPECT_EQ(warmup(), 180);
    update(180);
    EXPECT_FALSE(reference().valid);
    update();
    EXPECT_EQ(point(reference()), point(current()));
    EXPECT_EQ(metres(), 0u);
}

TEST_F(UpdateOdometer, WarmsUpFor180SecondsWhateverTheInterval) {
    struct {
        uint32_t interval;
        int32_t cycles;
    } const rows[] = {{1, 180}, {2, 90}, {7, 25}, {180, 1}, {181, 0}, {kUnsignedMax, 0}, {0, 180}};
    for (const auto& row : rows) {
        set([&](GPSParams& p) { p.positionInterval = row.interval; });
        step(9008);
        EXPECT_EQ(warmup(), row.cycles) << row.interval;
    }
}

TEST_F(UpdateOdometer, StartsAnewWhenTheFirstFixComesAfterAReferenceWithoutOne) {
    warmup() = 0;
    update();
    current() = fixAt(48137154, 11576124);
    update();
    EXPECT_FALSE(reference().valid);
    EXPECT_EQ(warmup(), 180);
    EXPECT_EQ(metres(), 0u);
}

TEST_F(UpdateOdometer, SurvivesExtremePositions) {
    for (const int32_t from : {kIntMin, -1, 0, kIntMax})
        for (const int32_t to : {kIntMin, 0, kIntMax})
            track(fixAt(from, to), fixAt(to, from));
    track(fixAt(kIntMin, kIntMin), fixAt(kIntMax, kIntMax));
    EXPECT_FALSE(reference().valid);
    reference() = fixAt(0, 0);
    filtered() = fixAt(kIntMax, kIntMin);
    current() = fixAt(kIntMin, kIntMax);
    update();
    EXPECT_FALSE(reference().valid);
    EXPECT_EQ(metres(), 0u);
}

TEST_F(UpdateOdometer, FollowsADriveWithItsSmoothingLag) {
    // 20 m a second due north: nine seconds behind, else everything is counted.
    current() = fixAt(48000000, 11000000);
    warmup() = 0;
    update();
    for (int second = 1; second <= 1000; ++second) {
        current().latitude += 180; // 20.004 m
        update();
    }
    EXPECT_NEAR(metres(), 20004 - 180, 20); // the last step may still be building up
}

} // namespace
