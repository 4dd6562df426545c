// Each fault on command: what the host sees, and that the receiver is sound again afterwards.
#include "UbxFaults.h"

#include "UbxTestSupport.h"

namespace simulator {
namespace {

const Bytes kAntenna = {1, 0, 0, 0};

class UbxFaultsTest : public UbxTest {
protected:
    std::vector<UbxFrame> setAntenna() { return configure(ubx::kCfgAnt, kAntenna); }
    std::vector<UbxFrame> dump() { return tell(ubx::kMga, ubx::kMgaDbd); }
    std::string rejection(const std::vector<std::string>& words) {
        const auto reply = receiver.command(words, now);
        EXPECT_EQ(reply.result, ProtocolEngine::CommandResult::Bad);
        return reply.error;
    }
};

TEST_F(UbxFaultsTest, RefuseAnswersWithNakAndChangesNothing) {
    command({"ubx-refuse", "1"});
    EXPECT_EQ(setAntenna(), only(nak(ubx::kCfgAnt)));
    EXPECT_EQ(state("antenna_flags"), "0x001f");
    EXPECT_EQ(setAntenna(), only(ack(ubx::kCfgAnt)));
}

TEST_F(UbxFaultsTest, RefuseWithoutACountLastsUntilNormal) {
    command({"ubx-refuse"});
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(setAntenna(), only(nak(ubx::kCfgAnt)));
    command({"ubx-normal"});
    EXPECT_EQ(setAntenna(), only(ack(ubx::kCfgAnt)));
}

TEST_F(UbxFaultsTest, RefuseIdHoldsForMessagesOfThisIdAlone) {
    command({"ubx-refuse-id", "19"});
    EXPECT_EQ(setAntenna(), only(nak(ubx::kCfgAnt)));
    EXPECT_EQ(state("antenna_flags"), "0x001f");
    acknowledgeAiding();
    EXPECT_EQ(state("ack_aiding"), "on");
    EXPECT_EQ(state("ubx_faults"), "refuse id 19");
    EXPECT_EQ(rejection({"ubx-refuse-id", "256"}), "ubx-refuse-id takes a message's id from 0 to 255.");
}

TEST_F(UbxFaultsTest, SilenceObeysWithoutAnswering) {
    command({"ubx-silence", "1"});
    EXPECT_TRUE(setAntenna().empty());
    EXPECT_EQ(state("antenna_flags"), "0x0001");
    EXPECT_EQ(setAntenna(), only(ack(ubx::kCfgAnt)));
}

TEST_F(UbxFaultsTest, SilenceHoldsForTheDatabaseToo) {
    acknowledgeAiding();
    command({"database", "9"});
    command({"ubx-silence"});
    EXPECT_TRUE(dump().empty());
    EXPECT_TRUE(tell(ubx::kMon, ubx::kMonVer).empty());
}

TEST_F(UbxFaultsTest, LateDelaysEachAnswer) {
    command({"ubx-late", "1500"});
    setAntenna();
    EXPECT_GE(last.outgoing.at(0).delay, 1500ms);
}

TEST_F(UbxFaultsTest, OldSpeedAcknowledgesBeforeTheChange) {
    command({"ubx-old-speed"});
    configure(ubx::kCfgPrt, PayloadWriter().u1(1).zeros(3).u4(0x8C0).u4(115200).u2(7).u2(3).zeros(4).bytes());
    EXPECT_EQ(last.outgoing.at(0).baudRate, 9600u);
    EXPECT_EQ(receiver.baudRate(), 115200u);
}

TEST_F(UbxFaultsTest, SplitCutsAnAnswerInTwoWithAGap) {
    command({"ubx-split", "4", "300"});
    EXPECT_EQ(setAntenna(), only(ack(ubx::kCfgAnt)));
    ASSERT_EQ(last.outgoing.size(), 2u);
    EXPECT_EQ(last.outgoing[0].bytes.size(), 4u);
    EXPECT_EQ(last.outgoing[1].delay - last.outgoing[0].delay, 300ms);
}

TEST_F(UbxFaultsTest, DropLosesOneByteOfEachAnswer) {
    command({"ubx-drop", "3"});
    EXPECT_TRUE(setAntenna().empty());
    EXPECT_EQ(last.outgoing.at(0).bytes.size(), 9u);
}

TEST_F(UbxFaultsTest, FlipDamagesOneByteOfEachAnswer) {
    command({"ubx-flip", "7"});
    EXPECT_TRUE(setAntenna().empty());
    EXPECT_EQ(last.outgoing.at(0).bytes.size(), 10u);
}

TEST_F(UbxFaultsTest, EverySoManyDamagesOnlyThoseAnswers) {
    command({"ubx-flip", "7", "3"});
    std::size_t sound = 0;
    for (int i = 0; i < 9; ++i)
        sound += setAntenna().size();
    EXPECT_EQ(sound, 6u);
}

TEST_F(UbxFaultsTest, MixedPutsForeignTrafficIntoADump) {
    acknowledgeAiding();
    command({"database", "10"});
    command({"ubx-mixed"});
    const auto frames = dump();
    EXPECT_EQ(std::count(frames.begin(), frames.end(), ack(ubx::kCfgMsg)), 5);
    EXPECT_EQ(frames.size(), 10u + 5 + 1);
    EXPECT_EQ(last.outgoing.at(1).bytes, "$GNTXT,01,01,02,ANTSTATUS=OK*25\r\n");
}

TEST_F(UbxFaultsTest, EarlyAckSendsTheAcknowledgementAheadOfTheFrames) {
    acknowledgeAiding();
    command({"database", "10"});
    command({"ubx-early-ack"});
    const auto frames = dump();
    ASSERT_EQ(frames.size(), 11u);
    EXPECT_EQ(frames.front().id, ubx::kMgaAckData0);
    EXPECT_EQ(frames.back().id, ubx::kMgaDbd);
}

TEST_F(UbxFaultsTest, TheDatabaseIsLostOnCommand) {
    pass(goodEpoch());
    EXPECT_NE(state("database_frames"), "0");
    command({"database", "lost"});
    EXPECT_EQ(state("database_frames"), "0");
}

TEST_F(UbxFaultsTest, FaultsAddUpAndStandInTheState) {
    EXPECT_EQ(state("ubx_faults"), "none");
    command({"ubx-late", "20"});
    command({"ubx-mixed"});
    EXPECT_EQ(state("ubx_faults"), "late 20 ms, mixed burst");
}

TEST_F(UbxFaultsTest, AResetLeavesFaultsAsTheyAre) {
    command({"ubx-refuse"});
    receiver.reset(ResetCause::ResetLine, now);
    EXPECT_EQ(setAntenna(), only(nak(ubx::kCfgAnt)));
}

TEST_F(UbxFaultsTest, WrongArgumentsAreExplainedAndChangeNothing) {
    EXPECT_EQ(rejection({"ubx-late"}), "ubx-late takes milliseconds from 0 to 60000.");
    EXPECT_EQ(rejection({"ubx-late", "-1"}), "ubx-late takes milliseconds from 0 to 60000.");
    EXPECT_EQ(rejection({"ubx-mixed", "x"}), "ubx-mixed takes no arguments.");
    EXPECT_EQ(rejection({"database", "2001"}), "database takes a number of records from 0 to 2000, or lost.");
    for (const char* name : {"ubx-split", "ubx-drop", "ubx-flip"})
        EXPECT_NE(rejection({name, "0"}), "");
    EXPECT_EQ(state("ubx_faults"), "none");
}

TEST_F(UbxFaultsTest, OtherCommandsAreNotOurs) {
    EXPECT_EQ(receiver.command({"silence"}, now).result, ProtocolEngine::CommandResult::Unknown);
    EXPECT_EQ(receiver.command({}, now).result, ProtocolEngine::CommandResult::Unknown);
}

TEST_F(UbxFaultsTest, EachCommandHasItsHelp) {
    EXPECT_EQ(receiver.commandHelp().size(), ubxFaultRows().size() + 2);
}

} // namespace
} // namespace simulator
