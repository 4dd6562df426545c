#include "UbxFrame.h"

#include <algorithm>

namespace simulator {

namespace {

constexpr std::uint8_t kSync1 = 0xB5;
constexpr std::uint8_t kSync2 = 0x62;
constexpr std::size_t kHeaderSize = 6;   // sync, class, id, length
constexpr std::size_t kEnvelopeSize = 8; // header and checksum

// Class, id, length and payload: the part that the checksum covers.
Bytes coveredBytes(const UbxFrame& frame) {
    // Sized before it is filled: g++ 12 at -O3 warns, wrongly, of a vector that grows by insertion.
    constexpr std::size_t kCoveredHeaderSize = 4;
    Bytes bytes(kCoveredHeaderSize + frame.payload.size());
    bytes[0] = frame.messageClass;
    bytes[1] = frame.id;
    bytes[2] = static_cast<std::uint8_t>(frame.payload.size() & 0xFFU);
    bytes[3] = static_cast<std::uint8_t>((frame.payload.size() >> 8U) & 0xFFU);
    std::copy(frame.payload.begin(), frame.payload.end(), bytes.begin() + kCoveredHeaderSize);
    return bytes;
}

} // namespace

bool operator==(const UbxFrame& left, const UbxFrame& right) {
    return left.messageClass == right.messageClass && left.id == right.id && left.payload == right.payload;
}

std::array<std::uint8_t, 2> ubxChecksum(const UbxFrame& frame) {
    unsigned a = 0;
    unsigned b = 0;
    for (const std::uint8_t byte : coveredBytes(frame)) {
        a = (a + byte) & 0xFFU;
        b = (b + a) & 0xFFU;
    }
    return {static_cast<std::uint8_t>(a), static_cast<std::uint8_t>(b)};
}

Bytes encodeUbx(const UbxFrame& frame) {
    const Bytes covered = coveredBytes(frame);
    const auto checksum = ubxChecksum(frame);
    Bytes bytes(covered.size() + 4);
    bytes[0] = kSync1;
    bytes[1] = kSync2;
    std::copy(covered.begin(), covered.end(), bytes.begin() + 2);
    std::copy(checksum.begin(), checksum.end(), bytes.end() - 2);
    return bytes;
}

UbxParser::UbxParser(std::size_t longestPayload) : longestPayload_(longestPayload) {}

std::vector<UbxEvent> UbxParser::feed(const std::uint8_t* data, std::size_t size) {
    pending_.insert(pending_.end(), data, data + size);
    std::vector<UbxEvent> events;
    while (parseOne(events) != Step::NeedMore) {
    }
    return events;
}

std::vector<UbxEvent> UbxParser::feed(const Bytes& bytes) { return feed(bytes.data(), bytes.size()); }

std::vector<UbxEvent> UbxParser::feed(std::string_view bytes) {
    return feed(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

void UbxParser::reset() {
    skippedBytes_ += pending_.size();
    pending_.clear();
}

std::size_t UbxParser::skippedBytes() const { return skippedBytes_; }

UbxParser::Step UbxParser::parseOne(std::vector<UbxEvent>& events) {
    skipToSync();
    if (pending_.size() < kHeaderSize) {
        return Step::NeedMore;
    }
    UbxEvent event;
    event.frame.messageClass = pending_[2];
    event.frame.id = pending_[3];
    const std::size_t length = pending_[4] + (static_cast<std::size_t>(pending_[5]) << 8U);
    if (length > longestPayload_) {
        event.kind = UbxEventKind::BadLength;
        events.push_back(event);
        skippedBytes_ += 1;
        drop(1);
        return Step::Skipped;
    }
    if (pending_.size() < kEnvelopeSize + length) {
        return Step::NeedMore;
    }
    const auto payload = pending_.begin() + static_cast<std::ptrdiff_t>(kHeaderSize);
    event.frame.payload.assign(payload, payload + static_cast<std::ptrdiff_t>(length));
    const std::array<std::uint8_t, 2> received{pending_[kHeaderSize + length],
                                               pending_[kHeaderSize + length + 1]};
    const bool good = received == ubxChecksum(event.frame);
    event.kind = good ? UbxEventKind::Frame : UbxEventKind::BadChecksum;
    events.push_back(event);
    skippedBytes_ += good ? 0 : 1;
    drop(good ? kEnvelopeSize + length : 1);
    return good ? Step::Found : Step::Skipped;
}

// Leaves the stream at a sync pair, or at a lone first sync character that ends it.
void UbxParser::skipToSync() {
    std::size_t position = 0;
    while (position < pending_.size()) {
        const bool first = pending_[position] == kSync1;
        const bool last = position + 1 == pending_.size();
        if (first && (last || pending_[position + 1] == kSync2)) {
            break;
        }
        ++position;
    }
    skippedBytes_ += position;
    drop(position);
}

void UbxParser::drop(std::size_t count) {
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(count));
}

std::vector<UbxFrame> framesIn(std::string_view bytes) {
    std::vector<UbxFrame> frames;
    for (UbxEvent& event : UbxParser().feed(bytes)) {
        if (event.kind == UbxEventKind::Frame) {
            frames.push_back(std::move(event.frame));
        }
    }
    return frames;
}

} // namespace simulator
