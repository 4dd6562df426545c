#ifndef SHELL_H
#define SHELL_H

#include <cstdio>
#include <cstdlib>
#include <string>

#include "LibraryThread.h"

/// The places through which the library reaches the shell.

/// Runs `command` and waits for it; true when its exit status is 0.
inline bool runShell(const std::string& command) {
    const ApplicationSignals signals;
    return system(command.c_str()) == 0;
}

/// A shell command whose output is read, or whose end is waited for when the object goes.
class ShellCommand {
public:
    explicit ShellCommand(const char* command) : stream_(start(command)) {}
    ~ShellCommand() {
        if (stream_ != nullptr)
            pclose(stream_);
    }
    ShellCommand(const ShellCommand&) = delete;
    ShellCommand& operator=(const ShellCommand&) = delete;

    bool started() const { return stream_ != nullptr; }
    bool hasOutput() {
        char line[1024];
        return started() && fgets(line, sizeof line, stream_) != nullptr;
    }

private:
    static FILE* start(const char* command) {
        const ApplicationSignals signals;
        return popen(command, "r");
    }

    FILE* stream_;
};

#endif
