#ifndef OPTIONS_H
#define OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Geofences.h"
#include "LongOptions.h"
#include "Wishes.h"

/// The command line of ruxogps-monitor.

namespace monitor {

using command_line::OptionError;

struct Options {
    bool lines = false;
    bool json = false;
    bool once = false;
    double waitS = 0;
    std::string record; ///< a file, as the next three; empty: none
    std::string gpx;
    std::string geoJson;
    std::string log;
    std::string settings;
    bool help = false;    ///< prints usage() and ends; nothing behind it was looked at
    bool version = false; ///< prints the version and ends; nothing behind it was looked at

    // Settings that hold instead of the file's.
    std::optional<std::uint32_t> positionIntervalS;
    std::optional<std::uint32_t> statusIntervalS;
    std::optional<std::uint32_t> logIntervalS;
    std::optional<std::uint32_t> odometerM;
    struct Tracking {
        std::int32_t periodS = 0;
        std::int32_t baseS = 0;
        std::int32_t offsetS = 0;
    };
    std::optional<Tracking> tracking;
    std::vector<GivenGeofence> geofences; ///< beside the file's
};

/// Takes `--opt VALUE` and `--opt=VALUE`. Throws OptionError for the first thing that is wrong.
Options parseOptions(int argc, const char* const* argv);

/// The settings of the file, and over them those of the command line. Throws SettingError for a wrong one.
Wishes wishesOf(const Options& options);

const char* usage();

} // namespace monitor

#endif
