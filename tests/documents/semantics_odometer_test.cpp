// What docs/semantics.md draws of the odometer: warm-up and lag of a drive, its steps, what passes the error
// gate, jumps. Positions go north; the worker's calls are made by hand, one a second.

#include <cmath>

#include "AdapterFixture.h"
#include "Drawn.h"
#include "OdometerArithmetic.h"

namespace {

constexpr int32_t kWarmup = 180; // position cycles, each a second

class DrawnOdometer : public AdapterFixture {
protected:
    DrawnOdometer() { member(AdapterHorizontalError()) = 5; }

    uint32_t metres() { return member(AdapterOdometer()); }
    GPSData& filtered() { return member(AdapterOdometerFiltered()); }
    GPSData& reference() { return member(AdapterOdometerReference()); }

    /// One position cycle at so many metres north of 48 degrees.
    void fixAtMetre(double north) {
        member(AdapterCurrentData()) = fixAt(
            48000000 + static_cast<int32_t>(std::lround(north / odometry::kMetresPerMicrodegree)), 11000000);
        adapter->UpdateOdometer();
    }
    /// Stands at its start until it counts.
    void warmUp() {
        for (int32_t second = 0; second <= kWarmup; ++second)
            fixAtMetre(0);
    }

    /// Per cent of the way that is counted at a steady speed, once the smoothed point has its lag.
    long countedPercent(int speed, uint32_t error) {
        adapter->ResetParams();
        member(AdapterHorizontalError()) = error;
        warmUp();
        int second = 0;
        for (; second < 100; ++second)
            fixAtMetre(speed * second);
        const uint32_t before = metres();
        for (; second < 1100; ++second)
            fixAtMetre(speed * second);
        return std::lround((metres() - before) / (10.0 * speed));
    }

    /// The metres that it counts in the seconds behind a jump, by the second.
    std::vector<uint32_t> countedAfter(double jump, bool isThereToStay) {
        adapter->ResetParams();
        member(AdapterHorizontalError()) = 5;
        warmUp();
        std::vector<uint32_t> counted;
        for (int second = 0; second <= 60; ++second) {
            const bool hasJumped = isThereToStay ? second >= 5 : second == 5;
            fixAtMetre(hasJumped ? jump : 0);
            counted.push_back(metres());
        }
        return counted;
    }
};

TEST_F(DrawnOdometer, WarmsUpAndFollowsADriveWithItsLag) {
    Drawn drawn(
        "A drive of 10 m/s that begins with the service and ends after 400 s, with an error estimate of 5 m: "
        "second, metres driven, metres counted.",
        {"second", "driven", "counted"});
    for (int second = 0; second <= 480; ++second) {
        const int driven = 10 * std::min(second, 400);
        fixAtMetre(driven);
        if (second % 4 == 0)
            drawn.row(second, driven, metres());
    }
    drawn.expectCommitted("odometer-drive");
}

TEST_F(DrawnOdometer, CountsOrDropsEachStepAndMovesItsReferenceEitherWay) {
    Drawn drawn(
        "A drive of 6 m/s; the error estimate is 5 m, from second 30 on 12 m: second, millimetres from the "
        "reference to the smoothed point, millimetres that a step must exceed, and what was done.",
        {"second", "distance", "gate", "done"});
    warmUp();
    for (int second = -60; second < 60; ++second) {
        const uint32_t error = second < 30 ? 5 : 12;
        member(AdapterHorizontalError()) = error;
        const GPSData before = reference();
        const uint32_t counted = metres();
        fixAtMetre(6 * (second + 60));
        const bool moved = reference().latitude != before.latitude;
        if (second >= 0)
            drawn.row(second, std::lround(1000 * odometry::distanceMetres(before, filtered())), 2000 * error,
                      !moved               ? "builds-up"
                      : metres() > counted ? "counted"
                                           : "dropped");
    }
    drawn.expectCommitted("odometer-steps");
}

TEST_F(DrawnOdometer, CountsAtASpeedWhatTheErrorEstimateLets) {
    Drawn drawn(
        "Per cent of a long drive's way that are counted, by its steady speed in m/s and the error estimate "
        "in metres.",
        {"speed", "error-5", "error-8", "error-10", "error-15", "error-20"});
    for (int speed = 1; speed <= 45; ++speed)
        drawn.row(speed, countedPercent(speed, 5), countedPercent(speed, 8), countedPercent(speed, 10),
                  countedPercent(speed, 15), countedPercent(speed, 20));
    drawn.expectCommitted("odometer-gate");
}

TEST_F(DrawnOdometer, CountsAJumpOfThePositionUntilTheSmoothedOneJumpsBeyondAThousandMetres) {
    Drawn drawn("A position that stands, and jumps north by so many metres after 5 s: second, metres "
                "counted. The last "
                "column's jump lasts for one fix.",
                {"second", "jump-1001", "jump-5000", "jump-9990", "jump-10020", "spike-500"});
    const std::vector<uint32_t> small = countedAfter(1001, true);
    const std::vector<uint32_t> medium = countedAfter(5000, true);
    const std::vector<uint32_t> large = countedAfter(9990, true);
    const std::vector<uint32_t> beyond = countedAfter(10020, true);
    const std::vector<uint32_t> spike = countedAfter(500, false);
    for (std::size_t second = 0; second < small.size(); ++second)
        drawn.row(second, small[second], medium[second], large[second], beyond[second], spike[second]);
    drawn.expectCommitted("odometer-jump");
}

TEST_F(DrawnOdometer, CountsAJumpOfNineKilometresAsDrivenAndNoneOfTenAndABit) {
    EXPECT_NEAR(countedAfter(9000, true).back(), 9000, 50);
    EXPECT_EQ(countedAfter(10020, true).back(), 0u);
}

TEST_F(DrawnOdometer, CountsAWrongFixThoughThePositionComesBack) {
    EXPECT_GT(countedAfter(500, false).back(), 50u);
}

TEST_F(DrawnOdometer, LagsBehindByNineSecondsOfTheWay) {
    warmUp();
    for (int second = 0; second < 300; ++second)
        fixAtMetre(10 * second);
    EXPECT_NEAR(odometry::distanceMetres(member(AdapterCurrentData()), filtered()), 90, 1);
}

} // namespace
