// living_loop [COUNTS]
//
// What the described pauses and libgps cost by themselves: a thread that waits for a report, reads it and
// pauses for 50 ms, and one that sleeps for 250 ms a round and reads the clock. Nothing is made of the
// reports. Never ends by itself.
//
// With a file COUNTS (LivingCounts.h) it counts there what it takes: the same as a living service beside it.

#include <fcntl.h>
#include <gps.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>

#include "LivingCounts.h"

namespace {

constexpr int kReportTimeoutUs = 5000000;
constexpr useconds_t kReaderPauseUs = 50000;
constexpr useconds_t kRoundUs = 250000;
constexpr auto kLeastWait = std::chrono::milliseconds(1);

[[noreturn]] void goRound() {
    for (;; usleep(kRoundUs))
        time(nullptr);
}

LivingCounts* countsIn(const char* path) {
    const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    void* memory = MAP_FAILED;
    if (file >= 0 && ftruncate(file, sizeof(LivingCounts)) == 0)
        memory = mmap(nullptr, sizeof(LivingCounts), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory != MAP_FAILED)
        return static_cast<LivingCounts*>(memory);
    std::perror(path);
    exit(1);
}

void takeReports(gps_data_t& record) {
    for (;;)
        if (gps_waiting(&record, kReportTimeoutUs)) {
            if (gps_read(&record, nullptr, 0) < 0)
                return;
            usleep(kReaderPauseUs);
        }
}

// A wait that lasted is a burst's: what comes during the pause after a report is there at once.
void countReports(gps_data_t& record, LivingCounts& counts) {
    for (;;) {
        const auto begin = std::chrono::steady_clock::now();
        if (!gps_waiting(&record, kReportTimeoutUs))
            continue;
        if (std::chrono::steady_clock::now() - begin > kLeastWait)
            ++counts.bursts;
        if (gps_read(&record, nullptr, 0) < 0)
            return;
        ++counts.reports;
        usleep(kReaderPauseUs);
    }
}

} // namespace

int main(int argc, char** argv) {
    static gps_data_t record;
    if (gps_open("localhost", "2947", &record) != 0)
        return 1;
    gps_stream(&record, WATCH_ENABLE | WATCH_JSON, nullptr);
    std::thread(goRound).detach();
    if (argc > 1)
        countReports(record, *countsIn(argv[1]));
    else
        takeReports(record);
    return 1;
}
