#ifndef FINDING_H
#define FINDING_H

#include <string>
#include <vector>

/// What a check found out. Plain values: a check returns them, a report prints them.

namespace check {

enum class Level {
    Ok,      ///< as the service needs it
    Warning, ///< the service runs, but not as well as it could, or this program could not look
    Fault,   ///< the service does not run, or not as described
};

/// One line of the report. `text` and `mend` are parts of sentences without a full stop.
struct Finding {
    Level level = Level::Ok;
    std::string text;  ///< what is so
    std::string mend;  ///< what to do about it; empty for Level::Ok
    std::string check; ///< the name of the check; filled in by runChecks
};

using Findings = std::vector<Finding>;

inline Finding ok(std::string text) { return {Level::Ok, std::move(text), "", ""}; }

inline Finding warning(std::string text, std::string mend) {
    return {Level::Warning, std::move(text), std::move(mend), ""};
}

inline Finding fault(std::string text, std::string mend) {
    return {Level::Fault, std::move(text), std::move(mend), ""};
}

} // namespace check

#endif
