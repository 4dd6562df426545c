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

/// In the order in which an epoch's messages are sent, as captures of real receivers show it: UBX-NAV-PVT
/// first, UBX-NAV-EOE last. The order matters: gpsd 3.22 takes whatever comes first for the end of an epoch
/// every other time, and would report the epoch twice if that weren't the message it reports anyway.
const std::vector<NavMessageRow>& navMessageRows();

} // namespace simulator

#endif
