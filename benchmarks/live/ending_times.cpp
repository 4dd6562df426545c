// ending_times [STOPS [silent]]
//
// Lives an adapter's life on a virtual unit, with a fix, and prints for each of its endings how long it took
// beside what the waits that it consists of took in this run:
//
//   ending=stop took=0.404016 limit=0.403789
//   ending=finalize took=1.013468 limit=1.011204 needless=0
//   ending=dump took=0.464718 limit=0.464792 acknowledged=1
//
// `needless` are the looks for gpsd beyond those that it takes (one before the kill, and behind it one after
// each second's sleep and the first) and the sleeps behind a look that found none. It stops and starts STOPS
// times, at different moments, before it ends. `silent`: from the fix on the receiver says nothing any more.

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <utility>

#include "Calls.h"
#include "GPSAdapter.h"
#include "Repetition.h"

namespace {

constexpr char kControl[] = "/run/unit/receiver.control";
constexpr char kPollsDatabase[] = R"(echo -e "\xb5\x62\x13\x80\x00\x00)";
constexpr char kSetsPortUp[] = "timeout -t 1 stty";
constexpr char kLooksForGpsd[] = "pidof gpsd";
constexpr double kBytesPerSecond = 115200 / 10.0;
constexpr double kWorkerSleep = 0.25; // a quarter of the position interval
constexpr double kReaderPause = 0.05;
constexpr int kStepsForTheMean = 20;
constexpr int kStepsOfTheBudget = 275; // of a wait in vain, between its 276 reads
constexpr double kLongestWaitForAFix = 60;
constexpr double kStartUp = 0.3; // until the reader waits for the receiver's reports
constexpr double kReportPeriod = 1;
constexpr double kWaitWithoutReport = 5;

double joinedAt = 0; // the end of the first join since it was set to 0

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "%s\n", what);
    _exit(1);
}

// --- Stop -----------------------------------------------------------------------------------------------

bool isPause(const calls::Call& call, double seconds) {
    return call.kind == calls::Kind::Pause && std::fabs(call.value - seconds) < 1e-6;
}

bool endsWorkersSleep(const calls::Call& call) { return isPause(call, kWorkerSleep); }

bool endsReadersCycle(const calls::Call& call) {
    return isPause(call, kReaderPause) || (call.kind == calls::Kind::Wait && call.value == 0);
}

/// When the first call on another thread that `isOne` holds for ended after `moment`.
double firstEndAfter(double moment, bool (*isOne)(const calls::Call&)) {
    for (const calls::Call& call : calls::noted())
        if (call.end > moment && pthread_equal(call.thread, pthread_self()) == 0 && isOne(call))
            return call.end;
    fail("a wait that a stop consists of was not seen");
}

/// A stop waits for the end of the worker's sleep; then, with the worker joined, for the end of the reader's
/// cycle: the next report and the pause behind it, or five seconds without a report.
void stop(GPSAdapter& adapter) {
    joinedAt = 0;
    const double begin = calls::now();
    adapter.Stop();
    const double took = calls::now() - begin;
    const double sleep = firstEndAfter(begin, endsWorkersSleep) - begin;
    const double cycle = firstEndAfter(joinedAt, endsReadersCycle) - joinedAt;
    std::printf("ending=stop took=%.6f limit=%.6f\n", took, sleep + cycle);
}

/// Stops lie spread over the time between two reports, or over the wait for one that doesn't come, by chance
/// within equal parts of it.
void stopAtDifferentMoments(GPSAdapter& adapter, int stops, double span) {
    std::mt19937 chance(std::random_device{}());
    for (int i = 0; i < stops; ++i) {
        const double part = std::uniform_real_distribution<double>(0, 1)(chance);
        usleep(static_cast<useconds_t>(1e6 * (kStartUp + span * (i + part) / stops)));
        stop(adapter);
        adapter.Start();
    }
    adapter.Stop();
}

// --- Finalize -------------------------------------------------------------------------------------------

long needlessLooks(const calls::Calls& made) {
    const long looks = std::count_if(made.begin(), made.end(), [](const calls::Call& call) {
        return call.kind == calls::Kind::Shell && call.text == kLooksForGpsd;
    });
    const long sleeps = std::count_if(
        made.begin(), made.end(), [](const calls::Call& call) { return call.kind == calls::Kind::Pause; });
    return looks - (sleeps + 2);
}

