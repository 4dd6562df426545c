// The engine inside the whole receiver: line, speeds, sky and time to first fix, on virtual time.
#include "UbxTestSupport.h"
#include "simulator/Simulator.h"

namespace simulator {
namespace {

class UbxInSimulatorTest : public ::testing::Test {
protected:
    UbxInSimulatorTest() : simulator(settings(), makeUbxEngine(EngineOptions{}), now, start()) {}

    static SimulatorSettings settings() {
        SimulatorSettings result;
        result.route = Route(GeoPosition{52.5, 13.4, 34, 44.5});
        return result;
    }
    static UtcTime start() { return UtcTime(std::chrono::seconds(1767225600)); }

    // Bytes that leave the receiver within `duration`, and the speed of the last of them.
    std::string listen(Duration duration) {
        std::string bytes;
        for (const TimePoint end = now + duration; now < end;) {
            now = std::min(end, std::max(now + 1ms, simulator.nextEvent()));
            for (const Line::Piece& piece : simulator.advance(now)) {
                bytes += piece.bytes;
                speedOfLast = piece.baudRate;
            }
        }
        return bytes;
    }
    std::vector<UbxFrame> framesWithin(Duration duration) { return framesIn(listen(duration)); }
    void tell(uint8_t messageClass, uint8_t id, const Bytes& payload) {
        simulator.fromHost(text(encodeUbx({messageClass, id, payload})) + "\n", portBaud, now);
    }
    void setSpeed(uint32_t baud) {
        tell(ubx::kCfg, ubx::kCfgPrt,
             PayloadWriter().u1(1).zeros(3).u4(0x8C0).u4(baud).u2(7).u2(3).zeros(4).bytes());
    }
    void bringUp() {
        setSpeed(115200);
        portBaud = 115200;
        Bytes navx5(40, 0);
        navx5[3] = 0x04;
        navx5[17] = 1;
        tell(ubx::kCfg, ubx::kCfgNavx5, navx5);
        listen(1s);
    }
    void pulseReset() {
        simulator.setResetLine(true, now);
        simulator.setResetLine(false, now);
        portBaud = 9600;
    }
    Duration timeToFix() {
        const TimePoint from = now;
        while (simulator.lastEpoch().fix == FixType::None && now < from + 60s)
            listen(1s);
        return now - from;
    }
    std::string state(const std::string& key) const {
        for (const KeyValue& line : simulator.state(now))
            if (line.key == key)
                return line.value;
        return "(no such key)";
    }
    static std::size_t count(const std::vector<UbxFrame>& frames, uint8_t messageClass, uint8_t id) {
        return static_cast<std::size_t>(
            std::count_if(frames.begin(), frames.end(), [&](const UbxFrame& frame) {
                return frame.messageClass == messageClass && frame.id == id;
            }));
    }

