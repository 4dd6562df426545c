#ifndef SATELLITETEXTS_H
#define SATELLITETEXTS_H

#include <cstdint>
#include <locale>
#include <sstream>
#include <string>

#include "ReaderBlock.h"

/// What GetSatellites logs of each satellite, as three lists.
struct SatelliteTexts {
    std::string prns;
    std::string snrs;
    std::string used;
};

template <typename Append>
std::string satelliteList(const char* title, const char* end, int32_t count, Append append) {
    std::ostringstream text;
    text.imbue(std::locale::classic()); // an application's locale may group digits
    text << title;
    for (int32_t i = 0; i < count; ++i) {
        append(text, i);
        text << (i == count - 1 ? end : ",");
    }
    return text.str();
}

inline SatelliteTexts describeSatellites(const ReaderBlock& reader, int32_t count) {
    const auto prn = [&](std::ostream& text, int32_t i) { text << reader.PRN[i]; };
    const auto snr = [&](std::ostream& text, int32_t i) { text << reader.ss[i]; };
    const auto used = [&](std::ostream& text, int32_t i) { text << (reader.used[i] ? 'Y' : 'N'); };
    return {satelliteList("PRNs: [", "]; ", count, prn), satelliteList("SNRs: [", "]; ", count, snr),
            satelliteList("Used: [", "]", count, used)};
}

#endif
