// living_loop
//
// What the described pauses and libgps cost by themselves: a thread that waits for a report, reads it and
// pauses for 50 ms, and one that sleeps for 250 ms a round and reads the clock. Nothing is made of the
// reports. Never ends by itself.

#include <gps.h>
#include <unistd.h>

#include <ctime>
#include <thread>

namespace {

constexpr int kReportTimeoutUs = 5000000;
constexpr useconds_t kReaderPauseUs = 50000;
constexpr useconds_t kRoundUs = 250000;

[[noreturn]] void goRound() {
    for (;; usleep(kRoundUs))
        time(nullptr);
}

} // namespace

int main() {
    static gps_data_t record;
    if (gps_open("localhost", "2947", &record) != 0)
        return 1;
    gps_stream(&record, WATCH_ENABLE | WATCH_JSON, nullptr);
    std::thread(goRound).detach();
    for (;;)
        if (gps_waiting(&record, kReportTimeoutUs)) {
            if (gps_read(&record, nullptr, 0) < 0)
                return 1;
            usleep(kReaderPauseUs);
        }
}
