#ifndef PROCESSES_H
#define PROCESSES_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

/// Who runs on the unit and what they hold open, as far as this user may see it: /proc/PID/fd of another
/// user's process is readable for root alone. Nothing is opened but folders of /proc.

namespace check {

struct Process {
    pid_t id = 0;
    std::string name;          ///< the kernel's, at most 15 characters
    bool filesVisible = false; ///< the two below are known
    std::vector<dev_t>
        terminals; ///< character devices that it has open, but for the far ends of pseudo terminals
    std::vector<uint64_t> sockets; ///< their inodes
};

class Processes {
public:
    Processes() = default;
    /// `allListed`: there are no others.
    explicit Processes(std::vector<Process> processes, bool allListed = true)
        : processes_(std::move(processes)), allListed_(allListed) {}

    /// All but this program and those that have ended without their parent having noticed.
    static Processes scan();

    std::vector<Process> named(const std::string& name) const;

    /// Those that have the device open. A program at the far end of a pseudo terminal plays the device and is
    /// no user of it; it may have the near end open as well.
    std::vector<Process> holding(dev_t device) const;

    std::vector<Process> havingSocket(uint64_t inode) const;

    /// False where some process keeps its files, or itself, to itself: then `holding` and `havingSocket` may
    /// miss it.
    bool allFilesVisible() const;

private:
    std::vector<Process> processes_;
    bool allListed_ = false;
};

/// "gpsd (process 12), gpsmon (process 15)"
std::string namesOf(const std::vector<Process>& processes);

} // namespace check

#endif
