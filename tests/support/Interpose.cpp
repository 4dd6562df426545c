// The C functions that the library calls, defined in the test program: the dynamic linker finds these before
// those of libc and libgps. With a virtual unit they are answered by it; without one, and for everything that
// is not the library's business (other files, other threads), the real ones are called.

#include <dlfcn.h>
#include <fcntl.h>
#include <gps.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdio_ext.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "FailingMemory.h"
#include "GpsRecord.h"
#include "VirtualUnit.h"

namespace {

/// The unit, with memory for what it records: only the library runs out of it.
class Ground {
public:
    VirtualUnit* operator->() const { return VirtualUnit::current(); }
    bool operator==(std::nullptr_t) const { return VirtualUnit::current() == nullptr; }
    bool operator!=(std::nullptr_t) const { return VirtualUnit::current() != nullptr; }

private:
    GroundMemory memory_;
};

Ground unit() { return {}; }

/// Whether the system has no more of what the library wants; what the ground does for itself is never
/// refused.
bool isRefused(Want want) {
    VirtualUnit* const here = VirtualUnit::current();
    return here != nullptr && here->refuses && !GroundMemory::lives() && here->refuses(want);
}

/// The same of a write to a stream, which is the navigation database's file.
bool isRefused(FILE* stream) {
    if (__fwritable(stream) == 0 || !isRefused(Want::Write))
        return false;
    errno = ENOSPC;
    return true;
}

/// The next definition after the program's own: libc's, or the sanitizer's.
#define REAL(name) REAL_AS(name, #name)
#define REAL_AS(name, symbol) reinterpret_cast<decltype(&::name)>(dlsym(RTLD_NEXT, symbol))

/// The same of a function that takes or gives a time: where the machine's `time_t` has 32 bits, the C
/// library's headers give those of 64-bit time, and so the definitions below, names of their own.
#if defined __USE_TIME_BITS64 && __TIMESIZE == 32
#define REAL_OF_TIME(name) REAL_AS(name, "__" #name "64")
#else
#define REAL_OF_TIME(name) REAL(name)
#endif

} // namespace

// --- Time -----------------------------------------------------------------------------------------------

extern "C" time_t time(time_t* result) noexcept {
    if (unit() == nullptr)
        return REAL_OF_TIME(time)(result);
    const time_t now = unit()->clock.utc();
    if (result != nullptr)
        *result = now;
    return now;
}

extern "C" int gettimeofday(timeval* result, void* zone) noexcept {
    if (unit() == nullptr)
        return REAL_OF_TIME(gettimeofday)(result, zone);
    if (unit()->timeOfDayError != 0) {
        errno = unit()->timeOfDayError;
        return -1;
    }
    *result = unit()->clock.timeOfDay();
    return 0;
}

extern "C" int usleep(useconds_t microseconds) {
    if (unit() == nullptr)
        return REAL(usleep)(microseconds);
    unit()->journal.add("usleep " + std::to_string(microseconds));
    unit()->clock.advance(std::chrono::microseconds(microseconds));
    unit()->port.paused();
    return 0;
}

extern "C" unsigned int sleep(unsigned int seconds) {
    if (unit() == nullptr)
        return REAL(sleep)(seconds);
    unit()->journal.add("sleep " + std::to_string(seconds));
    unit()->clock.advance(std::chrono::seconds(seconds));
    return 0;
}

// --- Shell and process ----------------------------------------------------------------------------------

extern "C" int system(const char* command) {
    if (unit() == nullptr)
        abortTest("system() without a virtual unit: it would reach the host");
    if (isRefused(Want::Process))
        unit()->shell.systemGives(command, -1);
    return unit()->shell.system(command);
}

extern "C" FILE* popen(const char* command, const char* mode) {
    if (unit() == nullptr)
        abortTest("popen() without a virtual unit: it would reach the host");
    if (isRefused(Want::Process))
        unit()->shell.popenFails(command);
    return unit()->shell.open(command, mode);
}

extern "C" int pclose(FILE* stream) {
    if (unit() == nullptr || !unit()->shell.owns(stream))
        return REAL(pclose)(stream);
    return unit()->shell.close(stream);
}

