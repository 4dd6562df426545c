#ifndef CHECKS_H
#define CHECKS_H

#include "Finding.h"
#include "Unit.h"

/// The checks, by what they look at. Each takes the unit as it was found at the start and returns its
/// findings: at least one, unless another check's finding makes it pointless. None of them writes, resets or
/// ends anything, or opens the port; `checkTrial` alone does more, and only where `tryPort` says so. Each
/// takes 5 s at most for each command that it runs.

namespace check {

// --- Shell
Findings checkEcho(const Unit& unit);
Findings checkTimeout(const Unit& unit);
Findings checkCommands(const Unit& unit);
Findings checkChildSignal(const Unit& unit);

// --- Port and reset line
Findings checkPort(const Unit& unit);
Findings checkPortUsers(const Unit& unit);
Findings checkPortSettings(const Unit& unit);
Findings checkTrial(const Unit& unit);
Findings checkResetLine(const Unit& unit);

// --- gpsd and the library
Findings checkGpsdProgram(const Unit& unit);
Findings checkGpsdRelease(const Unit& unit);
Findings checkGpsdProcess(const Unit& unit);
Findings checkListener(const Unit& unit);
Findings checkServiceManager(const Unit& unit);
Findings checkAppArmor(const Unit& unit);
Findings checkLocalhost(const Unit& unit);
Findings checkLibrary(const Unit& unit);
Findings checkLibgps(const Unit& unit);
Findings checkTimeWidth(const Unit& unit);

// --- Files
Findings checkRunFolder(const Unit& unit);
Findings checkDataFolder(const Unit& unit);
Findings checkDatabase(const Unit& unit);

// --- Platform and clock
Findings checkAntenna(const Unit& unit);
Findings checkDate(const Unit& unit);
Findings checkTicks(const Unit& unit);

// --- The whole

struct Check {
    const char* name; ///< "shell.echo"
    Findings (*run)(const Unit& unit);
};

/// Takes down what the checks share. `childSignalIgnored`: see Unit.
Unit lookAtUnit(bool tryPort, bool childSignalIgnored);

/// Runs all checks in the table's order.
Findings runChecks(const Unit& unit);

} // namespace check

#endif
