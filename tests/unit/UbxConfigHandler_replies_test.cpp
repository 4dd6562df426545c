// waitForAck: acknowledgements wherever they stand in the reads, and the budget.

#include <utility>

#include "HandlerTest.h"
#include "InstanceNames.h"

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Range;
using ::testing::Values;

namespace {

constexpr std::size_t kBufferSize = 5000;
constexpr signed char kNmea = 1; // record numbers
constexpr signed char kGnss = 2;
constexpr signed char kAntenna = 4;
constexpr signed char kExtra = 5;

/// What can't be taken for a header, an id or a version.
Bytes filler(std::size_t count) { return Bytes(count, '.'); }

std::string acknowledgementOf(std::size_t number) {
    return std::string("UBXConfig: Acknowledgment has been received for the command: \"") +
           kConfigurationTexts[number].description + "\"";
}

const std::string kSummary = "UBXConfig: All commands have been acknowledged by positioning chip";

/// A handler with an open port that nobody has answered yet.
class WaitForAck : public HandlerTest {
protected:
    WaitForAck() {
        nothingIsAcknowledged();
        openPort();
        unit.forget();
    }

    void receives(const Bytes& bytes) { unit.port.arrives(bytes); }
    void receivesLater(const Bytes& bytes) { unit.port.arrivesLater(bytes); }
    void waitsFor(int index) { handler->waitForAck(static_cast<signed char>(index), false); }
    void waitsForAll() { waitsFor(-1); }

    Bytes acksOfAll() {
        Bytes all;
        for (const Record& record : records())
            all += ackAck(record.msgClass, record.msgId);
        return all;
    }
};

// --- One record, all records ----------------------------------------------------------------------------

TEST_F(WaitForAck, AnnouncesTheAcknowledgedCommand) {
    receives(ackAck(0x06, 0x17));
    waitsFor(kNmea);
    EXPECT_THAT(unit.journal.lines(), ElementsAre(logged(6, acknowledgementOf(1))));
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea));
    EXPECT_EQ(unit.port.reads, 1);
}

TEST_F(WaitForAck, EndsWithoutSummaryForOneIndex) {
    records().resize(1);
    receives(ackAck(0x06, 0x00));
    waitsFor(0);
    EXPECT_EQ(member(HandlerAcknowledgedCount()), 1u);
    EXPECT_NOT_LOGGED(6, kSummary);
}

TEST_F(WaitForAck, LeavesRepliesBehindTheOneItWaitedForUnseen) {
    receives(ackAck(0x06, 0x17) + ackAck(0x06, 0x13));
    waitsFor(1);
    EXPECT_TRUE(records()[1].acknowledged);
    EXPECT_FALSE(records()[4].acknowledged);
}

TEST_F(WaitForAck, AnnouncesThatAllAreAcknowledged) {
    receives(acksOfAll());
    waitsForAll();
    Lines expected;
    for (std::size_t i = 0; i < 5; ++i)
        expected.push_back(logged(6, acknowledgementOf(i)));
    EXPECT_EQ(unit.journal.lines(), expected + Lines{logged(6, kSummary)});
    EXPECT_EQ(unit.port.reads, 1);
}

TEST_F(WaitForAck, CountsWhatWasAcknowledgedBefore) {
    for (std::size_t i : {0u, 1u, 3u, 4u})
        records()[i].acknowledged = true;
    receives(ackAck(0x06, 0x3E));
    waitsForAll();
    EXPECT_EQ(member(HandlerAcknowledgedCount()), 5u);
    EXPECT_LOGGED(6, kSummary);
}

TEST_F(WaitForAck, MarksOtherRecordsMeanwhile) {
    receives(ackAck(0x06, 0x13));
    waitsFor(kGnss);
    EXPECT_THAT(acknowledged(), ElementsAre(kAntenna));
    EXPECT_THAT(unit.journal.only({"log"}), ElementsAre(logged(6, acknowledgementOf(4))));
    expectTimeOut();
}

