#ifndef EPOCH_H
#define EPOCH_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "simulator/Time.h"

/// What is true at one navigation epoch: the common data of the NMEA writer, the UBX engine and the state
/// file.
///
/// Plain values. Angles are degrees, lengths metres, speeds metres per second; times are UTC.

namespace simulator {

/// The numbers are the gnssId of the UBX protocol.
enum class Constellation { Gps = 0, Sbas = 1, Galileo = 2, BeiDou = 3, Imes = 4, Qzss = 5, Glonass = 6 };

/// The system whose time and sentences the given one shares: SBAS and QZSS belong to GPS, all others to
/// themselves.
inline Constellation leadingSystem(Constellation constellation) {
    const bool augmentsGps = constellation == Constellation::Sbas || constellation == Constellation::Qzss;
    return augmentsGps ? Constellation::Gps : constellation;
}

/// What it says about itself. The numbers are those of UBX-NAV-SAT.
enum class Health { Unknown = 0, Healthy = 1, Unhealthy = 2 };

/// How far the receiver has got with its signal. The numbers are the qualityInd of UBX-NAV-SAT.
enum class SignalQuality {
    NoSignal = 0,
    Searching = 1,
    Acquired = 2,
    Unusable = 3,
    CodeLocked = 4,
    CarrierLocked = 5, ///< 6 and 7 as well, the more surely
    CarrierLockedWell = 6,
    CarrierLockedBest = 7,
};

/// One satellite above the horizon. `number` is its number within its own system: GPS 1 to 32, SBAS 120 to
/// 158, Galileo 1 to 36, QZSS 1 to 10, GLONASS 1 to 32 (slot).
struct Satellite {
    Constellation constellation = Constellation::Gps;
    int32_t number = 0;
    double elevationDeg = 0;
    double azimuthDeg = 0;
    double carrierToNoiseDbHz = 0; ///< 0: searched for, not tracked
    bool used = false;             ///< part of the navigation solution
    bool orbitKnown = true;        ///< else the receiver doesn't know where it stands
    Health health = Health::Healthy;
    SignalQuality quality = SignalQuality::Searching;
};

/// Who told how far UTC is from GPS time. The numbers are the srcOfCurrLs of UBX-NAV-TIMELS.
enum class LeapSource {
    Firmware = 0, ///< nobody yet
    Glonass = 1,  ///< its time is UTC: the difference from GPS time
    Gps = 2,
    BeiDou = 4,
    Galileo = 5,
    Host = 6,
};

/// The numbers are the fixType of UBX-NAV-PVT.
enum class FixType { None = 0, TwoD = 2, ThreeD = 3 };

/// Dilutions of precision. 99.99 each where there is no fix.
struct Dops {
    double geometric = 99.99;
    double position = 99.99;
    double horizontal = 99.99;
    double vertical = 99.99;
    double time = 99.99;
    double northing = 99.99;
    double easting = 99.99;
};

/// Latitude -90 to 90 (north positive), longitude -180 to 180 (east positive).
struct GeoPosition {
    double latitudeDeg = 0;
    double longitudeDeg = 0;
    double altitudeMslM = 0;
    double geoidSeparationM = 0; ///< ellipsoidal height = altitudeMslM + geoidSeparationM
};

struct Epoch {
    UtcTime utc{};          ///< the true one, at the epoch's millisecond; ReceiverClock.h has the reported
    Duration clockRest{0};  ///< less than a millisecond: where the epoch really stands beside `utc`
    Duration sinceStart{0}; ///< of the receiver's navigation
    bool timeKnown = false; ///< from the first satellite with a time message on, or from an aiding message
    bool weekKnown = true;  ///< once the time is known: which week it is
    LeapSource leapSource = LeapSource::Gps; ///< once the time is known: who told the leap seconds
    FixType fix = FixType::None;
    int32_t quality = 0; ///< as in GGA: 0 none, 1 autonomous, 2 corrected (SBAS)
    GeoPosition position;
    double speedMps = 0;
    double courseDeg = 0; ///< 0 to 360
    double climbMps = 0;  ///< upwards positive
    double horizontalAccuracyM = 0;
    double verticalAccuracyM = 0;
    double speedAccuracyMps = 0;
    double courseAccuracyDeg = 0;
    double timeAccuracyS = 0;
    Dops dops;
    std::vector<Satellite> satellites;
};

/// How many satellites are part of the solution.
inline uint32_t usedSatellites(const Epoch& epoch) {
    return static_cast<uint32_t>(std::count_if(epoch.satellites.begin(), epoch.satellites.end(),
                                               [](const Satellite& satellite) { return satellite.used; }));
}

} // namespace simulator

#endif
