#include "simulator/Numbers.h"

#include <gtest/gtest.h>

using namespace simulator;

TEST(Numbers, ANumberIsTheWholeTextAndWithinItsRange) {
    EXPECT_EQ(0.5, parseNumber("0.5", 0, 1));
    EXPECT_EQ(-1000, parseNumber("-1e3", -1000, 0));
    EXPECT_EQ(1, parseNumber("1", 0, 1));
    EXPECT_EQ(0, parseNumber("0", 0, 1));
}

TEST(Numbers, WhatIsNoNumberOrOutsideItsRangeIsRefused) {
    for (const char* text : {"", "one", "1 ", "1x", "0.1,", "1.001", "-0.001", "nan", "inf", "1e999"})
        EXPECT_FALSE(parseNumber(text, 0, 1)) << text;
    EXPECT_FALSE(parseNumber(std::string("1\0", 2), 0, 1));
}

TEST(Numbers, AWholeNumberIsDigitsAlone) {
    EXPECT_EQ(7u, parseWhole("7", 0, 10));
    EXPECT_EQ(10u, parseWhole("0010", 0, 10));
    EXPECT_EQ(4'294'967'295u, parseWhole("4294967295", 0, UINT32_MAX));
    for (const char* text : {"", "-1", "+1", " 1", "1.0", "0x1", "11", "4294967296"})
        EXPECT_FALSE(parseWhole(text, 0, 10)) << text;
    EXPECT_FALSE(parseWhole("0", 1, 10));
}

TEST(Numbers, ALeadingNumberMayHaveMoreBehindIt) {
    EXPECT_EQ(4404.5, leadingNumber("4404.5N"));
    EXPECT_EQ(0, leadingNumber(""));
    EXPECT_EQ(0, leadingNumber("N"));
}

TEST(Numbers, FormattedTextHasAnyLength) {
    EXPECT_EQ("0x001f 2.50", formatted("0x%04x %.2f", 0x1FU, 2.5));
    EXPECT_EQ("", formatted("%s", ""));
    EXPECT_EQ(std::string(1000, 'x'), formatted("%s", std::string(1000, 'x').c_str()));
}
