#ifndef TERMINALSETTINGS_H
#define TERMINALSETTINGS_H

#include <map>
#include <set>
#include <string>

/// What `stty -a` prints, of coreutils as of BusyBox.

namespace check {

struct TerminalSettings {
    std::string speed; ///< "9600"; the receiving one where there are two; empty: none found
    std::map<std::string, std::string> values; ///< "intr": "^C", "min": "1"
    std::set<std::string> flags;               ///< "cs8", "-crtscts"

    bool has(const std::string& flag) const { return flags.count(flag) != 0; }
};

TerminalSettings parseTerminalSettings(const std::string& text);

} // namespace check

#endif
