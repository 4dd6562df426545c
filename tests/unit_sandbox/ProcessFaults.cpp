#include "ProcessFaults.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>

namespace {

std::atomic<int64_t> clockShift{0};
std::atomic<bool> threadsAreRefused{false};
std::atomic<bool> processesAreRefused{false};

/// The next definition after the program's own.
#define REAL(name) REAL_AS(name, #name)
#define REAL_AS(name, symbol) reinterpret_cast<decltype(&::name)>(dlsym(RTLD_NEXT, symbol))

/// The same of a function that gives a time: where the machine's `time_t` has 32 bits, the C library's
/// headers give those of 64-bit time, names of their own.
#if defined __USE_TIME_BITS64 && __TIMESIZE == 32
#define REAL_OF_TIME(name) REAL_AS(name, "__" #name "64")
#else
#define REAL_OF_TIME(name) REAL(name)
#endif

timespec unitClock() {
    static const auto real = REAL_OF_TIME(clock_gettime);
    timespec now = {};
    real(CLOCK_REALTIME, &now);
    return now;
}

/// A clock of 32 bits wraps as a system's does.
time_t shifted(time_t seconds) { return static_cast<time_t>(seconds + clockShift.load()); }

} // namespace

// --- The calls of the C library that the process gets ---------------------------------------------------

extern "C" time_t time(time_t* result) noexcept {
    const time_t now = shifted(unitClock().tv_sec);
    if (result != nullptr)
        *result = now;
    return now;
}

extern "C" int gettimeofday(timeval* result, void*) noexcept {
    const timespec now = unitClock();
    *result = {shifted(now.tv_sec), static_cast<suseconds_t>(now.tv_nsec / 1000)};
    return 0;
}

extern "C" int clock_gettime(clockid_t clock, timespec* result) noexcept {
    static const auto real = REAL_OF_TIME(clock_gettime);
    const int rc = real(clock, result);
    if (rc == 0 && clock == CLOCK_REALTIME)
        result->tv_sec = shifted(result->tv_sec);
    return rc;
}

extern "C" int pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument) noexcept {
    static const auto real = REAL(pthread_create);
    return threadsAreRefused ? EAGAIN : real(handle, attributes, body, argument);
}

extern "C" FILE* popen(const char* command, const char* mode) {
    static const auto real = REAL(popen);
    if (!processesAreRefused)
        return real(command, mode);
    errno = EAGAIN;
    return nullptr;
}

extern "C" int system(const char* command) {
    static const auto real = REAL(system);
    if (!processesAreRefused)
        return real(command);
    errno = EAGAIN;
    return -1;
}

