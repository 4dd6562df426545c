#include "simulator/ReceiverClock.h"

#include <gtest/gtest.h>

using namespace simulator;
using namespace std::chrono_literals;

// --- The crystal ----------------------------------------------------------------------------------------

TEST(ClockRest, RunsAwayByAQuarterOfAMicrosecondEachSecond) {
    EXPECT_EQ(4206ns, clockRest(0s));
    EXPECT_EQ(4454ns, clockRest(1s));
    EXPECT_EQ(78110ns, clockRest(298s));
}

TEST(ClockRest, GoesFromHalfAMillisecondToMinusHalfAfterHalfAnHour) {
    EXPECT_EQ(499908ns, clockRest(1998800ms));
    EXPECT_EQ(-499844ns, clockRest(1999800ms));
    EXPECT_LT(499us, clockRest(1998800ms + 4032258ms));
}

// --- What is reported -----------------------------------------------------------------------------------

class ReportedTimeTest : public ::testing::Test {
protected:
    ReportedTimeTest() {
        epoch.utc = utcOf({2024, 5, 17, 12, 0, 0, 0});
        epoch.sinceStart = 5s;
        epoch.timeKnown = true;
    }

    Epoch epoch;
};

TEST_F(ReportedTimeTest, IsTheTrueOneOnceAllIsKnown) {
    EXPECT_EQ(epoch.utc, reportedUtc(epoch));
    EXPECT_TRUE(isDateKnown(epoch));
    EXPECT_TRUE(isUtcResolved(epoch));
}

TEST_F(ReportedTimeTest, CountsFromTheFirmwaresDayWhileNothingIsKnown) {
    epoch.timeKnown = false;
    EXPECT_EQ(utcOf({2015, 10, 18, 0, 0, 5, 0}), reportedUtc(epoch));
    EXPECT_FALSE(isDateKnown(epoch));
    EXPECT_FALSE(isUtcResolved(epoch));
}

TEST_F(ReportedTimeTest, KeepsDayOfTheWeekAndTimeInAWrongWeek) {
    epoch.weekKnown = false;
    EXPECT_EQ(utcOf({2015, 10, 23, 12, 0, 0, 0}), reportedUtc(epoch)) << "a Friday too";
    EXPECT_FALSE(isDateKnown(epoch));
}

// 2024-05-19 is a Sunday; GPS time is 18 s ahead of UTC.
TEST_F(ReportedTimeTest, BeginsTheWrongWeekAnewWithGpsTime) {
    epoch.weekKnown = false;
    epoch.utc = utcOf({2024, 5, 18, 23, 59, 41, 0});
    EXPECT_EQ(utcOf({2015, 10, 24, 23, 59, 41, 0}), reportedUtc(epoch)) << "its last second";
    epoch.utc += 1s;
    EXPECT_EQ(utcOf({2015, 10, 17, 23, 59, 42, 0}), reportedUtc(epoch)) << "its first one";
    epoch.leapSource = LeapSource::Firmware;
    EXPECT_EQ(utcOf({2015, 10, 17, 23, 59, 43, 0}), reportedUtc(epoch)) << "of the same week";
}

TEST_F(ReportedTimeTest, HasItsWeekAlsoForATimeBeforeIt) {
    epoch.weekKnown = false;
    epoch.utc = utcOf({2015, 10, 14, 12, 0, 0, 0});
    EXPECT_EQ(utcOf({2015, 10, 21, 12, 0, 0, 0}), reportedUtc(epoch));
}

TEST_F(ReportedTimeTest, IsASecondAheadWithTheFirmwaresLeapSeconds) {
    epoch.leapSource = LeapSource::Firmware;
    EXPECT_EQ(epoch.utc + 1s, reportedUtc(epoch));
    EXPECT_EQ(17, reportedLeapSeconds(epoch));
}
