#ifndef REPORT_REPLAY_H
#define REPORT_REPLAY_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Drive.h"

namespace report {

/// One geofence's own, by its name, before what holds for all.
struct GeofenceWhatIf {
    std::string name;
    std::optional<std::uint32_t> marginMicrodegrees;
    std::optional<double> sizeFactor;
};

/// Settings that replace the recorded ones.
struct WhatIf {
    std::string words; ///< as they were given: "margin=2500, interval=5"
    std::optional<std::uint32_t> positionIntervalS;
    std::optional<std::uint32_t> marginMicrodegrees;
    std::optional<std::uint32_t>
        horizontalErrorM;             ///< what the odometer's gate is given in place of each estimate
    std::optional<double> sizeFactor; ///< of width and height of all geofences
    std::vector<GeofenceWhatIf> geofences;
};

/// One step of the odometer: what happened to a stretch that was long enough.
struct OdometerStep {
    enum class Kind { WarmedUp, Counted, Dropped, Jump };
    Kind kind = Kind::Counted;
    double timeS = 0;
    double metres = 0;      ///< from the reference point, 0 where that was just taken
    telemetry::Position at; ///< the fix then; the smoothed position lags behind it
};

struct Crossing {
    double timeS = 0;
    std::size_t slot = 0;
    std::string name;
    bool entered = false;
    telemetry::Position at;
};

/// What the library's arithmetic makes of the drive.
struct Replay {
    std::vector<Crossing> crossings;
    std::vector<OdometerStep> steps;
    std::vector<std::pair<double, std::uint32_t>> odometer; ///< time and metres, first and at each change
    std::uint32_t odometerM = 0;                            ///< at the end
    std::size_t droppedSteps = 0;
    double droppedM = 0;
};

/// With the recorded settings, or with others.
///
/// The library's own arithmetic is driven as its worker drives it: a cycle of odometer and geofences with
/// each accepted fix, and one each interval while there is none. What a recording can't tell are the fixes
/// between the recorded ones, so a shorter interval meets the same fix several times.
Replay replay(const Drive& drive, const WhatIf* whatIf = nullptr);

} // namespace report

#endif
