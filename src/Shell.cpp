#include "Shell.h"

#include <cerrno>
#include <cstdlib>

#include "LibraryThread.h"

namespace {

FILE* start(const char* command) {
    const ApplicationSignals signals;
    return popen(command, "r");
}

} // namespace

bool runShell(const char* command) {
    const ApplicationSignals signals;
    return system(command) == 0;
}

ShellCommand::ShellCommand(const char* command) : stream_(start(command)) {}

ShellCommand::~ShellCommand() {
    if (stream_ != nullptr)
        pclose(stream_);
}

bool ShellCommand::hasOutput() {
    char line[1024];
    while (started()) {
        if (fgets(line, sizeof line, stream_) != nullptr)
            return true;
        if (ferror(stream_) == 0 || errno != EINTR)
            return false;
        clearerr(stream_);
    }
    return false;
}
