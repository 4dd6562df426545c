// Numbers as hex digits and back, and frames as text.

#include "HexText.h"

#include <gtest/gtest.h>

#include "FailingMemory.h"

namespace {

TEST(HexText, IsPaddedToItsWidth) {
    EXPECT_EQ(hexText(0xC2, 4), "00c2");
    EXPECT_EQ(hexText(0, 8), "00000000");
}

TEST(HexText, IsAsWideAsItsNumber) {
    EXPECT_EQ(hexText(0xFFFFFFFF, 2), "ffffffff");
    EXPECT_EQ(hexText(7, 0), "7");
    EXPECT_EQ(hexText(0, 0), "0");
}

TEST(HexField, HasTheLowestByteFirst) {
    EXPECT_EQ(hexField(0x12345678), "78563412");
    EXPECT_EQ(hexField(1), "01000000");
}

TEST(HexValue, ReadsPairsOfEitherCase) {
    EXPECT_EQ(hexValue("00"), 0x00);
    EXPECT_EQ(hexValue("1a"), 0x1A);
    EXPECT_EQ(hexValue("Ff"), 0xFF);
}

TEST(HexValue, ReadsASingleDigit) { EXPECT_EQ(hexValue("a"), 0x0A); }

TEST(HexValue, CountsWhatIsNotAllHexAsZero) {
    for (const char* const pair : {"1g", "g1", "zz", " 1", "1 ", "-1", "+1", "0x", "g", ""})
        EXPECT_EQ(hexValue(pair), 0) << "'" << pair << "'";
}

TEST(SwapBytes, TurnsTheirOrder) { EXPECT_EQ(swapBytes(0x12345678), 0x78563412u); }

TEST(AppendEscaped, LeavesItsTargetAsItIsWithoutMemory) {
    const std::string frame = "b5621340140001000000";
    bool failed = true;
    for (std::size_t n = 1; failed; ++n) {
        std::string out = "before";
        const FailingMemory none(n);
        try {
            appendEscaped(frame, out, 0, 0);
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(out, "before");
        }
        failed = none.hasFailed();
    }
}

} // namespace
