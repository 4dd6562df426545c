#include "simulator/Faults.h"

#include <gtest/gtest.h>

using namespace simulator;
using namespace std::chrono_literals;

class FaultsTest : public ::testing::Test {
protected:
    void begin(const std::string& name, Duration length = 10s) {
        ASSERT_NE(nullptr, findFaultRow(name));
        faults.begin(*findFaultRow(name), now + length);
    }
    std::string spoiled(const std::string& frame, uint64_t key = 1) const {
        return faults.spoiled(frame, 7, key, now);
    }
    Reception reception() const {
        Reception heard;
        faults.dampen(heard, now);
        return heard;
    }

    const std::string sentence = "$GNGLL,,,,,,V,N*7A\r\n";
    TimePoint now{1000s};
    Faults faults;
};

TEST_F(FaultsTest, ASoundReceiverHasNone) {
    EXPECT_EQ("none", faults.names(now));
    EXPECT_EQ(sentence, spoiled(sentence));
    EXPECT_FALSE(faults.silent(now));
    EXPECT_FALSE(reception().fixDenied || reception().skyBlocked);
}

TEST_F(FaultsTest, EachRowHasItsNameItsHelpAndOneEffect) {
    for (const FaultRow& row : faultRows()) {
        EXPECT_EQ(&row, findFaultRow(row.name));
        EXPECT_NE("", std::string(row.help));
        EXPECT_EQ(1, int{row.silences} + int{row.spoil != nullptr} + int{row.dampen != nullptr}) << row.name;
    }
    EXPECT_EQ(nullptr, findFaultRow("clear"));
}

TEST_F(FaultsTest, EachEndsByItselfOrWithAllOthers) {
    begin("silence", 1s);
    begin("nofix", 2s);
    EXPECT_EQ("silence,nofix", faults.names(now));
    now += 1s;
    EXPECT_EQ("nofix", faults.names(now));
    faults.clear();
    EXPECT_EQ("none", faults.names(now));
}

TEST_F(FaultsTest, ANewBeginningReplacesTheEnd) {
    begin("silence", 5s);
    begin("silence", 1s);
    EXPECT_TRUE(faults.silent(now));
    EXPECT_FALSE(faults.silent(now + 1s));
}

TEST_F(FaultsTest, GarbageIsAsLongAsTheFrameAndRepeatable) {
    begin("garbage");
    EXPECT_EQ(sentence.size(), spoiled(sentence).size());
    EXPECT_NE(sentence, spoiled(sentence));
    EXPECT_EQ(spoiled(sentence, 1), spoiled(sentence, 1));
    EXPECT_NE(spoiled(sentence, 1), spoiled(sentence, 2));
}

TEST_F(FaultsTest, ChecksumsAreBrokenAndFramesTooShortForOneStay) {
    begin("badchecksum");
    EXPECT_EQ("$GNGLL,,,,,,V,N*70\r\n", spoiled(sentence));
    EXPECT_EQ("*11\r\n", spoiled("*10\r\n"));
    EXPECT_EQ("abcd", spoiled("abcd"));
}

TEST_F(FaultsTest, ABrokenChecksumIsCutOffWithTheOtherHalf) {
    begin("half");
    begin("badchecksum");
    EXPECT_EQ("$GNGLL,,,,", spoiled(sentence));
    EXPECT_EQ("", spoiled("x"));
}

TEST_F(FaultsTest, NoFixAndNoSatellitesChangeWhatIsHeard) {
    begin("nofix");
    EXPECT_TRUE(reception().fixDenied);
    EXPECT_FALSE(reception().skyBlocked);
    begin("nosatellites");
    EXPECT_TRUE(reception().skyBlocked);
}
