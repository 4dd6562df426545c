// Little-endian fields of UBX payloads, written one after the other and read by offset.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "UbxFrame.h"

namespace simulator {

class PayloadWriter {
public:
    PayloadWriter& u1(std::uint32_t value) { return put(value, 1); }
    PayloadWriter& u2(std::uint32_t value) { return put(value, 2); }
    PayloadWriter& u4(std::uint32_t value) { return put(value, 4); }
    // Signed fields are written in two's complement.
    PayloadWriter& i1(std::int32_t value) { return put(static_cast<std::uint32_t>(value), 1); }
    PayloadWriter& i2(std::int32_t value) { return put(static_cast<std::uint32_t>(value), 2); }
    PayloadWriter& i4(std::int32_t value) { return put(static_cast<std::uint32_t>(value), 4); }
    PayloadWriter& zeros(std::size_t count) {
        bytes_.resize(bytes_.size() + count, 0);
        return *this;
    }
    // Text in a field of fixed width, filled with zeros, cut to leave a zero at its end.
    PayloadWriter& text(std::string_view value, std::size_t width) {
        const std::string_view fitting = value.substr(0, width - 1);
        bytes_.insert(bytes_.end(), fitting.begin(), fitting.end());
        return zeros(width - fitting.size());
    }

    const Bytes& bytes() const { return bytes_; }

private:
    PayloadWriter& put(std::uint32_t value, unsigned width) {
        for (unsigned i = 0; i < width; ++i) {
            bytes_.push_back(static_cast<std::uint8_t>((value >> (8U * i)) & 0xFFU));
        }
        return *this;
    }

    Bytes bytes_;
};

// Offsets behind the payload's end read as 0: the caller has checked the length where it matters.
class PayloadReader {
public:
    explicit PayloadReader(const Bytes& payload) : payload_(payload) {}

    std::uint8_t u1(std::size_t offset) const { return offset < payload_.size() ? payload_[offset] : 0U; }
    std::uint16_t u2(std::size_t offset) const {
        return static_cast<std::uint16_t>(u1(offset) | (u1(offset + 1) << 8U));
    }
    std::uint32_t u4(std::size_t offset) const {
        return u2(offset) | (static_cast<std::uint32_t>(u2(offset + 2)) << 16U);
    }
    std::int8_t i1(std::size_t offset) const { return static_cast<std::int8_t>(u1(offset)); }
    std::int16_t i2(std::size_t offset) const { return static_cast<std::int16_t>(u2(offset)); }
    std::int32_t i4(std::size_t offset) const { return static_cast<std::int32_t>(u4(offset)); }

private:
    const Bytes& payload_;
};

} // namespace simulator
