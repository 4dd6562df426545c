#include "Track.h"

#include <gmock/gmock.h>

#include <cmath>
#include <sstream>

#include "MadeDrive.h"

namespace {

using namespace report;

Drive driveOf(const MadeDrive& made) {
    std::istringstream recording(made.recording());
    return readDrive(recording, "made.jsonl");
}

std::size_t beginnings(const std::vector<TrackPoint>& track) {
    std::size_t count = 0;
    for (const TrackPoint& point : track)
        count += point.begins;
    return count;
}

TEST(TrackOf, HasAPointForEachAcceptedFix) {
    const Drive drive = driveOf(deliveryRound());
    EXPECT_EQ(trackOf(drive).size(), drive.counts.fixes);
}

TEST(TrackOf, IsOneLineWhereNothingWasMissing) {
    MadeDrive made({50000000, 8000000});
    made.driveTo(500, 0, 50);
    EXPECT_EQ(beginnings(trackOf(driveOf(made))), 1u);
}

TEST(TrackOf, IsBrokenWhereThereWasNoFix) {
    MadeDrive made({50000000, 8000000});
    made.driveTo(500, 0, 50);
    made.setSky(false);
    made.driveTo(900, 0, 50);
    made.setSky(true);
    made.driveTo(1200, 0, 50);
    EXPECT_EQ(beginnings(trackOf(driveOf(made))), 2u);
}

TEST(TrackOf, IsBrokenWhereTheMonitorWasStartedAnew) {
    MadeDrive made({50000000, 8000000});
    made.driveTo(500, 0, 50);
    made.restart(60);
    made.driveTo(900, 0, 50);
    EXPECT_EQ(beginnings(trackOf(driveOf(made))), 2u);
}

TEST(TrackOf, GoesOnOverTheDateLineAndThePole) {
    EXPECT_EQ(beginnings(trackOf(driveOf(overTheDateLine()))), 1u);
    EXPECT_EQ(beginnings(trackOf(driveOf(overThePole()))), 1u);
}

Drive withStretches(const std::vector<std::pair<double, double>>& spans, Stretch::Kind kind) {
    Drive drive;
    for (const auto& [fromS, toS] : spans)
        drive.stretches.push_back({kind, fromS, toS, ""});
    return drive;
}

TEST(BreaksBetween, TwoTimesAreThoseThatOverlapThem) {
    const Breaks breaks(withStretches({{10, 20}, {15, 18}, {40, 50}}, Stretch::Kind::NoFix),
                        Breaks::Of::Fixes);
    EXPECT_FALSE(breaks.between(5, 10));
    EXPECT_TRUE(breaks.between(10, 20));
    EXPECT_TRUE(breaks.between(19, 21));
    EXPECT_FALSE(breaks.between(20, 40));
    EXPECT_TRUE(breaks.between(0, 100));
    EXPECT_FALSE(breaks.between(50, 60));
}

TEST(BreaksBetween, ReadingsAreNotThoseOfFixes) {
    const Drive drive = withStretches({{10, 20}}, Stretch::Kind::NoFix);
    EXPECT_FALSE(Breaks(drive, Breaks::Of::Readings).between(10, 20));
    EXPECT_FALSE(
        Breaks(withStretches({{10, 10}}, Stretch::Kind::ClockJump), Breaks::Of::Fixes).between(9, 11));
}

std::vector<TrackPoint> withSpeed(double speedKmh) {
    TrackPoint point;
    point.speedKmh = speedKmh;
    return {point};
}

TEST(SpeedScale, HasAColourForEachSpeedFromSlowestToFastest) {
    const SpeedScale scale(withSpeed(118));
    EXPECT_EQ(scale.words(0), "0 to 20");
    EXPECT_EQ(scale.words(scale.stepOf(118)), "100 to 120");
    EXPECT_EQ(scale.colour(0), 0u);
    EXPECT_EQ(scale.colour(scale.steps() - 1), SpeedScale::kColours - 1);
}

TEST(SpeedScale, HoldsAnySpeed) {
    EXPECT_EQ(SpeedScale({}).steps(), 1u);
    EXPECT_EQ(SpeedScale(withSpeed(0)).stepOf(0), 0u);
    const SpeedScale scale(withSpeed(15461882)); // the most that a fix can tell
    EXPECT_LT(scale.stepOf(15461882), scale.steps());
    EXPECT_LT(scale.colour(scale.steps() - 1), SpeedScale::kColours);
}

TEST(Thinned, LeavesNoPlaceFurtherFromTheLineThanTheTolerance) {
    std::vector<Place> line;
    for (int i = 0; i < 5000; ++i)
        line.push_back({i * 0.1, 40 * std::sin(i * 0.002)});
    const std::vector<Place> kept = thinned(line, 0.5);
    EXPECT_LT(kept.size(), 200u);
    std::size_t next = 1;
    for (const Place& place : line) {
        while (next + 1 < kept.size() && kept[next].x < place.x)
            ++next;
        const Place& from = kept[next - 1];
        const Place along{kept[next].x - from.x, kept[next].y - from.y};
        const double area = along.x * (place.y - from.y) - along.y * (place.x - from.x);
        EXPECT_LE(std::abs(area) / std::hypot(along.x, along.y), 0.5);
    }
}

TEST(Thinned, KeepsShortLinesAsTheyAre) {
    EXPECT_TRUE(thinned({}, 1).empty());
    EXPECT_EQ(thinned({{1, 2}}, 1).size(), 1u);
    EXPECT_EQ(thinned({{1, 2}, {1, 2}}, 1).size(), 2u);
}

} // namespace
