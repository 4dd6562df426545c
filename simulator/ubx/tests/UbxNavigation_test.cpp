// NAV messages: the fields that a daemon reads, at their offsets, in their units.
#include "UbxTestSupport.h"

namespace simulator {
namespace {

class UbxNavigationTest : public UbxTest {
protected:
    explicit UbxNavigationTest(const EngineOptions& options = {}) : UbxTest(options) {}

    Bytes message(uint8_t id, const Epoch& epoch) {
        switchOn(id);
        for (const UbxFrame& frame : pass(epoch))
            if (frame.id == id)
                return frame.payload;
        return {};
    }
    /// As NAV-SOL tells them; NAV-TIMEGPS tells the same.
    std::pair<int, uint32_t> weekAndTow(const Epoch& epoch) {
        const Bytes sol = message(0x06, epoch);
        const Bytes gps = message(0x20, epoch);
        EXPECT_EQ(PayloadReader(gps).i2(8), PayloadReader(sol).i2(8));
        EXPECT_EQ(PayloadReader(gps).u4(0), PayloadReader(sol).u4(0));
        return {PayloadReader(sol).i2(8), PayloadReader(sol).u4(0)};
    }
};

class UbxHundredthsTest : public UbxNavigationTest {
protected:
    UbxHundredthsTest() : UbxNavigationTest(hundredths()) {}
    static EngineOptions hundredths() {
        EngineOptions options;
        options.factory.utcToHundredths = true;
        return options;
    }
};

class UbxFirstEpochTest : public UbxNavigationTest {
protected:
    UbxFirstEpochTest() : UbxNavigationTest(cut()) {}
    static EngineOptions cut() {
        EngineOptions options;
        options.cutsFirstEpoch = true;
        return options;
    }
};

// 2026-01-01T00:00:18.250 in GPS time is the Thursday of week 2399.
constexpr uint32_t kTowMs = (4 * 24 * 3600 + 18) * 1000 + 250;

TEST_F(UbxNavigationTest, PvtTellsTimePositionAndMotion) {
    const Bytes payload = message(0x07, goodEpoch());
    const PayloadReader pvt(payload);
    ASSERT_EQ(payload.size(), 92u);
    EXPECT_EQ(pvt.u4(0), kTowMs);
    EXPECT_EQ(pvt.u2(4), 2026);
    EXPECT_EQ(pvt.u1(11), 0x07);
    EXPECT_EQ(pvt.i4(16), 250000000);
    EXPECT_EQ(pvt.u1(20), 3);
    EXPECT_EQ(pvt.u1(21), 0x03) << "fix in order, corrected";
    EXPECT_EQ(pvt.u1(23), 10);
    EXPECT_EQ(pvt.i4(24), 134000000);
    EXPECT_EQ(pvt.i4(28), 525000000);
    EXPECT_EQ(pvt.i4(32), 78500) << "above the ellipsoid";
    EXPECT_EQ(pvt.i4(36), 34000) << "above the sea";
}

TEST_F(UbxNavigationTest, PvtTellsAccuraciesInMillimetres) {
    const Bytes payload = message(0x07, goodEpoch());
    const PayloadReader pvt(payload);
    EXPECT_EQ(pvt.u4(40), 2500u);
    EXPECT_EQ(pvt.u4(44), 4000u);
    EXPECT_EQ(pvt.i4(48), 0) << "north";
    EXPECT_EQ(pvt.i4(52), 10000) << "east";
    EXPECT_EQ(pvt.i4(60), 10000);
    EXPECT_EQ(pvt.i4(64), 9000000);
    EXPECT_EQ(pvt.u4(68), 300u);
    EXPECT_EQ(pvt.u2(76), 170);
}

TEST_F(UbxNavigationTest, PvtWithoutFixClaimsNothing) {
    const Bytes payload = message(0x07, blindEpoch());
    const PayloadReader pvt(payload);
    EXPECT_EQ(pvt.u1(11), 0);
    EXPECT_EQ(pvt.u1(20), 0);
    EXPECT_EQ(pvt.u1(21), 0);
    EXPECT_EQ(pvt.i4(24), 0);
    EXPECT_EQ(pvt.u4(40), 0xFFFFFFFFu);
}

TEST_F(UbxNavigationTest, PvtAndTimeUtcFloorTheSecond) {
    Epoch epoch = goodEpoch();
    epoch.utc += 749ms;
    const Bytes pvt = message(0x07, epoch);
    EXPECT_EQ(PayloadReader(pvt).u1(10), 0);
    EXPECT_EQ(PayloadReader(pvt).i4(16), 999000000);
    const Bytes utc = message(0x21, epoch);
    EXPECT_EQ(PayloadReader(utc).u1(18), 0);
    EXPECT_EQ(PayloadReader(utc).i4(8), 999000000);
}

TEST_F(UbxHundredthsTest, UtcOfTheNearestHundredthHasARestBelowZeroJustBeforeASecond) {
    Epoch epoch = goodEpoch();
    epoch.utc += 744ms;
    EXPECT_EQ(PayloadReader(message(0x07, epoch)).i4(16), 994000000);
    epoch.utc += 1ms;
    const Bytes pvt = message(0x07, epoch);
    EXPECT_EQ(PayloadReader(pvt).u1(10), 1);
    EXPECT_EQ(PayloadReader(pvt).i4(16), -5000000);
}

TEST_F(UbxNavigationTest, TheRestBelowAMillisecondStandsBesideTheTimeOfWeek) {
    Epoch epoch = goodEpoch();
    epoch.clockRest = -312500ns;
    const Bytes pvt = message(0x07, epoch);
    EXPECT_EQ(PayloadReader(pvt).u4(0), kTowMs);
    EXPECT_EQ(PayloadReader(pvt).i4(16), 249687500);
    const Bytes gps = message(0x20, epoch);
    EXPECT_EQ(PayloadReader(gps).u4(0), kTowMs);
    EXPECT_EQ(PayloadReader(gps).i4(4), -312500);
    EXPECT_EQ(PayloadReader(message(0x22, epoch)).i4(4), -312500);
}

TEST_F(UbxNavigationTest, AWholeSecondBelowItsRestIsReportedAsTheLastOne) {
    Epoch epoch = goodEpoch();
    epoch.utc -= 250ms;
    epoch.clockRest = -1us;
    const Bytes pvt = message(0x07, epoch);
    EXPECT_EQ(PayloadReader(pvt).u2(4), 2025);
    EXPECT_EQ(PayloadReader(pvt).u1(10), 59);
    EXPECT_EQ(PayloadReader(pvt).i4(16), 999999000);
}

TEST_F(UbxNavigationTest, BeforeTheTimeIsKnownTheDateIsTheFirmwaresAndTheAccuracyTheWorst) {
    Epoch epoch = blindEpoch();
    epoch.sinceStart = 70s;
    const Bytes payload = message(0x07, epoch);
    const PayloadReader pvt(payload);
    EXPECT_EQ(pvt.u2(4), 2015);
    EXPECT_EQ(pvt.u1(6), 10);
    EXPECT_EQ(pvt.u1(7), 18);
    EXPECT_EQ(pvt.u1(9), 1) << "minute";
    EXPECT_EQ(pvt.u1(10), 10);
    EXPECT_EQ(pvt.u1(11), 0);
    EXPECT_EQ(pvt.u4(12), 0xFFFFFFFFu);
    EXPECT_EQ(pvt.u4(68), 20000u) << "speed";
    EXPECT_EQ(pvt.u4(72), 18000000u) << "course";
}

TEST_F(UbxNavigationTest, WhileNothingIsKnownAllAccuraciesAreTheWorst) {
    constexpr uint32_t kWorst = 0xFFFFFFFF;
    const std::vector<std::pair<uint8_t, std::size_t>> accuracies = {
        {0x07, 12}, {0x07, 40}, {0x07, 44}, {0x20, 12}, {0x21, 4},
        {0x22, 12}, {0x06, 24}, {0x01, 16}, {0x02, 20}, {0x02, 24}};
    for (const auto& [id, offset] : accuracies) {
        const Bytes payload = message(id, blindEpoch());
        EXPECT_EQ(PayloadReader(payload).u4(offset), kWorst) << ubx::name(ubx::kNav, id) << " at " << offset;
    }
    const Bytes velocity = message(0x12, blindEpoch());
    EXPECT_EQ(PayloadReader(velocity).u4(28), 2000u) << "20 m/s";
    EXPECT_EQ(PayloadReader(velocity).u4(32), 18000000u) << "180 degrees";
}

TEST_F(UbxNavigationTest, TimeOfDayIsRightAWhileBeforeTheDateIs) {
    Epoch epoch = goodEpoch(); // a Thursday
    epoch.weekKnown = false;
    const Bytes payload = message(0x07, epoch);
    const PayloadReader pvt(payload);
    EXPECT_EQ(pvt.u2(4), 2015);
    EXPECT_EQ(pvt.u1(7), 22) << "the Thursday of the firmware's week";
    EXPECT_EQ(pvt.i4(16), 250000000);
    EXPECT_EQ(pvt.u1(11), 0x06);
    EXPECT_EQ(PayloadReader(message(0x20, epoch)).u1(11), 0x05);
}

TEST_F(UbxNavigationTest, WithoutTheLeapSecondsUtcIsASecondAheadAndNotResolved) {
    Epoch epoch = goodEpoch();
    epoch.leapSource = LeapSource::Firmware;
    const Bytes payload = message(0x07, epoch);
    EXPECT_EQ(PayloadReader(payload).u1(10), 1);
    EXPECT_EQ(PayloadReader(payload).u1(11), 0x03);
    EXPECT_EQ(PayloadReader(payload).u4(12), 0xFFFFFFFFu);
    const Bytes gps = message(0x20, epoch);
    EXPECT_EQ(PayloadReader(gps).u4(0), kTowMs) << "GPS time needs none";
    EXPECT_EQ(PayloadReader(gps).i1(10), 17);
    EXPECT_EQ(PayloadReader(gps).u1(11), 0x03);
    const Bytes leap = message(0x26, epoch);
    EXPECT_EQ(PayloadReader(leap).u1(8), 0) << "from the firmware";
    EXPECT_EQ(PayloadReader(leap).i1(9), 17);
    EXPECT_EQ(PayloadReader(leap).u1(10), 0) << "nothing told of a change";
    EXPECT_EQ(PayloadReader(leap).u1(23), 0);
}

TEST_F(UbxNavigationTest, TimeLsNamesWhoToldTheLeapSeconds) {
    const std::vector<std::pair<LeapSource, uint32_t>> changes = {{LeapSource::Glonass, 0},
                                                                  {LeapSource::Gps, 2},
                                                                  {LeapSource::BeiDou, 4},
                                                                  {LeapSource::Galileo, 5},
                                                                  {LeapSource::Host, 0}};
    for (const auto& [source, change] : changes) {
        Epoch epoch = goodEpoch();
        epoch.leapSource = source;
        const Bytes leap = message(0x26, epoch);
        EXPECT_EQ(PayloadReader(leap).u1(8), static_cast<uint32_t>(source));
        EXPECT_EQ(PayloadReader(leap).i1(9), 18);
        EXPECT_EQ(PayloadReader(leap).u1(10), change) << "of " << static_cast<uint32_t>(source);
        EXPECT_EQ(PayloadReader(leap).u1(23), 1);
    }
}

// GPS time is 18 s ahead: its week begins while it is still Saturday in UTC.
TEST_F(UbxNavigationTest, WeekAndTimeOfWeekChangeTogether18SecondsBeforeSundayOfUtc) {
    Epoch epoch = goodEpoch();
    epoch.utc = utcOf({2026, 1, 3, 23, 59, 41, 0});
    EXPECT_EQ(weekAndTow(epoch), std::make_pair(2399, 604'799'000u));
    epoch.utc += 1s;
    EXPECT_EQ(weekAndTow(epoch), std::make_pair(2400, 0u));
    EXPECT_EQ(PayloadReader(message(0x07, epoch)).u1(7), 3) << "still Saturday";
    epoch.utc += 18s;
    EXPECT_EQ(weekAndTow(epoch), std::make_pair(2400, 18'000u));
    EXPECT_EQ(PayloadReader(message(0x07, epoch)).u1(7), 4);
}

TEST_F(UbxNavigationTest, ARestBelowTheMillisecondChangesWeekAndTimeOfWeekTogether) {
    Epoch epoch = goodEpoch();
    epoch.utc = utcOf({2026, 1, 3, 23, 59, 42, 0});
    epoch.clockRest = -1us;
    EXPECT_EQ(weekAndTow(epoch), std::make_pair(2400, 0u));
    EXPECT_EQ(PayloadReader(message(0x20, epoch)).i4(4), -1000);
}

TEST_F(UbxNavigationTest, TheWrongWeekEndsWithGpsTimeToo) {
    Epoch epoch = goodEpoch();
    epoch.weekKnown = false;
    epoch.utc = utcOf({2026, 1, 3, 23, 59, 41, 0});
    EXPECT_EQ(weekAndTow(epoch), std::make_pair(1867, 604'799'000u));
    epoch.utc += 1s;
    EXPECT_EQ(weekAndTow(epoch), std::make_pair(1867, 0u));
    epoch.utc += 18s;
    EXPECT_EQ(weekAndTow(epoch), std::make_pair(1867, 18'000u));
}

TEST_F(UbxNavigationTest, DopIsInHundredths) {
    const Bytes payload = message(0x04, goodEpoch());
    ASSERT_EQ(payload.size(), 18u);
    const PayloadReader dop(payload);
    EXPECT_EQ(dop.u2(4), 190);
    EXPECT_EQ(dop.u2(6), 170);
    EXPECT_EQ(dop.u2(8), 90) << "time";
    EXPECT_EQ(dop.u2(10), 140);
    EXPECT_EQ(dop.u2(12), 100);
}

TEST_F(UbxNavigationTest, SatListsEachSatelliteWithItsSystem) {
    const Bytes payload = message(0x35, goodEpoch());
    const PayloadReader sat(payload);
    ASSERT_EQ(payload.size(), 8u + 12 * 12);
    EXPECT_EQ(sat.u1(4), 1);
    EXPECT_EQ(sat.u1(5), 12);
    EXPECT_EQ(sat.u1(8 + 12 * 8), 2) << "Galileo";
    EXPECT_EQ(sat.u1(9 + 12 * 8), 12);
    EXPECT_EQ(sat.u4(16) & 0x08u, 0x08u) << "the first one is used";
    EXPECT_EQ(sat.u4(16 + 12 * 11) & 0x0Fu, 0x01u) << "the last one is searched for";
    EXPECT_EQ(sat.i2(12 + 12 * 11), 0) << "359.6 degrees are north";
}

TEST_F(UbxNavigationTest, SatelliteWithoutOrbitStandsBeyondTheZenith) {
    Epoch epoch = goodEpoch();
    epoch.satellites[10].orbitKnown = false;
    epoch.satellites[10].health = Health::Unknown;
    const Bytes payload = message(0x35, epoch);
    const PayloadReader sat(payload);
    EXPECT_EQ(sat.i1(11 + 12 * 10), -91);
    EXPECT_EQ(sat.i2(12 + 12 * 10), 0);
    EXPECT_EQ(sat.u4(16 + 12 * 10) & 0x1F30u, 0u) << "no health, no orbit";
    const Bytes svInfo = message(0x30, epoch);
    EXPECT_EQ(PayloadReader(svInfo).i1(13 + 12 * 10), -91);
    EXPECT_EQ(PayloadReader(svInfo).u1(10 + 12 * 10), 0);
}

TEST_F(UbxNavigationTest, SatTellsHealthAndEachOfTheQualities) {
    Epoch epoch = goodEpoch();
    epoch.satellites[8].health = Health::Unhealthy;
    for (std::size_t number = 0; number < 8; ++number)
        epoch.satellites[number].quality = static_cast<SignalQuality>(number);
    const Bytes payload = message(0x35, epoch);
    for (uint32_t number = 0; number < 8; ++number)
        EXPECT_EQ(PayloadReader(payload).u4(16 + 12 * number) & 0x37u, 0x10u | number);
    EXPECT_EQ(PayloadReader(payload).u4(16 + 12 * 8) & 0x30u, 0x20u);
    EXPECT_EQ(PayloadReader(message(0x30, epoch)).u1(10 + 12 * 8) & 0x10u, 0x10u);
}

TEST_F(UbxNavigationTest, SvInfoUsesTheSingleNumberSpace) {
    const Bytes payload = message(0x30, goodEpoch());
    const PayloadReader info(payload);
    ASSERT_EQ(payload.size(), 8u + 12 * 12);
    EXPECT_EQ(info.u1(9 + 12 * 8), 222) << "Galileo 12";
    EXPECT_EQ(info.u1(9 + 12 * 9), 73) << "GLONASS 9";
    EXPECT_EQ(info.u1(9 + 12 * 10), 123) << "SBAS";
}

TEST_F(UbxNavigationTest, SolAndEcefTellTheSamePlace) {
    const Bytes sol = message(0x06, goodEpoch());
    const Bytes position = message(0x01, goodEpoch());
    ASSERT_EQ(sol.size(), 52u);
    EXPECT_EQ(PayloadReader(sol).i2(8), 2399);
    EXPECT_EQ(PayloadReader(sol).u1(11), 0x0F);
    for (const std::size_t axis : {0u, 4u, 8u})
        EXPECT_EQ(PayloadReader(sol).i4(12 + axis), PayloadReader(position).i4(4 + axis));
    EXPECT_NEAR(PayloadReader(position).i4(4), 378531000, 5000000) << "X of Berlin in centimetres";
}

TEST_F(UbxNavigationTest, VelocitiesFollowTheCourse) {
    const Bytes ned = message(0x12, goodEpoch());
    EXPECT_EQ(PayloadReader(ned).i4(4), 0);
    EXPECT_EQ(PayloadReader(ned).i4(8), 1000);
    const Bytes ecef = message(0x11, goodEpoch());
    EXPECT_NEAR(PayloadReader(ecef).i4(4), -1000 * 0.23175, 1) << "east at 13.4 degrees";
    EXPECT_NEAR(PayloadReader(ecef).i4(8), 1000 * 0.97278, 1);
}

TEST_F(UbxNavigationTest, TimesTellLeapSecondsAndValidity) {
    const Bytes gps = message(0x20, goodEpoch());
    EXPECT_EQ(PayloadReader(gps).u4(0), kTowMs);
    EXPECT_EQ(PayloadReader(gps).i1(10), 18);
    EXPECT_EQ(PayloadReader(gps).u1(11), 0x07);
    EXPECT_EQ(PayloadReader(gps).u4(12), 30u);
    const Bytes utc = message(0x21, blindEpoch());
    EXPECT_EQ(PayloadReader(utc).u1(19), 0x00);
}

TEST_F(UbxNavigationTest, SbasNamesTheSatelliteThatCorrects) {
    const Bytes payload = message(0x32, goodEpoch());
    const PayloadReader sbas(payload);
    EXPECT_EQ(sbas.u1(4), 123);
    EXPECT_EQ(sbas.u1(8), 8) << "the GPS satellites used";
    EXPECT_EQ(payload.size(), 12u + 12 * 8);
}

TEST_F(UbxNavigationTest, StatusTellsTheTimeToFirstFix) {
    pass(blindEpoch());
    const Bytes payload = message(0x03, goodEpoch());
    EXPECT_EQ(PayloadReader(payload).u4(8), 2000u);
    EXPECT_EQ(PayloadReader(payload).u4(12), 2000u);
}

TEST_F(UbxNavigationTest, EveryMessageHasItsLength) {
    const std::vector<std::pair<uint8_t, std::size_t>> lengths = {
        {0x01, 20}, {0x02, 28}, {0x03, 16}, {0x04, 18}, {0x06, 52}, {0x07, 92}, {0x11, 20},
        {0x12, 36}, {0x20, 16}, {0x21, 20}, {0x22, 20}, {0x26, 24}, {0x61, 4}};
    for (const auto& [id, length] : lengths)
        EXPECT_EQ(message(id, goodEpoch()).size(), length) << ubx::name(ubx::kNav, id);
}

TEST_F(UbxNavigationTest, TheSolutionComesFirstAndTheEndOfEpochLast) {
    for (const uint8_t id : Bytes{0x61, 0x35, 0x01, 0x07})
        switchOn(id);
    const auto frames = pass(goodEpoch());
    ASSERT_EQ(frames.size(), 4u);
    EXPECT_EQ(frames.front().id, 0x07);
    EXPECT_EQ(frames.back().id, 0x61);
}

TEST_F(UbxNavigationTest, MessagesComeInTheRecordedOrder) {
    const std::vector<uint8_t> recorded{0x07, 0x01, 0x11, 0x35, 0x04, 0x20, 0x26, 0x61};
    for (const uint8_t id : recorded)
        switchOn(id);
    std::vector<uint8_t> order;
    for (const UbxFrame& frame : pass(goodEpoch()))
        order.push_back(frame.id);
    EXPECT_EQ(order, recorded);
}

TEST_F(UbxFirstEpochTest, BeginsWithTheSatellitesAfterEachStart) {
    EXPECT_TRUE(pass(goodEpoch()).empty());
    for (const uint8_t id : Bytes{0x07, 0x35, 0x61})
        switchOn(id);
    EXPECT_EQ(pass(goodEpoch()).front().id, 0x35);
    EXPECT_EQ(pass(goodEpoch()).front().id, 0x07);
    receiver.reset(ResetCause::ResetLine, now);
    for (const uint8_t id : Bytes{0x07, 0x35})
        switchOn(id);
    EXPECT_EQ(pass(goodEpoch()).front().id, 0x35);
}

TEST_F(UbxNavigationTest, RatesCountEpochs) {
    configure(ubx::kCfgMsg, {ubx::kNav, 0x07, 3});
    std::size_t sent = 0;
    for (int i = 0; i < 9; ++i)
        sent += pass(goodEpoch()).size();
    EXPECT_EQ(sent, 3u);
}

TEST_F(UbxNavigationTest, MessagesArePolledFromTheLastEpoch) {
    EXPECT_TRUE(tell(ubx::kNav, 0x07).empty()) << "before the first epoch";
    pass(goodEpoch());
    const auto answers = tell(ubx::kNav, 0x07);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].payload.size(), 92u);
}

} // namespace
} // namespace simulator
