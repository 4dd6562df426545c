// A frame's escaped text with its checksum, as it is built for each command to the receiver.

#include <cstdio>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "Counting.h"
#include "Handler.h"

namespace {

/// A database frame without checksum, as bytes and as the digits that the handler takes.
struct Frame {
    std::vector<unsigned char> bytes;
    std::string digits;
};

Frame frameOf(unsigned int payload) {
    Frame frame{{0xB5, 0x62, 0x13, 0x80, static_cast<unsigned char>(payload), 0}, ""};
    for (unsigned int i = 0; i < payload; ++i)
        frame.bytes.push_back(static_cast<unsigned char>(i * 89 + 7));
    for (const unsigned int byte : frame.bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        frame.digits += digits;
    }
    return frame;
}

std::string ours(const Frame& frame) {
    std::string text;
    idleHandler().prepareUbxCommandString(frame.digits, text, 0, 0);
    return text;
}

// --- Peers: both take the bytes, so neither reads digits ------------------------------------------------

struct Checksum {
    unsigned int a = 0;
    unsigned int b = 0;

    void add(unsigned int byte) {
        a = (a + byte) & 0xFF;
        b = (b + a) & 0xFF;
    }
};

constexpr std::size_t kSyncBytes = 2;
constexpr std::size_t kLongestText = 1024;

/// Into a buffer that is there; gives the length.
std::size_t byteLoop(const Frame& frame, char* text) {
    static constexpr char kDigits[] = "0123456789abcdef";
    char* at = text;
    Checksum sum;
    for (std::size_t i = 0; i < frame.bytes.size(); ++i) {
        const unsigned int byte = frame.bytes[i];
        *at++ = '\\';
        *at++ = 'x';
        *at++ = kDigits[byte >> 4];
        *at++ = kDigits[byte & 0xF];
        if (i >= kSyncBytes)
            sum.add(byte);
    }
    for (const unsigned int byte : {sum.a, sum.b}) {
        *at++ = '\\';
        *at++ = 'x';
        if (byte > 0xF)
            *at++ = kDigits[byte >> 4];
        *at++ = kDigits[byte & 0xF];
    }
    return static_cast<std::size_t>(at - text);
}

std::string streamed(unsigned int byte, int width) {
    std::ostringstream stream;
    stream << "\\x" << std::hex << std::setw(width) << std::setfill('0') << byte;
    return stream.str();
}

std::string streams(const Frame& frame) {
    std::string text;
    Checksum sum;
    for (std::size_t i = 0; i < frame.bytes.size(); ++i) {
        text += streamed(frame.bytes[i], 2);
        if (i >= kSyncBytes)
            sum.add(frame.bytes[i]);
    }
    return text + streamed(sum.a, 0) + streamed(sum.b, 0);
}

// --- What is counted ------------------------------------------------------------------------------------

void demandTheSameTexts(const Frame& frame) {
    char text[kLongestText];
    const std::string looped(text, byteLoop(frame, text));
    if (ours(frame) != looped || streams(frame) != looped)
        notTheSame("texts of a frame");
}

/// `key` names the payload's length.
void registerTexts(const char* key, unsigned int payload) {
    const Frame frame = frameOf(payload);
    demandTheSameTexts(frame);
    Counted(key, "ours", [frame](int n) {
        for (int i = 0; i < n; ++i)
            keep(ours(frame));
    });
    Counted(key, "byte-loop", [frame](int n) {
        char text[kLongestText];
        for (int i = 0; i < n; ++i)
            keep(text[byteLoop(frame, text) - 1]);
    });
    Counted(key, "streams", [frame](int n) {
        for (int i = 0; i < n; ++i)
            keep(streams(frame));
    });
}

const bool kTextsAreRegistered = [] {
    registerTexts("frame-text.4", 4);
    registerTexts("frame-text.60", 60);
    registerTexts("frame-text.164", 164);
    return true;
}();

} // namespace
