#ifndef TALLY_H
#define TALLY_H

#include <cstdint>
#include <map>
#include <string>

/// What was seen of the service so far, counted from outside.
struct Tally {
    /// How a geofence was crossed. The first look at a geofence from outside makes a "left" of the service's
    /// own; it is no crossing.
    struct Crossings {
        unsigned int entered = 0;
        unsigned int left = 0;
        bool inside = false; ///< the last that is known
    };

    unsigned int fixes = 0; ///< accepted by the service: seen as changes of the readings' fixTick
    unsigned int positionUpdates = 0;
    unsigned int trackingReports = 0; ///< those that carried a fix
    unsigned int geofenceEvents = 0;
    unsigned int antennaChanges = 0;
    uint32_t odometerM = 0;
    double drivenM = 0; ///< from fix to fix, while it moves
    double extentM = 0; ///< the farthest fix's distance from the first
    double countableM =
        -1; ///< the best fix's chance to be counted: see noticeFix(); not above 0: none had one
    unsigned int availabilityNotices = 0; ///< calls that said that valid fixes come, repetitions included
    bool noAreaOnTrack = false;           ///< no geofence could be drawn on the track

    bool availabilityTold = false;
    bool available = false; ///< as last told
    bool becameAvailable = false;
    bool antennaWasInOrder = false;
    bool antennaWasLost = false; ///< after it had been in order
    bool antennaCameBack = false;
    double firstFixS = -1; ///< from the first step of the service's start; below 0: none yet
    std::map<std::string, Crossings> geofences;
};

/// "demo: 1 fixes, ...": the closing line.
std::string summary(const Tally& tally);

#endif
