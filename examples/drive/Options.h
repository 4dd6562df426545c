#ifndef OPTIONS_H
#define OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "GPSGeofence.h"
#include "LongOptions.h"

using command_line::OptionError;

/// What the command line asks for. Times are seconds of the unit's clock.
struct Options {
    bool help = false;                  ///< prints usage() and ends; nothing behind it was looked at
    bool version = false;               ///< prints the version and ends; nothing behind it was looked at
    double durationS = 600;             ///< ends after this, counted from the service's start
    bool untilSeen = false;             ///< ends as soon as everything expected was seen
    std::vector<GPSGeofence> geofences; ///< watched from the start
    double learnS = 0;                 ///< watches so long, then draws two geofences on the track; 0: doesn't
    int32_t trackingPeriodS = 30;      ///< 0: no tracking reports
    std::vector<std::string> expected; ///< kinds of events that must be seen; see isExpectationName()
    bool allowExcuses = false;         ///< nothing is due that the receiver's data can't bring
    double firstFixBeforeS = 0;        ///< the first fix must come sooner than this; 0: doesn't matter
    std::string firstFixFile;          ///< gets the seconds to the first fix; empty: none
    std::string recordFile;            ///< gets all that was seen, as a recording; empty: none
    bool summary = true;               ///< closes with the verdict in words and the summary line
};

/// Takes `--opt VALUE` and `--opt=VALUE`. Throws OptionError for the first thing that is wrong.
Options parseOptions(int argc, const char* const* argv);

const char* usage();

#endif
