#include "RecordOutput.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "Json.h"
#include "Recording.h"

namespace monitor {

namespace {

constexpr mode_t kRights = 0644;

off_t sizeOf(int descriptor) { return lseek(descriptor, 0, SEEK_END); }

bool isRegular(int descriptor) {
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

/// What a loss of power, or a full disk, has left.
bool endsWithinALine(int descriptor) {
    char last = '\n';
    const off_t size = sizeOf(descriptor);
    return size > 0 && pread(descriptor, &last, 1, size - 1) == 1 && last != '\n';
}

} // namespace

// Not kept open by what the process starts; and no FIFO may hold it up.
RecordOutput::RecordOutput(std::string name)
    : name_(std::move(name)), isNew_(access(name_.c_str(), F_OK) != 0),
      descriptor_(
          open(name_.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, kRights)) {
    if (descriptor_ < 0)
        throw FileError(name_ + " can't be written: " + std::strerror(errno));
    try {
        claim();
    } catch (...) {
        letGo();
        throw;
    }
}

RecordOutput::~RecordOutput() { letGo(); }

void RecordOutput::letGo() const {
    if (isNew_ && sizeOf(descriptor_) == 0)
        unlink(name_.c_str());
    close(descriptor_);
}

void RecordOutput::claim() {
    if (!isRegular(descriptor_))
        throw FileError(name_ + " is no regular file");
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0)
        throw FileError(name_ + " is being written by another monitor");
    checkWhatIsThere();
    if (endsWithinALine(descriptor_) && !append("\n"))
        throw FileError(problem());
}

void RecordOutput::checkWhatIsThere() const {
    if (sizeOf(descriptor_) == 0)
        return;
    std::ifstream file(name_);
    try {
        const telemetry::RecordingReader reader(file, name_);
    } catch (const telemetry::NoRecording& error) {
        throw FileError(std::string(error.what()) + "; nothing is appended to it");
    }
}

void RecordOutput::take(const telemetry::Line& line) {
    if (error_ == 0)
        append(telemetry::toJson(line) + '\n');
}

/// All of it or nothing: half a line would spoil the next one.
bool RecordOutput::append(const std::string& text) {
    const off_t before = sizeOf(descriptor_);
    errno = ENOSPC; // what a short write means
    if (write(descriptor_, text.data(), text.size()) == static_cast<ssize_t>(text.size()))
        return true;
    error_ = errno;
    static_cast<void>(ftruncate(descriptor_, before) == 0); // else the reader finds a line that is cut
    return false;
}

std::string RecordOutput::problem() const {
    return "the recording " + name_ + " ends here: " + std::strerror(error_);
}

} // namespace monitor
