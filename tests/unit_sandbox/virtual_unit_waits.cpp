// Prints for each way of waiting how many of the unit's seconds and how many of the host's passed in five.

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <thread>

#include <poll.h>
#include <semaphore.h>
#include <unistd.h>

using namespace std::chrono;

namespace {

constexpr auto span = 5s;
constexpr timespec spanAsTimespec = {5, 0};

// The kernel's own count.
double hostSeconds() {
    double uptime = 0;
    std::ifstream("/proc/uptime") >> uptime;
    return uptime;
}

template <typename Wait>
void measure(const char* name, Wait wait) {
    const double hostStart = hostSeconds();
    const auto unitStart = steady_clock::now();
    wait();
    const double unit = duration<double>(steady_clock::now() - unitStart).count();
    std::printf("%s %.0f %.0f\n", name, unit * 1000, (hostSeconds() - hostStart) * 1000);
}

timespec deadlineOn(clockid_t clock) {
    timespec deadline = {};
    clock_gettime(clock, &deadline);
    deadline.tv_sec += spanAsTimespec.tv_sec;
    return deadline;
}

void waitForSemaphore() {
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    const timespec deadline = deadlineOn(CLOCK_REALTIME);
    sem_timedwait(&semaphore, &deadline);
}

template <typename Clock>
void waitForCondition() {
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock<std::mutex> lock(mutex);
    condition.wait_until(lock, Clock::now() + span, [] { return false; });
}

} // namespace

int main() {
    measure("usleep", [] { usleep(5'000'000); });
    measure("sleep_for", [] { std::this_thread::sleep_for(span); });
    measure("poll", [] { poll(nullptr, 0, 5000); });
    measure("sem_timedwait", waitForSemaphore);
    measure("condition_on_system_clock", waitForCondition<system_clock>);
    measure("condition_on_steady_clock", waitForCondition<steady_clock>);
}
