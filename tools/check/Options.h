#ifndef OPTIONS_H
#define OPTIONS_H

#include <string>

#include "LongOptions.h"

/// The command line of ruxogps-check.

namespace check {

using command_line::OptionError;

struct Options {
    bool json = false;
    bool tryPort = false;
    std::string database; ///< the file to decode; empty: the unit is checked
    bool help = false;    ///< prints usage() and ends; nothing behind it was looked at
    bool version = false; ///< prints the version and ends; nothing behind it was looked at
};

/// Takes `--opt VALUE` and `--opt=VALUE`. Throws OptionError for the first thing that is wrong.
Options parseOptions(int argc, const char* const* argv);

const char* usage();

} // namespace check

#endif
