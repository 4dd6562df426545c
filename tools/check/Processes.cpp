#include "Processes.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <optional>

#include "TextFile.h"

namespace check {

namespace {

constexpr unsigned int kFirstPseudoTerminalMajor = 136; // of eight, each with 256 terminals
constexpr unsigned int kPseudoTerminalsAMajor = 256;

constexpr pid_t kFirstProcess = 1;

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};

/// The numbers among the names in a folder; nothing where it may not be read.
std::optional<std::vector<std::string>> numbersIn(const std::string& path) {
    const std::unique_ptr<DIR, FolderCloser> folder(opendir(path.c_str()));
    if (folder == nullptr)
        return std::nullopt;
    std::vector<std::string> numbers;
    while (const dirent* entry = readdir(folder.get()))
        if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9')
            numbers.emplace_back(entry->d_name);
    return numbers;
}

/// "NAME) S ...": what stands behind the process's number in its stat file, the name may hold anything.
void readState(const std::string& stat, Process& process, char& state) {
    const std::size_t open = stat.find('(');
    const std::size_t close = stat.rfind(") ");
    if (open == std::string::npos || close == std::string::npos || close < open)
        return;
    process.name = stat.substr(open + 1, close - open - 1);
    state = close + 2 < stat.size() ? stat[close + 2] : '?';
}

/// The near end that belongs to the far end of a pseudo terminal; the kernel tells it where it tells it at
/// all.
std::optional<dev_t> nearEndOf(const std::string& descriptorInfo) {
    const std::string mark = "tty-index:";
    const std::size_t at = descriptorInfo.find(mark);
    if (at == std::string::npos)
        return std::nullopt;
    const auto index =
        static_cast<unsigned int>(std::strtoul(descriptorInfo.c_str() + at + mark.size(), nullptr, 10));
    return makedev(kFirstPseudoTerminalMajor + index / kPseudoTerminalsAMajor,
                   index % kPseudoTerminalsAMajor);
}

void takeFile(const std::string& folder, const std::string& number, Process& process,
              std::vector<dev_t>& playedDevices) {
    struct stat status = {};
    if (stat((folder + "/fd/" + number).c_str(), &status) != 0)
        return;
    if (S_ISSOCK(status.st_mode))
        process.sockets.push_back(status.st_ino);
    if (!S_ISCHR(status.st_mode))
        return;
    process.terminals.push_back(status.st_rdev);
    if (const auto nearEnd = nearEndOf(contentOf(folder + "/fdinfo/" + number)))
        playedDevices.push_back(*nearEnd);
}

void takeFiles(const std::string& folder, Process& process) {
    const auto numbers = numbersIn(folder + "/fd");
    // The folder may be listed where the files in it may not be looked at.
    process.filesVisible =
        numbers && (numbers->empty() || access((folder + "/fd/" + numbers->front()).c_str(), F_OK) == 0 ||
                    errno != EACCES);
    if (!process.filesVisible)
        return;
    std::vector<dev_t> playedDevices;
    for (const std::string& number : *numbers)
        takeFile(folder, number, process, playedDevices);
    for (const dev_t device : playedDevices)
        process.terminals.erase(std::remove(process.terminals.begin(), process.terminals.end(), device),
                                process.terminals.end());
}

template <typename Condition>
std::vector<Process> those(const std::vector<Process>& processes, const Condition& condition) {
    std::vector<Process> found;
    std::copy_if(processes.begin(), processes.end(), std::back_inserter(found), condition);
    return found;
}

template <typename Value>
bool holds(const std::vector<Value>& values, Value value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

} // namespace

Processes Processes::scan() {
    std::vector<Process> processes;
    bool firstIsListed = getpid() == kFirstProcess; // without it /proc shows this user's processes alone
    for (const std::string& number : numbersIn("/proc").value_or(std::vector<std::string>())) {
        const std::string folder = "/proc/" + number;
        Process process;
        process.id = static_cast<pid_t>(std::strtol(number.c_str(), nullptr, 10));
        char state = 'Z'; // gone meanwhile
        readState(contentOf(folder + "/stat"), process, state);
        firstIsListed = firstIsListed || process.id == kFirstProcess;
        if (state == 'Z' || state == 'X' || process.id == getpid())
            continue;
        takeFiles(folder, process);
        processes.push_back(std::move(process));
    }
    return Processes(std::move(processes), firstIsListed);
}

std::vector<Process> Processes::named(const std::string& name) const {
    return those(processes_, [&](const Process& process) { return process.name == name; });
}

std::vector<Process> Processes::holding(dev_t device) const {
    return those(processes_, [&](const Process& process) { return holds(process.terminals, device); });
}

std::vector<Process> Processes::havingSocket(uint64_t inode) const {
    return those(processes_, [&](const Process& process) { return holds(process.sockets, inode); });
}

bool Processes::allFilesVisible() const {
    return allListed_ && std::all_of(processes_.begin(), processes_.end(),
                                     [](const Process& process) { return process.filesVisible; });
}

std::string namesOf(const std::vector<Process>& processes) {
    std::string names;
    for (const Process& process : processes)
        names += (names.empty() ? "" : ", ") + process.name + " (process " + std::to_string(process.id) + ")";
    return names;
}

} // namespace check
