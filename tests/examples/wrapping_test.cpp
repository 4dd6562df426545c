#include "Wrapping.h"

#include <gtest/gtest.h>

namespace {

const std::string kLine =
    "2026-11-22 07:21:32   52.516300   13.377200  position update: within  8 m, 13.9 m/s, course 264";

TEST(Wrapping, LeavesALineAloneThatFitsOrHasNoTerminal) {
    EXPECT_EQ(wrapped(kLine, 0), kLine);
    EXPECT_EQ(wrapped(kLine, kLine.size()), kLine);
    EXPECT_EQ(wrapped("", 40), "");
}

TEST(Wrapping, KeepsTheTextInItsColumn) {
    EXPECT_EQ(wrapped(kLine, 80),
              "2026-11-22 07:21:32   52.516300   13.377200  position update: within  8 m, 13.9\n"
              "                                             m/s, course 264");
}

TEST(Wrapping, GivesTheColumnsUpWhereThereIsNoRoom) {
    EXPECT_EQ(wrapped(kLine, 40), "2026-11-22 07:21:32  52.516300\n"
                                  "    13.377200  position update: within\n"
                                  "    8 m, 13.9 m/s, course 264");
}

TEST(Wrapping, BreaksWhereAWordEndsAtTheBorder) {
    EXPECT_EQ(wrapped("one two three four", 7), "one two\n    three four");
    EXPECT_EQ(wrapped("one two six", 7), "one two\n    six");
}

TEST(Wrapping, LeavesALongWordWhole) {
    EXPECT_EQ(wrapped("page: /a/very/long/path", 10), "page:\n    /a/very/long/path");
    EXPECT_EQ(wrapped("/a/very/long/path", 10), "/a/very/long/path");
    EXPECT_EQ(wrapped("    /a/very/long/path", 10), "  /a/very/long/path");
}

} // namespace
