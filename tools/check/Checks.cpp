#include "Checks.h"

#include "Clock.h"

namespace check {

namespace {

const Check kChecks[] = {
    {"shell.echo", checkEcho},
    {"shell.timeout", checkTimeout},
    {"shell.commands", checkCommands},
    {"signal.child", checkChildSignal},
    {"port.device", checkPort},
    {"port.users", checkPortUsers},
    {"port.settings", checkPortSettings},
    {"port.trial", checkTrial},
    {"reset.line", checkResetLine},
    {"library", checkLibrary},
    {"library.libgps", checkLibgps},
    {"library.time", checkTimeWidth},
    {"gpsd.program", checkGpsdProgram},
    {"gpsd.release", checkGpsdRelease},
    {"gpsd.process", checkGpsdProcess},
    {"gpsd.listener", checkListener},
    {"gpsd.units", checkServiceManager},
    {"gpsd.apparmor", checkAppArmor},
    {"localhost", checkLocalhost},
    {"run.folder", checkRunFolder},
    {"data.folder", checkDataFolder},
    {"data.database", checkDatabase},
    {"antenna", checkAntenna},
    {"clock.date", checkDate},
    {"clock.ticks", checkTicks}, // last: it compares two clocks over the time of all others
};

} // namespace

Unit lookAtUnit(bool tryPort, bool childSignalIgnored) {
    Unit unit;
    unit.tryPort = tryPort;
    unit.childSignalIgnored = childSignalIgnored;
    unit.startTick = platformSeconds();
    unit.startSecond = kernelSeconds();
    unit.processes = Processes::scan();
    return unit;
}

Findings runChecks(const Unit& unit) {
    Findings all;
    for (const Check& check : kChecks)
        for (Finding& finding : check.run(unit)) {
            finding.check = check.name;
            all.push_back(std::move(finding));
        }
    return all;
}

} // namespace check
