// The simulated receiver's parser: it finds the same frames however the stream is cut, loses no byte, and
// agrees with the plainest parser there is. What it finds goes on to the receiver, whose answers are frames.
//
// Input: the longest payload's choice, seeds of the cuts, then the stream.

#include <string_view>
#include <vector>

#include "FuzzInput.h"
#include "UbxFrame.h"
#include "UbxReceiver.h"

namespace {

using namespace simulator;

constexpr std::size_t kLongestPayloads[] = {2048, 0, 4, 64, 65535};
using Events = std::vector<UbxEvent>;

/// The whole stream at once, by its definition: at each sync pair a header, and either a frame to go past or
/// one byte.
struct PlainParser {
    Events events;
    std::size_t skipped = 0;
    std::size_t pending = 0;

    PlainParser(std::string_view stream, std::size_t longest) {
        std::size_t at = 0;
        while (at < stream.size())
            at += step(stream.substr(at), longest);
    }

private:
    std::size_t step(std::string_view rest, std::size_t longest) {
        const auto byte = [rest](std::size_t i) { return static_cast<uint8_t>(rest[i]); };
        if (byte(0) != 0xB5 || (rest.size() > 1 && byte(1) != 0x62))
            return skip();
        if (rest.size() < 6)
            return keep(rest);
        const std::size_t length = byte(4) + 256u * byte(5);
        UbxEvent event{UbxEventKind::BadLength, {byte(2), byte(3), {}}};
        if (length <= longest) {
            if (rest.size() < length + 8)
                return keep(rest);
            for (std::size_t i = 0; i < length; ++i)
                event.frame.payload.push_back(byte(6 + i));
            event.kind =
                isSound(rest.substr(0, length + 8)) ? UbxEventKind::Frame : UbxEventKind::BadChecksum;
        }
        events.push_back(event);
        return event.kind == UbxEventKind::Frame ? length + 8 : skip();
    }
    static bool isSound(std::string_view frame) {
        unsigned int a = 0;
        unsigned int b = 0;
        for (std::size_t i = 2; i + 2 < frame.size(); ++i)
            b += a += static_cast<uint8_t>(frame[i]);
        return static_cast<uint8_t>(frame[frame.size() - 2]) == a % 256 &&
               static_cast<uint8_t>(frame[frame.size() - 1]) == b % 256;
    }
    std::size_t skip() { return ++skipped, 1; }
    std::size_t keep(std::string_view rest) { return pending = rest.size(); }
};

/// Cuts the stream into pieces of 1 to 16 bytes, or hands it on whole.
std::vector<std::string_view> cut(std::string_view stream, uint8_t pattern) {
    std::vector<std::string_view> pieces;
    for (unsigned int i = 0; !stream.empty(); ++i) {
        const std::size_t size = pattern == 0 ? stream.size() : 1 + ((pattern >> (i % 5)) & 0xFu);
        pieces.push_back(stream.substr(0, size));
        stream.remove_prefix(pieces.back().size());
    }
    return pieces;
}

bool areSame(const Events& left, const Events& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const auto& l, const auto& r) { return l.kind == r.kind && l.frame == r.frame; });
}

void demandTheSame(std::string_view stream, const std::vector<std::string_view>& pieces,
                   std::size_t longest) {
    const PlainParser plain(stream, longest);
    UbxParser parser(longest);
    Events events;
    for (const std::string_view piece : pieces)
        for (const UbxEvent& event : parser.feed(piece))
            events.push_back(event);
    demand(areSame(events, plain.events), "the same frames and errors");
    demand(parser.skippedBytes() == plain.skipped, "the same bytes skipped");
    parser.reset();
    demand(parser.skippedBytes() == plain.skipped + plain.pending, "no byte is lost");
    std::size_t framed = 0;
    for (const UbxEvent& event : events)
        framed += event.kind == UbxEventKind::Frame ? encodeUbx(event.frame).size() : 0;
    demand(framed + parser.skippedBytes() == stream.size(), "each byte is a frame's, or skipped");
}

/// An answer is frames, or a sentence of text.
void demandWhole(const std::string& answer) {
    if (answer.compare(0, 1, "$") == 0)
        return;
    UbxParser parser(65535);
    const Events events = parser.feed(answer);
    demand(!events.empty() && parser.skippedBytes() == 0, "an answer is made of frames");
    for (const UbxEvent& event : events)
        demand(event.kind == UbxEventKind::Frame, "an answer's frame is whole");
}

/// The receiver behind the parser takes whatever comes.
void demandSoundAnswers(const std::vector<std::string_view>& pieces) {
    UbxReceiver receiver{EngineOptions{}};
    const TimePoint start{};
    receiver.reset(ResetCause::PowerUp, start);
    for (const std::string_view piece : pieces)
        for (const Outgoing& answer : receiver.receive(piece, start).outgoing)
            demandWhole(answer.bytes);
    receiver.state();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    const std::size_t choice = input.byte() % (sizeof kLongestPayloads / sizeof kLongestPayloads[0]);
    const uint8_t pattern = input.byte();
    const std::string stream = input.rest();
    const auto pieces = cut(stream, pattern);
    demandTheSame(stream, pieces, kLongestPayloads[choice]);
    demandSoundAnswers(pieces);
    return 0;
}
