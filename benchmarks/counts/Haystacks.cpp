#include "Haystacks.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "Handler.h"

namespace {

constexpr std::size_t kSize = 5000;

/// The headers of ACK-ACK, of MGA-ACK and of a database frame.
const std::array<Bytes, 3>& needles() {
    static const std::array<Bytes, 3> all = {Bytes{0xB5, 0x62, 0x05, 0x01, 0x02, 0x00},
                                             Bytes{0xB5, 0x62, 0x13, 0x60, 0x08, 0x00},
                                             Bytes{0xB5, 0x62, 0x13, 0x80}};
    return all;
}

// --- Haystacks ------------------------------------------------------------------------------------------

/// Numbers that look random, the same everywhere.
class Noise {
public:
    unsigned char next() {
        state_ = state_ * 1103515245u + 12345u;
        return static_cast<unsigned char>(state_ >> 16);
    }
    Bytes next(std::size_t count) {
        Bytes bytes(count);
        std::generate(bytes.begin(), bytes.end(), [this] { return next(); });
        return bytes;
    }

private:
    uint32_t state_ = 1;
};

void append(Bytes& all, const Bytes& more) { all.insert(all.end(), more.begin(), more.end()); }

Bytes frame(unsigned char msgClass, unsigned char msgId, const Bytes& payload) {
    Bytes bytes = {0xB5,
                   0x62,
                   msgClass,
                   msgId,
                   static_cast<unsigned char>(payload.size() & 0xFF),
                   static_cast<unsigned char>(payload.size() >> 8)};
    append(bytes, payload);
    unsigned char sumA = 0;
    unsigned char sumB = 0;
    for (std::size_t i = 2; i < bytes.size(); ++i) {
        sumA = static_cast<unsigned char>(sumA + bytes[i]);
        sumB = static_cast<unsigned char>(sumB + sumA);
    }
    append(bytes, {sumA, sumB});
    return bytes;
}

/// `piece` again and again, up to the buffer's end.
template <typename Piece>
Bytes filledWith(Piece piece) {
    Bytes bytes;
    while (bytes.size() < kSize)
        append(bytes, piece());
    bytes.resize(kSize);
    return bytes;
}

Bytes sentences() {
    const std::string epoch = "$GNRMC,120000.00,A,4800.00000,N,01100.00000,E,0.004,,221126,,,A*6F\r\n"
                              "$GNGGA,120000.00,4800.00000,N,01100.00000,E,1,12,0.80,500.0,M,47.0,M,,*4B\r\n"
                              "$GNGSA,A,3,01,02,03,04,05,06,07,08,,,,,1.50,0.80,1.20*1F\r\n"
                              "$GPGSV,3,1,11,01,30,045,40,02,50,120,42,03,10,230,35,04,70,300,45*7A\r\n";
    return filledWith([&] { return Bytes(epoch.begin(), epoch.end()); });
}

Bytes databaseBeingSaved() {
    Noise noise;
    std::size_t length = 36;
    return filledWith([&] {
        Bytes bytes;
        for (int i = 0; i < 8; ++i) {
            append(bytes, frame(0x13, 0x80, noise.next(length)));
            length = length < 164 ? length + 4 : 36;
        }
        append(bytes, frame(0x01, 0x07, noise.next(92)));
        append(bytes, frame(0x05, 0x01, noise.next(2)));
        append(bytes, frame(0x13, 0x60, noise.next(8)));
        return bytes;
    });
}

// --- Searchers ------------------------------------------------------------------------------------------

int findByOurs(const Bytes& haystack, const Bytes& needle, unsigned int start) {
    return idleHandler().findInBinary(
        const_cast<unsigned char*>(haystack.data()), static_cast<unsigned int>(haystack.size()),
        const_cast<unsigned char*>(needle.data()), static_cast<unsigned int>(needle.size()), start);
}

int findByMemmem(const Bytes& haystack, const Bytes& needle, unsigned int start) {
    if (start >= haystack.size() - needle.size())
        return -1;
    const void* const found =
        memmem(haystack.data() + start, haystack.size() - 1 - start, needle.data(), needle.size());
    return found == nullptr ? -1
                            : static_cast<int>(static_cast<const unsigned char*>(found) - haystack.data());
}

int findByStdSearch(const Bytes& haystack, const Bytes& needle, unsigned int start) {
    if (start >= haystack.size() - needle.size())
        return -1;
    const auto end = haystack.end() - 1;
    const auto found = std::search(haystack.begin() + start, end, needle.begin(), needle.end());
    return found == end ? -1 : static_cast<int>(found - haystack.begin());
}

template <typename Found>
void forEachHit(const Searcher& searcher, const Bytes& haystack, Found found) {
    for (const Bytes& needle : needles())
        for (int at = searcher.find(haystack, needle, 0); at >= 0;
             at = searcher.find(haystack, needle, static_cast<unsigned int>(at) + 1))
            found(at);
}

std::vector<int> hits(const Searcher& searcher, const Bytes& haystack) {
    std::vector<int> positions;
    forEachHit(searcher, haystack, [&](int at) { positions.push_back(at); });
    return positions;
}

} // namespace

const std::array<Haystack, 5>& haystacks() {
    static const std::array<Haystack, 5> all = {
        Haystack{"zeros", Bytes(kSize)}, Haystack{"nmea", sentences()},
        Haystack{"noise", Noise().next(kSize)}, Haystack{"frames", databaseBeingSaved()},
        Haystack{"refusals", filledWith([] {
                     return frame(0x05, 0x00, {0x06, 0x3E});
                 })}};
    return all;
}

const std::array<Searcher, 3>& searchers() {
    static const std::array<Searcher, 3> all = {Searcher{"ours", findByOurs},
                                                Searcher{"memmem", findByMemmem},
                                                Searcher{"std-search", findByStdSearch}};
    return all;
}

unsigned int searchAll(const Searcher& searcher, const Bytes& haystack) {
    unsigned int count = 0;
    forEachHit(searcher, haystack, [&](int) { ++count; });
    return count;
}

bool hitsAreTheSame() {
    for (const Haystack& haystack : haystacks()) {
        const std::vector<int> ours = hits(searchers().front(), haystack.bytes);
        for (const Searcher& searcher : searchers())
            if (hits(searcher, haystack.bytes) != ours)
                return false;
    }
    return true;
}

int searchForAcknowledgements(const Searcher& searcher, const Bytes& haystack) {
    return searcher.find(haystack, needles()[0], 0) + searcher.find(haystack, needles()[1], 0);
}
