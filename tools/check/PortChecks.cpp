// The receiver's port and reset line.

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <optional>

#include "Checks.h"
#include "Command.h"
#include "HeldSignals.h"
#include "TerminalSettings.h"
#include "TextFile.h"

namespace check {

namespace {

constexpr char kSetUp[] = "timeout -t 1 stty -F ";
constexpr char kRawSettings[] =
    " intr ^- quit ^- erase ^- kill ^- eof ^-"
    " eol ^- eol2 ^- swtch ^- start ^- stop ^- susp ^- rprnt ^- werase ^- lnext ^- flush ^- min 0 time 0 "
    "-brkint -icrnl -imaxbel -opost -onlcr -isig -icanon -iexten -echo -echoe -echok -echoctl -echoke";

constexpr char kUdevExample[] = "see the udev rule in the tools package";

/// The settings that the library's command leaves as they are, and what is wrong about each.
struct KeptSetting {
    const char* wrong; ///< the flag as stty prints it when it is wrong
    const char* right;
    const char* because;
};
const std::array<KeptSetting, 11> kKept{{
    {"cs7", "cs8", "each byte loses a bit"},
    {"parenb", "-parenb", "the receiver sends no parity"},
    {"-cread", "cread", "nothing is received"},
    {"crtscts", "-crtscts", "writing waits for a line that the receiver doesn't have"},
    {"-clocal", "clocal", "opening the port waits for a modem's carrier"},
    {"istrip", "-istrip", "each byte loses a bit"},
    {"igncr", "-igncr", "bytes 0D are lost"},
    {"inlcr", "-inlcr", "bytes 0A are altered"},
    {"iuclc", "-iuclc", "letters are altered"},
    {"parmrk", "-parmrk", "bytes FF are doubled"},
    {"cstopb", "-cstopb", "the receiver sends one stop bit"},
}};

/// The settings that the library's command makes, in the words of stty.
const std::array<const char*, 6> kMade{{"-icanon", "-echo", "-isig", "-opost", "-icrnl", "-iexten"}};

std::optional<dev_t> deviceOf(const char* path) {
    struct stat status = {};
    if (stat(path, &status) != 0 || !S_ISCHR(status.st_mode))
        return std::nullopt;
    return status.st_rdev;
}

/// Nobody has it open as far as can be seen, so a look at its settings disturbs nobody.
bool isFree(const Unit& unit, dev_t port) {
    return unit.processes.holding(port).empty() && unit.processes.named(kGpsd).empty();
}

std::string onPort(const std::string& arguments) { return std::string("stty -F ") + kPort + " " + arguments; }

std::string firstLineOf(const char* path) {
    const std::string text = contentOf(path);
    return text.substr(0, text.find('\n'));
}

Findings keptSettings(const TerminalSettings& settings) {
    Findings findings;
    for (const KeptSetting& kept : kKept)
        if (settings.has(kept.wrong))
            findings.push_back(warning(std::string("the port is set to ") + kept.wrong +
                                           ", which the service leaves so: " + kept.because,
                                       std::string("run 'stty -F ") + kPort + " " + kept.right +
                                           "' at each start of the unit"));
    return findings;
}

// --- The trial

/// Empty when the port then is as the library wants it.
std::string whatIsWrongAfter(const std::string& baudRate) {
    if (!runShell(portSetUp(baudRate)).succeeded())
        return "the service's stty fails at " + baudRate + " baud";
    const TerminalSettings settings = parseTerminalSettings(runShell(onPort("-a")).output);
    if (settings.speed != baudRate)
        return "the port takes " + baudRate + " baud without an error, but stands at '" + settings.speed +
               "'";
    for (const char* const flag : kMade)
        if (!settings.has(flag))
            return std::string("the port does not take ") + flag;
    const auto least = settings.values.find("min");
    return least != settings.values.end() && least->second != "0" ? "the port does not take min 0" : "";
}

/// Ended by a signal meanwhile, the program ends when the port's settings are put back.
Finding tryPort() {
    const HeldSignals signals;
    const CommandResult before = runShell(onPort("-g"));
    if (!before.succeeded())
        return fault(std::string("stty can't read ") + kPort,
                     "look at the rights of the port and at its driver");
    std::string wrong;
    for (const char* const baudRate : {"115200", "9600"})
        if (wrong.empty() && !signals.haveCome())
            wrong = whatIsWrongAfter(baudRate);
    const std::string saved = before.output.substr(0, before.output.find('\n'));
    runShell(onPort(saved)); // its status counts what a port can't be, as some never could
    if (wrong.empty() && runShell(onPort("-g")).output != before.output)
        wrong = "the port's former settings could not be put back";
    if (!wrong.empty())
        return fault(wrong,
                     "look at the findings of shell.timeout and shell.commands, then at the port's driver");
    return ok("the port was set up for 115200 and 9600 baud as the service does, and put back");
}

} // namespace

std::string portSetUp(const std::string& baudRate) {
    return std::string(kSetUp) + kPort + " " + baudRate + kRawSettings;
}

// --- Port -----------------------------------------------------------------------------------------------

Findings checkPort(const Unit&) {
    if (access(kPort, F_OK) != 0)
        return {fault(std::string(kPort) + " is missing",
                      "enable the receiver's UART in the device tree, or link it to this name")};
    if (!deviceOf(kPort))
        return {fault(std::string(kPort) + " is no device",
                      "remove what stands there and let udev make the device")};
    if (access(kPort, R_OK | W_OK) != 0)
        return {fault(std::string(kPort) + " can't be read and written by this user", kUdevExample)};
    return {ok(std::string(kPort) + " can be read and written")};
}

Findings checkPortUsers(const Unit& unit) {
    const auto port = deviceOf(kPort);
    if (!port)
        return {};
    Findings findings;
    for (const Process& process : unit.processes.holding(*port))
        if (process.name == kGpsd)
            findings.push_back(ok(namesOf({process}) + " has the port open; the service ends it"));
        else
            findings.push_back(
                fault(namesOf({process}) + " has the port open: gpsd refuses a port that another "
                                           "program has, and they take each other's bytes",
                      "end it, and keep it from starting (a getty, a console, another GPS service)"));
    if (!unit.processes.allFilesVisible())
        findings.push_back(
            warning("this user can't see what other users' programs have open, so the port may be in use",
                    "run this as root"));
    if (findings.empty())
        findings.push_back(ok("nobody has the port open"));
    return findings;
}

Findings checkPortSettings(const Unit& unit) {
    const auto port = deviceOf(kPort);
    if (!port)
        return {};
    if (!isFree(unit, *port))
        return {ok("the port's settings were not looked at, as it is in use")};
    if (!unit.processes.allFilesVisible() && !unit.tryPort)
        return {ok("the port's settings were not looked at, as it may be in use")};
    const CommandResult result = runShell(onPort("-a"));
    const TerminalSettings settings = parseTerminalSettings(result.output);
    if (!result.succeeded() || settings.speed.empty())
        return {fault(std::string("stty can't read the settings of ") + kPort,
                      "look whether it is a serial port, and at its rights")};
    Findings findings = keptSettings(settings);
    if (findings.empty())
        findings.push_back(ok("the port stands at " + settings.speed + " baud and hands on all bytes"));
    return findings;
}

Findings checkTrial(const Unit& unit) {
    const auto port = deviceOf(kPort);
    if (!unit.tryPort || !port)
        return {};
    if (!isFree(unit, *port))
        return {warning("the port was not tried, as it is in use", "end what uses it, then run this again")};
    return {tryPort()};
}

// --- Reset line -----------------------------------------------------------------------------------------

Findings checkResetLine(const Unit&) {
    if (access(kResetLine, F_OK) != 0)
        return {
            fault(std::string("the reset line ") + kResetLine + " is missing: the receiver is never reset",
                  "run 'echo 93 > /sys/class/gpio/export' at each start of the unit, or " +
                      std::string(kUdevExample))};
    if (access(kResetLine, W_OK) != 0)
        return {fault(std::string("the reset line ") + kResetLine + " can't be written by this user",
                      kUdevExample)};
    if (firstLineOf(kResetDirection) == "in")
        return {fault("the reset line is an input: the receiver is never reset",
                      std::string("run 'echo high > ") + kResetDirection + "' at each start of the unit")};
    if (firstLineOf(kResetLine) == "0")
        return {warning("the reset line stands at 0, which holds the receiver in its reset",
                        "none is needed for the service, which sets it to 1")};
    return {ok("the reset line is exported and writable")};
}

} // namespace check
