// Kills gpsd under a running service on a virtual unit, again and again, and prints for each time how long it
// took until the readings held a fresh fix, beside what the described recovery takes from the same moment in
// the same run:
//
//   took=12.104 limit=12.071 detection=0.500 query=0.312 restart=9.203 reports=1.020 cycle=1.036 ...
//
// The described recovery: the reader counts eleven cycles without data, 50 ms each; the worker's first query
// after that, on its grid of 250 ms and once a tick, stops, reconfigures and starts again; the first reports
// of the receiver that make a whole fix come when they come; the worker's next query takes it. The grids are
// those of the run.

#include <dirent.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

#include "Calls.h"
#include "GPSAdapter.h"
#include "ReceiverSequence.h"

namespace {

using calls::Call;
using calls::Kind;

constexpr double kWorkerPeriod = 0.25; // a quarter of the position interval
constexpr double kReaderPause = 0.05;
constexpr int kEmptyCyclesNeeded = 11;
constexpr double kPatience = 60;
constexpr useconds_t kLookPeriodUs = 1000;
constexpr double kSettle = 2.5;
constexpr double kPhaseShift = 0.137; // from turn to turn, so that kills fall all over the grids
constexpr char kRestarting[] = "GPSD does not provide any data - restarting GPSD";

bool isPause(const Call& call, double seconds) {
    return call.kind == Kind::Pause && std::fabs(call.value - seconds) < 1e-7;
}

bool isWorkersPause(const Call& call) { return isPause(call, kWorkerPeriod); }
bool isReadersPause(const Call& call) { return isPause(call, kReaderPause); }
bool isRestart(const Call& call) { return call.kind == Kind::Log && call.text == kRestarting; }
bool isEmpty(const Call& call) { return call.kind == Kind::Report && call.value <= 0; }
bool isFix(const Call& call) { return call.kind == Kind::Report && call.text == "fix"; }

/// The first call from `moment` on of which `is` is true; throws where there is none.
template <typename Predicate>
const Call& firstFrom(const calls::Calls& calls, double moment, Predicate is) {
    const auto found = std::find_if(calls.begin(), calls.end(),
                                    [&](const Call& call) { return call.begin >= moment && is(call); });
    if (found == calls.end())
        throw std::runtime_error("the run lacks a call");
    return *found;
}

template <typename Predicate>
const Call* lastBefore(const calls::Calls& calls, double moment, Predicate is) {
    const auto found = std::find_if(calls.rbegin(), calls.rend(),
                                    [&](const Call& call) { return call.begin < moment && is(call); });
    return found == calls.rend() ? nullptr : &*found;
}

/// The first moment from `earliest` on of a grid that goes through `through`.
double onGrid(double through, double period, double earliest) {
    return through + period * std::ceil((earliest - through) / period);
}

// --- What the described recovery takes ------------------------------------------------------------------

struct Recovery {
    double killed = 0;
    double detected = 0; ///< the eleventh cycle without data
    double queried = 0;
    double restarted = 0;
    double reported = 0; ///< the report that makes a fix whole
    double fixed = 0;
    ReceiverSequence sequence;
};

/// The worker's first query from `earliest` on: its cycles lie on a grid, and the first of each tick asks.
double nextQuery(double cycle, double earliest) {
    double query = onGrid(cycle, kWorkerPeriod, earliest);
    while (calls::tickAt(query) == calls::tickAt(query - kWorkerPeriod))
        query += kWorkerPeriod;
    return query;
}

/// When the reader first finds gpsd gone: at once, or after its pause.
double firstEmptyCycle(const calls::Calls& calls, double killed) {
    const Call* const pause = lastBefore(calls, killed, isReadersPause);
    return pause == nullptr ? killed : std::max(killed, pause->begin + kReaderPause);
}

/// What was left, when it was told to end, of the pause after which the reader does.
double readersLastPause(const calls::Calls& calls, double told) {
    const Call* const pause = lastBefore(calls, told, isReadersPause);
    return pause == nullptr ? 0 : std::max(0.0, pause->begin + kReaderPause - told);
}

int emptyCyclesBefore(const calls::Calls& calls, double killed) {
    return static_cast<int>(std::count_if(calls.begin(), calls.end(), [&](const Call& call) {
        return call.end < killed && (isEmpty(call) || (call.kind == Kind::Wait && call.value == 0));
    }));
}

/// Reports come a whole number of seconds apart.
double firstReport(double measured, double earliest) { return onGrid(measured, 1, earliest); }

/// Begins where the run's own recovery began, and goes on by the descriptions. `calls` hold all since the
/// last restart.
Recovery describedRecovery(const calls::Calls& calls, const Recovery& run, pthread_t worker) {
    Recovery limit;
    limit.killed = run.killed;
    const double firstEmpty = firstEmptyCycle(calls, run.killed);
    const int stillNeeded = kEmptyCyclesNeeded - emptyCyclesBefore(calls, run.killed);
    limit.detected = firstEmpty + kReaderPause * std::max(0, stillNeeded - 1);
    const double cycle = lastBefore(calls, run.killed, isWorkersPause)->begin + kWorkerPeriod;
    limit.queried = nextQuery(cycle, limit.detected);
    limit.sequence = receiverSequence(calls, worker, run.queried, run.restarted);
    limit.restarted = limit.queried + readersLastPause(calls, run.queried) + limit.sequence.limit();
    limit.reported = firstReport(run.reported, limit.restarted);
    // The cycle that restarted pauses; the next one asks at once, as its tick is long past.
    const double afterRestart = limit.restarted + kWorkerPeriod;
    limit.fixed = afterRestart >= limit.reported ? afterRestart : nextQuery(afterRestart, limit.reported);
    return limit;
}

// --- The run --------------------------------------------------------------------------------------------

/// -1 where none runs.
pid_t gpsdsProcess() {
    DIR* const folder = opendir("/proc");
    pid_t found = -1;
    while (const dirent* const entry = folder != nullptr ? readdir(folder) : nullptr) {
        std::ifstream file("/proc/" + std::string(entry->d_name) + "/comm");
        std::string name;
        if (std::getline(file, name) && name == "gpsd")
            found = static_cast<pid_t>(std::atoi(entry->d_name));
    }
    if (folder != nullptr)
        closedir(folder);
    return found;
}

uint32_t fixTick(GPSAdapter& adapter) {
    GPSReadings readings;
    adapter.GetReadings(readings);
    return readings.fixTick;
}

template <typename Predicate>
void await(const char* what, Predicate isThere) {
    // The library's own pauses are noted, these are not.
    const timespec lookPeriod = {0, kLookPeriodUs * 1000};
    for (const double end = calls::now() + kPatience; !isThere(); nanosleep(&lookPeriod, nullptr))
        if (calls::now() > end)
            throw std::runtime_error(std::string("in vain: ") + what);
}

void awaitNewFix(GPSAdapter& adapter) {
    const uint32_t before = fixTick(adapter);
    await("a fix", [&] { return fixTick(adapter) != before; });
}

void rest(double seconds) {
    const double end = calls::now() + seconds;
    await("the end of a rest", [end] { return calls::now() >= end; });
}

Recovery recover(GPSAdapter& adapter) {
    const pid_t gpsd = gpsdsProcess();
    if (gpsd < 0)
        throw std::runtime_error("there is no gpsd");
    Recovery run;
    run.killed = calls::now();
    kill(gpsd, SIGKILL);
    await("the restart", [&] {
        const calls::Calls noted = calls::noted();
        return std::any_of(noted.begin(), noted.end(), isRestart);
    });
    awaitNewFix(adapter); // until then the old values stay fresh; after that there is nothing but a new one
    run.fixed = calls::now();
    return run;
}

pthread_t fillIn(Recovery& run, const calls::Calls& calls) {
    const Call& restart = firstFrom(calls, run.killed, isRestart);
    run.queried = restart.begin;
    run.restarted = firstFrom(calls, run.queried, isWorkersPause).begin;
    run.reported = firstFrom(calls, run.restarted, isFix).end;
    const Call* const tenth = lastBefore(calls, run.queried, isEmpty);
    run.detected = tenth != nullptr ? tenth->end : run.killed;
    run.sequence = receiverSequence(calls, restart.thread, run.queried, run.restarted);
    return restart.thread;
}

void printOne(const Recovery& run, const Recovery& limit) {
    const ReceiverSequence& sequence = run.sequence;
    std::printf("took=%.6f limit=%.6f slow=%d queried=%.3f/%.3f restarted=%.3f/%.3f reported=%.3f/%.3f "
                "shell=%.6f calls=%zu pauses=%.6f steps=%zu reads=%zu line=%zu lateness=%.6f\n",
                run.fixed - run.killed, limit.fixed - run.killed, sequence.missesAnAnswer(),
                run.queried - run.killed, limit.queried - run.killed, run.restarted - run.killed,
                limit.restarted - run.killed, run.reported - run.killed, limit.reported - run.killed,
                sequence.shell, sequence.shellCalls, sequence.pauses, sequence.stepsTaken(),
                sequence.stepsByTheReads(), sequence.stepsByTheLine(), sequence.lateness);
    std::fflush(stdout);
    std::fprintf(stderr, "%s", explanation(sequence).c_str());
}

void measure(int turns) {
    GPSAdapter& adapter =
        *new GPSAdapter(nullptr); // never destroyed: that would poll the navigation database
    adapter.Initialize();
    calls::forget();
    adapter.Start();
    awaitNewFix(adapter);
    for (int turn = 0; turn < turns; ++turn) {
        rest(kSettle + kPhaseShift * turn);
        Recovery run = recover(adapter);
        const calls::Calls noted = calls::noted();
        const pthread_t worker = fillIn(run, noted);
        calls::forget();
        printOne(run, describedRecovery(noted, run, worker));
    }
}

} // namespace

int main(int argc, char** argv) {
    needUnit();
    int status = 0;
    try {
        measure(argc > 1 ? std::atoi(argv[1]) : 1);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "recovery_times: %s\n", problem.what());
        status = 1;
    }
    std::fflush(nullptr);
    _exit(status);
}
