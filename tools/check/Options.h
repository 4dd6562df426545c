#ifndef OPTIONS_H
#define OPTIONS_H

#include <stdexcept>
#include <string>

/// The command line of ruxogps-check.

namespace check {

/// A wrong option; what() is one clear line without a full stop.
class OptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

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
