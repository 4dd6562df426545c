#include "HexText.h"

#include <charconv>

namespace {

constexpr unsigned int kFieldDigits = 8;
constexpr std::size_t kSyncDigits = 4;  // the checksum leaves the sync characters out
constexpr std::size_t kEscapedSize = 4; // of a byte: backslash, x, two digits
constexpr std::size_t kChecksumBytes = 2;
constexpr char kDigits[] = "0123456789abcdef";
constexpr unsigned int kNoDigit = 16;

unsigned int digitValue(char digit) {
    const auto c = static_cast<unsigned char>(digit);
    const unsigned int lower = c | 0x20u;
    if (c >= '0' && c <= '9')
        return c - unsigned{'0'};
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : kNoDigit;
}

struct Checksum {
    unsigned char a = 0;
    unsigned char b = 0;

    void add(unsigned char byte) {
        a = static_cast<unsigned char>(a + byte);
        b = static_cast<unsigned char>(b + a);
    }
};

// Both write at `at`, where there is room, and give the place behind what they wrote.

char* writeEscaped(std::string_view digits, char* at) {
    *at++ = '\\';
    *at++ = 'x';
    for (const char digit : digits)
        *at++ = digit;
    return at;
}

char* writeEscaped(unsigned char byte, char* at) {
    // KEEP: a small checksum byte has a single digit. Pinned by
    // PrepareUbxCommandString.AppendsSmallChecksumBytesAsOneDigit
    char digits[2];
    const char* const end = std::to_chars(digits, digits + sizeof digits, unsigned{byte}, 16).ptr;
    return writeEscaped(std::string_view(digits, static_cast<std::size_t>(end - digits)), at);
}

} // namespace

std::string hexText(unsigned int value, unsigned int width) {
    char digits[2 * sizeof value];
    const char* const end = std::to_chars(digits, digits + sizeof digits, value, 16).ptr;
    const auto count = static_cast<std::size_t>(end - digits);
    return std::string(width > count ? width - count : 0, '0').append(digits, count);
}

std::string hexField(unsigned int value) { return hexText(swapBytes(value), kFieldDigits); }

void appendHexByte(unsigned char byte, std::string& out) {
    const char digits[] = {kDigits[byte >> 4], kDigits[byte & 0xF]};
    out.append(digits, sizeof digits);
}

unsigned char hexValue(std::string_view pair) {
    unsigned int value = 0;
    for (const char c : pair) {
        const unsigned int digit = digitValue(c);
        if (digit == kNoDigit)
            return 0;
        value = value << 4 | digit;
    }
    return static_cast<unsigned char>(value);
}

uint32_t swapBytes(uint32_t value) {
    return value << 24 | (value & 0xFF00u) << 8 | (value >> 8 & 0xFF00u) | value >> 24;
}

bool appendEscaped(const std::string& hexIn, std::string& out, unsigned char ckA, unsigned char ckB) {
    const std::size_t size = hexIn.size(); // taken before `out` grows, which may be the same text
    const std::size_t before = out.size();
    // Room for the longest text in one go: nothing can fail behind it.
    out.resize(before + kEscapedSize * ((size + 1) / 2 + kChecksumBytes));
    const std::string_view digits(hexIn.data(), size);
    char* at = &out[before];
    Checksum sum;
    for (std::size_t i = 0; i < size; i += 2) {
        const std::string_view pair = digits.substr(i, 2);
        at = writeEscaped(pair, at);
        if (i >= kSyncDigits)
            sum.add(hexValue(pair));
    }
    // KEEP: a checksum of 00 00 can't be verified: it asks for one to be built. Pinned by
    // PrepareUbxCommandString.BuildsInsteadOfVerifyingAZeroChecksum
    const bool verifies = ckA != 0 || ckB != 0;
    if (!verifies)
        at = writeEscaped(sum.b, writeEscaped(sum.a, at));
    out.resize(static_cast<std::size_t>(at - out.data()));
    return !verifies || (ckA == sum.a && ckB == sum.b);
}