TEST_F(WaitForAck, WantsSomeReplyEvenForAnAcknowledgedRecord) {
    records()[kNmea].acknowledged = true;
    waitsFor(kNmea);
    expectTimeOut();
}

TEST_F(WaitForAck, TakesAnyReplyForAnAcknowledgedRecord) {
    records()[kNmea].acknowledged = true;
    receives(ackAck(0x0A, 0x0A));
    waitsFor(kNmea);
    EXPECT_EQ(unit.port.reads, 1);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
}

TEST_F(WaitForAck, FindsAnEmptyListAcknowledgedAtTheFirstReply) {
    records().clear();
    receives(ackAck(0x06, 0x17));
    waitsForAll();
    EXPECT_THAT(unit.journal.lines(), ElementsAre(logged(6, kSummary)));
}

TEST_F(WaitForAck, WaitsForNothingInAnEmptyListByItsIndex) {
    records().clear();
    receives(ackAck(0x06, 0x17));
    waitsFor(0);
    expectTimeOut();
}

class WaitForNoRecord : public WaitForAck, public ::testing::WithParamInterface<signed char> {};

TEST_P(WaitForNoRecord, MarksWhatComesUntilTheBudgetIsSpent) {
    receives(acksOfAll());
    waitsFor(GetParam());
    EXPECT_THAT(acknowledged(), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_NOT_LOGGED(6, kSummary);
    expectTimeOut();
}

INSTANTIATE_TEST_SUITE_P(Indices, WaitForNoRecord, Values(-128, -2, 5, 127),
                         [](const auto& made) { return instanceName(made.param); });

// --- ACK-ACK --------------------------------------------------------------------------------------------

TEST_F(WaitForAck, AnnouncesADoubledAcknowledgementOnce) {
    receives(ackAck(0x06, 0x17) + ackAck(0x06, 0x17));
    waitsFor(kGnss);
    EXPECT_THAT(unit.journal.only({"log"}), ElementsAre(logged(6, acknowledgementOf(1))));
}

TEST_F(WaitForAck, IgnoresForeignAcknowledgements) {
    receives(ackAck(0x06, 0x01) + ackAck(0x0A, 0x17) + ackAck(0x17, 0x06));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), IsEmpty());
    EXPECT_THAT(unit.journal.only({"log"}), IsEmpty());
    expectTimeOut();
}

TEST_F(WaitForAck, IgnoresRefusals) {
    receives(ubxFrame(0x05, 0x00, hex("06 17")));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), IsEmpty());
    expectTimeOut();
}

TEST_F(WaitForAck, IgnoresAcknowledgementsOfAnotherLength) {
    receives(ubxFrame(0x05, 0x01, hex("06 17 00")));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), IsEmpty());
}

TEST_F(WaitForAck, TakesAnAcknowledgementWithAWrongChecksum) {
    receives(hex("b5 62 05 01 02 00 06 17 ff ff"));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea));
}

TEST_F(WaitForAck, MarksAllRecordsThatAnAcknowledgementNames) {
    addRecord(0x06, 0x17);
    receives(ackAck(0x06, 0x17));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea, kExtra));
    EXPECT_EQ(member(HandlerAcknowledgedCount()), 2u);
}

TEST_F(WaitForAck, FindsAcknowledgementsAmongOtherMessages) {
    receives("$GNRMC,,V,,,,,,,,,,N*4D\r\n" + ubxFrame(0x01, 0x07, Bytes(92, '\0')) + ackAck(0x06, 0x17) +
             "$GN");
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea));
}

// --- MGA-ACK --------------------------------------------------------------------------------------------

struct MgaAckCase {
    uint8_t type;
    uint8_t version;
    uint8_t infoCode;
    std::vector<int> acknowledged;
    uint32_t used;
    uint32_t notUsed;
};

class MgaAck : public WaitForAck, public ::testing::WithParamInterface<MgaAckCase> {};

