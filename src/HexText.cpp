#include "HexText.h"

#include <charconv>

namespace {

constexpr unsigned int kFieldDigits = 8;
constexpr std::size_t kSyncDigits = 4; // the checksum leaves the sync characters out

} // namespace

std::string hexText(unsigned int value, unsigned int width) {
    char digits[2 * sizeof value];
    const char* const end = std::to_chars(digits, digits + sizeof digits, value, 16).ptr;
    const auto count = static_cast<std::size_t>(end - digits);
    return std::string(width > count ? width - count : 0, '0').append(digits, count);
}

std::string hexField(unsigned int value) { return hexText(swapBytes(value), kFieldDigits); }

unsigned char hexValue(const std::string& pair) {
    unsigned int value = 0;
    const char* const end = pair.data() + pair.size();
    const bool isHex = std::from_chars(pair.data(), end, value, 16).ptr == end;
    return isHex ? static_cast<unsigned char>(value) : 0;
}

uint32_t swapBytes(uint32_t value) {
    return value << 24 | (value & 0xFF00u) << 8 | (value >> 8 & 0xFF00u) | value >> 24;
}

bool appendEscaped(const std::string& hexIn, std::string& out, unsigned char ckA, unsigned char ckB) {
    unsigned char sumA = 0;
    unsigned char sumB = 0;
    std::string text;
    for (std::size_t i = 0; i < hexIn.size(); i += 2) {
        const std::string pair = hexIn.substr(i, 2);
        text += "\\x" + pair;
        if (i < kSyncDigits)
            continue;
        sumA = static_cast<unsigned char>(sumA + hexValue(pair));
        sumB = static_cast<unsigned char>(sumB + sumA);
    }
    // KEEP: a checksum of 00 00 can't be verified: it asks for one to be built. Pinned by
    // PrepareUbxCommandString.BuildsInsteadOfVerifyingAZeroChecksum
    const bool verifies = ckA != 0 || ckB != 0;
    // KEEP: a small checksum byte has a single digit. Pinned by
    // PrepareUbxCommandString.AppendsSmallChecksumBytesAsOneDigit
    if (!verifies)
        text += "\\x" + hexText(sumA, 0) + "\\x" + hexText(sumB, 0);
    out += text;
    return !verifies || (ckA == sumA && ckB == sumB);
}
