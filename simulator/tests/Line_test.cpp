#include "simulator/Line.h"

#include <gtest/gtest.h>

using namespace simulator;
using namespace std::chrono_literals;

class LineTest : public ::testing::Test {
protected:
    void queue(const std::string& bytes, Duration delay = 0ns, bool yields = false) {
        line.queue({bytes, start + delay, 0, yields});
    }
    std::string arrivedAfter(Duration elapsed, unsigned baud = 9600) {
        std::string bytes;
        for (const Line::Piece& piece : line.advance(start + elapsed, baud))
            bytes += piece.bytes;
        return bytes;
    }

    const TimePoint start = TimePoint(1000s);
    Line line;
};

TEST_F(LineTest, ByteTakesTenBits) {
    EXPECT_EQ(1s, transmissionTime(960, 9600));
    EXPECT_EQ(10ms, transmissionTime(1152, 1'152'000));
}

TEST_F(LineTest, BytesArriveOneAfterTheOtherAtTheLinesPace) {
    queue(std::string(96, 'x'));
    EXPECT_EQ("", arrivedAfter(1ms));
    EXPECT_EQ(9U, arrivedAfter(10ms).size());
    EXPECT_EQ(39U, arrivedAfter(50ms).size());
    EXPECT_EQ(48U, arrivedAfter(1s).size());
    EXPECT_EQ("", arrivedAfter(2s));
}

TEST_F(LineTest, FasterLineCarriesMore) {
    queue(std::string(2000, 'x'));
    EXPECT_EQ(1152U, arrivedAfter(100ms, 115'200).size());
}

TEST_F(LineTest, FramesFollowEachOtherWithoutAGap) {
    queue(std::string(96, 'a'));
    queue(std::string(96, 'b'));
    const std::string bytes = arrivedAfter(150ms);
    EXPECT_EQ(std::string(96, 'a') + std::string(48, 'b'), bytes);
}

TEST_F(LineTest, BurstDeliversAFrameOnceItsLastByteHasArrived) {
    line.setDelivery(Delivery::Burst);
    queue(std::string(96, 'a'));
    queue(std::string(96, 'b'));
    EXPECT_EQ("", arrivedAfter(99ms));
    EXPECT_EQ(std::string(96, 'a'), arrivedAfter(100ms));
    EXPECT_EQ(std::string(96, 'b'), arrivedAfter(200ms));
}

TEST_F(LineTest, DelayedFrameWaitsAndLetsOthersPass) {
    queue("late", 500ms);
    queue("soon");
    EXPECT_EQ("soon", arrivedAfter(499ms));
    EXPECT_EQ("late", arrivedAfter(600ms));
}

TEST_F(LineTest, OvertakingWaitsForNothingThatBeginsLater) {
    queue("late", 500ms);
    line.queue({"epoch", start + 1ms, 0, false}, true);
    queue("soon", 2ms);
    EXPECT_EQ("epochsoon", arrivedAfter(100ms));
    EXPECT_EQ("late", arrivedAfter(600ms));
}

TEST_F(LineTest, OvertakingGoesAheadOfWhatYieldsButNotOfWhatIsOnItsWay) {
    queue("first", 0ns, true);
    queue("second", 0ns, true);
    arrivedAfter(1100us);
    line.queue({"epoch", start + 1100us, 0, false}, true);
    EXPECT_EQ("irstepochsecond", arrivedAfter(1s));
}

TEST_F(LineTest, FrameKeepsItsOwnSpeed) {
    line.queue({"ack", start, 115'200, false});
    const auto pieces = line.advance(start + 1s, 9600);
    ASSERT_EQ(1U, pieces.size());
    EXPECT_EQ(115'200U, pieces[0].baudRate);
}

TEST_F(LineTest, BacklogIsTheTimeUntilTheLineIsFree) {
    queue(std::string(960, 'x'));
    EXPECT_EQ(1s, line.backlog(start, 9600));
    arrivedAfter(250ms);
    EXPECT_EQ(750ms, line.backlog(start + 250ms, 9600));
    arrivedAfter(2s);
    EXPECT_EQ(0s, line.backlog(start + 2s, 9600));
}

TEST_F(LineTest, NextArrivalComesWithAFifoLevelOrTheFramesEnd) {
    EXPECT_EQ(TimePoint::max(), line.nextArrival(9600));
    queue(std::string(20, 'x'));
    EXPECT_EQ(start + transmissionTime(16, 9600), line.nextArrival(9600));
    arrivedAfter(17ms);
    EXPECT_EQ(start + transmissionTime(20, 9600), line.nextArrival(9600));
}

TEST_F(LineTest, ClearForgetsWhatIsQueued) {
    queue("lost");
    arrivedAfter(2ms);
    line.clear();
    queue("kept");
    EXPECT_EQ("kept", arrivedAfter(1s));
}

// --- Speeds that differ ---------------------------------------------------------------------------------

TEST(ReadAtSpeed, EqualSpeedsBringTheBytes) {
    const std::string all("\x00\x01\x7F\x80\xFF$GNRMC", 11);
    EXPECT_EQ(all, readAtSpeed(all, 115'200, 115'200));
    EXPECT_EQ(all, readAtSpeed(all, 115'200, 114'000)); // 1 %: a UART forgives that
}

TEST(ReadAtSpeed, SlowReaderSeesFewerAndOtherBytes) {
    const std::string sent(120, 'U');
    const std::string read = readAtSpeed(sent, 115'200, 9600);
    EXPECT_GE(11U, read.size());
    EXPECT_NE(sent.substr(0, read.size()), read);
}

TEST(ReadAtSpeed, FastReaderSeesMoreAndOtherBytes) {
    const std::string read = readAtSpeed("$GNRMC,,V", 9600, 115'200);
    EXPECT_LT(9U, read.size());
    EXPECT_EQ(std::string::npos, read.find('$'));
}

// The reader samples every second bit, from the middle of what it takes for the first data bit.
TEST(ReadAtSpeed, HalfSpeedReadsKnownRubbish) {
    EXPECT_EQ("\xFF", readAtSpeed("\x55", 9600, 4800));
    EXPECT_EQ("\xF8", readAtSpeed("\xAA", 9600, 4800));
    EXPECT_EQ("\xFF", readAtSpeed("\x55\x55", 9600, 4800));
}

TEST(ReadAtSpeed, MissingStopBitReadsAsZero) {
    EXPECT_EQ(std::string(1, '\0'), readAtSpeed(std::string(1, '\0'), 9600, 19'200));
}

TEST(ReadAtSpeed, NothingIsReadAtSpeedZero) { EXPECT_EQ("", readAtSpeed("abc", 9600, 0)); }

TEST(ReadAtSpeed, EveryPairOfSpeedsEndsAndIsRepeatable) {
    const std::string all = [] {
        std::string bytes;
        for (int i = 0; i < 256; ++i)
            bytes += static_cast<char>(i);
        return bytes;
    }();
    for (const unsigned sender : {1200U, 9600U, 38'400U, 115'200U})
        for (const unsigned reader : {1200U, 4800U, 19'200U, 57'600U, 230'400U})
            EXPECT_EQ(readAtSpeed(all, sender, reader), readAtSpeed(all, sender, reader));
}