TEST_P(MgaAck, IsCountedByItsTypeAndCode) {
    const MgaAckCase& row = GetParam();
    addRecord(0x13, 0x40);
    receives(mgaAck(0x40, row.type, row.infoCode, Bytes(4, '\0'), row.version));
    waitsFor(kExtra);
    EXPECT_THAT(acknowledged(), ElementsAreArray(row.acknowledged));
    EXPECT_EQ(used(), row.used);
    EXPECT_EQ(notUsed(), row.notUsed);
}

INSTANTIATE_TEST_SUITE_P(Rows, MgaAck,
                         Values(MgaAckCase{1, 0, 0, {kExtra}, 1, 0}, MgaAckCase{0, 0, 0, {kExtra}, 0, 1},
                                MgaAckCase{1, 0, 5, {kExtra}, 0, 1}, MgaAckCase{0, 0, 1, {kExtra}, 0, 1},
                                MgaAckCase{2, 0, 0, {kExtra}, 0, 1}, MgaAckCase{1, 1, 0, {}, 0, 0}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName("type", p.type, "version", p.version, "info", p.infoCode);
                         });

TEST_F(WaitForAck, LogsNothingForAnMgaAck) {
    addRecord(0x13, 0x40);
    receives(mgaAck(0x40));
    waitsFor(kExtra);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
}

TEST_F(WaitForAck, KeepsThePayloadStartOfTheLastMgaAck) {
    addRecord(0x13, 0x40);
    addRecord(0x13, 0x80);
    receives(mgaAck(0x40, 1, 0, "abcd") + mgaAck(0x80, 1, 0, "efgh") + mgaAck(0x77, 1, 0, "none"));
    waitsFor(kExtra + 1);
    EXPECT_THAT(member(HandlerMgaAckPayloadStart()), ElementsAre('e', 'f', 'g', 'h'));
    EXPECT_EQ(used(), 2u);
}

TEST_F(WaitForAck, IgnoresTheClassOfAnMgaAck) {
    receives(mgaAck(0x13));
    waitsFor(kAntenna); // 06 13
    EXPECT_THAT(acknowledged(), ElementsAre(kAntenna));
    EXPECT_EQ(used(), 1u);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
}

TEST_F(WaitForAck, IgnoresAnMgaAckOfAnotherId) {
    receives(mgaAck(0x40));
    waitsFor(kAntenna);
    EXPECT_THAT(acknowledged(), IsEmpty());
    EXPECT_EQ(used() + notUsed(), 0u);
    expectTimeOut();
}

TEST_F(WaitForAck, CountsOneMgaAckForEachRecordThatItNames) {
    for (int i = 0; i < 3; ++i)
        addRecord(0x13, 0x40);
    receives(mgaAck(0x40, 0));
    waitsFor(kExtra + 2);
    EXPECT_THAT(acknowledged(), ElementsAre(kExtra, kExtra + 1, kExtra + 2));
    EXPECT_EQ(notUsed(), 3u);
}

TEST_F(WaitForAck, CountsADoubledMgaAckOnce) {
    addRecord(0x13, 0x40);
    receives(mgaAck(0x40) + mgaAck(0x40, 0));
    waitsFor(kGnss);
    EXPECT_EQ(used(), 1u);
    EXPECT_EQ(notUsed(), 0u);
}

TEST_F(WaitForAck, PrefersAnAckAckOfTheSameRecord) {
    receives(mgaAck(0x13) + ackAck(0x06, 0x13));
    waitsFor(kAntenna);
    EXPECT_LOGGED(6, acknowledgementOf(4));
    EXPECT_EQ(used() + notUsed(), 0u);
}

TEST_F(WaitForAck, AddsToTheCountersOfEarlierWaits) {
    addRecord(0x13, 0x40);
    addRecord(0x13, 0x80);
    receives(mgaAck(0x40));
    waitsFor(kExtra);
    receives(mgaAck(0x80));
    waitsFor(kExtra + 1);
    EXPECT_EQ(used(), 2u);
}

// --- Position -1 ----------------------------------------------------------------------------------------

