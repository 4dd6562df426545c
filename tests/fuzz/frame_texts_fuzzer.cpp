// Frames as text: whatever is made a frame's text comes out of the shell's `echo -e` as that frame, with the
// checksum that an encoder of its own computes, and nothing but escaped bytes ever reaches the shell.
//
// Input: what is tried, then what it takes.

#include "FuzzGround.h"
#include "UbxFrame.h"

namespace {

using simulator::UbxEventKind;
using simulator::UbxFrame;

constexpr std::size_t kLongestPayload = 300;
constexpr char kDigits[] = "0123456789abcdefABCDEF";

UbxFrame nextFrame(FuzzInput& input) {
    UbxFrame frame;
    frame.messageClass = input.byte();
    frame.id = input.byte();
    const Bytes payload = input.bytes(kLongestPayload);
    frame.payload.assign(payload.begin(), payload.end());
    return frame;
}

Bytes asBytes(const simulator::Bytes& bytes) { return Bytes(bytes.begin(), bytes.end()); }

/// Digits of both cases.
std::string plainText(const Bytes& bytes, bool upper) {
    std::string text;
    for (const char c : bytes) {
        const unsigned int byte = static_cast<unsigned char>(c);
        for (const unsigned int digit : {byte >> 4, byte & 0xFu})
            text += kDigits[digit + (upper && digit > 9 ? 6 : 0)];
    }
    return text;
}

// --- What is tried --------------------------------------------------------------------------------------

/// A frame to its text and back.
void tryAFrame(FuzzGround& ground, FuzzInput& input) {
    const bool upper = input.flag();
    const UbxFrame frame = nextFrame(input);
    const Bytes wire = asBytes(simulator::encodeUbx(frame));
    const std::string plain = plainText(wire.substr(0, wire.size() - 2), upper);
    const auto ckA = static_cast<unsigned char>(wire[wire.size() - 2]);
    const auto ckB = static_cast<unsigned char>(wire[wire.size() - 1]);
    std::string text = "before";
    demand(ground.handler.prepareUbxCommandString(plain, text, 0, 0), "a text is built");
    demand(text.compare(0, 6, "before") == 0, "what stood there stays");
    text.erase(0, 6);
    demand(upper || isEscapedFrame(text), "each byte is escaped");
    demand(unescaped(text) == wire, "the shell makes the frame of it");
    std::string scratch;
    demand(ground.handler.prepareUbxCommandString(plain, scratch, ckA, ckB), "its checksum is right");
    const auto other = static_cast<unsigned char>(ckA ^ 1u);
    const bool isVerified = other != 0 || ckB != 0;
    demand(ground.handler.prepareUbxCommandString(plain, scratch, other, ckB) == !isVerified,
           "another checksum is wrong, but for 00 00");
}

/// Any text in place of hex digits: two characters a byte, and what is no digit counts as 0.
void tryAnyText(FuzzGround& ground, FuzzInput& input) {
    const unsigned char ckA = input.byte();
    const unsigned char ckB = input.byte();
    const std::string text = input.rest();
    std::string expected;
    for (std::size_t i = 0; i < text.size(); i += 2)
        expected += "\\x" + text.substr(i, 2);
    std::string out;
    ground.handler.prepareUbxCommandString(text, out, ckA, ckB);
    demand(out.compare(0, expected.size(), expected) == 0, "characters stand in the text as they came");
    const std::string checksum = out.substr(expected.size());
    demand((ckA != 0 || ckB != 0) ? checksum.empty() : isEscapedFrame(checksum),
           "the checksum follows alone");
}

/// Fields of four bytes.
void tryANumber(FuzzGround& ground, FuzzInput& input) {
    const uint32_t value = input.number(4);
    char expected[9];
    snprintf(expected, sizeof expected, "%02x%02x%02x%02x", value & 0xFFu, value >> 8 & 0xFFu,
             value >> 16 & 0xFFu, value >> 24 & 0xFFu);
    std::string out = "else";
    ground.handler.littleEndianInt2BigEndianHex(value, out, 8);
    demand(out == expected, "lowest byte first, eight digits");
}

/// A search, against the plainest one.
void trySearching(FuzzGround& ground, FuzzInput& input) {
    Bytes needle = input.bytes(input.byte() % 8);
    const uint32_t start = input.byte();
    Bytes haystack = input.rest();
    int expected = -1;
    for (std::size_t at = start; expected < 0 && at + needle.size() < haystack.size(); ++at)
        if (haystack.compare(at, needle.size(), needle) == 0)
            expected = static_cast<int>(at);
    const int found = ground.handler.findInBinary(
        reinterpret_cast<unsigned char*>(&haystack[0]), static_cast<unsigned int>(haystack.size()),
        reinterpret_cast<unsigned char*>(&needle[0]), static_cast<unsigned int>(needle.size()), start);
    demand(found == expected, "the first position but the last possible one");
}

/// The frame that was sent, as the simulated receiver's decoder sees it.
UbxFrame sentFrame(FuzzGround& ground) {
    demand(ground.unit.port.sent.size() == 1, "one frame is sent");
    simulator::UbxParser parser;
    const auto events = parser.feed(ground.unit.port.sent[0]);
    demand(events.size() == 1 && events[0].kind == UbxEventKind::Frame, "it is a whole frame");
    demand(parser.skippedBytes() == 0, "and nothing but the frame");
    return events[0].frame;
}

uint32_t field(const UbxFrame& frame, std::size_t at, std::size_t size) {
    uint32_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value |= uint32_t{frame.payload.at(at + i)} << (8 * i);
    return value;
}

void listenForFrames(FuzzGround& ground) {
    ground.unit.shell.listeners = {[&ground](const std::string& command) {
        const std::size_t begin = sizeof "echo -e \"" - 1;
        const std::size_t end = sizeof "\" > /dev/ttymxc1" - 1;
        ground.unit.port.sent.push_back(unescaped(command.substr(begin, command.size() - begin - end)));
    }};
}

void tryAPosition(FuzzGround& ground, FuzzInput& input) {
    listenForFrames(ground);
    const uint32_t latitude = input.number(4);
    const uint32_t longitude = input.number(4);
    const uint32_t altitude = input.number(4);
    const uint32_t accuracy = input.number(4);
    ground.handler.addInitialPosition(latitude, longitude, altitude, accuracy);
    const UbxFrame frame = sentFrame(ground);
    demand(frame.messageClass == 0x13 && frame.id == 0x40 && frame.payload.size() == 20, "MGA-INI");
    demand(frame.payload[0] == 1 && field(frame, 1, 3) == 0, "a position");
    demand(field(frame, 4, 4) == latitude * 10u && field(frame, 8, 4) == longitude * 10u, "in 1e-7 degrees");
    demand(field(frame, 12, 4) == altitude / 10u && field(frame, 16, 4) == accuracy, "in centimetres");
}

void tryATime(FuzzGround& ground, FuzzInput& input) {
    listenForFrames(ground);
    const auto utc = static_cast<time_t>(input.number(4)); // 32 bits: of either sign where time_t has 32
    ground.unit.clock.setUtc(utc);
    ground.handler.addInitialTime();
    tm expected = {};
    gmtime_r(&utc, &expected);
    if (expected.tm_year + 1900 <= 2016) {
        demand(ground.unit.port.sent.empty(), "nothing is sent by a clock that was never set");
        return;
    }
    const UbxFrame frame = sentFrame(ground);
    demand(frame.messageClass == 0x13 && frame.id == 0x40 && frame.payload.size() == 24, "MGA-INI");
    demand(frame.payload[0] == 0x10 && frame.payload[3] == 18, "a time, 18 leap seconds");
    demand(field(frame, 4, 2) == static_cast<uint32_t>(expected.tm_year + 1900), "the year");
    const int fields[] = {expected.tm_mon + 1, expected.tm_mday, expected.tm_hour, expected.tm_min,
                          expected.tm_sec};
    for (std::size_t i = 0; i < 5; ++i)
        demand(frame.payload.at(6 + i) == fields[i], "month to second");
    demand(field(frame, 16, 2) == 10 && field(frame, 20, 4) == 0, "within ten seconds");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr void (*kTries[])(FuzzGround&, FuzzInput&) = {tryAFrame,    tryAnyText,   tryANumber,
                                                           trySearching, tryAPosition, tryATime};
    FuzzInput input(data, size);
    FuzzGround& ground = FuzzGround::fresh();
    ground.unit.shell.listeners.clear();
    ground.member(HandlerMaxReads()) = 1;
    const std::size_t which = input.byte() % (sizeof kTries / sizeof kTries[0]);
    kTries[which](ground, input);
    demandAllowedCommands(ground.unit.journal.lines());
    return 0;
}
