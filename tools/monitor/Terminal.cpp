#include "Terminal.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "ErrorStream.h"

namespace monitor {

namespace {

constexpr std::size_t kMostLeaveBytes = 512;
constexpr int kMostWaitMs = 1000; // for a terminal that takes nothing any more
constexpr char kCancel = '\x18';  // ends an escape sequence that was cut

// --- What a signal's handler has to know ----------------------------------------------------------------

std::atomic<int> tty{-1};
std::atomic<bool> isTaken{false};
std::atomic<bool> isWriting{false};
std::atomic<bool> isCut{false}; // the last bytes that were written may be a sequence's begin
std::atomic<bool> wasStopped{false};
std::atomic<bool> hasNewSize{false};
termios former = {};
char leaveText[kMostLeaveBytes];
std::size_t leaveBytes = 0;

void sleepAMillisecond() {
    const timespec time = {0, 1000000};
    nanosleep(&time, nullptr);
}

/// Another thread may be in the middle of a write; the same one, interrupted there, never ends it.
void letWriterEnd() {
    constexpr int kMostMs = 50;
    for (int i = 0; i < kMostMs && isWriting; ++i)
        sleepAMillisecond();
}

void writeForSure(const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = write(tty, bytes, count);
        if (written > 0) {
            bytes += written;
            count -= static_cast<std::size_t>(written);
            continue;
        }
        pollfd output = {tty, POLLOUT, 0};
        const bool mayComeYet = written < 0 && (errno == EAGAIN || errno == EINTR);
        if (!mayComeYet || poll(&output, 1, kMostWaitMs) != 1)
            return;
    }
}

/// In the background the terminal is another's. Where the job has no number here, as in a namespace of
/// processes, both are 0.
bool isInForeground() {
    const pid_t foreground = tcgetpgrp(tty);
    return foreground < 0 || foreground == getpgrp();
}

/// Without being stopped for it.
void setAttributes(const termios& attributes) {
    sigset_t stopping;
    sigset_t before;
    sigemptyset(&stopping);
    sigaddset(&stopping, SIGTTOU);
    pthread_sigmask(SIG_BLOCK, &stopping, &before);
    tcsetattr(tty, TCSANOW, &attributes);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

// --- Signals --------------------------------------------------------------------------------------------

/// Those that end a process and that nobody here takes otherwise.
constexpr int kDeadlySignals[] = {SIGABRT, SIGALRM, SIGBUS,  SIGFPE,  SIGILL,  SIGPIPE, SIGPROF,  SIGQUIT,
                                  SIGSEGV, SIGSYS,  SIGTRAP, SIGUSR1, SIGUSR2, SIGXCPU, SIGVTALRM};

void setHandler(int signal, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

void unblock(int signal) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void dieOf(int signal) {
    Terminal::giveBack();
    setHandler(signal, SIG_DFL);
    unblock(signal);
    raise(signal);
}

/// Stops as the system would have, and comes back from the stop here.
void stopOf(int signal) {
    const int error = errno;
    Terminal::giveBack();
    setHandler(signal, SIG_DFL);
    unblock(signal);
    raise(signal);
    setHandler(signal, stopOf);
    wasStopped = true;
    errno = error;
}

void noticeContinuation(int) { wasStopped = true; }
void noticeSize(int) { hasNewSize = true; }

bool isDefault(int signal) {
    struct sigaction now = {};
    return sigaction(signal, nullptr, &now) == 0 && now.sa_handler == SIG_DFL;
}

void takeSignals() {
    for (const int signal : kDeadlySignals)
        if (isDefault(signal))
            setHandler(signal, dieOf);
    if (isDefault(SIGTSTP)) // a shell without job control has it ignored
        setHandler(SIGTSTP, stopOf);
    setHandler(SIGCONT, noticeContinuation);
    setHandler(SIGWINCH, noticeSize);
}

// --- The terminal ---------------------------------------------------------------------------------------

/// An open terminal of its own: that it never waits is then no business of the others who have it open.
int openTerminal() {
    for (const char* const name : {"/proc/self/fd/1", "/dev/tty"}) {
        const int descriptor = open(name, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (descriptor >= 0 && isatty(descriptor) == 1)
            return descriptor;
        if (descriptor >= 0)
            close(descriptor);
    }
    throw NoTerminal(std::string("the terminal can't be opened: ") + std::strerror(errno));
}

/// Keys come one by one and as they are, Ctrl-C among them; what is written goes out as it is.
termios rawOf(termios attributes) {
    cfmakeraw(&attributes);
    attributes.c_cc[VMIN] = 0;
    attributes.c_cc[VTIME] = 0;
    return attributes;
}

} // namespace

Terminal::Terminal() {
    if (isatty(STDIN_FILENO) != 1 || isatty(STDOUT_FILENO) != 1)
        throw NoTerminal("standard input and output are no terminal");
    tty = openTerminal();
    static const bool isRegistered = std::atexit(giveBack) == 0;
    static_cast<void>(isRegistered);
}

Terminal::~Terminal() {
    leave();
    close(tty.exchange(-1));
}

void Terminal::enter(const std::string& enter, const std::string& leave) {
    termios now = {};
    if (tcgetattr(tty, &now) != 0) {
        isGone_ = true;
        return;
    }
    if (!isTaken) {
        takeSignals();
        former = now;
        leaveBytes = std::min(leave.size(), kMostLeaveBytes);
        std::memcpy(leaveText, leave.data(), leaveBytes);
    }
    isTaken = true;
    const termios raw = rawOf(former);
    tcsetattr(tty, TCSANOW, &raw); // in the background the process stops here until it is in the foreground
    pending_.clear();
    write(enter);
}

// Whoever comes second finds it given back.
void Terminal::giveBack() {
    if (!isTaken.exchange(false))
        return;
    const int error = errno;
    letWriterEnd();
    if (isInForeground()) {
        if (isCut)
            writeForSure(&kCancel, 1);
        writeForSure(leaveText, leaveBytes);
        setAttributes(former);
    }
    errno = error;
}

bool Terminal::hasBeenStopped() { return wasStopped.exchange(false); }
bool Terminal::wasResized() { return hasNewSize.exchange(false); }
int Terminal::descriptor() const { return tty; }

Size Terminal::size() const {
    winsize window = {};
    if (ioctl(tty, TIOCGWINSZ, &window) != 0 || window.ws_col == 0 || window.ws_row == 0)
        return {};
    return {window.ws_col, window.ws_row};
}

std::string Terminal::read() {
    pollfd input = {tty, POLLIN, 0};
    if (isGone_ || !isTaken || poll(&input, 1, 0) != 1)
        return "";
    char bytes[256];
    const ssize_t count = ::read(tty, bytes, sizeof bytes);
    if (count > 0)
        return {bytes, static_cast<std::size_t>(count)};
    isGone_ = (input.revents & (POLLHUP | POLLERR)) != 0 || (count < 0 && errno == EIO && isInForeground());
    return "";
}

void Terminal::write(const std::string& bytes) {
    pending_ += bytes;
    flush();
}

void Terminal::flush() {
    isWriting = true;
    while (isTaken && !pending_.empty()) {
        const ssize_t written = ::write(tty, pending_.data(), pending_.size());
        if (written <= 0)
            break;
        pending_.erase(0, static_cast<std::size_t>(written));
        isCut = !pending_.empty();
    }
    isWriting = false;
}

} // namespace monitor
