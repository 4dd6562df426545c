#ifndef NAVIGATION_H
#define NAVIGATION_H

#include <cstdint>

#include "simulator/Drift.h"
#include "simulator/Epoch.h"
#include "simulator/Route.h"

/// What the receiver makes of the sky: which satellites it tracks and uses, and whether that gives a fix.

namespace simulator {

/// How well the antenna and the receiver's start-up let it hear the sky.
struct Reception {
    Duration sinceStart{0};                       ///< of the receiver's navigation
    Duration timeToFirstFix{0};                   ///< counted from the same start
    Duration sinceSkyBack{std::chrono::hours(1)}; ///< since the sky was last blocked
    bool skyBlocked = false;                      ///< tunnel, antenna, fault: no satellite is heard
    bool fixDenied = false;                       ///< satellites are heard, but no position comes of them
    bool corrected = true;                        ///< SBAS corrections are at hand
    LeapSource leapSource = LeapSource::Gps;      ///< from before, or told by the host
    bool orbitsKnown = true;                      ///< from before: where all satellites stand
    std::size_t unhealthySatellites = 0;          ///< so many in the sky say that they are
    Duration timeToLeapSeconds{0};                ///< the same without GLONASS, from the same start
    double noiseM = 0; ///< how far a reported position may wander from the true one
    DriftOffset drift; ///< how far it is off it besides
};

/// The epoch of an antenna at `truth` under these satellites (as Sky::above brings them).
Epoch navigate(const MotionState& truth, std::vector<Satellite> satellites, UtcTime utc,
               const Reception& reception, uint64_t seed);

} // namespace simulator

#endif
