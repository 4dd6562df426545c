#include "simulator/Time.h"

#include <gtest/gtest.h>

#include "simulator/Constants.h"

using namespace simulator;
using namespace std::chrono_literals;

TEST(Time, SecondsAndDurationsAreInverse) {
    EXPECT_EQ(1.5, inSeconds(1500ms));
    EXPECT_EQ(-250ms, fromSeconds(-0.25));
    EXPECT_EQ(1'000'000s, fromSeconds(1e6));
}

TEST(Time, CalendarKnowsTheGpsEpochAndDaysBeyond32BitSeconds) {
    EXPECT_EQ(std::chrono::seconds(kGpsEpochS), utcOf({1980, 1, 6, 0, 0, 0, 0}).time_since_epoch());
    EXPECT_EQ(4'102'444'800s, utcOf({2100, 1, 1, 0, 0, 0, 0}).time_since_epoch());
    EXPECT_EQ(-4'102'358'400s, utcOf({1840, 1, 2, 0, 0, 0, 0}).time_since_epoch());
}

TEST(Time, YearsBeginAndEndOnTheirOwnDays) {
    for (int32_t year = 1700; year < 2250; ++year) {
        const UtcTime firstOfMarch = utcOf({year, 3, 1, 0, 0, 0, 0});
        const bool leapYear = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
        EXPECT_EQ(leapYear ? 29 : 28, calendarOf(firstOfMarch - 1ns).day) << year;
        EXPECT_EQ(year, calendarOf(utcOf({year, 1, 1, 0, 0, 0, 0})).year);
    }
}
