// Numbers as hex digits and back, and frames as text.

#include "HexText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <random>

#include "FailingMemory.h"
#include "InstanceNames.h"

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

TEST(AppendHexByte, AppendsTwoDigits) {
    std::string out = "b562";
    for (const int byte : {0x00, 0x0A, 0xC2, 0xFF})
        appendHexByte(static_cast<unsigned char>(byte), out);
    EXPECT_EQ(out, "b562000ac2ff");
}

TEST(AppendHexByte, LeavesItsTargetAsItIsWithoutMemory) {
    std::string out;
    out.append(out.capacity() - 1, '.'); // room for one digit, not for two
    const std::string before = out;
    const FailingMemory none(1);
    EXPECT_THROW(appendHexByte(0x13, out), std::bad_alloc);
    EXPECT_EQ(out, before);
}

TEST(HexValue, ReadsPairsOfEitherCase) {
    EXPECT_EQ(hexValue("00"), 0x00);
    EXPECT_EQ(hexValue("1a"), 0x1A);
    EXPECT_EQ(hexValue("Ff"), 0xFF);
}

TEST(HexValue, ReadsASingleDigit) { EXPECT_EQ(hexValue("a"), 0x0A); }

TEST(HexValue, CountsWhatIsNotAllHexAsZero) {
    for (const char* const pair :
         {"1g", "g1", "zz", " 1", "1 ", "-1", "+1", "0x", "g", "@1", "`1", "\xc1", ""})
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

TEST(AppendEscaped, TakesItsTargetAsTheFrameToo) {
    std::string text = "b56213800000";
    EXPECT_TRUE(appendEscaped(text, text, 0, 0));
    EXPECT_EQ(text, R"(b56213800000\xb5\x62\x13\x80\x00\x00\x93\xcc)");
}

// --- Against the plain way, pair by pair ---------------------------------------------------------------

bool isHex(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

unsigned char valueOf(const std::string& pair) {
    const bool allHex = std::all_of(pair.begin(), pair.end(), isHex);
    return allHex ? static_cast<unsigned char>(std::stoul(pair, nullptr, 16)) : 0;
}

struct Escaped {
    std::string text; ///< without its checksum
    unsigned char ckA = 0;
    unsigned char ckB = 0;
};

Escaped escapedPairByPair(const std::string& frame) {
    Escaped escaped;
    for (std::size_t i = 0; i < frame.size(); i += 2) {
        const std::string pair = frame.substr(i, 2);
        escaped.text += "\\x" + pair;
        if (i > 3) {
            escaped.ckA = static_cast<unsigned char>(escaped.ckA + valueOf(pair));
            escaped.ckB = static_cast<unsigned char>(escaped.ckB + escaped.ckA);
        }
    }
    return escaped;
}

/// What the frame becomes behind `before`, with a checksum to verify or, for 00 00, to be built.
std::string outcome(const std::string& frame, const std::string& before, unsigned char ckA,
                    unsigned char ckB) {
    std::string out = before;
    const bool result = appendEscaped(frame, out, ckA, ckB);
    return out + (result ? " true" : " false");
}

class AnyFrame : public ::testing::TestWithParam<unsigned int> {
protected:
    std::string frame() {
        const std::string characters = GetParam() % 2 == 0 ? "0123456789abcdefABCDEF" : "09afAFgG@`/:x \xff";
        std::string text(random() % 60, ' ');
        for (char& c : text)
            c = characters[random() % characters.size()];
        return text;
    }

    std::mt19937 random{GetParam()};
};

TEST_P(AnyFrame, IsBuiltAsPairByPair) {
    for (int i = 0; i < 500; ++i) {
        const std::string text = frame();
        const Escaped escaped = escapedPairByPair(text);
        const std::string built =
            escaped.text + "\\x" + hexText(escaped.ckA, 0) + "\\x" + hexText(escaped.ckB, 0);
        EXPECT_EQ(outcome(text, "before", 0, 0), "before" + built + " true");
    }
}

TEST_P(AnyFrame, IsVerifiedAsPairByPair) {
    for (int i = 0; i < 500; ++i) {
        const std::string text = frame();
        const Escaped escaped = escapedPairByPair(text);
        if (escaped.ckA == 0)
            continue; // nothing to verify with 00 00
        const auto wrong = static_cast<unsigned char>(escaped.ckB ^ 1);
        EXPECT_EQ(outcome(text, "", escaped.ckA, escaped.ckB), escaped.text + " true");
        EXPECT_EQ(outcome(text, "", escaped.ckA, wrong), escaped.text + " false");
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, AnyFrame, ::testing::Range(1u, 9u),
                         [](const auto& made) { return instanceName(made.param); });

} // namespace
