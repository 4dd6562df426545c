#ifndef COMMAND_H
#define COMMAND_H

#include <string>

/// Runs shell commands as the library does: `sh -c` with this program's environment.

namespace check {

struct CommandResult {
    int status = -1;    ///< exit status; 128 + N when signal N ended it; -1 when it could not be started
    bool inTime = true; ///< false: it was ended because it took too long
    std::string output; ///< standard output, byte for byte; standard error is thrown away
    bool succeeded() const { return status == 0 && inTime; }
};

/// Runs `command` to its end, for 5 s at most; then it is killed, with what it has started. Standard input is
/// empty.
CommandResult runShell(const std::string& command);

/// Whether the shell finds `program`, as a program or built in.
bool shellFinds(const std::string& program);

} // namespace check

#endif
