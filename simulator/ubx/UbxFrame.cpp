#include "UbxFrame.h"

#include <algorithm>

namespace simulator {

namespace {

// Class, id, length and payload: the part that the checksum covers.
Bytes coveredBytes(const UbxFrame& frame) {
    // Sized before it is filled: g++ 12 at -O3 warns, wrongly, of a vector that grows by insertion.
    constexpr std::size_t kCoveredHeaderSize = 4;
    Bytes bytes(kCoveredHeaderSize + frame.payload.size());
    bytes[0] = frame.messageClass;
    bytes[1] = frame.id;
    bytes[2] = static_cast<uint8_t>(frame.payload.size() & 0xFFu);
    bytes[3] = static_cast<uint8_t>(frame.payload.size() >> 8 & 0xFFu);
    std::copy(frame.payload.begin(), frame.payload.end(), bytes.begin() + kCoveredHeaderSize);
    return bytes;
}

std::string_view asText(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

} // namespace

// --- Encoding -------------------------------------------------------------------------------------------

bool operator==(const UbxFrame& left, const UbxFrame& right) {
    return left.messageClass == right.messageClass && left.id == right.id && left.payload == right.payload;
}

std::array<uint8_t, 2> ubxChecksum(std::string_view covered) {
    uint32_t a = 0;
    uint32_t b = 0;
    for (const char byte : covered) {
        a = (a + static_cast<unsigned char>(byte)) & 0xFFu;
        b = (b + a) & 0xFFu;
    }
    return {static_cast<uint8_t>(a), static_cast<uint8_t>(b)};
}

std::array<uint8_t, 2> ubxChecksum(const UbxFrame& frame) { return ubxChecksum(asText(coveredBytes(frame))); }

Bytes encodeUbx(const UbxFrame& frame) {
    const Bytes covered = coveredBytes(frame);
    const auto checksum = ubxChecksum(asText(covered));
    Bytes bytes(covered.size() + 4);
    bytes[0] = kUbxSync1;
    bytes[1] = kUbxSync2;
    std::copy(covered.begin(), covered.end(), bytes.begin() + 2);
    std::copy(checksum.begin(), checksum.end(), bytes.end() - 2);
    return bytes;
}

// --- Parsing --------------------------------------------------------------------------------------------

UbxParser::UbxParser(std::size_t longestPayload) : longestPayload_(longestPayload) {}

std::vector<UbxEvent> UbxParser::feed(std::string_view bytes) {
    for (const char byte : bytes)
        pending_.push_back(static_cast<uint8_t>(byte));
    std::vector<UbxEvent> events;
    while (parseOne(events) != Step::NeedMore) {
    }
    return events;
}

void UbxParser::reset() {
    skippedBytes_ += pending_.size();
    pending_.clear();
}

UbxParser::Step UbxParser::parseOne(std::vector<UbxEvent>& events) {
    skipToSync();
    if (pending_.size() < kUbxHeaderSize)
        return Step::NeedMore;
    UbxEvent event;
    event.frame.messageClass = pending_[2];
    event.frame.id = pending_[3];
    const std::size_t length = pending_[4] + 256u * pending_[5];
    if (length <= longestPayload_ && pending_.size() < kUbxEnvelopeSize + length)
        return Step::NeedMore;
    const Step step = parsePayload(event, length);
    events.push_back(std::move(event));
    skippedBytes_ += step == Step::Skipped ? 1 : 0;
    drop(step == Step::Skipped ? 1 : kUbxEnvelopeSize + length);
    return step;
}

UbxParser::Step UbxParser::parsePayload(UbxEvent& event, std::size_t length) const {
    if (length > longestPayload_) {
        event.kind = UbxEventKind::BadLength;
        return Step::Skipped;
    }
    const auto payload = pending_.begin() + kUbxHeaderSize;
    const auto checksum = payload + static_cast<std::ptrdiff_t>(length);
    event.frame.payload.assign(payload, checksum);
    const auto expected = ubxChecksum(event.frame);
    const bool sound = std::equal(expected.begin(), expected.end(), checksum);
    event.kind = sound ? UbxEventKind::Frame : UbxEventKind::BadChecksum;
    return sound ? Step::Found : Step::Skipped;
}

// Leaves the stream at a sync pair, or at a lone first sync character that ends it.
void UbxParser::skipToSync() {
    std::size_t position = 0;
    while (position < pending_.size()) {
        const bool first = pending_[position] == kUbxSync1;
        const bool last = position + 1 == pending_.size();
        if (first && (last || pending_[position + 1] == kUbxSync2))
            break;
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
    for (UbxEvent& event : UbxParser().feed(bytes))
        if (event.kind == UbxEventKind::Frame)
            frames.push_back(std::move(event.frame));
    return frames;
}

} // namespace simulator
