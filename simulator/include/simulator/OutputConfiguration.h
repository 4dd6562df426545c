#ifndef OUTPUTCONFIGURATION_H
#define OUTPUTCONFIGURATION_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <set>

#include "simulator/Epoch.h"

/// What a receiver is configured to send. The factory values are those of a u-blox M8.

namespace simulator {

/// The numbers are the versions as UBX-CFG-NMEA writes them.
enum class NmeaVersion { V21 = 0x21, V23 = 0x23, V40 = 0x40, V41 = 0x41 };

/// The numbers are the message ids of class 0xF0 in UBX-CFG-MSG.
enum class Sentence {
    Gga = 0x00,
    Gll = 0x01,
    Gsa = 0x02,
    Gsv = 0x03,
    Rmc = 0x04,
    Vtg = 0x05,
    Grs = 0x06,
    Gst = 0x07,
    Zda = 0x08,
    Gbs = 0x09,
    Dtm = 0x0A,
    Gns = 0x0D,
};
constexpr std::size_t kSentenceIds = 0x10;

/// Main talker of UBX-CFG-NMEA: Automatic is GP with GPS (and SBAS, QZSS) alone, GN with more systems.
enum class MainTalker { Automatic = 0, Gp = 1, Gl = 2, Gn = 3, Ga = 4, Gb = 5 };

struct OutputConfiguration {
    bool nmeaOut = true; ///< the port's output protocol mask holds NMEA
    bool ubxOut = true;  ///< the port's output protocol mask holds UBX
    NmeaVersion nmeaVersion = NmeaVersion::V40;
    bool extendedNumbering = false; ///< svNumbering of UBX-CFG-NMEA: 0 strict, 1 extended
    MainTalker mainTalker = MainTalker::Automatic;
    bool gsvUsesMainTalker = false; ///< gsvTalkerId of UBX-CFG-NMEA
    std::set<Constellation> enabled{Constellation::Gps, Constellation::Sbas, Constellation::Qzss,
                                    Constellation::Glonass};
    /// UBX messages give UTC of the nearest hundredth of a second, with a rest of -5 to 995 ms. Else the
    /// second is floored, and the rest goes up to 999 ms.
    bool utcToHundredths = false;
    std::chrono::milliseconds epochPeriod{1000}; ///< at least 25; the core sends no faster
    /// One sentence every n-th epoch, 0 never; indexed by Sentence.
    std::array<uint8_t, kSentenceIds> sentenceRate = factorySentenceRates();

    uint8_t rateOf(Sentence sentence) const { return sentenceRate.at(static_cast<std::size_t>(sentence)); }
    void setRate(Sentence sentence, uint8_t everyNthEpoch) {
        sentenceRate.at(static_cast<std::size_t>(sentence)) = everyNthEpoch;
    }

    static constexpr std::array<uint8_t, kSentenceIds> factorySentenceRates() {
        return {{1, 1, 1, 1, 1, 1}}; // GGA, GLL, GSA, GSV, RMC, VTG
    }
};

} // namespace simulator

#endif
