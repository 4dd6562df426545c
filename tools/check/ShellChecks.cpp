// What the library's commands need of the shell.

#include <array>
#include <cstdio>
#include <vector>

#include "Checks.h"
#include "Command.h"

namespace check {

namespace {

// As the library writes frames; the checksum's bytes come with one digit where one is enough.
constexpr char kFrame[] = R"(echo -e "\xb5\x62\x06\x3E\x00\x00\x4\xFF\x5c\x0a")";
constexpr char kFrameBytes[] =
    "\xb5\x62\x06\x3E\x00\x00\x04\xFF\x5c\x0a\x0a"; // echo ends it with a line feed

constexpr char kTimeLimit[] = "timeout -t 1 true";
constexpr int kNotFound = 127;

struct NeededCommand {
    const char* name;
    const char* use; ///< what the library does with it
};
const std::array<NeededCommand, 4> kCommands{{
    {"pidof", "gpsd counts as not running, and each start waits 9 s for it"},
    {"kill", "a gpsd that runs is not ended"},
    {"killall", "a gpsd that runs keeps the port while the receiver is set up"},
    {"stty", "the port can't be set up, and the construction ends the process"},
}};

std::string hexBytes(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes.substr(0, 16)) {
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned char>(byte));
        text += (text.empty() ? "" : " ") + std::string(digits.data());
    }
    return text.empty() ? "nothing" : text;
}

} // namespace

Findings checkEcho(const Unit&) {
    const CommandResult result = runShell(kFrame);
    const std::string wanted(kFrameBytes, sizeof kFrameBytes - 1);
    if (result.status == -1)
        return {fault("/bin/sh can't be started", "install a shell there: bash, or BusyBox's")};
    if (result.output != wanted)
        return {fault("the echo of /bin/sh does not turn '-e \"\\xb5\"' into bytes (it wrote " +
                          hexBytes(result.output) + "): the receiver gets rubbish",
                      "let /bin/sh be bash, or a BusyBox whose echo has escapes (FEATURE_FANCY_ECHO)")};
    return {ok("the echo of /bin/sh turns escapes into bytes")};
}

Findings checkTimeout(const Unit&) {
    const CommandResult result = runShell(kTimeLimit);
    if (result.succeeded())
        return {ok("timeout takes '-t 1'")};
    const std::string what = result.status == kNotFound
                                 ? "there is no timeout in PATH"
                                 : "timeout refuses '-t 1' (status " + std::to_string(result.status) + ")";
    return {fault(what + ": each stty fails, and the construction ends the process with status 255",
                  "put " TIMEOUT_WRAPPER_FOLDER " (from the tools package) in front of the service's PATH")};
}

Findings checkCommands(const Unit&) {
    Findings findings;
    for (const NeededCommand& command : kCommands)
        if (!shellFinds(command.name))
            findings.push_back(fault(std::string("the shell finds no ") + command.name + ": " + command.use,
                                     "install it, or put its folder into the service's PATH"));
    if (findings.empty())
        findings.push_back(ok("the shell finds pidof, kill, killall and stty"));
    return findings;
}

Findings checkChildSignal(const Unit& unit) {
    if (unit.childSignalIgnored)
        return {fault(
            "SIGCHLD is ignored, and a service started like this program would inherit that: its commands' "
            "statuses are lost, and the construction ends the process",
            "start the service with SIGCHLD at its default (env --default-signal=CHLD, or systemd)")};
    return {ok("SIGCHLD has its default")};
}

} // namespace check
