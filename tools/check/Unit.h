#ifndef UNIT_H
#define UNIT_H

#include <cstdint>
#include <string>

#include "Processes.h"

/// What all checks share: the paths that the library has fixed, and what was found out once for all of them.

namespace check {

// --- Fixed by the library

constexpr char kPort[] = "/dev/ttymxc1";
constexpr char kResetLine[] = "/sys/class/gpio/gpio93/value";
constexpr char kResetDirection[] = "/sys/class/gpio/gpio93/direction";
constexpr char kDataFolder[] = "/data";
constexpr char kDatabase[] = "/data/NavigationDatabaseDump";
constexpr char kRunFolder[] = "/var/run";
constexpr char kPidFile[] = "/var/run/gpsd.pid";
constexpr char kGpsd[] = "gpsd"; ///< the program, and its process
constexpr uint16_t kGpsdPort = 2947;

/// The command that sets the port up, as the library hands it to the shell.
std::string portSetUp(const std::string& baudRate);

// --- Found out at the start

struct Unit {
    bool tryPort = false;            ///< the port may be opened and set up
    bool childSignalIgnored = false; ///< SIGCHLD was ignored when this program started
    Processes processes;             ///< at the start
    uint32_t startTick = 0;          ///< of the platform's seconds, when this program started
    int64_t startSecond = 0;         ///< of the kernel's monotonic clock at the same moment
};

} // namespace check

#endif
