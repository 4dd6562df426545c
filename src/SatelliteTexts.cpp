#include "SatelliteTexts.h"

#include <ios>
#include <locale>
#include <ostream>
#include <sstream>

namespace {

/// An entry a satellite, with commas between them and `end` behind the last.
template <typename Append>
std::string satelliteList(const char* title, const char* end, int32_t count, Append append) {
    std::ostringstream text;
    text.exceptions(std::ios::badbit);  // a stream without memory would go on and leave the rest out
    text.imbue(std::locale::classic()); // an application's locale may group digits
    text << title;
    // KEEP: a list without satellites is never closed. Pinned by
    // SatelliteLists.StayOpenWithoutSatellites and GetSatellites.WritesOpenListsWithoutSatellites
    for (int32_t i = 0; i < count; ++i) {
        append(text, i);
        text << (i == count - 1 ? end : ",");
    }
    return text.str();
}

} // namespace

SatelliteTexts describeSatellites(const ReaderBlock& reader, int32_t count) {
    const auto prn = [&](std::ostream& text, int32_t i) { text << reader.PRN[i]; };
    const auto snr = [&](std::ostream& text, int32_t i) { text << reader.ss[i]; };
    const auto used = [&](std::ostream& text, int32_t i) { text << (reader.used[i] ? 'Y' : 'N'); };
    return {satelliteList("PRNs: [", "]; ", count, prn), satelliteList("SNRs: [", "]; ", count, snr),
            satelliteList("Used: [", "]", count, used)};
}