TEST_F(WaitForAck, ComparesBytesFiveAndSixWhenNoAckWasFound) {
    receives(filler(5) + hex("06 17") + filler(1) + mgaAck(0x77));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea));
    EXPECT_LOGGED(6, acknowledgementOf(1));
}

TEST_F(WaitForAck, ComparesBytesFromSixOnWhenNoMgaAckWasFound) {
    addRecord(0x13, 0x40);
    // bytes 5 to 12: type, version, code, id, start of the payload
    receives(filler(5) + hex("01 00 00 40") + "abcd" + ackAck(0x0A, 0x0A));
    waitsFor(kExtra);
    EXPECT_THAT(acknowledged(), ElementsAre(kExtra));
    EXPECT_EQ(used(), 1u);
    EXPECT_THAT(member(HandlerMgaAckPayloadStart()), ElementsAre('a', 'b', 'c', 'd'));
}

TEST_F(WaitForAck, TakesAForeignAckAtPositionOneForAnUnusedMgaAck) {
    receives(filler(1) + ackAck(0x0A, 0x17));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea));
    EXPECT_EQ(notUsed(), 1u);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
}

TEST_F(WaitForAck, SeesAcknowledgementsAgainWhileTheOtherSearchGoesOn) {
    addRecord(0x13, 0x40);
    // The third pair is the ACK-ACK once more and no MGA-ACK, so that bytes 5 to 8 are taken for one.
    receives(filler(5) + hex("01 00 00 40") + "abcd" + ackAck(0x0A, 0x0A) + mgaAck(0x77) + mgaAck(0x77));
    waitsFor(kExtra);
    EXPECT_THAT(acknowledged(), ElementsAre(kExtra));
    EXPECT_EQ(unit.port.reads, 1);
}

TEST_F(WaitForAck, ComparesNothingWhenNeitherWasFound) {
    receives(filler(5) + hex("06 17"));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), IsEmpty());
}

// --- Where they stand -----------------------------------------------------------------------------------

TEST_F(WaitForAck, FindsAHeaderDirectlyBehindAnother) {
    const Bytes header = hex("b5 62 05 01 02 00");
    receives(filler(20) + header + header + hex("06 17"));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea));
}

class ReplyNearTheFront : public WaitForAck, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(ReplyNearTheFront, AckAckIsFound) {
    receives(filler(GetParam()) + ackAck(0x06, 0x17));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea));
    EXPECT_EQ(used() + notUsed(), 0u);
    EXPECT_EQ(unit.port.reads, 1);
}

TEST_P(ReplyNearTheFront, MgaAckIsFound) {
    addRecord(0x13, 0x40);
    receives(filler(GetParam()) + mgaAck(0x40, 1, 0, "abcd"));
    waitsFor(kExtra);
    EXPECT_THAT(acknowledged(), ElementsAre(kExtra));
    EXPECT_EQ(used(), 1u);
    EXPECT_EQ(unit.port.reads, 1);
}

TEST_P(ReplyNearTheFront, AllInOneReadAreFound) {
    addRecord(0x13, 0x40);
    receives(filler(GetParam()) + mgaAck(0x40) + ackAck(0x06, 0x17) + ackAck(0x06, 0x00) +
             ackAck(0x06, 0x13) + ackAck(0x06, 0x3E) + ackAck(0x06, 0x23));
    waitsForAll();
    EXPECT_LOGGED(6, kSummary);
    EXPECT_EQ(unit.port.reads, 1);
}

TEST_P(ReplyNearTheFront, ForeignOnesEndInATimeOut) {
    receives(filler(GetParam()) + ackAck(0x0A, 0x0A) + mgaAck(0x77) + ackAck(0x0A, 0x0B));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), IsEmpty());
    expectTimeOut();
}

INSTANTIATE_TEST_SUITE_P(Positions, ReplyNearTheFront, Range<std::size_t>(0, 9),
                         [](const auto& made) { return instanceName(made.param); });

