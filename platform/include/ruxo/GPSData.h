#ifndef RUXO_GPSDATA_H
#define RUXO_GPSDATA_H

#include <cstdint>

#include "ruxo/Visibility.h"

/// \file
/// A fix, as the platform's libraries hand it around.

/// One fix, as scaled integers. A field whose value is not known is 0 (false for `valid`).
class RUXO_API GPSData {
public:
    /// All fields cleared.
    GPSData();
    /// The same fields.
    GPSData(const GPSData& other);
    ~GPSData();
    /// Takes the fields of `other`.
    GPSData& operator=(const GPSData& other);

    /// Sets `valid` to false and every number to 0.
    void Clear();

    bool valid;        ///< the record describes a current fix
    int32_t latitude;  ///< degrees x 1,000,000, WGS84, positive north
    int32_t longitude; ///< degrees x 1,000,000, WGS84, positive east
    int32_t altitude;  ///< millimetres
    int32_t time;      ///< time of the fix, whole seconds since the Unix epoch, UTC
    uint32_t speed;    ///< millimetres per second
    uint32_t course;   ///< course over ground, degrees from true north x 1000
    float hdop;        ///< horizontal dilution of precision
    float tdop;        ///< time dilution of precision
    float pdop;        ///< position dilution of precision
    float gdop;        ///< geometric dilution of precision
};

#endif
