// ruxogps-check: tells whether the GPS service can run on this unit.
//
// It looks and asks; what it starts are the shell commands that the library would start, as far as they
// change nothing. It makes no adapter and no driver, which would reset the receiver and end each gpsd.

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>

#include "Checks.h"
#include "Database.h"
#include "Options.h"
#include "Report.h"

namespace {

using namespace check;

enum ExitStatus {
    kFine = 0,
    kNotFine = 1,
    kWrongOption = 2,
};

constexpr char kVersion[] = RUXOGPS_VERSION;

/// How this program was started tells how a service is. Afterwards the statuses of its own commands count.
bool takeChildSignal() {
    struct sigaction inherited = {};
    sigaction(SIGCHLD, nullptr, &inherited);
    std::signal(SIGCHLD, SIG_DFL);
    return inherited.sa_handler == SIG_IGN;
}

ExitStatus decode(const Options& options) {
    const DatabaseReport report = readDatabaseFile(options.database);
    if (options.json)
        printDatabaseJson(report, kVersion, std::cout);
    else
        printDatabase(report, std::cout);
    return isWhole(report) ? kFine : kNotFine;
}

ExitStatus checkUnit(const Options& options) {
    const Findings findings = runChecks(lookAtUnit(options.tryPort, takeChildSignal()));
    if (options.json)
        printJson(findings, kVersion, std::cout);
    else
        printText(findings, std::cout);
    return canRun(findings) ? kFine : kNotFine;
}

ExitStatus run(const Options& options) {
    if (options.help)
        std::cout << usage();
    else if (options.version)
        std::cout << "ruxogps-check (ruxogps) " << kVersion << '\n';
    else
        return options.database.empty() ? checkUnit(options) : decode(options);
    return kFine;
}

int report(const std::string& problem, ExitStatus status) {
    std::fprintf(stderr, "ruxogps-check: %s\n", problem.c_str());
    return status;
}

} // namespace

int main(int argc, char** argv) {
    try {
        const ExitStatus status = run(parseOptions(argc, argv));
        return std::cout.flush() ? status : report("the report can't be written", kNotFine);
    } catch (const OptionError& error) {
        return report(std::string(error.what()) + " (--help lists the options)", kWrongOption);
    } catch (const std::exception& error) {
        return report(error.what(), kNotFine);
    }
}
