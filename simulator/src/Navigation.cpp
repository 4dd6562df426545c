#include "simulator/Navigation.h"

#include <algorithm>
#include <cmath>

#include "simulator/Geometry.h"
#include "simulator/Sky.h"

namespace simulator {

namespace {

constexpr double kTrackingDbHz = 18;
constexpr double kNavigationDbHz = 24;
constexpr double kLowestUsedDeg = 5;
constexpr double kWorstPdop = 25;
constexpr double kRangeErrorM = 2.5;          // user range error, one sigma
constexpr double kCorrectedRangeErrorM = 1.2; // the same with SBAS corrections
constexpr int kMostUsedOfASystem = 12;        // what a GSA sentence holds
// An assumption: how much of the time to first fix it takes until the week is known. Recorded of an M8: it
// was not for more than a quarter of a minute after the time of day was.
constexpr double kWeekOfFirstFix = 0.8;

// Satellites are found one after the other until the first fix, and again within seconds after a blocked sky.
bool isFound(const Satellite& satellite, const Reception& reception, uint64_t seed) {
    const double turn = scatter(seed, satelliteKey(satellite.constellation, satellite.number), 20);
    const double untilFound = inSeconds(reception.timeToFirstFix) * (0.15 + 0.8 * turn);
    const double untilBack = 0.4 + 2 * turn;
    return inSeconds(reception.sinceStart) >= untilFound && inSeconds(reception.sinceSkyBack) >= untilBack;
}

void applyReception(std::vector<Satellite>& satellites, const Reception& reception, uint64_t seed) {
    for (Satellite& satellite : satellites) {
        const bool heard = !reception.skyBlocked && satellite.carrierToNoiseDbHz >= kTrackingDbHz;
        if (!heard || !isFound(satellite, reception, seed))
            satellite.carrierToNoiseDbHz = 0;
    }
}

bool isUsable(const Satellite& satellite) {
    return satellite.constellation != Constellation::Sbas && satellite.elevationDeg >= kLowestUsedDeg &&
           satellite.carrierToNoiseDbHz >= kNavigationDbHz;
}

void markUsed(std::vector<Satellite>& satellites) {
    for (Satellite& satellite : satellites) {
        const auto usedOfSystem =
            std::count_if(satellites.begin(), satellites.end(), [&](const Satellite& s) {
                return s.used && s.constellation == satellite.constellation;
            });
        satellite.used = isUsable(satellite) && usedOfSystem < kMostUsedOfASystem;
    }
}

void markNoneUsed(std::vector<Satellite>& satellites) {
    for (Satellite& satellite : satellites)
        satellite.used = false;
}

bool anyTracked(const std::vector<Satellite>& satellites) {
    return std::any_of(satellites.begin(), satellites.end(),
                       [](const Satellite& satellite) { return satellite.carrierToNoiseDbHz > 0; });
}

// A slow wander: two sines per axis, so that consecutive positions stay close to each other.
double wander(double amplitudeM, double seconds, uint64_t seed, uint64_t axis) {
    const double slow = std::sin(2 * kPi * (seconds / 437 + scatter(seed, 30, axis)));
    const double quick = std::sin(2 * kPi * (seconds / 61 + scatter(seed, 31, axis)));
    return amplitudeM * (0.8 * slow + 0.2 * quick);
}

GeoPosition withNoise(GeoPosition position, double amplitudeM, double seconds, uint64_t seed) {
    const double metresPerDegree = radians(1) * kEarthRadiusM;
    const double shrink = std::max(0.01, std::cos(radians(position.latitudeDeg)));
    position.latitudeDeg += wander(amplitudeM, seconds, seed, 0) / metresPerDegree;
    position.longitudeDeg += wander(amplitudeM, seconds, seed, 1) / metresPerDegree / shrink;
    position.altitudeMslM += wander(1.5 * amplitudeM, seconds, seed, 2);
    return position;
}

void setAccuracies(Epoch& epoch) {
    const double range = epoch.quality == 2 ? kCorrectedRangeErrorM : kRangeErrorM;
    epoch.horizontalAccuracyM = range * epoch.dops.horizontal;
    epoch.verticalAccuracyM = range * epoch.dops.vertical;
    epoch.speedAccuracyMps = 0.05 * epoch.dops.position;
    epoch.courseAccuracyDeg = std::min(180.0, degrees(std::atan2(epoch.speedAccuracyMps, epoch.speedMps)));
    epoch.timeAccuracyS = 10e-9 * epoch.dops.time;
}

void setFix(Epoch& epoch, const Reception& reception) {
    markUsed(epoch.satellites);
    for (const FixType fix : {FixType::ThreeD, FixType::TwoD}) {
        const DopResult geometry = computeDops(epoch.satellites, fix == FixType::TwoD);
        if (!geometry.solvable || geometry.dops.position > kWorstPdop)
            continue;
        epoch.fix = fix;
        epoch.dops = geometry.dops;
        epoch.quality = reception.corrected ? 2 : 1;
        setAccuracies(epoch);
        return;
    }
    markNoneUsed(epoch.satellites);
}

} // namespace

namespace {

// GLONASS tells UTC itself; of GPS the receiver has to wait for a page that comes every twelve and a half
// minutes.
bool areLeapSecondsKnown(const std::vector<Satellite>& satellites, const Reception& reception) {
    return reception.leapSecondsKnown || reception.sinceStart >= reception.timeToLeapSeconds ||
           std::any_of(satellites.begin(), satellites.end(), [](const Satellite& satellite) {
               return satellite.constellation == Constellation::Glonass && satellite.carrierToNoiseDbHz > 0;
           });
}

void setTime(Epoch& epoch, const Reception& reception) {
    epoch.sinceStart = reception.sinceStart;
    epoch.timeKnown = anyTracked(epoch.satellites) || reception.sinceStart >= reception.timeToFirstFix;
    epoch.weekKnown =
        inSeconds(reception.sinceStart) >= kWeekOfFirstFix * inSeconds(reception.timeToFirstFix);
    epoch.leapSecondsKnown = areLeapSecondsKnown(epoch.satellites, reception);
}

} // namespace

Epoch navigate(const MotionState& truth, std::vector<Satellite> satellites, UtcTime utc,
               const Reception& reception, uint64_t seed) {
    const double seconds = inSeconds(utc.time_since_epoch());
    applyReception(satellites, reception, seed);
    Epoch epoch;
    epoch.utc = utc;
    epoch.position = withNoise(truth.position, reception.noiseM, seconds, seed);
    epoch.speedMps = truth.speedMps;
    epoch.courseDeg = truth.courseDeg;
    epoch.climbMps = truth.climbMps;
    epoch.satellites = std::move(satellites);
    setTime(epoch, reception);
    if (!reception.fixDenied && reception.sinceStart >= reception.timeToFirstFix)
        setFix(epoch, reception);
    return epoch;
}

} // namespace simulator
