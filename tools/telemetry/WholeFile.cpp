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

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

/// A file that is to take the place of another one. It has no name before, where the file system can do that:
/// then whatever ends the program in the middle leaves nothing behind. Else it has a name beside the other
/// one.
class Draft {
public:
    explicit Draft(const std::string& path)
        : path_(path), name_(path + "." + std::to_string(getpid()) + ".part") {
        if (!mayBeReplaced(path_))
            return;
        descriptor_ = open(folderOf(path_).c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666);
        if (descriptor_ < 0)
            openNamed();
    }

    ~Draft() {
        if (hasName_)
            unlink(name_.c_str());
        if (descriptor_ >= 0)
            close(descriptor_);
    }

    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    bool isThere() const { return descriptor_ >= 0; }

    /// What another descriptor of it is opened by.
    std::string link() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

    /// On the disk before it takes the name: a loss of power leaves the old file or the new one.
    bool takePlace() {
        const auto old = modeOf(path_);
        if ((old && fchmod(descriptor_, *old & 0777) != 0) || fsync(descriptor_) != 0 || !getName() ||
            rename(name_.c_str(), path_.c_str()) != 0)
            return false;
        hasName_ = false;
        return true;
    }

private:
    void openNamed() {
        unlink(name_.c_str()); // a process that had this number may have ended in the middle
        descriptor_ = open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        hasName_ = descriptor_ >= 0;
    }

    bool getName() {
        if (!hasName_) {
            unlink(name_.c_str());
            hasName_ = linkat(AT_FDCWD, link().c_str(), AT_FDCWD, name_.c_str(), AT_SYMLINK_FOLLOW) == 0;
        }
        return hasName_;
    }

    std::string path_;
    std::string name_;
    int descriptor_ = -1;
    bool hasName_ = false;
};

bool writeTo(const std::string& name, const std::function<void(std::ostream& output)>& write) {
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
        return writeTo(path, write) ? std::nullopt : failure(path);
    Draft draft(targetOf(path));
    if (!draft.isThere() || !writeTo(draft.link(), write) || !draft.takePlace())
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
