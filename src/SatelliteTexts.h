#ifndef SATELLITETEXTS_H
#define SATELLITETEXTS_H

#include <cstdint>
#include <string>

#include "ReaderBlock.h"

/// What GetSatellites logs of each satellite once in half an hour: three lists, an entry a satellite, in the
/// order of gpsd's sky view. Log readers take them apart, so every character of them counts.
struct SatelliteTexts {
    std::string prns; ///< "PRNs: [5,12,29]; " with a blank at its end
    std::string snrs; ///< "SNRs: [21,38,17.5]; " in dB-Hz, at most 6 digits each, with a blank at its end
    std::string used; ///< "Used: [N,Y,N]" without one
};

/// The lists of the first `count` satellites in `reader`, 0 to kSatelliteCapacity; whoever calls limits the
/// number that gpsd reported. Without satellites the brackets stay open: "PRNs: [".
///
/// Numbers look the same whatever locale the application has set. Takes no lock: called by a query, and may
/// see a report half copied. Throws `std::bad_alloc` for want of memory, rather than give lists cut short.
SatelliteTexts describeSatellites(const ReaderBlock& reader, int32_t count);

#endif
