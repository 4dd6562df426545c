#ifndef SYSTEMFAULT_H
#define SYSTEMFAULT_H

#include <cmath>
#include <string>

#include "EndToEnd.h"
#include "FaultFigures.h"

/// The vocabulary of the rows about the service's own process, on the virtual unit.
class SystemFault : public EndToEndTest {
protected:
    static constexpr char kWatchdog[] = "GPSD does not provide any data - restarting GPSD";
    static constexpr char kFirstFix[] = "until position 1 90"; // eleven fixes, in fact
    static constexpr char kKillGpsd[] = "shell kill -9 $(pidof gpsd)";

    SystemFault() { unit.receiver("--ttff 2 --burst"); }

    /// When the last fix came that the probe waited for by itself, counted from this line's time.
    double secondsToTheFixAfter(const ProbeLine& line) const {
        for (const ProbeLine& seen : unit.lines("seen"))
            if (seen.text("what") == "fix" && seen.t >= line.t)
                return seen.t - line.t;
        return std::nan("");
    }

    void noteRecovery(const std::string& row, const ProbeLine& endOfTheFault, double atMost) {
        const double seconds = secondsToTheFixAfter(endOfTheFault);
        EXPECT_LT(seconds, atMost);
        faultFigure(row, "recovery_s", seconds);
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
