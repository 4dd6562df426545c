#ifndef SHELL_H
#define SHELL_H

#include <cstdio>
#include <cstdlib>
#include <string>

/// The places through which the library reaches the shell.

/// Runs `command` and waits for it; true when its exit status is 0.
inline bool runShell(const std::string& command) { return system(command.c_str()) == 0; }

/// A shell command whose output is read, or whose end is waited for when the object goes.
class ShellCommand {
public:
    explicit ShellCommand(const char* command) : stream_(popen(command, "r")) {}
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
    FILE* stream_;
};

#endif
