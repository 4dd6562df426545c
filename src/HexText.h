#ifndef HEXTEXT_H
#define HEXTEXT_H

#include <charconv>
#include <cstdint>
#include <string>

/// Numbers as hex digits and back. No streams: with an application's locale that groups digits they would
/// turn "14000000" into "14.000.000".

/// `value` in lower-case digits, padded with zeros to `width`.
inline std::string hexText(unsigned int value, unsigned int width) {
    char digits[2 * sizeof value];
    const char* const end = std::to_chars(digits, digits + sizeof digits, value, 16).ptr;
    const auto count = static_cast<std::size_t>(end - digits);
    return std::string(width > count ? width - count : 0, '0').append(digits, count);
}

/// The pair's value; what is no hex number counts as 0.
inline unsigned char hexValue(const std::string& pair) {
    unsigned int value = 0;
    std::from_chars(pair.data(), pair.data() + pair.size(), value, 16);
    return static_cast<unsigned char>(value);
}

/// The four bytes in the other order.
inline uint32_t swapBytes(uint32_t value) {
    return value << 24 | (value & 0xFF00u) << 8 | (value >> 8 & 0xFF00u) | value >> 24;
}

#endif
