#include "Journey.h"

#include <gmock/gmock.h>

#include "TestDrive.h"

namespace {

using namespace telemetry;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// How many points each segment has.
std::vector<int> segmentsOf(const Journey& journey) {
    std::vector<int> sizes;
    for (const TrackPoint& point : journey.points()) {
        if (point.begins)
            sizes.push_back(0);
        ++sizes.back();
    }
    return sizes;
}

std::vector<std::string> marksOf(const Journey& journey) {
    std::vector<std::string> names;
    for (const Mark& mark : journey.marks())
        names.push_back(mark.name);
    return names;
}

// --- The track ------------------------------------------------------------------------------------------

TEST(JourneysTrack, HasAPointForEachFix) {
    TestDrive drive;
    drive.drivesOn(100);
    EXPECT_THAT(segmentsOf(drive.journey), ElementsAre(100));
    EXPECT_EQ(drive.journey.fixes(), 100u);
    EXPECT_EQ(drive.journey.points()[1].utcS - drive.journey.points()[0].utcS, 1);
}

TEST(JourneysTrack, HasOnePointForAFixThatIsReadAgain) {
    TestDrive drive;
    drive.drivesOn(1);
    --drive.tickS;
    drive.drivesOn(1);
    EXPECT_THAT(segmentsOf(drive.journey), ElementsAre(1));
}

TEST(JourneysTrack, BeginsAnotherSegmentAfterMoreThanTwoPositionIntervals) {
    TestDrive drive;
    drive.drivesOn(3);
    ++drive.tickS;
    drive.drivesOn(3); // two seconds are no gap
    drive.tickS += 2;
    drive.drivesOn(3);
    EXPECT_THAT(segmentsOf(drive.journey), ElementsAre(6, 3));
}

TEST(JourneysTrack, MeasuresGapsByThePositionIntervalThatIsSet) {
    TestDrive drive;
    SettingsTaken taken;
    taken.settings.positionIntervalS = 30;
    drive.tells(taken);
    drive.drivesOn(1);
    drive.tickS += 59;
    drive.drivesOn(1);
    drive.tickS += 60;
    drive.drivesOn(1);
    EXPECT_THAT(segmentsOf(drive.journey), ElementsAre(2, 1));
}

TEST(JourneysTrack, BeginsAnotherSegmentWithAStartOfTheMonitor) {
    TestDrive drive;
    drive.drivesOn(3);
    drive.tells(Start{1, "another"});
    drive.drivesOn(3);
    EXPECT_THAT(segmentsOf(drive.journey), ElementsAre(3, 3));
    EXPECT_EQ(drive.journey.program(), "ruxogps-monitor 0.1.0");
}

TEST(JourneysTrack, BeginsAnotherSegmentWhereTheTicksGoBack) {
    TestDrive drive;
    drive.drivesOn(3);
    drive.tickS = 5;
    drive.drivesOn(3);
    EXPECT_THAT(segmentsOf(drive.journey), ElementsAre(3, 3));
}

TEST(JourneysTrack, KeepsTheFirstAndTheLastFixOfAStop) {
    TestDrive drive;
    drive.isAt(51999000, 13000000);
    drive.standsStill(3600);
    drive.isAt(52001000, 13000000);
    ASSERT_THAT(segmentsOf(drive.journey), ElementsAre(4));
    EXPECT_EQ(drive.journey.points()[2].utcS - drive.journey.points()[1].utcS, 3599);
    EXPECT_EQ(drive.journey.fixes(), 3602u);
}

TEST(JourneysTrack, EndsWithTheLastFixOfAStop) {
    TestDrive drive;
    drive.standsStill(100);
    ASSERT_THAT(segmentsOf(drive.journey), ElementsAre(2));
    EXPECT_EQ(drive.journey.points()[1].utcS, TestDrive::kFixUtcS + drive.tickS);
}

TEST(JourneysTrack, FollowsWhoCreeps) {
    TestDrive drive;
    for (int i = 0; i < 100; ++i)
        drive.isAt(52000000 + i * 4, 13000000, 450);         // 0.44 m a second
    EXPECT_THAT(segmentsOf(drive.journey), ElementsAre(18)); // two each 12 s: then it is 5 m further
}

TEST(JourneysTrack, NeverHasMorePointsThanItsLimitAndKeepsBothEnds) {
    JourneyLimits limits;
    limits.points = 1000;
    TestDrive drive(limits);
    for (int i = 0; i < 50000; ++i) {
        drive.drivesOn(1);
        ASSERT_LE(drive.journey.points().size(), 1000u);
    }
    EXPECT_GT(drive.journey.points().size(), 400u);
    EXPECT_EQ(drive.journey.points().front().utcS, TestDrive::kFixUtcS + 1001);
    EXPECT_EQ(drive.journey.points().back().utcS, TestDrive::kFixUtcS + drive.tickS);
    EXPECT_EQ(segmentsOf(drive.journey).size(), 1u);
}

TEST(JourneysTrack, KeepsItsGapsWhenEverySecondPointGoes) {
    JourneyLimits limits;
    limits.points = 100;
    TestDrive drive(limits);
    for (int i = 0; i < 3; ++i) {
        drive.drivesOn(50);
        drive.tickS += 10;
    }
    EXPECT_EQ(segmentsOf(drive.journey).size(), 3u);
}

TEST(JourneysTrack, IsBoundedAlsoWhereEachFixHasAGap) {
    JourneyLimits limits;
    limits.points = 100;
    TestDrive drive(limits);
    for (int i = 0; i < 5000; ++i, drive.tickS += 10)
        drive.drivesOn(1);
    EXPECT_LE(drive.journey.points().size(), 100u);
}

TEST(JourneysTrack, StaysOnEarth) {
    TestDrive drive;
    drive.isAt(90000001, 180000001);
    drive.isAt(-2147483647 - 1, -2147483647 - 1);
    EXPECT_EQ(drive.journey.points()[0].position.latitude, 90000000);
    EXPECT_EQ(drive.journey.points()[0].position.longitude, -179999999);
    EXPECT_EQ(drive.journey.points()[1].position.latitude, -90000000);
    EXPECT_EQ(drive.journey.points()[1].position.longitude, 12516352);
}

// --- Marks ----------------------------------------------------------------------------------------------

TEST(JourneysMarks, NameEachEvent) {
    TestDrive drive;
    drive.enters("Depot", Position{1, 2});
    drive.tells(GeofenceCrossed{false, std::nullopt, "Harbour", std::nullopt});
    drive.tells(AntennaChanged{3, std::nullopt});
    drive.tells(AvailabilityChanged{true, std::nullopt});
    drive.tells(Tracked{Fix()});
    EXPECT_THAT(marksOf(drive.journey), ElementsAre("entered Depot", "left Harbour", "antenna short circuit",
                                                    "available", "tracking"));
}

TEST(JourneysMarks, LeaveOutWhatTellsNothingNew) {
    TestDrive drive;
    drive.tells(PositionUpdated{});
    for (int i = 0; i < 10; ++i)
        drive.tells(AvailabilityChanged{false, std::nullopt});
    EXPECT_THAT(marksOf(drive.journey), ElementsAre("not available"));
}

TEST(JourneysMarks, HaveTheReceiversTimeAlsoBeforeTheFirstFix) {
    TestDrive drive;
    drive.enters("Depot", std::nullopt);
    drive.drivesOn(1);
    drive.tickS += 2;
    drive.enters("Depot", std::nullopt);
    EXPECT_EQ(drive.journey.marks()[0].utcMs, (TestDrive::kFixUtcS + 1000) * 1000);
    EXPECT_EQ(drive.journey.marks()[1].utcMs, (TestDrive::kFixUtcS + 1003) * 1000);
}

TEST(JourneysMarks, HaveTheSystemsTimeWithoutAnyFixSinceTheStart) {
    TestDrive drive;
    drive.drivesOn(1);
    drive.tells(Start{1, "another"});
    drive.enters("Depot", std::nullopt);
    EXPECT_EQ(drive.journey.marks()[0].utcMs, TestDrive::kUtcMs + 1001000);
    drive.drivesOn(1);
    EXPECT_EQ(drive.journey.marks()[0].utcMs, (TestDrive::kFixUtcS + 1001) * 1000);
}

TEST(JourneysMarks, AreCountedBehindTheLimit) {
    JourneyLimits limits;
    limits.marks = 2;
    TestDrive drive(limits);
    for (int i = 0; i < 5; ++i)
        drive.enters("Depot", std::nullopt);
    EXPECT_EQ(drive.journey.marks().size(), 2u);
    EXPECT_EQ(drive.journey.marksLeftOut(), 3u);
}

// --- Geofences ------------------------------------------------------------------------------------------

TEST(JourneysGeofences, AreKeptOnceEach) {
    TestDrive drive;
    drive.watches({"Depot", {1, 2}, 3, 4, 5});
    drive.watches({"Depot", {1, 2}, 3, 4, 5});
    drive.watches({"Depot", {1, 2}, 3, 4, 6});
    drive.watches({"None", {1, 2}, 0, 4, 6});
    ASSERT_EQ(drive.journey.geofences().size(), 2u);
    EXPECT_EQ(drive.journey.geofences()[1].margin, 6u);
}

TEST(JourneysGeofences, AreCountedBehindTheLimit) {
    JourneyLimits limits;
    limits.geofences = 1;
    TestDrive drive(limits);
    drive.watches({"Depot", {1, 2}, 3, 4, 5});
    drive.watches({"Harbour", {1, 2}, 3, 4, 5});
    EXPECT_EQ(drive.journey.geofences().size(), 1u);
    EXPECT_EQ(drive.journey.geofencesLeftOut(), 1u);
}

TEST(Journey, OfNothingIsEmpty) {
    const Journey journey;
    EXPECT_THAT(journey.points(), IsEmpty());
    EXPECT_THAT(journey.marks(), IsEmpty());
}

} // namespace
