#ifndef UBXPAYLOAD_H
#define UBXPAYLOAD_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

#include "UbxFrame.h"

/// Little-endian fields of UBX payloads, written one after the other and read by offset.

namespace simulator {

class PayloadWriter {
public:
    PayloadWriter& u1(uint32_t value) { return put(value, 1); }
    PayloadWriter& u2(uint32_t value) { return put(value, 2); }
    PayloadWriter& u4(uint32_t value) { return put(value, 4); }
    /// Signed fields are written in two's complement.
    PayloadWriter& i1(int32_t value) { return put(static_cast<uint32_t>(value), 1); }
    PayloadWriter& i2(int32_t value) { return put(static_cast<uint32_t>(value), 2); }
    PayloadWriter& i4(int32_t value) { return put(static_cast<uint32_t>(value), 4); }
    /// IEEE 754, double precision.
    PayloadWriter& r8(double value) {
        static_assert(std::numeric_limits<double>::is_iec559 && sizeof(double) == sizeof(uint64_t));
        uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return u4(static_cast<uint32_t>(bits & 0xFFFFFFFFu)).u4(static_cast<uint32_t>(bits >> 32u));
    }
    PayloadWriter& r4(float value) {
        static_assert(std::numeric_limits<float>::is_iec559 && sizeof(float) == sizeof(uint32_t));
        uint32_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return u4(bits);
    }
    PayloadWriter& zeros(std::size_t count) {
        bytes_.resize(bytes_.size() + count, 0);
        return *this;
    }
    /// Text in a field of fixed width, filled with zeros, cut to leave a zero at its end.
    PayloadWriter& text(std::string_view value, std::size_t width) {
        const std::string_view fitting = value.substr(0, width - 1);
        bytes_.insert(bytes_.end(), fitting.begin(), fitting.end());
        return zeros(width - fitting.size());
    }

    const Bytes& bytes() const { return bytes_; }

private:
    PayloadWriter& put(uint32_t value, uint32_t width) {
        for (uint32_t i = 0; i < width; ++i)
            bytes_.push_back(static_cast<uint8_t>((value >> (8u * i)) & 0xFFu));
        return *this;
    }

    Bytes bytes_;
};

/// Offsets behind the payload's end read as 0: the caller has checked the length where it matters.
class PayloadReader {
public:
    explicit PayloadReader(const Bytes& payload) : payload_(payload) {}

    uint8_t u1(std::size_t offset) const { return offset < payload_.size() ? payload_[offset] : 0u; }
    uint16_t u2(std::size_t offset) const {
        return static_cast<uint16_t>(u1(offset) | (u1(offset + 1) << 8u));
    }
    uint32_t u4(std::size_t offset) const {
        return u2(offset) | (static_cast<uint32_t>(u2(offset + 2)) << 16u);
    }
    int8_t i1(std::size_t offset) const { return static_cast<int8_t>(u1(offset)); }
    int16_t i2(std::size_t offset) const { return static_cast<int16_t>(u2(offset)); }
    int32_t i4(std::size_t offset) const { return static_cast<int32_t>(u4(offset)); }
    double r8(std::size_t offset) const {
        const uint64_t bits = u4(offset) | (static_cast<uint64_t>(u4(offset + 4)) << 32u);
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    float r4(std::size_t offset) const {
        const uint32_t bits = u4(offset);
        float value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

private:
    const Bytes& payload_;
};

} // namespace simulator

#endif
