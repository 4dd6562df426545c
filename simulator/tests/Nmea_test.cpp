#include "simulator/Nmea.h"

#include <gtest/gtest.h>

using namespace simulator;

TEST(Nmea, ChecksumIsTheExclusiveOrOfTheBody) {
    EXPECT_EQ("7A", nmeaChecksumText("GNGLL,,,,,,V,N"));
    EXPECT_EQ("00", nmeaChecksumText(""));
    EXPECT_EQ("0E", nmeaChecksumText("EK"));
}

TEST(Nmea, SentenceIsBuiltFieldByField) {
    const UtcTime time = utcOf({2002, 12, 9, 8, 35, 59, 0});
    EXPECT_EQ("$GNRMC,083559.00,A,4717.11437,N,00833.91522,E,0.004,77.52,091202,,,A*49\r\n",
              NmeaSentence("GNRMC")
                  .timeOfDay(time)
                  .field("A")
                  .latitude(47.2852395)
                  .longitude(8.565253667)
                  .field(0.004, 3)
                  .field(77.52, 2)
                  .date(time)
                  .empty(2)
                  .field("A")
                  .text());
}

TEST(Nmea, SouthAndWestAreNegative) {
    EXPECT_EQ("X,4552.65403,S,17030.00668,W",
              NmeaSentence("X").latitude(-45.877567167).longitude(-170.500111333).body());
}

TEST(Nmea, RoundedUpMinutesBecomeAFullDegree) {
    EXPECT_EQ("X,4800.00000,N,00000.00000,E", NmeaSentence("X").latitude(47.99999999999).longitude(0).body());
}

TEST(Nmea, NumbersAreRoundedAndPadded) {
    EXPECT_EQ("X,7,007,1.50,,,-21.4",
              NmeaSentence("X").field(7).padded(7, 3).field(1.499, 2).empty(2).field(-21.4, 1).body());
}

TEST(Nmea, CalendarKnowsLeapDaysAndTimesBeforeTheEpoch) {
    const CalendarTime leapDay = calendarOf(UtcTime(std::chrono::seconds(951'782'399)));
    EXPECT_EQ(2000, leapDay.year);
    EXPECT_EQ(2, leapDay.month);
    EXPECT_EQ(28, leapDay.day);
    EXPECT_EQ(59, leapDay.second);
    const CalendarTime before = calendarOf(UtcTime(std::chrono::milliseconds(-1)));
    EXPECT_EQ(1969, before.year);
    EXPECT_EQ(31, before.day);
    EXPECT_EQ(999'000'000, before.nanosecond);
}

TEST(Nmea, CalendarAndUtcAreInverse) {
    for (long long day = -100'000; day < 100'000; day += 97) {
        const UtcTime utc(std::chrono::seconds(day * 86'400 + 12'345));
        EXPECT_EQ(utc, utcOf(calendarOf(utc)));
    }
}

TEST(Nmea, ParsingTakesASentenceApart) {
    const ParsedSentence gll = parseSentence("$GNGLL,,,,,,V,N*7A\r\n");
    EXPECT_TRUE(gll.valid);
    EXPECT_EQ("GLL", gll.kind());
    ASSERT_EQ(8u, gll.fields.size());
    EXPECT_EQ("V", gll.fieldAt(6));
    EXPECT_EQ("", gll.fieldAt(99));
    EXPECT_EQ("$GNGLL,,,,,,V,N*7A\r\n", composeSentence(gll.fields));
}

TEST(Nmea, ParsingRefusesWrongChecksumsAndOtherBytes) {
    for (const char* text :
         {"$GNGLL,,,,,,V,N*7B\r\n", "$GNGLL,,,,,,V,N\r\n", "$GNGLL*7", "", "GNGLL*7A", "\xB5\x62"})
        EXPECT_FALSE(parseSentence(text).valid) << text;
}
