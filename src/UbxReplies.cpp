#include "UbxReplies.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

// UBX frames are B5 62, class, id, length (2), payload, checksum (2).
constexpr std::size_t kLengthOffset = 4;
constexpr int kPayloadOffset = 6;
constexpr uint32_t kFrameOverhead = 8;
constexpr int kAckSearchStep = 5; // from one header to where the search for the next begins
constexpr std::array<unsigned char, 6> kAckAckHeader = {0xB5, 0x62, 0x05, 0x01, 0x02, 0x00};
constexpr std::array<unsigned char, 6> kMgaAckHeader = {0xB5, 0x62, 0x13, 0x60, 0x08, 0x00};

template <std::size_t Length>
int find(const unsigned char* buffer, uint32_t size, const std::array<unsigned char, Length>& pattern,
         int start) {
    return findBytes(buffer, size, pattern.data(), static_cast<unsigned int>(Length),
                     static_cast<unsigned int>(start));
}

const unsigned char* findByte(unsigned char byte, const unsigned char* begin, const unsigned char* end) {
    return static_cast<const unsigned char*>(memchr(begin, byte, static_cast<std::size_t>(end - begin)));
}

} // namespace

int findBytes(const unsigned char* haystack, unsigned int haystackLength, const unsigned char* needle,
              unsigned int needleLength, unsigned int start) {
    if (haystackLength < needleLength)
        return -1; // the difference below would wrap and the search leave the haystack
    // KEEP: the last position at which the needle fits is not tested.
    // Pinned by FindInBinary.NeverTestsTheLastPosition
    const unsigned int count = haystackLength - needleLength;
    if (start >= count)
        return -1;
    if (needleLength == 0)
        return static_cast<int>(start);
    // What is read while waiting is mostly zeros and sentences. A header's first byte stands in neither, so
    // memchr passes over them in one go, which memmem does not.
    const unsigned char* const end = haystack + count;
    for (const unsigned char* at = haystack + start;; ++at) {
        at = findByte(needle[0], at, end);
        if (at == nullptr)
            return -1;
        if (memcmp(at, needle, needleLength) == 0)
            return static_cast<int>(at - haystack);
    }
}

void UbxReplies::clear() { std::fill_n(buffer_, size_ + kReadBufferSlack, 0); }

void UbxReplies::readFrom(FILE* port) {
    clearerr(port); // an idle line reads as end of file, which some C libraries keep for ever
    const std::size_t count = fread(buffer_, 1, size_, port);
    static_cast<void>(count); // the zeros behind it are searched too
}

int UbxReplies::findAckAck(int start) const { return find(buffer_, size_, kAckAckHeader, start); }

int UbxReplies::findMgaAck(int start) const { return find(buffer_, size_, kMgaAckHeader, start); }

const unsigned char* UbxReplies::payloadOf(int position) const {
    // KEEP: position -1 is used as it stands, so bytes from the fifth on are compared. Pinned by
    // WaitForAck.ComparesBytesFiveAndSixWhenNoAckWasFound and
    // WaitForAck.ComparesBytesFromSixOnWhenNoMgaAckWasFound
    return buffer_ + (position + kPayloadOffset);
}

void UbxReplies::collect(unsigned char msgClass, unsigned char msgId, CollectedFrames& frames) const {
    const std::array<unsigned char, 4> header = {0xB5, 0x62, msgClass, msgId};
    // KEEP: frames behind an MGA-ACK of the same read are not taken.
    // Pinned by DumpingWait.StoresOnlyTheFramesAheadOfTheFirstMgaAckOfARead
    const int mgaAck = findMgaAck(0);
    int frame = find(buffer_, size_, header, 0);
    while (frame >= 0 && (mgaAck < 0 || mgaAck > frame)) {
        const unsigned char* bytes = buffer_ + frame;
        const uint32_t length = bytes[kLengthOffset] + 256u * bytes[kLengthOffset + 1];
        const uint32_t room = size_ - static_cast<uint32_t>(frame);
        // KEEP: cut at the buffer's end, not where this read ended: the rest of a straddling frame is zeros.
        // Pinned by DumpingWait.FillsAFrameCutByAShortReadWithZeros
        frames.bytes.append(reinterpret_cast<const char*>(bytes), std::min(length + kFrameOverhead, room));
        ++frames.count;
        // KEEP: the search goes on at the frame's last byte, not behind it. Pinned by
        // DumpingWait.SearchesOnFromTheLastChecksumByte
        frame = find(buffer_, size_, header, frame + static_cast<int>(length + kFrameOverhead - 1));
    }
}

// --- Acknowledgements, pair by pair ---------------------------------------------------------------------

AcknowledgementPair::AcknowledgementPair(const UbxReplies& replies)
    : replies_(replies), ackAck_(replies.findAckAck(0)), mgaAck_(replies.findMgaAck(0)),
      isThere_(ackAck_ >= 0 || mgaAck_ >= 0) {}

/// Each pair follows from the one before, so one that comes back comes back for ever. The pair at each power
/// of two steps is kept: a walk in a circle meets one of them again, by way of pairs that were seen before
/// and change nothing.
void AcknowledgementPair::goOn() {
    if (++steps_ == nextKept_) {
        keptAckAck_ = ackAck_;
        keptMgaAck_ = mgaAck_;
        nextKept_ *= 2;
    }
    // KEEP: a search that found nothing starts again at byte 4, so what it found before is seen again.
    // Pinned by WaitForAck.SeesAcknowledgementsAgainWhileTheOtherSearchGoesOn
    ackAck_ = replies_.findAckAck(ackAck_ + kAckSearchStep);
    mgaAck_ = replies_.findMgaAck(mgaAck_ + kAckSearchStep);
    const bool repeats = ackAck_ == keptAckAck_ && mgaAck_ == keptMgaAck_;
    isThere_ = !repeats && (ackAck_ >= 0 || mgaAck_ >= 0);
}