    TimePoint now{};
    uint32_t portBaud = 9600;
    uint32_t speedOfLast = 0;
    Simulator simulator;
};

TEST_F(UbxInSimulatorTest, AHostAtTheWrongSpeedIsNotUnderstood) {
    portBaud = 115200;
    tell(ubx::kCfg, ubx::kCfgAnt, {1, 0, 0, 0});
    EXPECT_TRUE(framesWithin(500ms).empty());
    EXPECT_EQ(state("antenna_flags"), "0x001f");
}

TEST_F(UbxInSimulatorTest, AChangeOfSpeedIsAcknowledgedAtTheNewOne) {
    setSpeed(115200);
    EXPECT_EQ(count(framesWithin(500ms), ubx::kAck, ubx::kAckAck), 1u);
    EXPECT_EQ(speedOfLast, 115200u);
    EXPECT_EQ(state("baud"), "115200");
}

TEST_F(UbxInSimulatorTest, TheFaultOldSpeedIsSeenOnTheLine) {
    listen(1600ms);
    EXPECT_EQ(simulator.command("ubx-old-speed", now), "");
    setSpeed(115200);
    EXPECT_EQ(count(framesWithin(300ms), ubx::kAck, ubx::kAckAck), 1u);
    EXPECT_EQ(speedOfLast, 9600u);
    EXPECT_EQ(state("baud"), "115200");
}

TEST_F(UbxInSimulatorTest, AnAcknowledgementMayComeBetweenTheSentencesOfAnEpoch) {
    listen(2100ms);
    EXPECT_EQ(simulator.command("ubx-between", now), "");
    tell(ubx::kCfg, ubx::kCfgAnt, {1, 0, 0, 0});
    const std::string bytes = listen(850ms);
    const std::size_t acknowledgement = bytes.find("\xb5\x62\x05\x01");
    ASSERT_NE(acknowledgement, std::string::npos);
    EXPECT_LT(acknowledgement, bytes.find("GLL"));
    EXPECT_EQ(bytes.substr(acknowledgement - 2, 2), "\r\n");
    EXPECT_EQ(bytes[acknowledgement + 10], '$');
}

TEST_F(UbxInSimulatorTest, ADumpComesInQuickSuccession) {
    bringUp();
    EXPECT_EQ(simulator.command("database 200", now), "");
    listen(Duration(1s) - now.time_since_epoch() % 1s + 300ms);
    tell(ubx::kMga, ubx::kMgaDbd, {});
    const std::size_t sent = listen(500ms).size();
    EXPECT_GE(sent, 5700u) << "the line carries 11520 bytes a second and pauses 5 ms at first";
}

TEST_F(UbxInSimulatorTest, ALineThatIsTooSlowLagsBeforeSomethingIsLeftOut) {
    EXPECT_EQ(simulator.command("hz 5", now), "");
    listen(4s);
    EXPECT_EQ(state("sentences_dropped"), "0");
    listen(30s);
    EXPECT_NE(state("sentences_dropped"), "0");
}

// Some 4.3 s are on their way at 9600 baud, and in the long run no sentence is left out more than others.
TEST_F(UbxInSimulatorTest, ALineThatLagsCarriesEachKindOfSentence) {
    EXPECT_EQ(simulator.command("hz 5", now), "");
    listen(60s);
    const std::string bytes = listen(20s);
    for (const char* const kind : {"RMC", "VTG", "GGA", "GSA", "GSV", "GLL"})
        EXPECT_NE(bytes.find(kind), std::string::npos) << kind;
    EXPECT_EQ(bytes.find("120000.00"), std::string::npos);
}

TEST_F(UbxInSimulatorTest, WhatIsLeftOutIsToldInAText) {
    EXPECT_EQ(simulator.command("hz 5", now), "");
    EXPECT_NE(listen(40s).find("$GNTXT,01,01,00,txbuf alloc*61"), std::string::npos);
}

TEST_F(UbxInSimulatorTest, AStoppedNavigationBringsNoSentencesUntilItIsStartedAgain) {
    listen(2s);
    tell(ubx::kCfg, ubx::kCfgRst, {0, 0, 8, 0});
    listen(2s);
    EXPECT_EQ(listen(5s), "");
    tell(ubx::kCfg, ubx::kCfgRst, {0, 0, 9, 0});
    EXPECT_NE(listen(2s).find("RMC"), std::string::npos);
}

TEST_F(UbxInSimulatorTest, ARestoredDatabaseShortensTheNextStart) {
    bringUp();
    EXPECT_GE(timeToFix(), 20s);
    tell(ubx::kMga, ubx::kMgaDbd, {});
    const auto dump = framesWithin(3s);
    EXPECT_GE(count(dump, ubx::kMga, ubx::kMgaDbd), 10u);
    pulseReset();
    bringUp();
    for (const UbxFrame& frame : dump)
        if (frame.id == ubx::kMgaDbd)
            tell(frame.messageClass, frame.id, frame.payload);
    EXPECT_LE(timeToFix(), 3s);
    EXPECT_EQ(state("mga_refused"), "0");
}

TEST_F(UbxInSimulatorTest, WithoutADatabaseTheNextStartIsAsLong) {
    bringUp();
    timeToFix();
    pulseReset();
    listen(2s);
    EXPECT_GE(timeToFix(), 20s);
}

TEST_F(UbxInSimulatorTest, ALongDumpArrivesWholeAmongTheSentences) {
    bringUp();
    EXPECT_EQ(simulator.command("database 300", now), "");
    tell(ubx::kMga, ubx::kMgaDbd, {});
    const std::string bytes = listen(8s);
    const auto frames = framesIn(bytes);
    EXPECT_EQ(count(frames, ubx::kMga, ubx::kMgaDbd), 300u);
    EXPECT_EQ(frames.back().id, ubx::kMgaAckData0);
    EXPECT_EQ(PayloadReader(frames.back().payload).u4(4), 300u);
    EXPECT_LT(bytes.find("RMC,"), bytes.rfind("\xb5\x62\x13\x80")) << "epochs go on meanwhile";
}

TEST_F(UbxInSimulatorTest, TheSentencesFollowTheConfiguration) {
    EXPECT_EQ(listen(3s).find("$GAGSV"), std::string::npos);
    bringUp();
    tell(ubx::kCfg, ubx::kCfgNmea,
         PayloadWriter().u1(0).u1(0x41).u1(0).u1(2).u4(0).u1(1).u1(0).u1(0).u1(1).zeros(8).bytes());
    tell(ubx::kCfg, ubx::kCfgGnss,
         PayloadWriter().u1(0).u1(32).u1(32).u1(1).u1(2).u1(8).u1(8).u1(0).u4(0x01010001).bytes());
    timeToFix();
    EXPECT_NE(listen(3s).find("$GAGSV"), std::string::npos);
}

TEST_F(UbxInSimulatorTest, ADaemonSwitchesFromSentencesToBinary) {
    bringUp();
    for (const uint8_t id : Bytes{0, 1, 2, 3, 4, 5})
        tell(ubx::kCfg, ubx::kCfgMsg, {ubx::kNmea, id, 0});
    tell(ubx::kCfg, ubx::kCfgMsg, {ubx::kNav, 0x07, 1});
    listen(1s);
    const std::string bytes = listen(5s);
    EXPECT_EQ(bytes.find("$G"), std::string::npos);
    EXPECT_EQ(count(framesIn(bytes), ubx::kNav, 0x07), 5u);
}

TEST_F(UbxInSimulatorTest, ASplitAnswerPausesOnTheLine) {
    bringUp();
    listen(100ms);
    EXPECT_EQ(simulator.command("ubx-split 4 300", now), "");
    tell(ubx::kCfg, ubx::kCfgAnt, {1, 0, 0, 0});
    EXPECT_EQ(listen(200ms), std::string("\xb5\x62\x05\x01", 4));
    EXPECT_EQ(listen(200ms).size(), 6u);
}

TEST_F(UbxInSimulatorTest, ALossOfPowerForgetsEverything) {
    bringUp();
    timeToFix();
    EXPECT_EQ(simulator.command("powercycle", now), "");
    EXPECT_EQ(state("baud"), "9600");
    EXPECT_EQ(state("database_frames"), "0");
}

TEST_F(UbxInSimulatorTest, WrongCommandsAreExplained) {
    EXPECT_EQ(simulator.command("ubx-late soon", now), "ubx-late takes milliseconds from 0 to 60000.");
    EXPECT_EQ(simulator.command("ubx-nonsense", now), "unknown command 'ubx-nonsense'");
}

TEST_F(UbxInSimulatorTest, EachFrameFromTheHostIsALineOfTheLog) {
    std::vector<std::string> lines;
    simulator.setLog([&lines](const std::string& line) { lines.push_back(line); });
    setSpeed(115200);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("port=9600"), std::string::npos);
    EXPECT_NE(lines[0].find("CFG-PRT uart1 115200 in 0x07 out 0x03: ACK-ACK"), std::string::npos);
}

} // namespace
} // namespace simulator
