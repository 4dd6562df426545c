#ifndef REPORT_OPTIONS_H
#define REPORT_OPTIONS_H

#include <optional>
#include <string>

#include "LongOptions.h"
#include "Replay.h"

/// The command line of ruxogps-report.

namespace report {

using command_line::OptionError;

enum class Format { Html, Svg, Gpx, GeoJson };

struct Options {
    std::string recording;
    std::string output;
    Format format = Format::Html; ///< the output's extension
    std::optional<WhatIf> whatIf;
    bool help = false;    ///< prints usage() and ends; nothing behind it was looked at
    bool version = false; ///< prints the version and ends; nothing behind it was looked at
};

/// Takes `--opt VALUE` and `--opt=VALUE`. Throws OptionError for the first thing that is wrong.
Options parseOptions(int argc, const char* const* argv);

const char* usage();

} // namespace report

#endif
