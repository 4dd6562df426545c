#include "Bytes.h"

#include <cctype>
#include <cstdio>

namespace {

constexpr char kMgaClass = 0x13;

char byteOf(unsigned int value) { return static_cast<char>(static_cast<unsigned char>(value)); }

bool isHex(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

Bytes checksum(const Bytes& covered) {
    unsigned int a = 0;
    unsigned int b = 0;
    for (const char c : covered) {
        a = (a + static_cast<unsigned char>(c)) & 0xFF;
        b = (b + a) & 0xFF;
    }
    return {byteOf(a), byteOf(b)};
}

} // namespace

Bytes hex(const std::string& text) {
    Bytes bytes;
    std::string digits;
    for (const char c : text) {
        if (isHex(c))
            digits += c;
        if (digits.size() == 2) {
            bytes += byteOf(static_cast<unsigned int>(std::stoul(digits, nullptr, 16)));
            digits.clear();
        }
    }
    return bytes;
}

std::string toHex(const Bytes& bytes) {
    std::string text;
    char digits[4];
    for (const char c : bytes) {
        snprintf(digits, sizeof digits, "%02x", static_cast<unsigned int>(static_cast<unsigned char>(c)));
        text += (text.empty() ? "" : " ") + std::string(digits);
    }
    return text;
}

Bytes unescaped(const std::string& text) {
    Bytes bytes;
    for (std::size_t i = 0; i < text.size();) {
        if (text.compare(i, 2, "\\x") != 0 || i + 2 >= text.size() || !isHex(text[i + 2])) {
            bytes += text[i++];
            continue;
        }
        const std::size_t digits = i + 3 < text.size() && isHex(text[i + 3]) ? 2 : 1;
        bytes += byteOf(static_cast<unsigned int>(std::stoul(text.substr(i + 2, digits), nullptr, 16)));
        i += 2 + digits;
    }
    return bytes;
}

Bytes ubxFrame(uint8_t msgClass, uint8_t msgId, const Bytes& payload) {
    Bytes covered = {byteOf(msgClass), byteOf(msgId), byteOf(static_cast<unsigned int>(payload.size())),
                     byteOf(static_cast<unsigned int>(payload.size() >> 8))};
    covered += payload;
    return "\xb5"
           "b" +
           covered + checksum(covered);
}

Bytes ackAck(uint8_t msgClass, uint8_t msgId) {
    return ubxFrame(0x05, 0x01, {byteOf(msgClass), byteOf(msgId)});
}

Bytes mgaAck(uint8_t msgId, uint8_t type, uint8_t infoCode, const Bytes& payloadStart, uint8_t version) {
    const Bytes head = {byteOf(type), byteOf(version), byteOf(infoCode), byteOf(msgId)};
    return ubxFrame(0x13, 0x60, head + payloadStart);
}

Bytes contentReceiver(const Bytes& frame) {
    if (frame.size() < 8)
        return "";
    const auto msgId = static_cast<uint8_t>(frame[3]);
    if (frame[2] == kMgaClass)
        return mgaAck(msgId, 1, 0, (frame.substr(6) + Bytes(4, '\0')).substr(0, 4));
    return ackAck(static_cast<uint8_t>(frame[2]), msgId);
}