struct EndCase {
    std::size_t position;
    std::vector<int> acknowledged;
};

class AckAckNearTheEnd : public WaitForAck, public ::testing::WithParamInterface<EndCase> {};

TEST_P(AckAckNearTheEnd, IsReadWithZerosBehindTheBuffer) {
    receives(filler(GetParam().position) + ackAck(0x06, 0x17));
    waitsFor(kGnss);
    EXPECT_THAT(acknowledged(), ElementsAreArray(GetParam().acknowledged));
    EXPECT_EQ(used() + notUsed(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Positions, AckAckNearTheEnd,
                         Values(EndCase{4987, {kNmea}}, EndCase{4988, {kNmea}}, EndCase{4989, {kNmea}},
                                EndCase{4990, {kNmea}}, EndCase{4991, {kNmea}}, EndCase{4992, {kNmea}},
                                EndCase{4993, {0}}, EndCase{4994, {}}, EndCase{4995, {}}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.position);
                         });

class MgaAckNearTheEnd : public WaitForAck, public ::testing::WithParamInterface<EndCase> {};

TEST_P(MgaAckNearTheEnd, IsReadWithZerosBehindTheBuffer) {
    addRecord(0x13, 0x40);
    receives(filler(GetParam().position) + mgaAck(0x40, 1, 0, "abcd"));
    waitsFor(kGnss);
    EXPECT_THAT(acknowledged(), ElementsAreArray(GetParam().acknowledged));
    EXPECT_EQ(used(), GetParam().acknowledged.size());
}

INSTANTIATE_TEST_SUITE_P(Positions, MgaAckNearTheEnd,
                         Values(EndCase{4987, {kExtra}}, EndCase{4988, {kExtra}}, EndCase{4989, {kExtra}},
                                EndCase{4990, {kExtra}}, EndCase{4991, {0}}, EndCase{4992, {0}},
                                EndCase{4993, {0}}, EndCase{4994, {}}, EndCase{4995, {}}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.position);
                         });

TEST_F(WaitForAck, TakesZerosBehindTheBufferForThePayloadStart) {
    addRecord(0x13, 0x40);
    receives(filler(4988) + mgaAck(0x40, 1, 0, "abcd"));
    waitsFor(kExtra);
    EXPECT_THAT(member(HandlerMgaAckPayloadStart()), ElementsAre('a', 'b', 0, 0));
}

// --- Several reads --------------------------------------------------------------------------------------

TEST_F(WaitForAck, PausesOnceForAReadWithoutReply) {
    receives("$GNTXT");
    receivesLater(ackAck(0x06, 0x17));
    waitsFor(kNmea);
    EXPECT_THAT(unit.journal.lines(), ElementsAre("usleep 21701", logged(6, acknowledgementOf(1))));
    EXPECT_EQ(unit.port.reads, 2);
}

TEST_F(WaitForAck, ReturnsSilentlyWhenTheBudgetIsSpent) {
    waitsForAll();
    EXPECT_THAT(unit.journal.only({"log"}), IsEmpty());
    expectTimeOut();
}

TEST_F(WaitForAck, TakesAReplyInTheLastRead) {
    for (int i = 0; i < 274; ++i)
        receivesLater("");
    receivesLater(ackAck(0x06, 0x17));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea));
    expectTimeOut();
}

TEST_F(WaitForAck, GathersTheAcknowledgementsOfSeveralReads) {
    for (const Record& record : records())
        receivesLater(ackAck(record.msgClass, record.msgId));
    waitsForAll();
    EXPECT_LOGGED(6, kSummary);
    EXPECT_EQ(unit.port.reads, 6);
}

TEST_F(WaitForAck, LosesAnAcknowledgementThatIsCutBetweenTwoReads) {
    const Bytes ack = ackAck(0x06, 0x17);
    receives(ack.substr(0, 4));
    receivesLater(ack.substr(4));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), IsEmpty());
    expectTimeOut();
}

