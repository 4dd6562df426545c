// What the line brings, against interposed calls: pieces cut at every byte, and reads that are full of other
// things.

#include "HandlerTest.h"

using ::testing::SizeIs;

namespace {

constexpr int kReadsOfAWait = 276;
constexpr std::size_t kBufferSize = 5000;
const std::string kSummary = "UBXConfig: All commands have been acknowledged by positioning chip";

std::string acknowledgementOf(std::size_t number) {
    return std::string("UBXConfig: Acknowledgment has been received for the command: \"") +
           kConfigurationTexts[number].description + "\"";
}

/// An acknowledgement of ten bytes that comes in two reads.
struct Cut {
    std::size_t at;   // so many bytes come with the first
    bool isLost;      // of the antenna's command
    bool portInstead; // its first part reads as the port command's
};

constexpr Cut kCuts[] = {{1, true, false}, {2, true, false},  {3, true, false},
                         {4, true, false}, {5, true, false},  {6, true, false},
                         {7, true, true},  {8, false, false}, {9, false, false}};

class LineCalls : public UnitTest {
protected:
    void startUp() {
        unit.forget();
        begin = unit.clock.elapsed();
        handler = std::make_unique<UbxConfigHandler>();
    }
    ~LineCalls() override { endQuietly(); }
    void endQuietly() {
        if (handler != nullptr)
            handler->resetConfig(); // nothing is asked for at the end then
        handler.reset();
    }

    std::size_t acknowledgements() const {
        std::size_t count = 0;
        for (std::size_t i = 0; i < 5; ++i)
            count += unit.log.count(6, acknowledgementOf(i)) > 0 ? 1 : 0;
        return count;
    }

    /// Two whole waits behind the reset, and nothing sent twice.
    void expectTwoWaits() const {
        EXPECT_THAT(unit.port.sent, SizeIs(5));
        EXPECT_EQ(unit.port.reads, 2 * kReadsOfAWait);
        EXPECT_TRUE(unit.clock.elapsed() - begin ==
                    std::chrono::microseconds(100 + 1000000 + 2 * 275 * 21701));
    }

    /// The antenna's answer, the last one, comes in two reads. The port command is never answered, so that
    /// its acknowledgement can only come of the cut.
    void answersCutAt(std::size_t at) {
        unit.port.receiver = [this, at](const Bytes& frame) {
            if (frame[3] == 0x00)
                return Bytes();
            const Bytes answer = contentReceiver(frame);
            if (frame[3] != 0x13)
                return answer;
            unit.port.arrivesLater(answer.substr(0, at));
            unit.port.arrivesLater(answer.substr(at));
            return Bytes();
        };
    }

    /// Every pause brings more than a read takes, and nobody answers.
    void floods(const Bytes& piece) {
        Bytes flood;
        while (flood.size() < kBufferSize + 1)
            flood += piece;
        for (int i = 0; i < 2 * kReadsOfAWait; ++i)
            unit.port.arrivesLater(flood);
        unit.port.receiver = silentReceiver;
    }

    std::unique_ptr<UbxConfigHandler> handler;
    std::chrono::microseconds begin{0};
};

// Each read is searched by itself. Whatever is cut off, nothing is sent again and no wait is longer.
TEST_F(LineCalls, AnAcknowledgementThatStraddlesTwoReadsCostsNoMoreThanTheWait) {
    for (const Cut& cut : kCuts) {
        SCOPED_TRACE(cut.at);
        answersCutAt(cut.at);
        startUp();
        expectTwoWaits();
        EXPECT_EQ(unit.log.count(6, acknowledgementOf(4)), cut.isLost ? 0 : 1);
        EXPECT_EQ(unit.log.count(6, acknowledgementOf(0)), cut.portInstead ? 1 : 0);
        EXPECT_NOT_LOGGED(6, kSummary);
        endQuietly();
    }
}

// Other messages, acknowledgements of commands that nobody sent, 500 in a read, and refusals.
TEST_F(LineCalls, AFloodOfAnythingElseEndsWithTheWaits) {
    const Bytes pieces[] = {ubxFrame(0x01, 0x07, Bytes(92, '\x33')), ackAck(0x06, 0x77),
                            ubxFrame(0x05, 0x00, hex("06 00"))};
    for (const Bytes& piece : pieces) {
        SCOPED_TRACE(toHex(piece));
        floods(piece);
        startUp();
        expectTwoWaits();
        EXPECT_EQ(acknowledgements(), 0u);
        endQuietly();
    }
}

} // namespace