long needlessSleeps(const calls::Calls& made) {
    long needless = 0;
    bool isFound = false;
    for (const calls::Call& call : made) {
        if (call.text == kLooksForGpsd)
            isFound = false;
        else if (call.text == "fgets")
            isFound = isFound || call.value > 0;
        needless += call.kind == calls::Kind::Pause && !isFound ? 1 : 0;
    }
    return needless;
}

/// The looks for gpsd, its kill, and a second's sleep after each look that still found it.
void finalize(GPSAdapter& adapter) {
    calls::forget();
    const double begin = calls::now();
    adapter.Finalize();
    const double took = calls::now() - begin;
    const calls::Calls made = calls::noted();
    std::printf("ending=finalize took=%.6f limit=%.6f needless=%ld\n", took, shellAndPauses(made),
                needlessLooks(made) + needlessSleeps(made));
}

// --- Dump -----------------------------------------------------------------------------------------------

struct Dump {
    calls::Calls made;     ///< from the poll's command on
    double seconds = 0;    ///< to the next command, which sets the port back
    std::size_t bytes = 0; ///< that came after the poll's command, up to the acknowledgement's end
    bool isAcknowledged = false;
};

void takeRead(const std::string& bytes, Dump& dump) {
    if (dump.isAcknowledged)
        return; // a read that wasn't needed
    const std::size_t end = endOfMgaAck(bytes);
    dump.isAcknowledged = end != std::string::npos;
    dump.bytes += dump.isAcknowledged ? end : bytes.size();
}

Dump dumpAmong(const calls::Calls& all) {
    const auto poll = firstCall(all.begin(), all.end(), calls::Kind::Shell, kPollsDatabase);
    const auto end = firstCall(poll, all.end(), calls::Kind::Shell, kSetsPortUp);
    if (end == all.end())
        fail("no database was polled");
    Dump dump;
    dump.made.assign(poll, end);
    dump.seconds = end->begin - poll->begin;
    bool isFirst = true; // that one brings what had come before
    for (const calls::Call& call : dump.made)
        if (call.kind == calls::Kind::Read && !std::exchange(isFirst, false))
            takeRead(call.text, dump);
    return dump;
}

/// What the receiver sends takes its time on the line. The wait looks for the end once a step, and sees it a
/// step later at most. Without an acknowledgement there are all the steps of its budget.
double limitOf(const Dump& dump) {
    const double command = dump.made.front().seconds();
    if (!dump.isAcknowledged)
        return command + kStepsOfTheBudget * meanPause(kReadLoopStep, kStepsOfTheBudget);
    return command + static_cast<double>(dump.bytes) / kBytesPerSecond +
           meanPause(kReadLoopStep, kStepsForTheMean);
}

void destroy(const GPSAdapter* adapter) {
    calls::forget();
    delete adapter;
    const Dump dump = dumpAmong(calls::noted());
    std::printf("ending=dump took=%.6f limit=%.6f acknowledged=%d\n", dump.seconds, limitOf(dump),
                dump.isAcknowledged);
}

// --- The life -------------------------------------------------------------------------------------------

void awaitFix(GPSAdapter& adapter) {
    GPSReadings readings;
    for (const double end = calls::now() + kLongestWaitForAFix; !readings.data.valid; usleep(100000)) {
        adapter.GetReadings(readings);
        if (calls::now() > end)
            fail("there was no fix");
    }
}

void live(int stops, bool silent) {
    auto* const adapter = new GPSAdapter(nullptr);
    if (adapter->Initialize() != 0 || adapter->Start() != 0)
        fail("the adapter doesn't start");
    awaitFix(*adapter);
    if (silent)
        std::ofstream(kControl) << "silence" << std::endl;
    stopAtDifferentMoments(*adapter, stops, silent ? kWaitWithoutReport : kReportPeriod);
    finalize(*adapter);
    destroy(adapter);
}

} // namespace

int pthread_join(pthread_t thread, void** value) {
    static const auto real = reinterpret_cast<int (*)(pthread_t, void**)>(dlsym(RTLD_NEXT, "pthread_join"));
    const int result = real(thread, value);
    joinedAt = joinedAt > 0 ? joinedAt : calls::now();
    return result;
}

int main(int argc, char** argv) {
    needUnit();
    live(argc > 1 ? std::atoi(argv[1]) : 3, argc > 2 && std::strcmp(argv[2], "silent") == 0);
    return 0;
}
