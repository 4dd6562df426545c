#ifndef SHELL_H
#define SHELL_H

#include <cstdio>

/// The places through which the library reaches the shell. Called by the driver and by the configuration
/// handler, on an application's thread or on the worker's. Children get the signal mask that the application
/// has, whatever the thread's own is (see LibraryThread.h). Nothing here allocates or throws.

/// Runs `command` and waits for it, however long it takes; true when its exit status is 0. False also when no
/// shell can be started, or when the application keeps exit statuses for itself (SIGCHLD ignored).
bool runShell(const char* command);

/// A shell command whose output is read, or whose end is waited for when the object goes. It starts with the
/// object and runs beside it.
class ShellCommand {
public:
    /// Starts `command`.
    explicit ShellCommand(const char* command);
    /// Waits for the command's end.
    ~ShellCommand();
    ShellCommand(const ShellCommand&) = delete;
    ShellCommand& operator=(const ShellCommand&) = delete;

    /// Whether there is a shell; `errno` is popen's otherwise.
    bool started() const { return stream_ != nullptr; }

    /// Waits for the command's next line of output, or its end; false at the end, and when it has not
    /// started. A signal of the application's doesn't end the wait.
    bool hasOutput();

private:
    FILE* stream_; ///< owned; null when the command could not be started
};

#endif
