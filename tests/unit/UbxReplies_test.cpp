// One read of the receiver's replies: what is found in it, and where.

#include "UbxReplies.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <random>

#include "FailingMemory.h"
#include "InstanceNames.h"
#include "VirtualUnit.h"

using ::testing::Each;

namespace {

// --- Search ---------------------------------------------------------------------------------------------

/// The plain way, position by position.
int findPlainly(const unsigned char* haystack, unsigned int haystackLength, const unsigned char* needle,
                unsigned int needleLength, unsigned int start) {
    if (haystackLength < needleLength)
        return -1;
    for (unsigned int i = start; i < haystackLength - needleLength; ++i)
        if (memcmp(haystack + i, needle, needleLength) == 0)
            return static_cast<int>(i);
    return -1;
}

/// Bytes of their own memory and not one more, so that AddressSanitizer sees a read that leaves them.
struct Exactly {
    explicit Exactly(unsigned int count) : size(count), bytes(std::make_unique<unsigned char[]>(count)) {}

    unsigned int size;
    std::unique_ptr<unsigned char[]> bytes;
};

class Search : public ::testing::TestWithParam<unsigned int> {
protected:
    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(random()) % limit; }

    /// The fewer kinds of bytes, the more hits and beginnings of them.
    Exactly anyBytes(unsigned int count) {
        Exactly some(count);
        for (unsigned int i = 0; i < some.size; ++i)
            some.bytes[i] = static_cast<unsigned char>(0xB5 + below(GetParam()));
        return some;
    }
    void expectTheSame(const Exactly& haystack, const Exactly& needle, unsigned int start) {
        EXPECT_EQ(findBytes(haystack.bytes.get(), haystack.size, needle.bytes.get(), needle.size, start),
                  findPlainly(haystack.bytes.get(), haystack.size, needle.bytes.get(), needle.size, start))
            << haystack.size << " bytes, needle of " << needle.size << ", from " << start;
    }

    std::mt19937 random{GetParam()};
};

TEST_P(Search, FindsWhatPositionByPositionIsFound) {
    for (int i = 0; i < 2000; ++i) {
        const Exactly haystack = anyBytes(below(41));
        const Exactly needle = anyBytes(below(7));
        for (unsigned int start = 0; start <= haystack.size + 2; ++start)
            expectTheSame(haystack, needle, start);
    }
}

TEST_P(Search, GivesNothingFarBehindTheEnd) {
    const Exactly haystack = anyBytes(below(41));
    const Exactly needle = anyBytes(below(7));
    for (const unsigned int start : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFAu, 0xFFFFFFFFu})
        expectTheSame(haystack, needle, start);
}

TEST_P(Search, FindsInALargeBuffer) {
    const Exactly needle = anyBytes(below(7));
    const Exactly haystack = anyBytes(5000);
    for (unsigned int start = 0; start <= haystack.size; ++start)
        expectTheSame(haystack, needle, start);
}

INSTANTIATE_TEST_SUITE_P(KindsOfBytes, Search, ::testing::Values(1u, 2u, 3u, 5u, 20u, 70u),
                         [](const auto& made) { return instanceName(made.param); });

TEST(EmptyNeedle, IsFoundAtTheStart) {
    const unsigned char haystack[] = {1, 2, 3};
    EXPECT_EQ(findBytes(haystack, 3, haystack, 0, 0), 0);
    EXPECT_EQ(findBytes(haystack, 3, haystack, 0, 2), 2);
    EXPECT_EQ(findBytes(haystack, 3, haystack, 0, 3), -1);
    EXPECT_EQ(findBytes(haystack, 0, haystack, 0, 0), -1);
}

// --- Replies --------------------------------------------------------------------------------------------

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
