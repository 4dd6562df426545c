// Preloaded into an example, this is a system whose clock is an hour slow and can be set, while no clock of
// the host is touched. Where SLOW_CLOCK_REFUSES is set, setting it is refused as to somebody without the
// right.

#include <dlfcn.h>
#include <sys/time.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace {

constexpr time_t kSlowSeconds = 3600;

std::atomic<time_t> offset{-kSlowSeconds};

/// What this one stands before: the unit's fast clock, or the C library.
template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) {
    static const auto real = next<int(clockid_t, timespec*)>("clock_gettime");
    const int result = real(clock, now);
    if (result == 0 && clock == CLOCK_REALTIME)
        now->tv_sec += offset;
    return result;
}

time_t time(time_t* now) noexcept {
    static const auto real = next<time_t(time_t*)>("time");
    const time_t shown = real(nullptr) + offset;
    if (now != nullptr)
        *now = shown;
    return shown;
}

int gettimeofday(timeval* now, void* zone) noexcept {
    static const auto real = next<int(timeval*, void*)>("gettimeofday");
    const int result = real(now, zone);
    now->tv_sec += offset;
    return result;
}

int clock_settime(clockid_t clock, const timespec* wanted) noexcept {
    if (clock != CLOCK_REALTIME || std::getenv("SLOW_CLOCK_REFUSES") != nullptr) {
        errno = EPERM;
        return -1;
    }
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    offset += wanted->tv_sec - now.tv_sec;
    return 0;
}
}
