#ifndef UBXFRAME_H
#define UBXFRAME_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

/// UBX frames: build them, and find them in a stream of bytes.
///
/// This is an implementation of the public protocol on its own feet. It shares no code with the
/// library, so a test may use it to judge the frames that the library builds.

namespace simulator {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t kUbxSync1 = 0xB5;
constexpr uint8_t kUbxSync2 = 0x62;
constexpr std::size_t kUbxHeaderSize = 6;   // sync characters, class, id, length
constexpr std::size_t kUbxEnvelopeSize = 8; // header and checksum: a frame without its payload

/// One message: what stands between the two sync characters and the checksum.
struct UbxFrame {
    uint8_t messageClass = 0;
    uint8_t id = 0;
    Bytes payload;
};

bool operator==(const UbxFrame& left, const UbxFrame& right);

/// CK_A and CK_B (8-bit Fletcher) over `covered`: class, id, length and payload as they travel.
std::array<uint8_t, 2> ubxChecksum(std::string_view covered);
std::array<uint8_t, 2> ubxChecksum(const UbxFrame& frame);

/// The frame as it travels: sync characters, header, payload, checksum. At most 65,535 bytes of payload.
Bytes encodeUbx(const UbxFrame& frame);

/// What a parser found.
enum class UbxEventKind {
    Frame,       ///< a whole frame with the right checksum
    BadChecksum, ///< a whole frame whose checksum is wrong
    BadLength,   ///< a header that announces more than the parser's longest payload
};

struct UbxEvent {
    UbxEventKind kind = UbxEventKind::Frame;
    UbxFrame frame; ///< with BadLength only class and id
};

/// Finds frames in a stream. Bytes between frames (line feeds, NMEA, noise) are skipped and counted.
/// After a frame with an error the search goes on one byte behind its first sync character, so a frame
/// that begins inside a damaged one is still found.
class UbxParser {
public:
    /// `longestPayload` in bytes, at most 65,535: a header that announces more is an error.
    explicit UbxParser(std::size_t longestPayload = 2048);

    /// Takes the next bytes of the stream, in pieces of any size; returns what became complete with them.
    std::vector<UbxEvent> feed(std::string_view bytes);

    /// Forgets a frame that has begun; the counter stays.
    void reset();

    /// What came last may be the beginning of a frame.
    bool isMidFrame() const { return !pending_.empty(); }

    /// Bytes that belonged to no whole frame, since construction.
    std::size_t skippedBytes() const { return skippedBytes_; }

private:
    enum class Step { NeedMore, Skipped, Found };

    Step parseOne(std::vector<UbxEvent>& events);
    Step parsePayload(UbxEvent& event, std::size_t length) const;
    void skipToSync();
    void drop(std::size_t count);

    std::size_t longestPayload_;
    Bytes pending_;
    std::size_t skippedBytes_ = 0;
};

/// All frames of a recording or a file, errors left out: for tests that look at what was sent.
std::vector<UbxFrame> framesIn(std::string_view bytes);

} // namespace simulator

#endif
