// living_age SECONDS HZ TICK_MS START_MS
//
// An application of the library that notes, for SECONDS, when which fix reached it, and what else an ideal
// service would have gone by in the same run. It starts the service START_MS later than it could, on a unit
// whose tick changes TICK_MS after the whole second of the calendar. The receiver's rate is set to HZ. It
// prints, all times in seconds:
//
//   tick OFFSET                                the tick is the calendar's time less this, in whole seconds
//   first TIME                                 the worker's first cycle began
//   cycle LATE                                 how much longer than asked for each sleep of the worker took
//   pause LATE                                 each pause of the reader
//   report TIME EPOCH LATITUDE LONGITUDE       a client without pauses had a report at the socket. Epoch,
//                                              and microdegrees, are 0 for other reports than fixes
//   call TIME                                  the application was called: OnTracking or OnPositionUpdate
//   poll TIME SECOND LATITUDE LONGITUDE        GetReadings gave this fix, at a moment that depends on nothing

#include <dlfcn.h>
#include <gps.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "GPSAdapter.h"
#include "IdleApplication.h"

namespace {

constexpr useconds_t kReaderPauseUs = 50000;
constexpr useconds_t kWorkerSleepUs = 250000;
constexpr useconds_t kSettleUs = 3000000;
constexpr int kShortestPollMs = 10;
constexpr int kLongestPollMs = 90;
constexpr int kReportTimeoutUs = 1000000;
constexpr std::size_t kLongestReport = 20480;
constexpr char kReceiverControl[] = "/run/unit/receiver.control";

struct Report {
    double time;
    double epoch;
    int latitude;
    int longitude;
};

struct Poll {
    double time;
    GPSData data;
};

// Each is written by one thread, and read when all have ended.
std::vector<Report> reports;
std::vector<double> pauses;
std::vector<double> cycles;
std::vector<double> calls;
std::vector<Poll> polls;
std::atomic<double> firstCycle{0};

std::atomic<bool> serviceRuns{false};
std::atomic<bool> isOver{false};
double tickOffset = 0;

double at(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double calendar() { return at(CLOCK_REALTIME); }

double number(const char* word) { return strtod(word, nullptr); }

// --- The application ------------------------------------------------------------------------------------

class NotingApplication : public IdleApplication {
public:
    unsigned int OnPositionUpdate() override { return note(); }
    unsigned int OnTracking(const GPSData&) override { return note(); }

private:
    static unsigned int note() {
        calls.push_back(calendar());
        return 0;
    }
};

// Each second lies on the schedule, so a report goes out every five.
void setTracking(GPSAdapter& adapter) {
    GPSParams params;
    adapter.GetParams(params);
    params.trackingEnabled = true;
    params.trackingPeriod = 1;
    adapter.SetParams(params);
}

void pollFor(double seconds, GPSAdapter& adapter) {
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<useconds_t> pauseMs(kShortestPollMs, kLongestPollMs);
    GPSReadings readings;
    for (const double end = calendar() + seconds; calendar() < end; usleep(1000 * pauseMs(random))) {
        const double time = calendar();
        adapter.GetReadings(readings);
        polls.push_back({time, readings.data});
    }
}

// --- A client without pauses ----------------------------------------------------------------------------

bool isFix(const gps_data_t& record, const char* message) {
    return std::strstr(message, "\"class\":\"TPV\"") != nullptr && (record.set & LATLON_SET) != 0;
}

Report reportOf(const gps_data_t& record, const char* message, double time) {
    if (!isFix(record, message))
        return {time, 0, 0, 0};
    const double epoch =
        static_cast<double>(record.fix.time.tv_sec) + 1e-9 * static_cast<double>(record.fix.time.tv_nsec);
    return {time, epoch, static_cast<int>(record.fix.latitude * 1e6),
            static_cast<int>(record.fix.longitude * 1e6)};
}

void watch() {
    static gps_data_t record;
    static char message[kLongestReport];
    if (gps_open("localhost", "2947", &record) != 0)
        return;
    gps_stream(&record, WATCH_ENABLE | WATCH_JSON, nullptr);
    while (!isOver)
        if (gps_waiting(&record, kReportTimeoutUs)) {
            const double time = calendar();
            if (gps_read(&record, message, sizeof message) > 0)
                reports.push_back(reportOf(record, message, time));
        }
    gps_close(&record);
}

// --- The whole ------------------------------------------------------------------------------------------

void setRate(const std::string& hz) { std::ofstream(kReceiverControl) << "hz " + hz + "\n" << std::flush; }

void print() {
    std::printf("tick %.6f\nfirst %.6f\n", tickOffset, firstCycle.load());
    for (const double late : cycles)
        std::printf("cycle %.6f\n", late);
    for (const double late : pauses)
        std::printf("pause %.6f\n", late);
    for (const Report& report : reports)
        std::printf("report %.6f %.3f %d %d\n", report.time, report.epoch, report.latitude, report.longitude);
    for (const double time : calls)
        std::printf("call %.6f\n", time);
    for (const Poll& poll : polls)
        std::printf("poll %.6f %d %d %d\n", poll.time, poll.data.time, poll.data.latitude,
                    poll.data.longitude);
}

bool startLater(useconds_t us, GPSAdapter& adapter) {
    setTracking(adapter);
    if (adapter.Initialize() != 0)
        return false;
    usleep(us);
    serviceRuns = true;
    return adapter.Start() == 0;
}

} // namespace

// The library's calls come here first. The tick runs as the platform's does, but changes when this run wants
// it to.
uint32_t ruxo_systemtick() {
    const double now = calendar();
    double none = 0;
    thread_local const bool isMain = gettid() == getpid();
    if (serviceRuns && !isMain)
        firstCycle.compare_exchange_strong(none, now);
    return static_cast<uint32_t>(now - tickOffset);
}

int usleep(useconds_t us) {
    static auto* const sleep = reinterpret_cast<decltype(&usleep)>(dlsym(RTLD_NEXT, "usleep"));
    thread_local const bool isMain = gettid() == getpid();
    const double begin = at(CLOCK_MONOTONIC);
    const int rc = sleep(us);
    const double late = at(CLOCK_MONOTONIC) - begin - 1e-6 * us;
    if (!isMain && us == kReaderPauseUs)
        pauses.push_back(late);
    if (!isMain && us == kWorkerSleepUs)
        cycles.push_back(late);
    return rc;
}

int main(int argc, char** argv) {
    if (argc != 5)
        return 2;
    tickOffset = std::floor(calendar()) - 1000 + number(argv[3]) / 1000;
    NotingApplication callback;
    GPSAdapter adapter(&callback);
    if (!startLater(static_cast<useconds_t>(1000 * number(argv[4])), adapter))
        return 1;
    std::thread watcher(watch);
    awaitFixes(adapter);
    setRate(argv[2]);
    usleep(kSettleUs);
    pollFor(number(argv[1]), adapter);
    isOver = true;
    watcher.join();
    adapter.Stop();
    print();
    std::fflush(stdout);
    _exit(0); // without the seconds that an orderly end takes
}
