// What the queries make of the snapshot, without a driver around it.

#include "Snapshot.h"

#include <gtest/gtest.h>

namespace {

constexpr time_t kNow = 1600000000;

TEST(SnapshotAge, IsFreshForTenSeconds) {
    EXPECT_TRUE(isFresh(kNow, kNow));
    EXPECT_TRUE(isFresh(kNow - 10, kNow));
    EXPECT_FALSE(isFresh(kNow - 11, kNow));
    EXPECT_FALSE(isFresh(0, kNow));
}

TEST(SnapshotAge, IsFreshWhenTheClockWasSetBack) { EXPECT_TRUE(isFresh(kNow + 3600, kNow)); }

TEST(SnapshotFix, LeavesFieldsWithoutACurrentValueAsTheyAre) {
    ReaderBlock reader{};
    reader.latitude = 48.5;
    reader.tsLatLon = kNow;
    GPSData data;
    data.altitude = 519000;
    fillFreshFields(reader, kNow, data);
    EXPECT_EQ(data.latitude, 48500000);
    EXPECT_EQ(data.altitude, 519000);
    EXPECT_FALSE(data.valid);
}

TEST(SnapshotSnr, IsTheSumOfThoseUsedByGpsdsCount) {
    ReaderBlock reader{};
    reader.used[0] = reader.used[2] = true;
    reader.ss[0] = 38.9, reader.ss[1] = 50, reader.ss[2] = 17.5;
    EXPECT_EQ(meanSnr(reader, 3, 2), (38u + 17u) / 2u);
    EXPECT_EQ(meanSnr(reader, 2, 2), 38u / 2u);
    EXPECT_EQ(meanSnr(reader, 3, 0), 0u);
}

TEST(SnapshotError, IsTheLengthInWholeMetres) {
    EXPECT_EQ(horizontalErrorMetres(3, 4), 5u);
    EXPECT_EQ(horizontalErrorMetres(4.99999999, 0), 5u);
    EXPECT_EQ(horizontalErrorMetres(4.9999998, 0), 4u);
}

} // namespace