/// For cases that end the process, run in a child (EXPECT_EXIT): what led there goes to standard error, where
/// the parent can match it.
extern "C" void exit(int status) noexcept {
    if (unit() != nullptr) {
        for (const std::string& line : unit()->journal.lines())
            fprintf(stderr, "%s\n", line.c_str());
        _exit(status);
    }
    REAL(exit)(status);
    __builtin_unreachable();
}

// --- Files ----------------------------------------------------------------------------------------------

namespace {

/// A path of the unit's is about to be opened.
void wantsToOpen(const char* path) {
    if (isRefused(Want::Open))
        unit()->port.openFails(path);
}

} // namespace

// With 64-bit offsets the C library's headers make `fopen` and `open` other names of these two's 64-bit
// forms.
#ifndef __USE_FILE_OFFSET64
extern "C" FILE* fopen(const char* path, const char* mode) {
    const auto next = REAL(fopen);
    if (unit() == nullptr || !unit()->port.owns(path))
        return next(path, mode);
    wantsToOpen(path);
    return unit()->port.open(path, mode, next);
}
#endif

/// What libstdc++'s file streams open with.
extern "C" FILE* fopen64(const char* path, const char* mode) {
    const auto next = REAL(fopen64);
    if (unit() == nullptr || !unit()->port.owns(path))
        return next(path, mode);
    wantsToOpen(path);
    return unit()->port.open(path, mode, next);
}

/// The mode of `fopen` that these flags stand for.
static const char* modeOf(int flags) {
    if ((flags & O_ACCMODE) == O_RDONLY)
        return "rb";
    return (flags & O_APPEND) != 0 ? "ab" : "wb";
}

/// `open` and what it is called with 64-bit offsets on 32 bits.
using Open = int (*)(const char* path, int flags, ...);
static int openByUnit(Open next, const char* path, int flags, mode_t rights) {
    if (unit() == nullptr || !unit()->port.owns(path))
        return next(path, flags, rights);
    wantsToOpen(path);
    const char* const here = unit()->port.openHere(path, modeOf(flags));
    return here == nullptr ? -1 : next(here, flags, rights);
}

#ifndef __USE_FILE_OFFSET64
extern "C" int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t rights = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openByUnit(REAL(open), path, flags, rights);
}
#endif

extern "C" int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t rights = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openByUnit(REAL(open64), path, flags, rights);
}

extern "C" int fclose(FILE* stream) {
    if (unit() != nullptr && unit()->port.owns(stream))
        unit()->port.closed();
    else if (isRefused(stream)) {
        __fpurge(stream);
        REAL(fclose)(stream);
        return EOF;
    }
    return REAL(fclose)(stream);
}

extern "C" int fflush(FILE* stream) {
    if (stream == nullptr || !isRefused(stream))
        return REAL(fflush)(stream);
    __fpurge(stream);
    return EOF;
}

// As `fopen`, of which there are two.
#ifndef __USE_FILE_OFFSET64
extern "C" int fseeko(FILE* stream, off_t offset, int from) {
    return isRefused(stream) ? -1 : REAL(fseeko)(stream, offset, from);
}
#endif

extern "C" int fseeko64(FILE* stream, off64_t offset, int from) {
    return isRefused(stream) ? -1 : REAL(fseeko64)(stream, offset, from);
}

extern "C" size_t fwrite(const void* bytes, size_t size, size_t count, FILE* stream) {
    return isRefused(stream) ? 0 : REAL(fwrite)(bytes, size, count, stream);
}

extern "C" int fprintf(FILE* stream, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = isRefused(stream) ? -1 : vfprintf(stream, format, arguments);
    va_end(arguments);
    return length;
}

/// `fprintf` under _FORTIFY_SOURCE.
extern "C" int __fprintf_chk(FILE* stream, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = isRefused(stream) ? -1 : vfprintf(stream, format, arguments);
    va_end(arguments);
    return length;
}

extern "C" size_t fread(void* buffer, size_t size, size_t count, FILE* stream) {
    const auto next = REAL(fread);
    if (unit() != nullptr && unit()->port.owns(stream))
        return unit()->port.read(buffer, size, count, next);
    return next(buffer, size, count, stream);
}

/// `fread` under _FORTIFY_SOURCE.
extern "C" size_t __fread_chk(void* buffer, size_t room, size_t size, size_t count, FILE* stream) {
    if (size != 0 && count > room / size)
        abortTest("fread beyond the end of its buffer");
    return fread(buffer, size, count, stream);
}

