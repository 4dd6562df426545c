#ifndef NMEAWRITER_H
#define NMEAWRITER_H

#include <optional>
#include <string>
#include <vector>

#include "simulator/Epoch.h"
#include "simulator/OutputConfiguration.h"

/// The sentences of a u-blox M8 for an epoch, as its configuration wants them.

namespace simulator {

/// Sentences that are sent together or not at all: one message, or one system's GSV set.
using SentenceGroup = std::vector<std::string>;

/// All groups that are due at the `counter`-th epoch, in the receiver's order (DTM and RMC first,
/// GLL behind GSV). Empty where the port has no NMEA.
std::vector<SentenceGroup> writeSentences(const Epoch& epoch, const OutputConfiguration& output,
                                          uint64_t counter);

/// What the receiver says about itself after power-up and reset. Empty where the port has no NMEA.
std::vector<std::string> powerUpBanner(const OutputConfiguration& output);

/// The number of a satellite in GSA and GSV; none where this numbering has none for it (it is then not
/// shown).
std::optional<int> sentenceNumber(const Satellite& satellite, NmeaVersion version, bool extended);

/// "GP", "GN" and so on for RMC, GGA and the other sentences that aren't about one system.
std::string mainTalker(const OutputConfiguration& output);

} // namespace simulator

#endif
