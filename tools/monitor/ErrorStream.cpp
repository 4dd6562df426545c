#include "ErrorStream.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace monitor {

namespace {

constexpr std::size_t kMostLines = 500;
constexpr std::size_t kMostBytesInALine = 1000;
constexpr std::size_t kPortion = 4096; // a pipe that is ready takes so much at once
constexpr int kPipeBytes = 1 << 20;    // for bursts; where the system allows less, less

// For releaseAtOnce(), which has no object.
std::atomic<bool> taken{false};
std::atomic<int> readEnd{-1};
std::atomic<int> former{-1};

void passOn(const char* bytes, std::size_t count) {
    pollfd output = {former, POLLOUT, 0};
    if (poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0)
        static_cast<void>(
            !write(former, bytes, count)); // what isn't taken is lost, as for others who write there
}

/// How many bytes have come; 0 where there are none.
std::size_t readPortion(char* bytes) {
    const ssize_t count = ::read(readEnd, bytes, kPortion);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

} // namespace

ErrorStream::ErrorStream() : copies_(isatty(STDERR_FILENO) == 0) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::system_error(errno, std::generic_category(), "a pipe");
    fcntl(ends[1], F_SETPIPE_SZ, kPipeBytes);
    readEnd = ends[0];
    former = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    taken = true;
}

ErrorStream::~ErrorStream() {
    release();
    close(readEnd);
    close(former);
}

int ErrorStream::descriptor() const { return readEnd; }

void ErrorStream::read() {
    char bytes[kPortion];
    while (const std::size_t count = readPortion(bytes)) {
        take(std::string(bytes, count));
        if (copies_)
            passOn(bytes, count);
    }
}

void ErrorStream::take(const std::string& bytes) {
    for (const char byte : bytes) {
        if (byte != '\n' && begun_.size() < kMostBytesInALine) {
            begun_ += byte;
            continue;
        }
        lines_.push_back(begun_);
        begun_.clear();
        if (lines_.size() > kMostLines)
            lines_.pop_front();
    }
}

void ErrorStream::release() {
    if (!taken.exchange(false))
        return;
    dup2(former, STDERR_FILENO);
    read();
}

void ErrorStream::releaseAtOnce() {
    if (!taken.exchange(false))
        return;
    dup2(former, STDERR_FILENO);
    char bytes[kPortion];
    while (const std::size_t count = readPortion(bytes))
        passOn(bytes, count);
}

} // namespace monitor
