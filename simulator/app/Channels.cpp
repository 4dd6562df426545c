#include "Channels.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace simulator {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

} // namespace

// --- Control pipe ---------------------------------------------------------------------------------------

ControlPipe::~ControlPipe() {
    if (made_)
        unlink(path_.c_str());
}

// Opened for writing too, so that it doesn't end when the last writer closes it.
void ControlPipe::open(const std::string& path) {
    path_ = path;
    made_ = mkfifo(path.c_str(), 0666) == 0;
    if (!made_ && errno != EEXIST)
        fail("can't make the pipe " + path);
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISFIFO(status.st_mode)) {
        errno = EEXIST;
        fail(path + " is no named pipe");
    }
    descriptor_ = Descriptor(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (!descriptor_.isOpen())
        fail("can't open the pipe " + path);
}

std::vector<std::string> ControlPipe::readLines() {
    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(descriptor_.number(), buffer.data(), buffer.size());
    if (count > 0)
        rest_.append(buffer.data(), static_cast<std::size_t>(count));
    std::vector<std::string> lines;
    for (std::size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n')) {
        lines.push_back(rest_.substr(0, end));
        rest_.erase(0, end + 1);
    }
    return lines;
}

// --- Reset line -----------------------------------------------------------------------------------------

void ResetLineWatch::open(const std::string& path) {
    path_ = path;
    descriptor_ = Descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    constexpr uint32_t kEvents = IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO;
    if (!descriptor_.isOpen() || inotify_add_watch(descriptor_.number(), folderOf(path).c_str(), kEvents) < 0)
        fail("can't watch " + path);
}

// Takes in what happened to the file; false if nothing did.
bool ResetLineWatch::takeEvents() {
    alignas(inotify_event) std::array<char, 8192> buffer{};
    bool any = false;
    const ssize_t count = ::read(descriptor_.number(), buffer.data(), buffer.size());
    for (const char* at = buffer.data(); at < buffer.data() + count;) {
        inotify_event event{};
        std::memcpy(&event, at, sizeof event);
        if (event.len > 0 && nameOf(path_) == at + sizeof event) {
            any = true;
            settled_ = (event.mask & IN_MODIFY) == 0;
            writes_ += settled_ ? 1 : 0;
        }
        at += sizeof event + event.len;
    }
    return any;
}

// The pulse may be over before we look: two completed writes that leave a 1 were a 0 and a 1. The content is
// read between two looks at the events, so that it belongs to the writes that were counted.
std::vector<bool> ResetLineWatch::readLevels() {
    char level = '\0';
    while (takeEvents()) {
        level = '\0';
        std::ifstream(path_) >> level;
    }
    if (!settled_ || (level != '0' && level != '1'))
        return {};
    const bool pulsed = level == '1' && writes_ >= 2;
    writes_ = 0;
    return pulsed ? std::vector<bool>{false, true} : std::vector<bool>{level == '1'};
}

// --- Lateness -------------------------------------------------------------------------------------------

// The form and the bound are those of the unit's own ticks.
void LatenessWatch::wasLate(Duration late) {
    constexpr Duration kLeastStep = std::chrono::milliseconds(1);
    constexpr double kBoundSeconds = 0.25;
    if (late < largest_ + kLeastStep)
        return;
    largest_ = late;
    for (const int32_t descriptor : descriptors_)
        dprintf(descriptor, "lateness_s=%.3f bound_s=%.2f\n", std::chrono::duration<double>(late).count(),
                kBoundSeconds);
}

// --- State file -----------------------------------------------------------------------------------------

bool writeState(const std::string& path, const std::vector<KeyValue>& lines) {
    const std::string draft = path + ".new";
    std::ofstream file(draft, std::ios::trunc);
    for (const KeyValue& line : lines)
        file << line.key << '=' << line.value << '\n';
    file.close();
    return file.good() && std::rename(draft.c_str(), path.c_str()) == 0;
}

} // namespace simulator
