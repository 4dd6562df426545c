#include "Markup.h"

#include <gmock/gmock.h>

#include <limits>

namespace {

using namespace report;

TEST(Escaped, LeavesNothingThatMarkupMeans) {
    EXPECT_EQ(escaped("<b a=\"1\">&</b>"), "&lt;b a=&quot;1&quot;&gt;&amp;&lt;/b&gt;");
}

TEST(Escaped, KeepsLettersOfAllLanguages) {
    const std::string words = "M\u00FChle \u6771\u4EAC \U0001F69A";
    EXPECT_EQ(escaped(words), words);
}

TEST(Escaped, ReplacesWhatIsNoUtf8AndWhatXmlMayNotHold) {
    EXPECT_EQ(escaped("a\xFFz"), "a\uFFFDz");
    EXPECT_EQ(escaped("a\xC3"), "a\uFFFD");                       // cut
    EXPECT_EQ(escaped("\xC0\xAF"), "\uFFFD\uFFFD");               // a slash in two bytes
    EXPECT_EQ(escaped("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");     // half of a surrogate pair
    EXPECT_EQ(escaped(std::string("\0\x1B", 2)), "\uFFFD\uFFFD"); // control characters
    EXPECT_EQ(escaped("\xEF\xBF\xBE"), "\uFFFD\uFFFD\uFFFD");
}

TEST(Number, HasNoMoreDecimalsThanItNeeds) {
    EXPECT_EQ(number(12), "12");
    EXPECT_EQ(number(0.5, 3), "0.5");
    EXPECT_EQ(number(-0.04, 1), "0");
    EXPECT_EQ(number(-3.25, 2), "-3.25");
    EXPECT_EQ(number(100), "100");
}

TEST(Number, OfWhatIsNoneIsAQuestion) {
    EXPECT_EQ(number(std::numeric_limits<double>::quiet_NaN(), 2), "?");
    EXPECT_EQ(number(std::numeric_limits<double>::infinity(), 2), "?");
    EXPECT_EQ(number(std::numeric_limits<double>::max()).size(), 309u);
}

TEST(Elapsed, HasHoursWhereThereAreSome) {
    EXPECT_EQ(elapsed(7), "0:07");
    EXPECT_EQ(elapsed(750.4), "12:30");
    EXPECT_EQ(elapsed(3723), "1:02:03");
    EXPECT_EQ(elapsed(359999), "99:59:59");
}

TEST(Distance, IsMetresOrKilometres) {
    EXPECT_EQ(distance(7.4), "7 m");
    EXPECT_EQ(distance(1234), "1.2 km");
    EXPECT_EQ(distance(340000), "340 km");
}

} // namespace
