#ifndef HEXTEXT_H
#define HEXTEXT_H

#include <cstdint>
#include <iomanip>
#include <locale>
#include <sstream>
#include <string>

/// Numbers as hex digits and back, whatever the application's locale: one that groups digits would turn
/// "14000000" into "14.000.000".

/// `value` in lower-case digits, padded with zeros to `width`.
inline std::string hexText(unsigned int value, int width) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::hex << std::setfill('0') << std::setw(width) << value;
    return text.str();
}

/// The pair's value as a stream reads it: what is no hex number counts as 0.
inline unsigned char hexValue(const std::string& pair) {
    std::istringstream text(pair);
    text.imbue(std::locale::classic());
    unsigned int value = 0;
    text >> std::hex >> value;
    return static_cast<unsigned char>(text.fail() ? 0 : value);
}

/// The four bytes in the other order.
inline uint32_t swapBytes(uint32_t value) {
    return value << 24 | (value & 0xFF00u) << 8 | (value >> 8 & 0xFF00u) | value >> 24;
}

#endif
