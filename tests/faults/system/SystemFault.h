#ifndef SYSTEMFAULT_H
#define SYSTEMFAULT_H

#include <algorithm>
#include <cmath>
#include <string>

#include "../FaultOnUnit.h"
#include "EndToEnd.h"
#include "FaultFigures.h"

/// The vocabulary of the rows about the service's own process, on the virtual unit.
class SystemFault : public EndToEndTest {
protected:
    static constexpr char kWatchdog[] = "GPSD does not provide any data - restarting GPSD";
    static constexpr char kFirstFix[] = "until position 1 90"; // eleven fixes, in fact
    static constexpr char kKillGpsd[] = "shell kill -9 $(pidof gpsd)";

    // --- What the described pauses allow for, in the unit's seconds

    static constexpr double kCycle = FaultOnUnit::kCycle;
    static constexpr double kLateness = FaultOnUnit::kLateness;
    static constexpr double kNextFix = FaultOnUnit::kNextFix;
    static constexpr double kFixAge = kNextFix + 1; ///< by its time, of which gpsd tells whole seconds
    static constexpr double kFresh = 10;            ///< for so long counts what has come
    static constexpr double kStatusInterval = 2;
    static constexpr double kStartDelay = 3; ///< between gpsd's start and the connection
    /// A wait of the reader that lasts until the next epoch, and the worker's for its token.
    static constexpr double kStopAndStart = 2 + kNextFix;
    /// From gpsd's end to the first fix behind the restart.
    static constexpr double kRestart = FaultOnUnit::kCountsToRestart + FaultOnUnit::kRestartSeconds;
    /// The restart in which something is refused until now may have missed gpsd's start alone, which it looks
    /// after nine times, a second each; then it connects in vain.
    static constexpr double kRefusedRestart = 9 + kStartDelay + kRestart;
    /// Until the reader gives a silent gpsd up.
    static constexpr double kElevenEmptyWaits = 11 * FaultOnUnit::kEmptyWait;
    static constexpr double kWaitForAnswer = 275 * 0.021701;
    static constexpr double kLongestWait = 11; ///< where its pauses come late

    /// Seconds between two notifications of a position, and fixes too.
    static constexpr double kFixesPerUpdate = 11;

    SystemFault() { unit.receiver("--ttff 2 --burst"); }

    /// When the first fix came behind this line that the probe waited for, counted from its time. What was
    /// seen in the same millisecond was seen before: steps follow each other at once.
    double secondsToTheFixAfter(const ProbeLine& line) const {
        for (const ProbeLine& seen : unit.lines("seen"))
            if (seen.text("what") == "fix" && seen.t > line.t)
                return seen.t - line.t;
        return std::nan("");
    }

    void noteRecovery(const std::string& row, const ProbeLine& endOfTheFault, double atMost) {
        const double seconds = secondsToTheFixAfter(endOfTheFault);
        EXPECT_LT(seconds, atMost);
        faultFigure(row, "recovery_s", seconds);
    }

    /// The longest time between two notifications of a position until then.
    double longestGap(double until) const {
        double longest = 0;
        double last = std::nan("");
        for (const ProbeLine& event : unit.lines("event", "position")) {
            if (event.t < until && event.t - last > longest)
                longest = event.t - last;
            last = event.t;
        }
        return longest;
    }
    /// How many are missing until then: one for each multiple of its time that a gap is longer.
    double positionsLost(double until) const {
        return std::max(0.0, std::round(longestGap(until) / kFixesPerUpdate) - 1);
    }

    /// Cycles of the reader without data behind this line; before the first fix gpsd may still be looking for
    /// the receiver's speed.
    std::size_t emptyCyclesAfter(const ProbeLine& line) const {
        std::size_t count = 0;
        for (const LogLine& logged : unit.loggedLike("cycles without any data reception"))
            count += logged.t >= line.t ? 1 : 0;
        return count;
    }

    /// The process has the same as at its begin: the first `held` step against the last.
    void expectNothingLeaked(const std::string& row) {
        const auto held = unit.lines("held");
        ASSERT_GE(held.size(), 2u);
        for (const char* what : {"descriptors", "threads"}) {
            EXPECT_EQ(held.back().text(what), held.front().text(what)) << what;
            faultFigure(row, std::string("leaked_") + what,
                        held.back().number(what) - held.front().number(what));
        }
        EXPECT_EQ(held.back().text("children"), "0");
        faultFigure(row, "leaked_processes", held.back().number("children"));
    }

    /// From before the construction to behind the destruction, for `expectNothingLeaked`.
    void liveThrough(const Steps& steps) {
        unit.probe(concat(concat({"held", "construct", "initialize", "start"}, steps),
                          {"stop", "finalize", "destroy", "held"}));
        EXPECT_EQ(unit.status(), 0) << "an event was waited for in vain";
    }
};

#endif
