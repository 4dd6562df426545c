#ifndef REPORT_REPLAY_H
#define REPORT_REPLAY_H

#include <optional>
#include <string>
#include <vector>

#include "Drive.h"

namespace report {

/// Settings that replace the recorded ones.
struct WhatIf {
    std::string words; ///< as they were given: "margin=2500, interval=5"
    std::optional<std::uint32_t> positionIntervalS;
    std::optional<std::uint32_t> marginMicrodegrees;
    std::optional<std::uint32_t>
        horizontalErrorM;             ///< what the odometer's gate is given in place of each estimate
    std::optional<double> sizeFactor; ///< of width and height of all geofences
    // One geofence's own size or margin, by its name, may be replaced as well: see WhatIf.cpp.
};

/// One step of the odometer: what happened to a stretch that was long enough.
struct OdometerStep {
    enum class Kind { WarmedUp, Counted, Dropped, Jump };
    Kind kind = Kind::Counted;
    double timeS = 0;
    double metres = 0;
    telemetry::Position at;
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
    std::vector<std::pair<double, std::uint32_t>> odometer; ///< time and metres, at each change
    std::uint32_t odometerM = 0;                            ///< at the end
    std::size_t droppedSteps = 0;
    double droppedM = 0;
};

/// With the recorded settings, or with others.
Replay replay(const Drive& drive, const WhatIf* whatIf = nullptr);

} // namespace report

#endif
