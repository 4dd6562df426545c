#ifndef UBXNAVIGATION_H
#define UBXNAVIGATION_H

#include <cstdint>
#include <vector>

#include "UbxFrame.h"
#include "simulator/Epoch.h"

/// The receiver's UBX-NAV messages, built from the epoch that the NMEA sentences are built from.

namespace simulator {

/// What a message says besides the epoch itself.
struct NavContext {
    const Epoch& epoch;
    uint32_t sinceStartMs;     ///< since power-up or reset
    uint32_t timeToFirstFixMs; ///< 0: no fix yet
    bool utcToHundredths;      ///< as in OutputConfiguration
};

struct NavMessageRow {
    uint8_t id;
    Bytes (*build)(const NavContext& context);
};

/// In the order in which an epoch's messages are sent, as recorded: PVT, POSECEF, VELECEF, SAT, DOP, TIMEGPS,
/// TIMELS, EOE. Where the others stand between them is an assumption. The order matters: gpsd 3.22 takes
/// whatever comes first for the end of an epoch every other time, and would report the epoch twice if that
/// weren't the message it reports anyway.
const std::vector<NavMessageRow>& navMessageRows();

/// The message that leads in the first second, as recorded: what stands in front of it comes from the second
/// epoch on. UBX-NAV-SAT.
constexpr uint8_t kLeadsFirstEpoch = 0x35;

} // namespace simulator

#endif
