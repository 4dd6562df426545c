// Class MGA as the host sees it: dump, restore, initial position and time, acknowledgements.
#include "UbxTestSupport.h"

namespace simulator {
namespace {

class UbxAssistanceTest : public UbxTest {
protected:
    explicit UbxAssistanceTest(const EngineOptions& options = {}) : UbxTest(options) {}

    std::vector<UbxFrame> dump() { return tell(ubx::kMga, ubx::kMgaDbd); }

    static UbxFrame mgaAck(uint8_t type, uint8_t info, uint8_t id, const Bytes& start) {
        Bytes payload{type, 0, info, id};
        payload.insert(payload.end(), start.begin(), start.end());
        return {ubx::kMga, ubx::kMgaAckData0, payload};
    }
    static Bytes position(int32_t latitudeE7, int32_t longitudeE7) {
        return PayloadWriter().u1(1).zeros(3).i4(latitudeE7).i4(longitudeE7).i4(3400).u4(1000).bytes();
    }
    static Bytes time(uint32_t year, uint32_t month, int32_t leapSeconds = 18) {
        PayloadWriter payload;
        payload.u1(0x10).u1(0).u1(0).i1(leapSeconds).u2(year).u1(month).u1(20).u1(18).u1(44).u1(7);
        return payload.zeros(5).u2(10).zeros(6).bytes();
    }
};

class RecordedDatabaseTest : public UbxAssistanceTest {
protected:
    RecordedDatabaseTest() : UbxAssistanceTest(recorded()) {}
    static EngineOptions recorded() {
        EngineOptions options;
        options.database = DatabaseStyle::Recorded;
        return options;
    }
};

class CountedEmptyDatabaseTest : public UbxAssistanceTest {
protected:
    CountedEmptyDatabaseTest() : UbxAssistanceTest(counted()) {}
    static EngineOptions counted() {
        EngineOptions options;
        options.emptyDatabase = EmptyDatabaseReply::Counted;
        return options;
    }
};

TEST_F(UbxAssistanceTest, ADumpEndsWithTheNumberOfItsRecords) {
    acknowledgeAiding();
    pass(goodEpoch());
    const auto frames = dump();
    ASSERT_EQ(frames.size(), 17u);
    EXPECT_TRUE(std::all_of(frames.begin(), frames.end() - 1,
                            [](const UbxFrame& frame) { return frame.id == ubx::kMgaDbd; }));
    EXPECT_EQ(frames.back(), mgaAck(1, 0, ubx::kMgaDbd, {16, 0, 0, 0}));
}

TEST_F(UbxAssistanceTest, ADumpIsOneFrameAPieceAndLetsEpochsThrough) {
    acknowledgeAiding();
    command({"database", "300"});
    EXPECT_EQ(dump().size(), 301u);
    EXPECT_EQ(last.outgoing.size(), 301u);
    EXPECT_TRUE(std::all_of(last.outgoing.begin(), last.outgoing.end(),
                            [](const Outgoing& piece) { return piece.yields; }));
}

TEST_F(UbxAssistanceTest, AnEmptyDatabaseIsOnlyAcknowledged) {
    acknowledgeAiding();
    EXPECT_EQ(dump(), only(mgaAck(0, 0xFF, ubx::kMgaDbd, {0, 0, 0, 0}))) << "not used, info 255";
    EXPECT_EQ(last.log.at(0), "MGA-DBD poll: 0 records");
}

TEST_F(CountedEmptyDatabaseTest, IsAcknowledgedWithItsCountOfNone) {
    EXPECT_EQ(dump(), only(mgaAck(1, 0, ubx::kMgaDbd, {0, 0, 0, 0})));
}

TEST_F(RecordedDatabaseTest, ComesInQuickSuccessionAndIsAcknowledgedWithoutAcknowledgedAiding) {
    pass(goodEpoch());
    const auto frames = dump();
    const std::size_t records = frames.size() - 1;
    EXPECT_GT(records, 200u);
    for (std::size_t i = 0; i + 1 < records; ++i)
        EXPECT_LE(frames[i].payload.size() + kUbxEnvelopeSize, 90u);
    EXPECT_EQ(frames[records - 1].payload.size(), 248u) << "the last one is larger";
    EXPECT_EQ(frames.back(), mgaAck(1, 0, ubx::kMgaDbd, PayloadWriter().u4(uint32_t(records)).bytes()));
    EXPECT_EQ(state("ack_aiding"), "off");
    for (const Outgoing& piece : last.outgoing)
        EXPECT_EQ(piece.delay, 5ms) << "all are there at once, one behind the other";
}

TEST_F(RecordedDatabaseTest, ComesBackWholeAfterAReset) {
    pass(goodEpoch());
    auto frames = dump();
    frames.pop_back();
    receiver.reset(ResetCause::ResetLine, now);
    acknowledgeAiding();
    for (const UbxFrame& record : frames)
        EXPECT_EQ(tell(text(encodeUbx(record))).at(0).payload.at(0), 1) << "used";
    EXPECT_EQ(state("mga_taken"), std::to_string(frames.size()));
    EXPECT_EQ(state("mga_refused"), "0");
}

TEST_F(UbxAssistanceTest, WithoutAcknowledgedAidingOnlyTheEndOfADumpIsAcknowledged) {
    pass(goodEpoch());
    const auto frames = dump();
    ASSERT_EQ(frames.size(), 17u);
    EXPECT_EQ(frames.back(), mgaAck(1, 0, ubx::kMgaDbd, {16, 0, 0, 0}));
    EXPECT_TRUE(tell(text(encodeUbx(frames.front()))).empty());
    EXPECT_TRUE(tell(ubx::kMga, ubx::kMgaIni, position(1, 1)).empty());
    EXPECT_EQ(state("mga_taken"), "2");
}

TEST_F(UbxAssistanceTest, ADumpMayEndWithoutItsAcknowledgement) {
    pass(goodEpoch());
    command({"ubx-no-closing-ack"});
    EXPECT_EQ(dump().size(), 16u);
}

TEST_F(UbxAssistanceTest, RecordsMayNeedTheTimeFirst) {
    acknowledgeAiding();
    command({"database", "1"});
    const UbxFrame record = dump().front();
    const Bytes start(record.payload.begin(), record.payload.begin() + 4);
    command({"ubx-no-time"});
    EXPECT_EQ(tell(text(encodeUbx(record))), only(mgaAck(0, 1, ubx::kMgaDbd, start)));
    EXPECT_EQ(tell(ubx::kMga, ubx::kMgaIni, time(2026, 11)).front().payload.front(), 1);
    EXPECT_EQ(tell(text(encodeUbx(record))), only(mgaAck(1, 0, ubx::kMgaDbd, start)));
}

TEST_F(UbxAssistanceTest, RecordsThatNeedTheTimeAreTakenWhenTheSatellitesHaveToldIt) {
    acknowledgeAiding();
    pass(goodEpoch());
    const UbxFrame record = dump().front();
    command({"ubx-no-time"});
    EXPECT_EQ(tell(text(encodeUbx(record))).front().payload.front(), 1);
    receiver.reset(ResetCause::ResetLine, now);
    acknowledgeAiding();
    EXPECT_EQ(tell(text(encodeUbx(record))).front().payload.front(), 0);
}

TEST_F(UbxAssistanceTest, TheNextMessagesMayComeTooEarly) {
    acknowledgeAiding();
    command({"ubx-not-ready", "1"});
    EXPECT_TRUE(!dump().empty()) << "a poll is answered";
    EXPECT_EQ(tell(ubx::kMga, ubx::kMgaIni, position(1, 1)), only(mgaAck(0, 5, ubx::kMgaIni, {1, 0, 0, 0})));
    EXPECT_EQ(tell(ubx::kMga, ubx::kMgaIni, position(1, 1)), only(mgaAck(1, 0, ubx::kMgaIni, {1, 0, 0, 0})));
}

TEST_F(UbxAssistanceTest, ADumpGoesBackAfterAReset) {
    pass(goodEpoch());
    auto frames = dump();
    frames.pop_back(); // the acknowledgement
    receiver.reset(ResetCause::ResetLine, now);
    acknowledgeAiding();
    EXPECT_EQ(state("database_frames"), "0");
    for (const UbxFrame& frame : frames) {
        const Bytes start(frame.payload.begin(), frame.payload.begin() + 4);
        EXPECT_EQ(tell(text(encodeUbx(frame)) + "\n"), only(mgaAck(1, 0, ubx::kMgaDbd, start)));
    }
    EXPECT_EQ(state("database_frames"), "16");
    EXPECT_EQ(state("mga_taken"), "16");
}

TEST_F(UbxAssistanceTest, ADamagedRecordInASoundFrameIsRefused) {
    acknowledgeAiding();
    pass(goodEpoch());
    UbxFrame frame = dump().front();
    std::fill(frame.payload.begin() + 20, frame.payload.end(), uint8_t{0});
    const Bytes start(frame.payload.begin(), frame.payload.begin() + 4);
    EXPECT_EQ(tell(text(encodeUbx(frame))), only(mgaAck(0, 4, ubx::kMgaDbd, start)));
    EXPECT_EQ(state("mga_refused"), "1");
    frame.payload.resize(30);
    EXPECT_EQ(tell(text(encodeUbx(frame))), only(mgaAck(0, 3, ubx::kMgaDbd, start)));
}

TEST_F(UbxAssistanceTest, AnInitialPositionIsTakenAndReadBack) {
    acknowledgeAiding();
    EXPECT_EQ(tell(ubx::kMga, ubx::kMgaIni, position(525000000, -134000001)),
              only(mgaAck(1, 0, ubx::kMgaIni, {1, 0, 0, 0})));
    EXPECT_EQ(state("mga_ini_position"), "52.5000000 -13.4000001 34.00 m accuracy 10.00 m");
}

TEST_F(UbxAssistanceTest, AnImpossiblePositionIsRefused) {
    acknowledgeAiding();
    EXPECT_EQ(tell(ubx::kMga, ubx::kMgaIni, position(900000001, 0)),
              only(mgaAck(0, 4, ubx::kMgaIni, {1, 0, 0, 0})));
    EXPECT_EQ(state("mga_ini_position"), "none");
}

TEST_F(UbxAssistanceTest, AnInitialTimeIsTakenAndReadBack) {
    acknowledgeAiding();
    EXPECT_EQ(tell(ubx::kMga, ubx::kMgaIni, time(2026, 11)),
              only(mgaAck(1, 0, ubx::kMgaIni, {0x10, 0, 0, 18})));
    EXPECT_EQ(state("mga_ini_time"), "2026-11-20T18:44:07Z accuracy 10 s leap 18");
}

TEST_F(UbxAssistanceTest, AnImpossibleDateIsRefused) {
    acknowledgeAiding();
    EXPECT_EQ(tell(ubx::kMga, ubx::kMgaIni, time(2026, 13)),
              only(mgaAck(0, 4, ubx::kMgaIni, {0x10, 0, 0, 18})));
}

TEST_F(UbxAssistanceTest, WrongVersionsLengthsAndTypesHaveTheirOwnCodes) {
    acknowledgeAiding();
    EXPECT_EQ(tell(ubx::kMga, ubx::kMgaIni, {1, 9, 0, 0}), only(mgaAck(0, 2, ubx::kMgaIni, {1, 9, 0, 0})));
    EXPECT_EQ(tell(ubx::kMga, ubx::kMgaIni, {1, 0, 0, 0}), only(mgaAck(0, 3, ubx::kMgaIni, {1, 0, 0, 0})));
    EXPECT_EQ(tell(ubx::kMga, ubx::kMgaIni, {0x77, 0}), only(mgaAck(0, 6, ubx::kMgaIni, {0x77, 0, 0, 0})));
    EXPECT_EQ(tell(ubx::kMga, 0x20, Bytes(76, 1)), only(mgaAck(0, 6, 0x20, {1, 1, 1, 1})));
}

// --- Time to first fix ----------------------------------------------------------------------------------

TEST_F(UbxAssistanceTest, EachFormOfInitialAidingThatExistsIsTaken) {
    acknowledgeAiding();
    const std::vector<std::pair<uint8_t, std::size_t>> forms = {{0x00, 20}, {0x01, 20}, {0x11, 24},
                                                                {0x20, 12}, {0x21, 12}, {0x30, 72}};
    for (const auto& [type, size] : forms) {
        Bytes payload(size, 0);
        payload[0] = type;
        EXPECT_EQ(tell(ubx::kMga, ubx::kMgaIni, payload), only(mgaAck(1, 0, ubx::kMgaIni, {type, 0, 0, 0})));
        payload.push_back(0);
        EXPECT_EQ(tell(ubx::kMga, ubx::kMgaIni, payload), only(mgaAck(0, 3, ubx::kMgaIni, {type, 0, 0, 0})));
    }
}

TEST_F(UbxAssistanceTest, AnInitialTimeTellsTheLeapSecondsWhereItHasThem) {
    tell(ubx::kMga, ubx::kMgaIni, time(2026, 11, -128));
    EXPECT_EQ(receiver.knowledge().leapSource, LeapSource::Firmware);
    tell(ubx::kMga, ubx::kMgaIni, time(2026, 11));
    EXPECT_EQ(receiver.knowledge().leapSource, LeapSource::Host);
    configure(ubx::kCfgRst, {0xFF, 0xFF, 2, 0});
    EXPECT_EQ(receiver.knowledge().leapSource, LeapSource::Firmware);
    pass(goodEpoch());
    EXPECT_EQ(receiver.knowledge().leapSource, LeapSource::Gps) << "a record of the database";
}

TEST_F(UbxAssistanceTest, PositionAndTimeCountInWhicheverFormTheyCome) {
    tell(ubx::kMga, ubx::kMgaIni, PayloadWriter().u4(0).i4(100).i4(-200).i4(300).u4(1000).bytes());
    tell(ubx::kMga, ubx::kMgaIni,
         PayloadWriter().u1(0x11).zeros(5).u2(2400).u4(86400).zeros(4).u2(10).zeros(6).bytes());
    EXPECT_EQ(state("mga_ini_position"), "ECEF 1.00 -2.00 3.00 m accuracy 10.00 m");
    EXPECT_EQ(state("mga_ini_time"), "system 0 week 2400 second 86400 accuracy 10 s");
    EXPECT_EQ(receiver.timeToFirstFix(FixTimes{}), FixTimes{}.aided);
}

TEST_F(UbxAssistanceTest, TheFirstFixComesSoonerTheMoreTheReceiverKnows) {
    const FixTimes times;
    EXPECT_EQ(receiver.timeToFirstFix(times), times.cold);
    tell(ubx::kMga, ubx::kMgaIni, position(525000000, 134000000));
    EXPECT_EQ(receiver.timeToFirstFix(times), times.cold) << "a position without the time is of no use";
    tell(ubx::kMga, ubx::kMgaIni, time(2026, 1));
    EXPECT_EQ(receiver.timeToFirstFix(times), times.aided);
    command({"database", "4"});
    EXPECT_EQ(receiver.timeToFirstFix(times), times.warm);
}

TEST_F(UbxAssistanceTest, ARestoredDatabaseMakesAWarmStart) {
    const FixTimes times;
    pass(goodEpoch());
    const auto frames = dump();
    receiver.reset(ResetCause::ResetLine, now);
    EXPECT_EQ(receiver.timeToFirstFix(times), times.cold);
    for (const UbxFrame& frame : frames)
        tell(text(encodeUbx(frame)));
    EXPECT_EQ(receiver.timeToFirstFix(times), times.warm);
}

TEST_F(UbxAssistanceTest, AnOldDatabaseIsNoHelp) {
    const FixTimes times;
    pass(goodEpoch());
    Epoch later = blindEpoch();
    later.utc += 6h;
    pass(later);
    EXPECT_EQ(receiver.timeToFirstFix(times), times.cold);
}

} // namespace
} // namespace simulator
