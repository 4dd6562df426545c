#include "Calls.h"

#include <dlfcn.h>
#include <gps.h>
#include <time.h>
#include <unistd.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "logging/Logging.h"
#include "ruxo/RuxoSystem.h"

namespace {

constexpr char kUnitName[] = "virtual-unit";

double secondsOf(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

struct Notes {
    std::mutex mutex;
    calls::Calls calls;
};

// Never destroyed: the library's threads run until the program is gone.
Notes& notes() {
    static Notes& all = *new Notes;
    return all;
}

void note(calls::Kind kind, double begin, double value, const std::string& text) {
    const double end = calls::now();
    const std::lock_guard<std::mutex> hold(notes().mutex);
    notes().calls.push_back({kind, begin, end, value, text, pthread_self()});
}

/// The function that this program's one of the same name stands before.
template <typename Function>
Function* behind(const char* name) {
    void* const found = dlsym(RTLD_NEXT, name);
    if (found == nullptr)
        abort();
    return reinterpret_cast<Function*>(found);
}

template <typename Function, typename Argument>
auto paused(double seconds, Function* real, Argument argument) {
    const double begin = calls::now();
    const auto result = real(argument);
    note(calls::Kind::Pause, begin, seconds, "");
    return result;
}

bool hasAFix(const gps_data_t& record) {
    constexpr gps_mask_t kNeeded = STATUS_SET | TIME_SET | LATLON_SET | ALTITUDE_SET | SATELLITE_SET;
    return (record.set & kNeeded) == kNeeded;
}

} // namespace

double calls::now() { return secondsOf(CLOCK_MONOTONIC); }

double calls::tickAt(double moment) {
    return std::floor(moment + secondsOf(CLOCK_BOOTTIME) - secondsOf(CLOCK_MONOTONIC));
}

calls::Calls calls::noted() {
    const std::lock_guard<std::mutex> hold(notes().mutex);
    return notes().calls;
}

void calls::forget() {
    const std::lock_guard<std::mutex> hold(notes().mutex);
    notes().calls.clear();
}

void needUnit() {
    char name[sizeof kUnitName] = "";
    gethostname(name, sizeof name);
    if (std::strncmp(name, kUnitName, sizeof name) == 0)
        return;
    std::fprintf(stderr, "this program runs on a virtual unit alone: it kills every gpsd\n");
    exit(2);
}

// --- The shell ------------------------------------------------------------------------------------------

int system(const char* command) {
    static const auto real = behind<int(const char*)>("system");
    const double begin = calls::now();
    const int status = real(command);
    note(calls::Kind::Shell, begin, status, command);
    return status;
}

FILE* popen(const char* command, const char* mode) {
    static const auto real = behind<FILE*(const char*, const char*)>("popen");
    const double begin = calls::now();
    FILE* const stream = real(command, mode);
    note(calls::Kind::Shell, begin, 0, command);
    return stream;
}

char* fgets(char* line, int size, FILE* stream) {
    static const auto real = behind<char*(char*, int, FILE*)>("fgets");
    const double begin = calls::now();
    char* const result = real(line, size, stream);
    note(calls::Kind::Shell, begin, result != nullptr, "fgets");
    return result;
}

int pclose(FILE* stream) {
    static const auto real = behind<int(FILE*)>("pclose");
    const double begin = calls::now();
    const int status = real(stream);
    note(calls::Kind::Shell, begin, status, "pclose");
    return status;
}

// --- Pauses ---------------------------------------------------------------------------------------------

int usleep(useconds_t microseconds) {
    static const auto real = behind<int(useconds_t)>("usleep");
    return paused(1e-6 * microseconds, real, microseconds);
}

unsigned int sleep(unsigned int seconds) {
    static const auto real = behind<unsigned int(unsigned int)>("sleep");
    return paused(seconds, real, seconds);
}

uint32_t ruxosleep_interruptible(uint32_t milliseconds) {
    static const auto real = behind<uint32_t(uint32_t)>("_Z23ruxosleep_interruptiblej");
    return paused(1e-3 * milliseconds, real, milliseconds);
}

// --- The port, gpsd, the log ----------------------------------------------------------------------------

size_t fread(void* buffer, size_t size, size_t count, FILE* stream) {
    static const auto real = behind<size_t(void*, size_t, size_t, FILE*)>("fread");
    const double begin = calls::now();
    const size_t got = real(buffer, size, count, stream);
    note(calls::Kind::Read, begin, 0, std::string(static_cast<const char*>(buffer), got * size));
    return got;
}

bool gps_waiting(const gps_data_t* record, int timeoutUs) {
    static const auto real = behind<bool(const gps_data_t*, int)>("gps_waiting");
    const double begin = calls::now();
    const bool result = real(record, timeoutUs);
    note(calls::Kind::Wait, begin, result, "");
    return result;
}

int gps_read(gps_data_t* record, char* message, int length) {
    static const auto real = behind<int(gps_data_t*, char*, int)>("gps_read");
    const double begin = calls::now();
    const int result = real(record, message, length);
    note(calls::Kind::Report, begin, result, result > 0 && hasAFix(*record) ? "fix" : "");
    return result;
}

void Logging::Message(Level level, const char*, int, const char* format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    note(calls::Kind::Log, calls::now(), level, text);
}
