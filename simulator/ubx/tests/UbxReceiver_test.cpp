// The receiver as a whole: the frames a driver sends, line feeds, errors, versions, resets, log and state.
#include "UbxTestSupport.h"

namespace simulator {
namespace {

// A driver's five configuration frames and its poll of the database, as a shell's echo writes them: digits in
// mixed case, a line feed behind each.
const std::string kSetPort =
    R"(\xb5\x62\x06\x00\x14\x00\x01\x00\x00\x00\xC0\x08\x00\x00\x00\xC2\x01\x00\x07\x00\x03\x00\x00\x00\x00\x00\xb0\x7e)";
const std::string kSetNmea =
    R"(\xb5\x62\x06\x17\x14\x00\x00\x41\x00\x02\x00\x00\x00\x00\x01\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x76\x63)";
const std::string kSetGnss =
    R"(\xb5\x62\x06\x3E\x3c\x00\x00\x20\x20\x07\x00\x08\x10\x00\x01\x00\x01\x01\x01\x03\x03\x00\x01\x00\x01\x01)"
    R"(\x02\x08\x08\x00\x01\x00\x01\x01\x03\x00\x10\x00\x00\x00\x01\x01\x04\x00\x08\x00\x00\x00\x01\x03)"
    R"(\x05\x03\x03\x00\x01\x00\x01\x05\x06\x08\x0e\x00\x01\x00\x01\x01\x57\x82)";
const std::string kSetNavx5 =
    R"(\xb5\x62\x06\x23\x28\x00\x00\x00\x00\x04\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x01)"
    R"(\x00\x00\x00\x00\x00\x00\x00\x00\x00\x01\x00\x00\xD2\x00\x00\x00\x00\x00\x00\x00\x00\x00\x29\x65)";
const std::string kSetAntenna = R"(\xb5\x62\x06\x13\x04\x00\x01\x00\x00\x00\x1e\xd1)";
const std::string kPollDatabase = R"(\xb5\x62\x13\x80\x00\x00\x93\xcc)";

class UbxReceiverTest : public UbxTest {
protected:
    std::vector<UbxFrame> echo(const std::string& escaped) { return tell(fromEscapes(escaped) + "\n"); }
};

TEST_F(UbxReceiverTest, TakesTheDriversPortFrame) {
    EXPECT_EQ(echo(kSetPort), only(ack(ubx::kCfgPrt)));
    EXPECT_EQ(receiver.baudRate(), 115200u);
    EXPECT_EQ(last.log, (std::vector<std::string>{"CFG-PRT uart1 115200 in 0x07 out 0x03: ACK-ACK"}));
}

TEST_F(UbxReceiverTest, TakesTheDriversNmeaFrame) {
    EXPECT_EQ(echo(kSetNmea), only(ack(ubx::kCfgNmea)));
    EXPECT_EQ(state("nmea_version"), "4.1");
    EXPECT_EQ(state("sv_numbering"), "extended");
}

TEST_F(UbxReceiverTest, TakesTheDriversGnssFrame) {
    EXPECT_EQ(echo(kSetGnss), only(ack(ubx::kCfgGnss)));
    EXPECT_EQ(state("gnss"), "GPS+SBAS+Galileo+QZSS+GLONASS");
}

TEST_F(UbxReceiverTest, TakesTheDriversNavx5Frame) {
    EXPECT_EQ(echo(kSetNavx5), only(ack(ubx::kCfgNavx5)));
    EXPECT_EQ(state("ack_aiding"), "on");
    EXPECT_EQ(poll(ubx::kCfgNavx5)[27], 0) << "autonomous orbits stay off: their mask bit is clear";
}

TEST_F(UbxReceiverTest, TakesTheDriversAntennaFrame) {
    EXPECT_EQ(echo(kSetAntenna), only(ack(ubx::kCfgAnt)));
    EXPECT_EQ(state("antenna_svcs"), "on");
    EXPECT_EQ(state("antenna_flags"), "0x0001");
}

TEST_F(UbxReceiverTest, AnswersTheDriversDatabasePoll) {
    echo(kSetNavx5);
    command({"database", "3"});
    EXPECT_EQ(echo(kPollDatabase).size(), 4u);
    EXPECT_EQ(last.log.at(0), "MGA-DBD poll: 3 records");
}

TEST_F(UbxReceiverTest, TakesFramesBackToBack) {
    const auto answers = tell(fromEscapes(kSetNmea) + "\n" + fromEscapes(kSetGnss) + "\n" +
                              fromEscapes(kSetNavx5) + "\n" + fromEscapes(kSetAntenna) + "\n");
    EXPECT_EQ(answers, (std::vector<UbxFrame>{ack(ubx::kCfgNmea), ack(ubx::kCfgGnss), ack(ubx::kCfgNavx5),
                                              ack(ubx::kCfgAnt)}));
    EXPECT_EQ(state("frames_received"), "4");
}

TEST_F(UbxReceiverTest, TakesAFrameInPieces) {
    const std::string frame = fromEscapes(kSetAntenna);
    EXPECT_TRUE(tell(frame.substr(0, 5)).empty());
    EXPECT_TRUE(last.log.empty());
    EXPECT_EQ(tell(frame.substr(5)), only(ack(ubx::kCfgAnt)));
}

TEST_F(UbxReceiverTest, AWrongChecksumGetsSilence) {
    std::string frame = fromEscapes(kSetAntenna);
    frame.back() = '\x00';
    EXPECT_TRUE(tell(frame).empty());
    EXPECT_EQ(state("antenna_flags"), "0x001f");
    EXPECT_EQ(state("frames_bad"), "1");
    EXPECT_EQ(last.log.at(0), "CFG-ANT with a wrong checksum, ignored");
}

TEST_F(UbxReceiverTest, LineFeedsSentencesAndRubbishDoNoHarm) {
    EXPECT_TRUE(tell("\n\n$PSRF100,0,9600,8,1,0*0C\r\n\xff\xb5").empty());
    EXPECT_EQ(echo(kSetAntenna), only(ack(ubx::kCfgAnt)));
}

TEST_F(UbxReceiverTest, SaysThatItIsAnM8) {
    const auto answers = tell(ubx::kMon, ubx::kMonVer);
    ASSERT_EQ(answers.size(), 1u);
    const std::string version = text(answers[0].payload);
    EXPECT_EQ(version.size(), 40u + 4 * 30);
    EXPECT_STREQ(version.data(), "ROM CORE 3.01 (107888)");
    EXPECT_STREQ(version.data() + 30, "00080000");
    EXPECT_NE(version.find("PROTVER=18.00"), std::string::npos);
    EXPECT_NE(version.find("GPS;GLO;GAL;BDS"), std::string::npos);
}

TEST_F(UbxReceiverTest, AnswersMonGnssAndMonHw) {
    EXPECT_EQ(tell(ubx::kMon, ubx::kMonGnss).at(0).payload, (Bytes{1, 15, 3, 3, 3, 0, 0, 0}));
    EXPECT_EQ(tell(ubx::kMon, ubx::kMonHw).at(0).payload.size(), 60u);
}

TEST_F(UbxReceiverTest, AnswersNothingToWhatItDoesNotKnow) {
    EXPECT_TRUE(tell(0x21, 0x0E).empty());
    EXPECT_EQ(last.log.at(0), "class 0x21 id 0x0e poll: no answer");
    EXPECT_TRUE(tell(ubx::kMon, ubx::kMonVer, {1}).empty());
}

TEST_F(UbxReceiverTest, TheResetLineBringsFactoryConfigurationAndAnEmptyMemory) {
    for (const std::string& frame : {kSetPort, kSetNmea, kSetGnss, kSetNavx5, kSetAntenna})
        echo(frame);
    pass(goodEpoch());
    receiver.reset(ResetCause::ResetLine, now);
    EXPECT_EQ(receiver.baudRate(), 9600u);
    EXPECT_EQ(state("nmea_version"), "4.0");
    EXPECT_EQ(state("ack_aiding"), "off");
    EXPECT_EQ(state("database_frames"), "0");
    EXPECT_EQ(state("frames_received"), "0");
    EXPECT_EQ(state("resets"), "1");
}

TEST_F(UbxReceiverTest, TheResetLineForgetsAHalfReceivedFrame) {
    const std::string frame = fromEscapes(kSetAntenna);
    tell(frame.substr(0, 6));
    receiver.reset(ResetCause::ResetLine, now);
    EXPECT_TRUE(tell(frame.substr(6)).empty());
}

TEST_F(UbxReceiverTest, AHotRestartKeepsWhatIsKnown) {
    pass(goodEpoch());
    EXPECT_TRUE(configure(ubx::kCfgRst, {0, 0, 2, 0}).empty()) << "never acknowledged";
    EXPECT_TRUE(last.navigationRestarted);
    EXPECT_EQ(receiver.timeToFirstFix(FixTimes{}), FixTimes{}.warm);
}

TEST_F(UbxReceiverTest, AWarmRestartKeepsPositionAndTime) {
    pass(goodEpoch());
    configure(ubx::kCfgRst, {1, 0, 2, 0});
    EXPECT_EQ(receiver.timeToFirstFix(FixTimes{}), FixTimes{}.aided);
}

TEST_F(UbxReceiverTest, AColdRestartForgetsEverything) {
    pass(goodEpoch());
    configure(ubx::kCfgRst, {0xFF, 0xFF, 2, 0});
    EXPECT_EQ(receiver.timeToFirstFix(FixTimes{}), FixTimes{}.cold);
    EXPECT_EQ(state("database_frames"), "0");
}

TEST_F(UbxReceiverTest, ARestartOfTheGnssPartKeepsTheConfiguration) {
    echo(kSetPort);
    configure(ubx::kCfgRst, {0, 0, 2, 0});
    EXPECT_EQ(receiver.baudRate(), 115200u);
    configure(ubx::kCfgRst, {0, 0, 0, 0});
    EXPECT_EQ(receiver.baudRate(), 9600u) << "nothing was saved";
}

TEST_F(UbxReceiverTest, EachRestartThatResetsTheHardwareReloadsTheConfiguration) {
    for (const uint8_t mode : Bytes{0x00, 0x01, 0x04}) {
        echo(kSetAntenna);
        configure(ubx::kCfgRst, {0, 0, mode, 0});
        EXPECT_EQ(state("antenna_flags"), "0x001f") << int(mode);
    }
}

TEST_F(UbxReceiverTest, ModeEightStopsTheNavigationAndModeNineStartsIt) {
    configure(ubx::kCfgRst, {0, 0, 8, 0});
    EXPECT_FALSE(receiver.navigates());
    EXPECT_EQ(last.log.at(0), "CFG-RST clear 0x0000 mode 0x08: navigation stopped");
    configure(ubx::kCfgRst, {0, 0, 9, 0});
    EXPECT_TRUE(receiver.navigates());
    EXPECT_TRUE(last.navigationRestarted);
}

TEST_F(UbxReceiverTest, ARestartInAModeThatDoesNotExistIsIgnored) {
    pass(goodEpoch());
    EXPECT_TRUE(configure(ubx::kCfgRst, {0xFF, 0xFF, 3, 0}).empty());
    EXPECT_FALSE(last.navigationRestarted);
    EXPECT_NE(state("database_frames"), "0");
}

TEST_F(UbxReceiverTest, TakesAllThatADaemonSendsToSwitchToBinary) {
    const Bytes port = PayloadWriter().u1(1).zeros(3).u4(0x8D0).u4(9600).u2(0x27).u2(0x23).zeros(4).bytes();
    EXPECT_EQ(configure(ubx::kCfgPrt, port), only(ack(ubx::kCfgPrt)));
    for (const uint8_t id : Bytes{0x04, 0x20, 0x06, 0x30, 0x01, 0x07, 0x11, 0x35, 0x61, 0x26})
        EXPECT_EQ(configure(ubx::kCfgMsg, {ubx::kNav, id, 1}), only(ack(ubx::kCfgMsg)));
    for (const uint8_t id : Bytes{0, 1, 2, 3, 4, 5, 7, 8, 9})
        EXPECT_EQ(configure(ubx::kCfgMsg, {ubx::kNmea, id, 0}), only(ack(ubx::kCfgMsg)));
    EXPECT_EQ(pass(goodEpoch()).size(), 10u);
}

TEST_F(UbxReceiverTest, EveryFrameWhateverItHoldsIsCountedAndLogged) {
    acknowledgeAiding();
    uint32_t frames = 1;
    for (uint32_t kind = 0; kind < 0x10000; kind += 3) {
        const auto messageClass = static_cast<uint8_t>(kind >> 8u);
        const auto id = static_cast<uint8_t>(kind & 0xFFu);
        const auto filling = static_cast<uint8_t>(kind % 7);
        tell(messageClass, id, Bytes(kind % 97, filling));
        ++frames;
        ASSERT_EQ(last.log.size(), 1u);
    }
    EXPECT_EQ(state("frames_received"), std::to_string(frames));
}

TEST_F(UbxReceiverTest, NoiseIsNeverTakenForAFrame) {
    uint32_t noise = 1;
    std::string bytes(200000, ' ');
    for (char& byte : bytes) {
        noise = noise * 1664525u + 1013904223u;
        byte = static_cast<char>(noise >> 24u);
    }
    EXPECT_TRUE(tell(bytes).empty());
    EXPECT_EQ(state("frames_received"), "0");
}

} // namespace
} // namespace simulator
