#ifndef FAULTONUNIT_H
#define FAULTONUNIT_H

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "EndToEnd.h"
#include "FaultFigures.h"

/// The vocabulary of rows about gpsd and its port: what a restart takes, what was left behind, what was seen.
///
/// Frames reach the library whole (`--burst`): an acknowledgement that straddles two reads is another row.
class FaultOnUnit : public EndToEndTest {
public:
    /// From the watchdog's line to the first fix: the worker finds the line dead within its second and joins
    /// the reader (1 s each), the kill is looked after once more (1 s), the reset settles (1 s), the pauses
    /// before and after gpsd's start (5 and 3 s), and gpsd recognises the receiver and reports its next
    /// epochs.
    static constexpr double kRestartSeconds = 18;
    static constexpr double kEmptyWait = 5; ///< of the reader
    static constexpr int kEmptyWaitsAllowed = 10;
    /// Eleven failed reads, 50 ms apart, and a worker's cycle.
    static constexpr double kCountsToRestart = 1.6;
    /// To the next fix at the worst phase: the receiver's epoch, the worker's cycle and the sleep by which it
    /// may miss its second, the reader's pauses between the reports of an epoch, the probe's look, and how
    /// late the unit may be in all of that.
    static constexpr double kEpoch = 1;
    static constexpr double kCycle = 1;
    static constexpr double kCyclesSleep = 0.25;
    static constexpr double kReadersPauses = 2 * 0.05;
    static constexpr double kLook = 0.05;
    static constexpr double kLateness = 0.25;
    static constexpr double kNextFix = kEpoch + kCycle + kCyclesSleep + kReadersPauses + kLook + kLateness;
    static constexpr char kWatchdog[] = "GPSD does not provide any data - restarting GPSD";
    static constexpr char kNotConnected[] = "Failed to connect to GPSD server (errno=-"; // -1, or -6 of old
    static constexpr char kCloses[] = "Close GPS socket";

    static std::string cyclesWithoutData(int count) {
        return std::to_string(count) + " cycles without any data reception have been detected";
    }

protected:
    /// The C library counts as in use what it keeps at hand for each thread. Without that its figure is what
    /// the application holds.
    FaultOnUnit() { setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0:glibc.malloc.arena_max=1", 1); }

    /// A step that runs `command` on, without waiting for it.
    static std::string inBackground(const std::string& command) {
        return "shell (" + command + ") >/dev/null 2>&1 </dev/null & echo $! >/run/background";
    }
    /// Ends it, and what it has started last.
    static std::string endBackground() { return "shell kill -9 $(cat /run/background)"; }

    /// Each operation of the adapter returned 0.
    void expectAllSucceeded() const {
        for (const char* name : {"construct", "initialize", "start", "stop", "finalize", "destroy"})
            for (const ProbeLine& end : unit.lines("end", name))
                EXPECT_EQ(end.text("rc"), "0x00000000") << name;
    }

    /// From the last shell step's begin before `what` was seen for the last time.
    double secondsToSee(const std::string& what) const {
        double seen = std::nan("");
        for (const ProbeLine& line : unit.lines("seen"))
            seen = line.text("what") == what ? line.t : seen;
        double begin = std::nan("");
        for (const ProbeLine& line : unit.lines("begin", "shell"))
            begin = line.t < seen ? line.t : begin; // one of the same millisecond came behind it
        return seen - begin;
    }

    /// The service recovered by the time that what is described takes.
    void expectRecovery(const std::string& row, double seconds, double atMost) const {
        faultFigure(row, "recovery_s", std::round(seconds * 10) / 10);
        EXPECT_LE(seconds, atMost);
    }

    /// The last `resources` step found what the first one did. Memory is counted to the byte; what may differ
    /// is a line of the log that is just being written, and what comes with a first fix and stays.
    void expectNothingLeft(const std::string& row) const {
        const auto steps = unit.lines("resources");
        ASSERT_GE(steps.size(), 2u);
        const auto grown = [&](const char* what) {
            return steps.back().number(what) - steps.front().number(what);
        };
        for (const char* what : {"descriptors", "threads", "processes"}) {
            EXPECT_EQ(grown(what), 0) << what;
            faultFigure(row, std::string("leaked_") + what, grown(what));
        }
        EXPECT_LE(grown("heap_kib"), kLineAndFirstFixKib);
        faultFigure(row, "leaked_kib", std::max(0.0, grown("heap_kib"))); // less than before is no leak
    }

private:
    static constexpr double kLineAndFirstFixKib = 1; ///< a session that leaks is 25
};

#endif
