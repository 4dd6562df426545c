// gpsd, and what stands in its way.

#include <netdb.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <optional>

#include "Addresses.h"
#include "Checks.h"
#include "Command.h"
#include "Release.h"
#include "SocketTable.h"
#include "TextFile.h"

namespace check {

namespace {

constexpr char kManager[] = "systemd";
constexpr char kDisableSocket[] = "run 'systemctl disable --now gpsd.socket gpsd.service'";
constexpr char kMaskSocket[] = "run 'systemctl mask --now gpsd.socket gpsd.service'";

/// Where gpsd is often found although PATH doesn't lead there.
const std::array<const char*, 4> kOtherFolders{{"/usr/sbin", "/usr/local/sbin", "/sbin", "/usr/bin"}};

/// There where systemd runs, and nowhere else.
constexpr char kManagerRuns[] = "/run/systemd/system";

/// Where systemd looks for units and for the links that enable them, the first one counts. In the first two
/// `enable` makes its links, for good or until the next start; in the others a vendor has them.
struct UnitFolder {
    const char* path;
    const char* mend;
};
const std::array<UnitFolder, 5> kUnitFolders{{
    {"/etc/systemd/system/", kDisableSocket},
    {"/run/systemd/system/", kDisableSocket},
    {"/usr/local/lib/systemd/system/", kMaskSocket},
    {"/usr/lib/systemd/system/", kMaskSocket},
    {"/lib/systemd/system/", kMaskSocket},
}};

/// "/usr/sbin/gpsd (enforce)"; the kernel shows it to root alone.
constexpr char kLoadedProfiles[] = "/sys/kernel/security/apparmor/profiles";
constexpr char kEnforced[] = "gpsd (enforce)";
const std::array<const char*, 2> kProfiles{
    {"/etc/apparmor.d/usr.sbin.gpsd", "/etc/apparmor.d/local/usr.sbin.gpsd"}};
constexpr char kPortFamily[] = "/dev/ttymxc";

// --- Sockets

std::vector<uint64_t> listeners() {
    std::vector<uint64_t> inodes = listenersOn(kGpsdPort, contentOf("/proc/net/tcp"));
    const std::vector<uint64_t> more = listenersOn(kGpsdPort, contentOf("/proc/net/tcp6"));
    inodes.insert(inodes.end(), more.begin(), more.end());
    return inodes;
}

Finding listenerFinding(const std::vector<Process>& owners) {
    if (owners.empty())
        return warning("a program that this user can't see listens on port 2947",
                       "run this as root to see which one");
    for (const Process& owner : owners)
        if (owner.name == kManager)
            return fault(namesOf({owner}) + " listens on port 2947 and starts a gpsd of its own, without the "
                                            "receiver's port, in place of the service's",
                         kDisableSocket);
    for (const Process& owner : owners)
        if (owner.name != kGpsd)
            return fault(namesOf({owner}) +
                             " listens on port 2947: gpsd can't, and the service hears the wrong program",
                         "end it, or give it another port");
    return ok(namesOf(owners) + " listens on port 2947; the service ends it");
}

bool isMasked(const std::string& path) {
    std::array<char, 16> target{};
    return readlink(path.c_str(), target.data(), target.size() - 1) > 0 &&
           std::string(target.data()) == "/dev/null";
}

/// A link counts as well that leads nowhere in this program's eyes.
bool exists(const std::string& path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

const UnitFolder* firstWith(const std::string& name) {
    const auto* const found =
        std::find_if(kUnitFolders.begin(), kUnitFolders.end(),
                     [&](const UnitFolder& folder) { return exists(folder.path + name); });
    return found != kUnitFolders.end() ? found : nullptr;
}

/// The folder that has the link, for its mend; null when `unit` is not enabled.
const UnitFolder* enabling(const std::string& unit, const std::string& wants) {
    for (const std::string& name : {unit, wants + unit}) {
        const UnitFolder* const folder = firstWith(name);
        if (folder != nullptr && isMasked(folder->path + name))
            return nullptr;
    }
    return firstWith(wants + unit);
}

bool profileNamesThePort() {
    return std::any_of(kProfiles.begin(), kProfiles.end(), [](const char* path) {
        return contentOf(path).find(kPortFamily) != std::string::npos;
    });
}

std::string findElsewhere(const std::string& program) {
    for (const char* const folder : kOtherFolders)
        if (access((std::string(folder) + "/" + program).c_str(), X_OK) == 0)
            return folder;
    return "";
}

} // namespace

// --- gpsd -----------------------------------------------------------------------------------------------

Findings checkGpsdProgram(const Unit&) {
    if (shellFinds(kGpsd))
        return {ok("the shell finds gpsd")};
    const std::string folder = findElsewhere(kGpsd);
    if (!folder.empty())
        return {fault("the shell does not find gpsd: there is one in " + folder,
                      "put " + folder + " into the service's PATH")};
    return {fault("there is no gpsd", "install gpsd of the release of libgps")};
}

Findings checkGpsdRelease(const Unit&) {
    if (!shellFinds(kGpsd))
        return {};
    const std::string release = parseRelease(runShell("gpsd -V").output);
    if (release.empty())
        return {warning("gpsd does not tell its release ('gpsd -V')",
                        "make sure that it is of the release of libgps")};
    return {compareReleases(release, LIBGPS_RELEASE)};
}

Findings checkGpsdProcess(const Unit& unit) {
    const std::vector<Process> daemons = unit.processes.named(kGpsd);
    const bool found = !runShell("pidof gpsd").output.empty();
    if (daemons.empty())
        return {
            found ? warning(
                        "pidof finds a gpsd where none runs: one that has ended, and nobody has taken notice",
                        "let the program that started it wait for it")
                  : ok("no gpsd runs; the service starts one")};
    for (const Process& daemon : daemons)
        if (kill(daemon.id, 0) != 0 && errno == EPERM) // asks, and sends nothing
            return {fault(namesOf({daemon}) + " belongs to another user: the service can't end it",
                          "run the service as root or as gpsd's user, or keep that gpsd from starting")};
    if (!found)
        return {fault(namesOf(daemons) + " runs, and pidof does not find it: the service can't end it",
                      "install a pidof that finds programs by their name")};
    return {ok(namesOf(daemons) + " runs; the service ends it and starts its own")};
}

Findings checkListener(const Unit& unit) {
    Findings findings;
    for (const uint64_t inode : listeners()) {
        const Finding finding = listenerFinding(unit.processes.havingSocket(inode));
        if (findings.empty() || findings.back().text != finding.text) // once for both families
            findings.push_back(finding);
    }
    if (findings.empty())
        findings.push_back(ok("port 2947 is free"));
    return findings;
}

Findings checkServiceManager(const Unit&) {
    if (access(kManagerRuns, F_OK) != 0)
        return {ok("there is no systemd that could start a gpsd of its own")};
    if (const UnitFolder* const folder = enabling("gpsd.socket", "sockets.target.wants/"))
        return {fault("gpsd.socket is enabled: systemd takes port 2947 and starts a gpsd of its own",
                      folder->mend)};
    if (const UnitFolder* const folder = enabling("gpsd.service", "multi-user.target.wants/"))
        return {
            warning("gpsd.service is enabled: systemd starts a gpsd that the service ends", folder->mend)};
    return {ok("systemd has no gpsd of its own to start")};
}

Findings checkAppArmor(const Unit&) {
    const std::optional<std::string> loaded = readFile(kLoadedProfiles);
    if (loaded ? loaded->find(kEnforced) == std::string::npos
               : !exists(kLoadedProfiles) || !exists(kProfiles[0]))
        return {ok("AppArmor does not confine gpsd")};
    if (profileNamesThePort())
        return {ok("AppArmor's profile of gpsd names the receiver's port")};
    const std::string what = std::string("AppArmor's profile of gpsd does not name ") + kPortFamily + "*";
    if (!loaded)
        return {warning(what + ", and this user can't see whether it is enforced", "run this as root")};
    return {warning(what + ", and is enforced: gpsd may not open the port",
                    std::string("add the line '") + kPortFamily + "[0-9]* rw,' to " + kProfiles[1] +
                        " and run 'apparmor_parser -r " + kProfiles[0] + "'")};
}

// --- localhost ------------------------------------------------------------------------------------------

Findings checkLocalhost(const Unit&) {
    addrinfo wanted = {};
    wanted.ai_family = AF_UNSPEC;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int code = getaddrinfo("localhost", "2947", &wanted, &list);
    if (code != 0)
        return {fault(std::string("localhost can't be resolved: ") + gai_strerror(code),
                      "add the line '127.0.0.1 localhost' to /etc/hosts")};
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list, &freeaddrinfo);
    std::vector<std::string> addresses;
    for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next)
        addresses.push_back(addressText(*entry->ai_addr));
    return {judgeLocalhost(addresses)};
}

} // namespace check