namespace processfaults {

// --- Clock and refusals ---------------------------------------------------------------------------------

double unitTime() {
    const timespec now = unitClock();
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

void shiftClock(int64_t seconds) { clockShift = seconds; }

void refuseThreads(bool refused) { threadsAreRefused = refused; }

void refuseProcesses(bool refused) { processesAreRefused = refused; }

// --- Descriptors ----------------------------------------------------------------------------------------

void holdDescriptors(int below, bool closeOnExec) {
    static std::vector<int> held;
    for (const int descriptor : held)
        close(descriptor);
    held.clear();
    const int flags = O_RDONLY | (closeOnExec ? O_CLOEXEC : 0);
    for (int next = open("/dev/null", flags); next >= 0; next = open("/dev/null", flags)) {
        if (next >= below) {
            close(next);
            return;
        }
        held.push_back(next);
    }
}

bool limitDescriptors(unsigned int most) {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = most;
    return setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

// --- Processes ------------------------------------------------------------------------------------------

namespace {

constexpr unsigned int kDaemonSeconds = 1000;

[[noreturn]] void becomeADaemon() {
    setsid();
    if (fork() == 0)
        sleep(kDaemonSeconds);
    _exit(0);
}

pid_t startChild(const std::function<void()>& end) {
    const pid_t child = fork();
    if (child == 0) {
        end();
        _exit(EXIT_FAILURE);
    }
    return child;
}

const std::map<std::string, void (*)()> kWaysToEnd = {
    {"_exit", [] { _exit(0); }},
    {"exit", [] { exit(0); }},
    {"exec", [] { execl("/bin/true", "true", static_cast<char*>(nullptr)); }},
    {"daemon", [] { becomeADaemon(); }},
};

pid_t start(const std::string& way) {
    if (way == "spawn") {
        pid_t child = -1;
        char name[] = "true";
        char* const arguments[] = {name, nullptr};
        posix_spawn(&child, "/bin/true", nullptr, nullptr, arguments, environ);
        return child;
    }
    return startChild(kWaysToEnd.at(way));
}

/// The names in a folder, but "." and ".."; none without a descriptor for it.
std::vector<std::string> namesIn(const char* folder) {
    std::vector<std::string> names;
    DIR* const stream = opendir(folder);
    if (stream == nullptr)
        return names;
    for (const dirent* entry = readdir(stream); entry != nullptr; entry = readdir(stream))
        if (entry->d_name[0] != '.')
            names.emplace_back(entry->d_name);
    closedir(stream);
    return names;
}

std::size_t children() {
    std::size_t count = 0;
    for (const std::string& process : namesIn("/proc")) {
        FILE* const stat = fopen(("/proc/" + process + "/stat").c_str(), "re");
        int parent = 0;
        if (stat != nullptr && fscanf(stat, "%*d %*s %*c %d", &parent) == 1 && parent == getpid())
            ++count;
        if (stat != nullptr)
            fclose(stat);
    }
    return count;
}

/// -1 when it could not be started.
int statusOf(pid_t child) {
    int status = -1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

} // namespace

bool forks(const std::string& way) { return statusOf(start(way)) == 0; }

bool childComesBackFrom(const std::function<void()>& call, double hostSeconds) {
    const auto micros = static_cast<long>(1e6 * hostSeconds);
    const itimerval time = {{0, 0}, {micros / 1000000, micros % 1000000}};
    return statusOf(startChild([&call, &time] {
               setitimer(ITIMER_REAL, &time, nullptr);
               call();
               _exit(0);
           })) == 0;
}

std::string held() {
    return "descriptors=" + std::to_string(namesIn("/proc/self/fd").size() - 1) // but the one that looks
           + " threads=" + std::to_string(namesIn("/proc/self/task").size()) +
           " children=" + std::to_string(children());
}

// --- Signals --------------------------------------------------------------------------------------------

namespace {

std::atomic<long> handledHere{0};
std::atomic<long> handledElsewhere{0};

pid_t threadId() { return static_cast<pid_t>(syscall(SYS_gettid)); }

void countSignal(int) { ++(threadId() == getpid() ? handledHere : handledElsewhere); }

} // namespace

void SignalStorm::begin(const std::vector<int>& signals, double perSecond) {
    signals_ = signals;
    struct sigaction action = {};
    action.sa_handler = countSignal;
    for (const int signal : signals_)
        sigaction(signal, &action, nullptr);
    ended_ = false;
    begin_ = unitTime();
    thread_ = std::thread([this, perSecond] { run(perSecond); });
}

std::string SignalStorm::end() {
    if (!thread_.joinable())
        return "";
    ended_ = true;
    thread_.join();
    return "ms=" + std::to_string(static_cast<long>(1000 * (unitTime() - begin_))) +
           " rounds=" + std::to_string(rounds_) + " sent=" + std::to_string(sent_) +
           " here=" + std::to_string(handledHere) + " elsewhere=" + std::to_string(handledElsewhere);
}

void SignalStorm::run(double perSecond) {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    for (; !ended_; ++rounds_) {
        const double left = begin_ + static_cast<double>(rounds_) / perSecond - unitTime();
        if (left > 0)
            usleep(static_cast<useconds_t>(left * 1e6));
        sendToEachThread(signals_[static_cast<std::size_t>(rounds_) % signals_.size()]);
    }
}

void SignalStorm::sendToEachThread(int signal) {
    for (const std::string& thread : namesIn("/proc/self/task"))
        if (std::atoi(thread.c_str()) != threadId())
            sent_ += syscall(SYS_tgkill, getpid(), std::atoi(thread.c_str()), signal) == 0 ? 1 : 0;
}

} // namespace processfaults
