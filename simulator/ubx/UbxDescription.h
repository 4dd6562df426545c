#ifndef UBXDESCRIPTION_H
#define UBXDESCRIPTION_H

#include <set>
#include <string>

#include "UbxFrame.h"
#include "simulator/Epoch.h"

/// One line for people: what a frame from the host says.

namespace simulator {

/// "CFG-PRT uart1 115200", "CFG-ANT poll", "MGA-DBD ephemeris Galileo 12, 164 bytes".
std::string describe(const UbxFrame& frame);

/// "GPS+SBAS+Galileo+QZSS+GLONASS"; "none" for an empty set.
std::string systemNames(const std::set<Constellation>& systems);

/// "4.1" for 0x41.
std::string nmeaVersionName(uint32_t version);

} // namespace simulator

#endif
