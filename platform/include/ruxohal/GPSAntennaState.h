#ifndef RUXOHAL_GPSANTENNASTATE_H
#define RUXOHAL_GPSANTENNASTATE_H

#include <cstdint>

/// \file
/// The antenna's states.

/// What the platform's supervision says of the GNSS antenna.
enum GPSAntennaState : uint32_t {
    GPS_ANTENNA_UNKNOWN = 0,      ///< no answer yet
    GPS_ANTENNA_OK = 1,           ///< in order
    GPS_ANTENNA_DISCONNECTED = 2, ///< nothing connected, or not supervised
    GPS_ANTENNA_SHORT = 3,        ///< short circuit
};

#endif
