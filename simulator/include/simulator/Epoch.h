// What is true at one navigation epoch: the common data of the NMEA writer, the UBX engine and the state
// file.
//
// Plain values without behaviour. Angles are degrees, lengths metres, speeds metres per second; times are
// UTC.
#pragma once

#include <chrono>
#include <vector>

namespace simulator {

// Only the types of the steady clock are used; the core never asks it for the time, callers pass `now`.
using TimePoint = std::chrono::steady_clock::time_point;
using Duration = std::chrono::nanoseconds;
// Nanoseconds since 1970-01-01 UTC, without leap seconds.
using UtcTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

constexpr int kGpsMinusUtcSeconds = 18; // leap seconds since 2017-01-01

// The numbers are the gnssId of the UBX protocol.
enum class Constellation { Gps = 0, Sbas = 1, Galileo = 2, BeiDou = 3, Imes = 4, Qzss = 5, Glonass = 6 };

// One satellite above the horizon. `number` is its number within its own system: GPS 1..32, SBAS 120..158,
// Galileo 1..36, QZSS 1..10, GLONASS 1..32 (slot).
struct Satellite {
    Constellation constellation = Constellation::Gps;
    int number = 0;
    double elevationDeg = 0;
    double azimuthDeg = 0;
    double carrierToNoiseDbHz = 0; // 0: searched for, not tracked
    bool used = false;             // part of the navigation solution
};

// The numbers are the fixType of UBX-NAV-PVT.
enum class FixType { None = 0, TwoD = 2, ThreeD = 3 };

// Dilutions of precision. 99.99 each where there is no fix.
struct Dops {
    double geometric = 99.99;
    double position = 99.99;
    double horizontal = 99.99;
    double vertical = 99.99;
    double time = 99.99;
    double northing = 99.99;
    double easting = 99.99;
};

struct GeoPosition {
    double latitudeDeg = 0;
    double longitudeDeg = 0;
    double altitudeMslM = 0;
    double geoidSeparationM = 0; // ellipsoidal height = altitudeMslM + geoidSeparationM
};

struct Epoch {
    UtcTime utc{};
    bool timeKnown = false; // from the first satellite with a time message on, or from an aiding message
    FixType fix = FixType::None;
    int quality = 0; // as in GGA: 0 none, 1 autonomous, 2 corrected (SBAS)
    GeoPosition position;
    double speedMps = 0;
    double courseDeg = 0;
    double climbMps = 0; // upwards positive
    double horizontalAccuracyM = 0;
    double verticalAccuracyM = 0;
    double speedAccuracyMps = 0;
    double courseAccuracyDeg = 0;
    double timeAccuracyS = 0;
    Dops dops;
    std::vector<Satellite> satellites;
};

} // namespace simulator
