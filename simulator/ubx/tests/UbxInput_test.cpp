// What waits for the receiver: the line, the bounded buffer, and how long each message keeps it busy.
#include "UbxInput.h"
#include "UbxTestSupport.h"
#include "simulator/Line.h"

namespace simulator {
namespace {

class UbxInputTest : public ::testing::Test {
protected:
    std::string take(TimePoint freeFrom, TimePoint now) {
        std::string taken;
        while (const auto byte = input.next(freeFrom, now))
            taken += byte->byte;
        return taken;
    }

    const TimePoint start = TimePoint(1h);
    UbxInput input{4};
};

TEST_F(UbxInputTest, GivesAnIdleReceiverWhatIsThere) {
    input.arrive("abcdefgh", start, 0s);
    EXPECT_EQ(take(start, start), "abcdefgh");
    EXPECT_TRUE(input.isEmpty());
}

TEST_F(UbxInputTest, KeepsForABusyOneWhatFitsAndLosesTheRest) {
    input.arrive("abcdef", start, 0s);
    EXPECT_EQ(take(start + 1s, start), "");
    EXPECT_EQ(input.nextAt(start + 1s), start + 1s);
    EXPECT_EQ(take(start + 1s, start + 1s), "abcd");
    EXPECT_EQ(input.lost(), 2u);
}

TEST_F(UbxInputTest, BytesArriveAtTheLinesPace) {
    input.arrive("ab", start, 1ms);
    input.arrive("cd", start, 1ms);
    EXPECT_EQ(input.nextAt(start), start + 2ms) << "what was written together is waited for";
    EXPECT_EQ(take(start, start + 2ms), "ab");
    EXPECT_EQ(input.nextAt(start), start + 4ms);
    EXPECT_EQ(take(start, start + 4ms), "cd");
}

TEST_F(UbxInputTest, OnlyWhatHasArrivedFillsTheBuffer) {
    input.arrive("abcdefgh", start, 1ms);
    EXPECT_EQ(take(start + 4ms, start + 8ms), "abcdefgh");
    EXPECT_EQ(input.lost(), 0u);
}

// --- The receiver behind it ------------------------------------------------------------------------------

class BusyReceiverTest : public UbxTest {
protected:
    explicit BusyReceiverTest(const EngineOptions& options = {}) : UbxTest(options) {}

    static Bytes gnss() {
        return PayloadWriter().u1(0).u1(32).u1(32).u1(1).u1(2).u1(8).u1(8).u1(0).u4(0x01010001).bytes();
    }
    static std::string antenna() { return text(encodeUbx({ubx::kCfg, ubx::kCfgAnt, {1, 0, 0, 0}})) + "\n"; }
    void beginGnss() { last = receiver.receive(text(encodeUbx({ubx::kCfg, ubx::kCfgGnss, gnss()})), now); }
    void send(const std::string& bytes) { last = receiver.receive(bytes, now); }
};

class LateGnssAckTest : public BusyReceiverTest {
protected:
    LateGnssAckTest() : BusyReceiverTest(late()) {}
    static EngineOptions late() {
        EngineOptions options;
        options.input.acknowledgesGnssFirst = false;
        return options;
    }
};

TEST_F(BusyReceiverTest, AcknowledgesAChangeOfSystemsBeforeItIsBusy) {
    beginGnss();
    EXPECT_EQ(answersOf(last), only(ack(ubx::kCfgGnss)));
    EXPECT_EQ(last.outgoing.front().delay, 5ms);
    send(antenna());
    EXPECT_EQ(receiver.nextWork() - now, 505ms) << "half a second behind the acknowledgement";
}

TEST_F(LateGnssAckTest, ComesAtTheEndOfTheBusyTime) {
    beginGnss();
    EXPECT_EQ(answersOf(last), only(ack(ubx::kCfgGnss)));
    EXPECT_EQ(last.outgoing.front().delay, 500ms);
    send(antenna());
    EXPECT_EQ(receiver.nextWork() - now, 500ms);
}

TEST_F(BusyReceiverTest, TakesNothingWhileItIsBusy) {
    beginGnss();
    send(antenna());
    EXPECT_TRUE(last.outgoing.empty());
    wait(504ms);
    EXPECT_EQ(state("antenna_flags"), "0x001f");
    wait(1ms);
    EXPECT_EQ(answersOf(last), only(ack(ubx::kCfgAnt)));
    EXPECT_EQ(state("antenna_flags"), "0x0001");
}

TEST_F(BusyReceiverTest, LosesWhatDoesNotFitIntoItsInputBuffer) {
    beginGnss();
    for (int frame = 0; frame < 100; ++frame)
        send(antenna());
    wait(2s);
    EXPECT_EQ(state("input_lost"), "300") << "1300 bytes into 1000";
    EXPECT_EQ(state("frames_received"), "78") << "CFG-GNSS, and 77 of 12 bytes with their line feeds";
}

TEST_F(BusyReceiverTest, SaysInTheLogThatItLostBytes) {
    beginGnss();
    send(std::string(1200, '\n'));
    wait(505ms);
    ASSERT_FALSE(last.log.empty());
    EXPECT_EQ(last.log.back(), "input buffer full, lost 200 bytes");
}

TEST_F(BusyReceiverTest, ARefusedChangeOrAPollKeepsItNotBusy) {
    configure(ubx::kCfgGnss, {0, 32, 32, 0});
    EXPECT_EQ(last.outgoing.front().delay, 5ms);
    configure(ubx::kCfgGnss, {});
    EXPECT_EQ(last.outgoing.back().delay, 5ms);
}

TEST_F(BusyReceiverTest, EachMessageTakesItsTime) {
    send(antenna() + antenna());
    EXPECT_EQ(answersOf(last).size(), 1u);
    wait(5ms);
    EXPECT_EQ(answersOf(last).size(), 2u);
}

TEST_F(BusyReceiverTest, AResetEmptiesTheBufferAndEndsTheBusyTime) {
    beginGnss();
    send(antenna());
    receiver.reset(ResetCause::ResetLine, now);
    EXPECT_EQ(receiver.nextWork(), TimePoint::max());
    EXPECT_EQ(tell(antenna()), only(ack(ubx::kCfgAnt)));
}

TEST_F(BusyReceiverTest, BytesOnTheLineKeepItsPace) {
    EngineOptions options;
    options.input.linePaced = true;
    UbxReceiver paced(options);
    paced.reset(ResetCause::PowerUp, now);
    paced.receive(antenna(), now);
    EXPECT_EQ(paced.nextWork() - now, transmissionTime(1, 9600) * 13);
    EXPECT_EQ(answersOf(paced.work(paced.nextWork())), only(ack(ubx::kCfgAnt)));
}

} // namespace
} // namespace simulator
