// Frames against bytes written down from the protocol's public description.
#include "UbxTestSupport.h"

namespace simulator {
namespace {

const std::string kPollDatabase("\xb5\x62\x13\x80\x00\x00\x93\xcc", 8);
const std::string kAntenna("\xb5\x62\x06\x13\x04\x00\x01\x00\x00\x00\x1e\xd1", 12);

TEST(UbxFrame, AnEmptyPayloadIsEncodedWithItsChecksum) {
    EXPECT_EQ(text(encodeUbx({0x13, 0x80, {}})), kPollDatabase);
}

TEST(UbxFrame, APayloadIsEncodedWithItsLengthAndChecksum) {
    EXPECT_EQ(text(encodeUbx({0x06, 0x13, {1, 0, 0, 0}})), kAntenna);
}

TEST(UbxFrame, ALengthAbove255UsesBothLengthBytes) {
    const Bytes bytes = encodeUbx({0x13, 0x80, Bytes(0x0123, 7)});
    EXPECT_EQ(bytes[4], 0x23);
    EXPECT_EQ(bytes[5], 0x01);
    EXPECT_EQ(bytes.size(), 0x0123u + 8);
}

TEST(UbxParser, FindsFramesAmongSentencesLineFeedsAndNoise) {
    const auto frames = framesIn("$GNRMC,1*00\r\n" + kPollDatabase + "\n\xb5" + kAntenna + "\n\x62\xb5");
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0], (UbxFrame{0x13, 0x80, {}}));
    EXPECT_EQ(frames[1], (UbxFrame{0x06, 0x13, {1, 0, 0, 0}}));
}

TEST(UbxParser, FindsAFrameThatArrivesByteByByte) {
    UbxParser parser;
    std::size_t found = 0;
    for (const char byte : kAntenna + "\n" + kAntenna)
        found += parser.feed(std::string_view(&byte, 1)).size();
    EXPECT_EQ(found, 2u);
}

TEST(UbxParser, ReportsAWrongChecksumWithTheFrame) {
    std::string broken = kAntenna;
    broken.back() = '\x00';
    const auto events = UbxParser().feed(broken);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].kind, UbxEventKind::BadChecksum);
    EXPECT_EQ(events[0].frame.id, 0x13);
}

TEST(UbxParser, FindsTheFrameThatFollowsACutOne) {
    const auto events = UbxParser().feed(kAntenna.substr(0, 7) + kAntenna + kAntenna);
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0].kind, UbxEventKind::BadChecksum);
    EXPECT_EQ(events[1].kind, UbxEventKind::Frame);
    EXPECT_EQ(events[2].kind, UbxEventKind::Frame);
}

TEST(UbxParser, AnImpossibleLengthDoesNotSwallowWhatFollows) {
    const auto events = UbxParser().feed(std::string("\xb5\x62\x06\x13\xff\xff", 6) + kAntenna);
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].kind, UbxEventKind::BadLength);
    EXPECT_EQ(events[1].kind, UbxEventKind::Frame);
}

TEST(UbxParser, CountsWhatBelongedToNoFrame) {
    UbxParser parser;
    parser.feed("abc" + kAntenna + "\n");
    EXPECT_EQ(parser.skippedBytes(), 4u);
}

TEST(UbxParser, AResetForgetsAFrameThatHasBegun) {
    UbxParser parser;
    parser.feed(kAntenna.substr(0, 8));
    parser.reset();
    EXPECT_TRUE(parser.feed(kAntenna.substr(8)).empty());
    EXPECT_EQ(parser.feed(kAntenna).size(), 1u);
}

TEST(UbxChecksum, IsTheFletcherSumOfHeaderAndPayload) {
    const std::array<uint8_t, 2> expected{0x1e, 0xd1};
    EXPECT_EQ(ubxChecksum({0x06, 0x13, {1, 0, 0, 0}}), expected);
}

} // namespace
} // namespace simulator