TEST_F(WaitForAck, TakesAHeaderAtTheFrontWithZerosBehindItForAnMgaAckOfIdZero) {
    receives(ackAck(0x06, 0x17).substr(0, 5)); // its last zero is one of the buffer's
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(0)); // 06 00, by bytes 5 to 8
    EXPECT_EQ(notUsed(), 1u);
}

TEST_F(WaitForAck, TakesZerosForWhatHasNotArrivedOfAnAcknowledgement) {
    const Bytes ack = ackAck(0x06, 0x17);
    receives(ack.substr(0, 7));
    receivesLater(ack.substr(7));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(0)); // 06 00
}

TEST_F(WaitForAck, DoesNotJoinTheBytesOfTwoReads) {
    receives(filler(3) + hex("01 02 00 06 17"));
    receivesLater(hex("b5 62 05"));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), IsEmpty());
}

TEST_F(WaitForAck, ReadsTheRestOfALongBurstAfterAPause) {
    receives(filler(kBufferSize + 200) + ackAck(0x06, 0x17));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea));
    EXPECT_EQ(unit.port.reads, 2);
}

TEST_F(WaitForAck, DoesNotSeeTheRepliesOfTheWaitBefore) {
    receives(ackAck(0x06, 0x17));
    waitsFor(kNmea);
    nothingIsAcknowledged();
    unit.forget();
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), IsEmpty());
    expectTimeOut();
}

TEST_F(WaitForAck, ReadsOnAfterAnIdleLineWithASmallBufferToo) {
    member(HandlerReadBufferSize()) = 100; // less than the stream's own buffer
    for (int i = 0; i < 3; ++i)
        receivesLater("");
    receivesLater(ackAck(0x06, 0x17));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea));
    EXPECT_EQ(unit.port.reads, 5);
}

TEST_F(WaitForAck, KeepsTheCountWhenNoReplyCame) {
    member(HandlerAcknowledgedCount()) = 3;
    waitsForAll();
    EXPECT_EQ(member(HandlerAcknowledgedCount()), 3u);
}

TEST_F(WaitForAck, RebuildsTheCountAtEachReply) {
    member(HandlerAcknowledgedCount()) = 77;
    records()[0].acknowledged = true;
    receives(ackAck(0x06, 0x17));
    waitsForAll();
    EXPECT_EQ(member(HandlerAcknowledgedCount()), 2u);
}

// --- An endless round of positions ----------------------------------------------------------------------

TEST_F(WaitForAck, LeavesARoundOfPositionsThatComesBack) {
    receives(ackAck(0x0A, 0x0A) + ackAck(0x0A, 0x0B) + mgaAck(0x77));
    waitsFor(kNmea);
    expectTimeOut();
}

TEST_F(WaitForAck, ReadsOnAfterARoundOfPositions) {
    receives(ackAck(0x0A, 0x0A) + ackAck(0x0A, 0x0B) + mgaAck(0x77));
    receivesLater(ackAck(0x06, 0x17));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea));
    EXPECT_EQ(unit.port.reads, 2);
}

TEST_F(WaitForAck, VisitsEveryReplyOfALongBurst) {
    Bytes burst;
    for (int i = 0; i < 120; ++i)
        burst += ackAck(0x0A, 0x0A) + mgaAck(0x77);
    receives(burst + ackAck(0x06, 0x17));
    waitsFor(kNmea);
    EXPECT_THAT(acknowledged(), ElementsAre(kNmea));
    EXPECT_EQ(unit.port.reads, 1);
}

// --- No port --------------------------------------------------------------------------------------------

TEST_F(WaitForAck, ReturnsAtOnceWithoutAPort) {
    fclose(std::exchange(member(HandlerSerialPort()), nullptr));
    unit.forget();
    handler->waitForAck(-1, true);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
    EXPECT_EQ(unit.port.reads, 0);
}

TEST_F(WaitForAck, KeepsThePortOpen) {
    waitsFor(kNmea);
    EXPECT_TRUE(unit.port.isOpen());
}

} // namespace
