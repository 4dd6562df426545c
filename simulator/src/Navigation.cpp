#include "simulator/Navigation.h"

#include <algorithm>
#include <cmath>
#include <utility>

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

// --- Signals --------------------------------------------------------------------------------------------

uint64_t keyOf(const Satellite& satellite) { return satelliteKey(satellite.constellation, satellite.number); }

// Satellites are found one after the other until the first fix, and again within seconds after a blocked sky.
struct SinceFound {
    double firstS; // in this start; below zero: not found yet
    double againS; // behind a blocked sky

    bool isFound() const { return firstS >= 0 && againS >= 0; }
    double lockedS() const { return std::min(firstS, againS); }
};
SinceFound sinceFound(const Satellite& satellite, const Reception& reception, uint64_t seed) {
    const double turn = scatter(seed, keyOf(satellite), 20);
    const double untilFound = inSeconds(reception.timeToFirstFix) * (0.15 + 0.8 * turn);
    const double untilBack = 0.4 + 2 * turn;
    return {inSeconds(reception.sinceStart) - untilFound, inSeconds(reception.sinceSkyBack) - untilBack};
}

void applyReception(std::vector<Satellite>& satellites, const Reception& reception, uint64_t seed) {
    for (Satellite& satellite : satellites) {
        const bool heard = !reception.skyBlocked && satellite.carrierToNoiseDbHz >= kTrackingDbHz;
        if (!heard || !sinceFound(satellite, reception, seed).isFound())
            satellite.carrierToNoiseDbHz = 0;
    }
}

// --- Satellites -----------------------------------------------------------------------------------------

// The same ones for hours: those with the lowest numbers that the seed gives them.
void makeUnhealthy(std::vector<Satellite>& satellites, std::size_t count, uint64_t seed) {
    std::vector<Satellite*> byLot;
    for (Satellite& satellite : satellites)
        if (satellite.constellation != Constellation::Sbas)
            byLot.push_back(&satellite);
    std::sort(byLot.begin(), byLot.end(), [seed](const Satellite* left, const Satellite* right) {
        return scatter(seed, keyOf(*left), 21) < scatter(seed, keyOf(*right), 21);
    });
    byLot.resize(std::min(byLot.size(), count));
    for (Satellite* satellite : byLot)
        satellite->health = Health::Unhealthy;
}

// Nothing stands anywhere before the receiver knows where it is itself. Then those in use have sent their
// ephemeris; the others follow when they have sent it, which takes half a minute, or an almanac has told of
// them: a whole one takes twelve and a half minutes.
bool isOrbitKnown(const Satellite& satellite, const Reception& reception, uint64_t seed) {
    constexpr double kEphemerisS = 30;
    constexpr double kAlmanacS = 750;
    if (reception.orbitsKnown)
        return true;
    if (reception.sinceStart < reception.timeToFirstFix)
        return false;
    const bool hasSentEphemeris =
        satellite.carrierToNoiseDbHz > 0 && sinceFound(satellite, reception, seed).firstS >= kEphemerisS;
    return satellite.used || hasSentEphemeris ||
           inSeconds(reception.sinceStart) >= kAlmanacS * scatter(seed, keyOf(satellite), 22);
}

// As recorded: 79 of 458 satellites without a signal weren't even searched for at the moment, by turns.
SignalQuality withoutSignal(const Satellite& satellite, const Reception& reception, uint64_t seed) {
    constexpr double kIdle = 0.17;
    const auto second = static_cast<uint64_t>(inSeconds(reception.sinceStart));
    return scatter(seed, keyOf(satellite), 1000 + second) < kIdle ? SignalQuality::NoSignal
                                                                  : SignalQuality::Searching;
}

// Step by step, a second each (an assumption). As recorded, a weak signal stays at the lock of its code, and
// what is loud without being of use is unusable.
SignalQuality signalQuality(const Satellite& satellite, const Reception& reception, uint64_t seed) {
    if (satellite.carrierToNoiseDbHz <= 0)
        return withoutSignal(satellite, reception, seed);
    const double step = std::floor(2 + sinceFound(satellite, reception, seed).lockedS());
    const auto reached = static_cast<SignalQuality>(static_cast<int32_t>(std::min(step, 7.0)));
    if (satellite.used)
        return std::max(reached, SignalQuality::CodeLocked);
    const bool isLoud = satellite.carrierToNoiseDbHz >= kNavigationDbHz;
    if (satellite.health == Health::Unhealthy)
        return std::min(reached, SignalQuality::Unusable);
    return isLoud ? reached : std::min(reached, SignalQuality::CodeLocked);
}

