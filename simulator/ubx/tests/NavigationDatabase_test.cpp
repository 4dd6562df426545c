// What the receiver learns from the sky, hands out and takes back.
#include "NavigationDatabase.h"

#include <gmock/gmock.h>

#include "UbxTestSupport.h"

namespace simulator {
namespace {

const std::set<Constellation> kAll = {Constellation::Gps, Constellation::Galileo, Constellation::Glonass};

class NavigationDatabaseTest : public ::testing::Test {
protected:
    void track(std::chrono::seconds duration) {
        for (auto end = epoch.utc + duration; epoch.utc < end; epoch.utc += 1s)
            database.learn(epoch);
    }

    NavigationDatabase database{7};
    Epoch epoch = goodEpoch();
};

TEST_F(NavigationDatabaseTest, IsEmptyAtFirst) {
    EXPECT_EQ(database.size(), 0u);
    EXPECT_TRUE(database.dump().empty());
}

TEST_F(NavigationDatabaseTest, LearnsNothingBeforeTheTimeIsKnown) {
    epoch.timeKnown = false;
    track(60s);
    EXPECT_EQ(database.size(), 0u);
}

TEST_F(NavigationDatabaseTest, LearnsTheEphemeridesOfTheSolutionWithItsFirstFix) {
    track(1s);
    EXPECT_EQ(database.usableEphemerides(epoch.utc, kAll), 10u);
    EXPECT_EQ(database.size(), 16u) << "ten ephemerides and six records of the whole system";
    EXPECT_TRUE(database.holds(RecordKind::Position));
}

TEST_F(NavigationDatabaseTest, GrowsWithTheTimeTracked) {
    track(1s);
    const std::size_t first = database.size();
    track(120s);
    const std::size_t later = database.size();
    track(2000s);
    EXPECT_EQ(later, first + 12) << "one almanac per system and half minute";
    EXPECT_EQ(database.size(), first + 32 + 24 + 24) << "until all almanacs are there";
}

TEST_F(NavigationDatabaseTest, FramesHaveTheSizesOfTheRealOnes) {
    track(2000s);
    for (const Bytes& payload : database.dump()) {
        const std::size_t frame = encodeUbx({ubx::kMga, ubx::kMgaDbd, payload}).size();
        EXPECT_GE(frame, 50u);
        EXPECT_LE(frame, 172u);
    }
}

TEST_F(NavigationDatabaseTest, IsTheSameInEveryRun) {
    NavigationDatabase other(7);
    NavigationDatabase foreign(8);
    for (NavigationDatabase* each : {&database, &other, &foreign})
        each->learn(epoch);
    EXPECT_EQ(database.dump(), other.dump());
    EXPECT_NE(database.dump(), foreign.dump());
}

TEST_F(NavigationDatabaseTest, WhatWasDumpedRestoresAnEmptyOne) {
    track(300s);
    NavigationDatabase empty(99);
    for (const Bytes& payload : database.dump())
        EXPECT_EQ(empty.restore(payload), StoreResult::Taken);
    EXPECT_EQ(empty.dump(), database.dump());
}

TEST_F(NavigationDatabaseTest, RefusesADamagedRecordWhereverTheDamageIs) {
    track(1s);
    const Bytes sound = database.dump().back();
    for (std::size_t at = 0; at < sound.size(); ++at) {
        Bytes broken = sound;
        broken[at] ^= 0x40;
        EXPECT_NE(database.restore(broken), StoreResult::Taken) << "byte " << at;
    }
}

TEST_F(NavigationDatabaseTest, RefusesWrongLengths) {
    track(1s);
    Bytes longer = database.dump().front();
    longer.push_back(0);
    EXPECT_EQ(database.restore(longer), StoreResult::WrongSize);
    EXPECT_EQ(database.restore(Bytes(12, 0)), StoreResult::WrongSize);
    EXPECT_EQ(database.restore({}), StoreResult::WrongSize);
}

TEST_F(NavigationDatabaseTest, EphemeridesGrowOldAfterFourHours) {
    track(1s);
    EXPECT_EQ(database.usableEphemerides(epoch.utc + 3h, kAll), 10u);
    EXPECT_EQ(database.usableEphemerides(epoch.utc + 5h, kAll), 0u);
    EXPECT_EQ(database.usableEphemerides(std::nullopt, kAll), 10u);
}

TEST_F(NavigationDatabaseTest, EphemeridesOfOtherSystemsAreOfNoUse) {
    track(1s);
    EXPECT_EQ(database.usableEphemerides(epoch.utc, {Constellation::Galileo}), 1u);
}

TEST_F(NavigationDatabaseTest, ForgetsWhatItIsTold) {
    track(1s);
    database.forget({RecordKind::Ephemeris});
    EXPECT_EQ(database.size(), 6u);
    database.clear();
    EXPECT_EQ(database.size(), 0u);
}

TEST_F(NavigationDatabaseTest, IsMadeAnyLengthForATest) {
    for (const std::size_t count : {0u, 1u, 122u, 250u, 300u, 2000u}) {
        database.fill(count, epoch.utc);
        EXPECT_EQ(database.size(), count);
    }
    EXPECT_EQ(NavigationDatabase(1).restore(database.dump().at(777)), StoreResult::Taken);
}

// --- As recorded ----------------------------------------------------------------------------------------

TEST(RecordedDatabase, HasSeveralHundredSmallRecordsAndALargerLastOne) {
    NavigationDatabase database(1, DatabaseStyle::Recorded);
    database.learn(goodEpoch());
    const std::vector<Bytes> records = database.dump();
    EXPECT_THAT(records.size(), testing::AllOf(testing::Ge(200u), testing::Le(500u)));
    for (std::size_t i = 0; i + 1 < records.size(); ++i)
        EXPECT_THAT(records[i].size() + kUbxEnvelopeSize, testing::AllOf(testing::Ge(50u), testing::Le(90u)));
    EXPECT_EQ(records.back().size(), 248u);
}

TEST(RecordedDatabase, TakesItsRecordsBackAndNoneOfTheOtherKind) {
    NavigationDatabase database(1, DatabaseStyle::Recorded);
    NavigationDatabase other(1);
    database.fill(300, std::nullopt);
    EXPECT_EQ(database.size(), 300u);
    NavigationDatabase empty(2, DatabaseStyle::Recorded);
    for (const Bytes& record : database.dump()) {
        EXPECT_EQ(empty.restore(record), StoreResult::Taken);
        EXPECT_NE(other.restore(record), StoreResult::Taken);
    }
    EXPECT_EQ(empty.size(), 300u);
}

} // namespace
} // namespace simulator
