// Waits that libfaketime leaves in the host's time or gets wrong (0.9.10 and newer), corrected for the unit's
// fast clock. The unit preloads this library in front of libfaketime when it starts with --speed.
//
// Each wait takes the time that is left on the unit's clock, divides it by the clock's speed, and waits that
// long on the host's monotonic clock.

#include <ctime>

#include <cstdint>
#include <cstdlib>

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int64_t nanosecondsPerSecond = 1'000'000'000;

int64_t nanoseconds(const timespec& time) { return time.tv_sec * nanosecondsPerSecond + time.tv_nsec; }

double speed() {
    static const double value = strtod(getenv("UNIT_SPEED"), nullptr);
    return value;
}

// libfaketime stands in front of the function, not of the system call.
int64_t hostNow() {
    timespec now = {};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return nanoseconds(now);
}

timespec hostDeadline(clockid_t clock, const timespec& unitDeadline) {
    timespec unitNow = {};
    clock_gettime(clock, &unitNow);
    const auto left = static_cast<double>(nanoseconds(unitDeadline) - nanoseconds(unitNow));
    const int64_t deadline = hostNow() + static_cast<int64_t>(left / speed());
    return {static_cast<time_t>(deadline / nanosecondsPerSecond),
            static_cast<long>(deadline % nanosecondsPerSecond)};
}

// libc's own: newer releases of libfaketime stand in front of these functions, too, and the next definition
// behind this library would be theirs.
template <typename Function>
Function* libcs(Function&, const char* name) {
    static void* const libc = dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD);
    return reinterpret_cast<Function*>(dlsym(libc, name));
}

} // namespace

extern "C" {

int sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* deadline) {
    static auto* const wait = libcs(sem_clockwait, "sem_clockwait");
    const timespec onHost = hostDeadline(clock, *deadline);
    return wait(semaphore, CLOCK_MONOTONIC, &onHost);
}

int sem_timedwait(sem_t* semaphore, const timespec* deadline) {
    return sem_clockwait(semaphore, CLOCK_REALTIME, deadline);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* deadline) {
    static auto* const wait = libcs(pthread_cond_clockwait, "pthread_cond_clockwait");
    const timespec onHost = hostDeadline(clock, *deadline);
    return wait(condition, mutex, CLOCK_MONOTONIC, &onHost);
}

} // extern "C"
