// One read of the receiver's replies: what is found in it, and where.

#include "UbxReplies.h"

#include <algorithm>
#include <array>

#include "FailingMemory.h"
#include "VirtualUnit.h"

using ::testing::Each;

namespace {

class Replies : public UnitTest {
protected:
    static constexpr uint32_t kSize = 100;

    void arrive(const Bytes& bytes) { std::copy(bytes.begin(), bytes.end(), buffer.begin()); }
    static Bytes filler(std::size_t count) { return Bytes(count, '.'); }

    std::array<unsigned char, kSize + kReadBufferSlack> buffer{};
    UbxReplies replies{buffer.data(), kSize};
};

TEST_F(Replies, AreClearedWithTheZerosBehindThem) {
    buffer.fill('x');
    replies.clear();
    EXPECT_THAT(buffer, Each(0));
}

TEST_F(Replies, AreReadNoFurtherThanTheirSize) {
    unit.port.setDumpFile(Bytes(2 * kSize, 'x'));
    FILE* const stream = fopen(unit.port.dumpPath().c_str(), "rb");
    replies.readFrom(stream);
    fclose(stream);
    EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 'x'), kSize);
}

TEST_F(Replies, AreReadOnFromAPortThatWasIdle) {
    unit.port.setDumpFile("");
    FILE* const stream = fopen(unit.port.dumpPath().c_str(), "rb");
    replies.readFrom(stream);
    unit.port.setDumpFile("late");
    replies.readFrom(stream);
    fclose(stream);
    EXPECT_EQ(buffer[0], 'l');
}

TEST_F(Replies, AreFoundFromTheStartOn) {
    arrive("." + ackAck(6, 0) + mgaAck(0x40) + ackAck(6, 1));
    EXPECT_EQ(replies.findAckAck(0), 1);
    EXPECT_EQ(replies.findAckAck(2), 1 + 10 + 16);
    EXPECT_EQ(replies.findAckAck(1 + 10 + 17), -1);
    EXPECT_EQ(replies.findMgaAck(0), 11);
}

TEST_F(Replies, HaveTheirPayloadBehindSixBytes) {
    arrive("." + ackAck(6, 0x17));
    EXPECT_EQ(replies.payloadOf(1)[1], 0x17);
    EXPECT_EQ(replies.payloadOf(-1), buffer.data() + 5);
}

TEST_F(Replies, AreCollectedAsTheyCame) {
    const Bytes frame = ubxFrame(0x13, 0x80, "abc");
    arrive(frame + "." + frame + mgaAck(0x80));
    CollectedFrames frames;
    replies.collect(0x13, 0x80, frames);
    EXPECT_EQ(frames.bytes, frame + frame);
    EXPECT_EQ(frames.count, 2u);
}

TEST_F(Replies, AreCountedOnlyWhenThereIsMemoryForThem) {
    arrive(ubxFrame(0x13, 0x80, filler(60)));
    CollectedFrames frames;
    const FailingMemory none(1);
    EXPECT_THROW(replies.collect(0x13, 0x80, frames), std::bad_alloc);
    EXPECT_EQ(frames.count, 0u);
    EXPECT_EQ(frames.bytes, "");
}

} // namespace
