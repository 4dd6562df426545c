#ifndef CONSTANTS_H
#define CONSTANTS_H

#include <cstdint>

/// Numbers of the world that more than one place needs.

namespace simulator {

constexpr double kPi = 3.14159265358979323846;

// --- Earth (WGS 84) -------------------------------------------------------------------------------------

constexpr double kEarthRadiusM = 6371008.8; // mean radius: lengths of routes are great circles on this sphere
constexpr double kSemiMajorM = 6378137;
constexpr double kInverseFlattening = 298.257223563;
constexpr double kFlattening = 1 / kInverseFlattening;
constexpr double kEccentricity2 = kFlattening * (2 - kFlattening); // squared

// --- Speed ----------------------------------------------------------------------------------------------

constexpr double kKnotsPerMps = 3600.0 / 1852;
constexpr double kKmhPerMps = 3.6;

// --- Time -----------------------------------------------------------------------------------------------

constexpr int64_t kSecondsPerDay = 86'400;
constexpr int64_t kSecondsPerWeek = 7 * kSecondsPerDay;
constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr int64_t kGpsEpochS = 315'964'800; // 1980-01-06 in seconds since 1970-01-01
constexpr int32_t kGpsMinusUtcSeconds = 18; // leap seconds since 2017-01-01

// --- Receiver: what it says about itself ----------------------------------------------------------------

constexpr const char* kSoftwareVersion = "ROM CORE 3.01 (107888)";
constexpr const char* kHardwareVersion = "00080000";
constexpr const char* kFirmwareVersion = "FWVER=SPG 3.01";
constexpr const char* kProtocolVersion = "PROTVER=18.00";
constexpr const char* kMajorSystems = "GPS;GLO;GAL;BDS";
constexpr const char* kAugmentingSystems = "SBAS;IMES;QZSS";

} // namespace simulator

#endif
