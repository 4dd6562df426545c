// Conversions from floating point, at and beyond the limits of the narrower type.

#include "Saturate.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(Saturate, TruncatesTowardZero) {
    EXPECT_EQ(saturate<int32_t>(1.9), 1);
    EXPECT_EQ(saturate<int32_t>(-1.9), -1);
    EXPECT_EQ(saturate<uint32_t>(4294967294.9), 4294967294u);
}

TEST(Saturate, EndsAtTheTypesLimits) {
    EXPECT_EQ(saturate<int32_t>(2147483647.5), 2147483647);
    EXPECT_EQ(saturate<int32_t>(-1e300), -2147483647 - 1);
    EXPECT_EQ(saturate<int16_t>(kInfinity), 32767);
    EXPECT_EQ(saturate<int16_t>(-kInfinity), -32768);
    EXPECT_EQ(saturate<uint32_t>(5e9), 4294967295u);
}

TEST(Saturate, GivesZeroForWhatIsNoNumberAndForNegativeOnesOfAnUnsignedType) {
    EXPECT_EQ(saturate<int32_t>(kNaN), 0);
    EXPECT_EQ(saturate<uint32_t>(kNaN), 0u);
    EXPECT_EQ(saturate<uint32_t>(-1.0), 0u);
    EXPECT_EQ(saturate<uint32_t>(-kInfinity), 0u);
}

TEST(SaturateSeconds, EndsAtTheTypesLimits) {
    EXPECT_EQ(saturateSeconds<int32_t>(1700000000), 1700000000);
    EXPECT_EQ(saturateSeconds<int32_t>(2147483647), 2147483647);
    EXPECT_EQ(saturateSeconds<int32_t>(2147483648), 2147483647);
    EXPECT_EQ(saturateSeconds<int32_t>(-2147483649), -2147483647 - 1);
}

TEST(ToSingle, RoundsToTheNearest) {
    EXPECT_EQ(toSingle(0.1), 0.1f);
    EXPECT_EQ(toSingle(24.9999999), 25.0f);
}

TEST(ToSingle, BecomesInfiniteBeyondItsRangeAndKeepsWhatIsNoNumber) {
    EXPECT_EQ(toSingle(1e300), std::numeric_limits<float>::infinity());
    EXPECT_EQ(toSingle(-1e300), -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(toSingle(kNaN)));
}

} // namespace
