// Sentences among what the host writes, what an M8 says to them, and its texts in general.
#include "HostSentences.h"

#include "UbxTestSupport.h"

namespace simulator {
namespace {

std::vector<std::string> sentencesIn(const std::string& bytes) {
    HostSentences sentences;
    std::vector<std::string> found;
    for (const char byte : bytes)
        if (const auto sentence = sentences.feed(byte))
            found.push_back(*sentence);
    return found;
}

TEST(HostSentences, AreFoundAmongOtherBytes) {
    const std::string bytes = "\xb5\x62\n$A*41\r\n\n$cut$B*42\r\n";
    EXPECT_EQ(sentencesIn(bytes), (std::vector<std::string>{"$A*41", "$B*42"}));
}

TEST(HostSentences, OfAnotherMakerGetAWarning) {
    EXPECT_EQ(complaintAbout("$PCAS06,0*1B"), "PCAS inv format");
    EXPECT_EQ(complaintAbout("$PSRF100,0,9600,8,1,0*0C"), "PSRF inv format");
}

TEST(HostSentences, OfAReceiverAreUnknown) {
    EXPECT_EQ(complaintAbout("$GPRMC,,V,,,,,,,,,,N*53"), "NMEA unknown msg");
}

TEST(HostSentences, ThatAreDamagedOrItsOwnGetNone) {
    EXPECT_EQ(complaintAbout("$PCAS06,0*1C"), std::nullopt);
    EXPECT_EQ(complaintAbout("$PUBX,00*33"), std::nullopt);
    EXPECT_EQ(complaintAbout("$EIGNQ,RMC*24"), std::nullopt);
    EXPECT_EQ(complaintAbout("$*00"), std::nullopt) << "it has no address";
}

// --- Texts of the receiver -------------------------------------------------------------------------------

class TextsTest : public UbxTest {
protected:
    std::string said(const std::string& bytes) {
        tell(bytes);
        std::string all;
        for (const Outgoing& outgoing : last.outgoing)
            all += outgoing.bytes;
        return all;
    }
    static std::string sentOf(const Reaction& reaction) {
        std::string all;
        for (const Outgoing& outgoing : reaction.outgoing)
            all += outgoing.bytes;
        return all;
    }
};

TEST_F(TextsTest, ASentenceThatItCanNotUseIsAnsweredInOne) {
    EXPECT_EQ(said("$PCAS06,0*1B\r\n"), "$GNTXT,01,01,01,PCAS inv format*23\r\n");
    EXPECT_EQ(last.log, std::vector<std::string>{"$PCAS06,0*1B: PCAS inv format"});
}

TEST_F(TextsTest, AFullOutputBufferIsAnError) {
    EXPECT_EQ(sentOf(receiver.outputOverrun()), "$GNTXT,01,01,00,txbuf alloc*61\r\n");
}

TEST_F(TextsTest, TheyFollowTheConfiguration) {
    configure(ubx::kCfgInf, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(sentOf(receiver.outputOverrun()), "");
    configure(ubx::kCfgInf, {0, 0, 0, 0, 1, 1, 1, 1, 1, 0});
    const UbxFrame frame{ubx::kInf, 0, {'t', 'x', 'b', 'u', 'f', ' ', 'a', 'l', 'l', 'o', 'c'}};
    EXPECT_EQ(answersOf(receiver.outputOverrun()), only(frame));
}

TEST_F(TextsTest, AnyTextIsSaidOnCommand) {
    const auto reply = receiver.command({"inform", "notice", "ANTSTATUS=OPEN", "now"}, now);
    EXPECT_EQ(sentOf(reply.reaction).substr(0, 35), "$GNTXT,01,01,02,ANTSTATUS=OPEN now*");
    EXPECT_EQ(receiver.command({"inform", "loudly", "x"}, now).result, ProtocolEngine::CommandResult::Bad);
    EXPECT_EQ(receiver.command({"inform", "notice"}, now).result, ProtocolEngine::CommandResult::Bad);
}

} // namespace
} // namespace simulator
