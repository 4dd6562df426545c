#include "Command.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>

namespace check {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongest(5);
constexpr int kPauseMs = 1;
constexpr char kShell[] = "/bin/sh";

/// Starts `command` in a process group of its own, its output in `output`; 0 when it can't be.
pid_t start(const std::string& command, int output) {
    std::array<std::string, 3> words{"sh", "-c", command};
    std::array<char*, 4> arguments{words[0].data(), words[1].data(), words[2].data(), nullptr};
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    pid_t child = 0;
    if (posix_spawn(&child, kShell, &files, &attributes, arguments.data(), environ) != 0)
        child = 0;
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return child;
}

/// Reads until the other end is closed; false when the time is up first.
bool readAll(int descriptor, std::string& output, Clock::time_point end) {
    std::array<char, 4096> piece{};
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd readable{descriptor, POLLIN, 0};
        const int ready = left <= 0 ? 0 : poll(&readable, 1, static_cast<int>(left));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return false;
        const ssize_t count = read(descriptor, piece.data(), piece.size());
        if (count <= 0)
            return true;
        output.append(piece.data(), static_cast<std::size_t>(count));
    }
}

/// False when `child` still runs then; it may have closed its output long before. Its status stays to be
/// taken.
bool endsBefore(pid_t child, Clock::time_point end) {
    while (true) {
        siginfo_t ended = {};
        if (waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT) != 0 ||
            ended.si_pid == child)
            return true;
        if (Clock::now() >= end)
            return false;
        poll(nullptr, 0, kPauseMs);
    }
}

int endOf(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR)
            return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

CommandResult runShell(const std::string& command) {
    CommandResult result;
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return result;
    const pid_t child = start(command, ends[1]);
    close(ends[1]);
    if (child != 0) {
        const Clock::time_point end = Clock::now() + kLongest;
        result.inTime = readAll(ends[0], result.output, end) && endsBefore(child, end);
        if (!result.inTime)
            kill(-child, SIGKILL);
        result.status = endOf(child);
    }
    close(ends[0]);
    return result;
}

bool shellFinds(const std::string& program) { return runShell("command -v " + program).succeeded(); }

} // namespace check
