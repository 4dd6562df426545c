#include "WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace telemetry {

namespace {

using Failure = std::optional<std::string>;

/// As errno says; not every failure of a stream sets it.
Failure failure(const std::string& path) { return path + ": " + std::strerror(errno != 0 ? errno : EIO); }

/// The file itself, where the path is a link to one: it is replaced, and not the link.
std::string targetOf(const std::string& path) {
    char target[PATH_MAX];
    return realpath(path.c_str(), target) != nullptr ? target : path;
}

std::optional<mode_t> modeOf(const std::string& path) {
    struct stat found = {};
    return stat(path.c_str(), &found) == 0 ? std::optional(found.st_mode) : std::nullopt;
}

/// A pipe or a device has no place that another file could take.
bool isNoFile(const std::string& path) {
    const auto mode = modeOf(path);
    return mode && !S_ISREG(*mode) && !S_ISDIR(*mode);
}

/// Whether what is there already may be written; nothing there is fine.
bool mayBeReplaced(const std::string& path) {
    const auto mode = modeOf(path);
    if (mode && S_ISDIR(*mode)) {
        errno = EISDIR;
        return false;
    }
    return !mode || access(path.c_str(), W_OK) == 0;
}

/// A file beside the one that is to be written; it goes again unless it takes that one's place.
class Draft {
public:
    explicit Draft(const std::string& path)
        : path_(path), name_(path + "." + std::to_string(getpid()) + ".part") {
        if (!mayBeReplaced(path_))
            return;
        unlink(name()); // a process that had this number may have ended in the middle
        descriptor_ = open(name(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    }

    ~Draft() {
        if (descriptor_ < 0)
            return;
        close(descriptor_);
        if (!taken_)
            unlink(name());
    }

    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    bool isThere() const { return descriptor_ >= 0; }
    const char* name() const { return name_.c_str(); }

    /// On the disk before it takes the name: a loss of power leaves the old file or the new one.
    bool takePlace() {
        const auto old = modeOf(path_);
        taken_ = (!old || fchmod(descriptor_, *old & 0777) == 0) && fsync(descriptor_) == 0 &&
                 rename(name(), path_.c_str()) == 0;
        return taken_;
    }

private:
    std::string path_;
    std::string name_;
    int descriptor_ = -1;
    bool taken_ = false;
};

bool writeTo(const char* name, const std::function<void(std::ostream& output)>& write) {
    errno = 0; // a stream doesn't say what was wrong; the call that failed below it does
    std::ofstream output(name, std::ios::binary);
    if (output)
        write(output);
    output.close();
    return output.good();
}

} // namespace

Failure writeWholeFile(const std::string& path, const std::function<void(std::ostream& output)>& write) {
    if (isNoFile(path))
        return writeTo(path.c_str(), write) ? std::nullopt : failure(path);
    Draft draft(targetOf(path));
    if (!draft.isThere() || !writeTo(draft.name(), write) || !draft.takePlace())
        return failure(path);
    return std::nullopt;
}

Failure whyNotWritable(const std::string& path) {
    if (isNoFile(path))
        return access(path.c_str(), W_OK) == 0 ? std::nullopt : failure(path);
    const Draft draft(targetOf(path));
    return draft.isThere() ? std::nullopt : failure(path);
}

} // namespace telemetry