void describeSatellites(std::vector<Satellite>& satellites, const Reception& reception, uint64_t seed) {
    for (Satellite& satellite : satellites) {
        satellite.quality = signalQuality(satellite, reception, seed);
        satellite.orbitKnown = isOrbitKnown(satellite, reception, seed);
        if (!satellite.orbitKnown)
            satellite.health = Health::Unknown;
    }
}

bool isUsable(const Satellite& satellite) {
    return satellite.constellation != Constellation::Sbas && satellite.health == Health::Healthy &&
           satellite.elevationDeg >= kLowestUsedDeg && satellite.carrierToNoiseDbHz >= kNavigationDbHz;
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

// --- Solution -------------------------------------------------------------------------------------------

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

GeoPosition withNoise(const GeoPosition& truth, const Reception& reception, double seconds, uint64_t seed) {
    const double amplitude = reception.noiseM;
    const DriftOffset& drift = reception.drift;
    return shifted(truth, wander(amplitude, seconds, seed, 0) + drift.northM,
                   wander(amplitude, seconds, seed, 1) + drift.eastM,
                   wander(1.5 * amplitude, seconds, seed, 2) + drift.upM);
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

bool isTracked(const std::vector<Satellite>& satellites, Constellation system) {
    return std::any_of(satellites.begin(), satellites.end(), [system](const Satellite& satellite) {
        return satellite.constellation == system && satellite.carrierToNoiseDbHz > 0;
    });
}

// The others tell leap seconds, in a page for which the receiver has to wait: of GPS it comes every twelve
// and a half minutes. GLONASS lives in UTC, so the difference is there at once; it holds until a page comes
// (an assumption).
LeapSource leapSource(const std::vector<Satellite>& satellites, const Reception& reception) {
    constexpr std::pair<Constellation, LeapSource> kPages[] = {{Constellation::Gps, LeapSource::Gps},
                                                               {Constellation::Galileo, LeapSource::Galileo},
                                                               {Constellation::BeiDou, LeapSource::BeiDou}};
    if (reception.sinceStart >= reception.timeToLeapSeconds)
        for (const auto& [system, source] : kPages)
            if (isTracked(satellites, system))
                return source;
    if (reception.leapSource != LeapSource::Firmware)
        return reception.leapSource;
    return isTracked(satellites, Constellation::Glonass) ? LeapSource::Glonass : LeapSource::Firmware;
}

void setTime(Epoch& epoch, const Reception& reception) {
    epoch.sinceStart = reception.sinceStart;
    epoch.timeKnown = anyTracked(epoch.satellites) || reception.sinceStart >= reception.timeToFirstFix;
    epoch.weekKnown =
        inSeconds(reception.sinceStart) >= kWeekOfFirstFix * inSeconds(reception.timeToFirstFix);
    epoch.leapSource = leapSource(epoch.satellites, reception);
}

} // namespace

Epoch navigate(const MotionState& truth, std::vector<Satellite> satellites, UtcTime utc,
               const Reception& reception, uint64_t seed) {
    const double seconds = inSeconds(utc.time_since_epoch());
    applyReception(satellites, reception, seed);
    makeUnhealthy(satellites, reception.unhealthySatellites, seed);
    Epoch epoch;
    epoch.utc = utc;
    epoch.position = withNoise(truth.position, reception, seconds, seed);
    epoch.speedMps = truth.speedMps;
    epoch.courseDeg = truth.courseDeg;
    epoch.climbMps = truth.climbMps;
    epoch.satellites = std::move(satellites);
    setTime(epoch, reception);
    if (!reception.fixDenied && reception.sinceStart >= reception.timeToFirstFix)
        setFix(epoch, reception);
    describeSatellites(epoch.satellites, reception, seed);
    return epoch;
}

} // namespace simulator