extern "C" char* fgets(char* buffer, int size, FILE* stream) {
    if (unit() != nullptr && unit()->shell.owns(stream) &&
        (ferror(stream) || unit()->shell.failsToRead(stream)))
        return nullptr;
    return REAL(fgets)(buffer, size, stream);
}

/// `fgets` under _FORTIFY_SOURCE.
extern "C" char* __fgets_chk(char* buffer, size_t room, int size, FILE* stream) {
    if (size > 0 && static_cast<size_t>(size) > room)
        abortTest("fgets beyond the end of its buffer");
    return fgets(buffer, size, stream);
}

extern "C" int close(int descriptor) {
    if (unit() == nullptr || !unit()->gpsd.ownsDescriptor(descriptor))
        return REAL(close)(descriptor);
    unit()->gpsd.descriptorClosed(descriptor);
    return 0;
}

// --- Threads and semaphores -----------------------------------------------------------------------------

extern "C" int pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument) noexcept {
    const auto next = REAL(pthread_create);
    if (unit() == nullptr)
        return next(handle, attributes, body, argument);
    return unit()->threads.create(handle, attributes, body, argument, next);
}

extern "C" int pthread_join(pthread_t handle, void** result) {
    const auto next = REAL(pthread_join);
    if (unit() != nullptr && handle == 0)
        abortTest("a thread is joined that was never created");
    if (unit() == nullptr || !unit()->threads.owns(handle))
        return next(handle, result);
    return unit()->threads.join(handle, result, next);
}

extern "C" int pthread_cancel(pthread_t handle) {
    if (unit() == nullptr || !unit()->threads.owns(handle))
        return REAL(pthread_cancel)(handle);
    return unit()->threads.cancel(handle);
}

extern "C" int sem_init(sem_t* semaphore, int shared, unsigned int value) noexcept {
    const std::string arguments = " " + std::to_string(shared) + " " + std::to_string(value);
    if (unit() != nullptr && unit()->semaphores.fails(VirtualSemaphores::Init, semaphore, arguments))
        return -1;
    return REAL(sem_init)(semaphore, shared, value);
}

extern "C" int sem_wait(sem_t* semaphore) {
    if (unit() == nullptr)
        return REAL(sem_wait)(semaphore);
    if (unit()->semaphores.fails(VirtualSemaphores::Wait, semaphore))
        return -1;
    return unit()->semaphores.wait(semaphore);
}

extern "C" int sem_timedwait(sem_t* semaphore, const timespec* deadline) {
    if (unit() == nullptr)
        return REAL_OF_TIME(sem_timedwait)(semaphore, deadline);
    if (unit()->semaphores.fails(VirtualSemaphores::TimedWait, semaphore))
        return -1;
    return unit()->semaphores.waitUntilUtc(semaphore, *deadline);
}

extern "C" int sem_post(sem_t* semaphore) noexcept {
    const auto next = REAL(sem_post);
    if (unit() == nullptr)
        return next(semaphore);
    if (unit()->semaphores.fails(VirtualSemaphores::Post, semaphore))
        return -1;
    return unit()->semaphores.post(semaphore, next);
}

extern "C" int sem_destroy(sem_t* semaphore) noexcept {
    if (unit() != nullptr && unit()->semaphores.fails(VirtualSemaphores::Destroy, semaphore))
        return -1;
    return REAL(sem_destroy)(semaphore);
}

// --- libgps ---------------------------------------------------------------------------------------------

extern "C" int gps_open(const char* host, const char* port, gps_data_t* record) {
    return unit()->gpsd.open(host, port, record);
}

// A device's name, writable or not as the header has it.
extern "C" int gps_stream(gps_data_t* record, unsigned int flags,
                          decltype(gpsrecord::thirdArgument(gps_stream)) argument) {
    return unit()->gpsd.stream(record, flags, argument);
}

extern "C" bool gps_waiting(const gps_data_t* record, int timeoutMicros) {
    return unit()->gpsd.waiting(record, timeoutMicros);
}

#if GPSD_API_MAJOR_VERSION >= 7
extern "C" int gps_read(gps_data_t* record, char*, int) { return unit()->gpsd.read(record); }
#else
extern "C" int gps_read(gps_data_t* record) { return unit()->gpsd.read(record); }
#endif

extern "C" int gps_close(gps_data_t* record) { return unit()->gpsd.close(record); }
