// Every public operation, as the headers allow, from four threads, while gpsd is killed every nine seconds:
// what ThreadSanitizer looks at. For minutes by hand: unit_use.cpp says how.

#include "EndToEnd.h"
#include "FaultFigures.h"

namespace {

// The unit's time. Under a sanitizer, which is what it is for, some 25 s of the host's.
#if defined __SANITIZE_THREAD__
constexpr char kSeconds[] = "200";
#else
constexpr char kSeconds[] = "60";
#endif

class UseFromThreads : public EndToEndTest {};

} // namespace

TEST_F(UseFromThreads, OfEveryOperationIsSafeWhileGpsdIsKilled) {
    unit.receiver("--ttff 2 --burst");
    unit.script(std::string(UNIT_USE) + " threads " + kSeconds);
    EXPECT_EQ(unit.status(), 0) << "a race, a crash, or no fix in the end";
    EXPECT_GE(unit.lines("kill", "gpsd").size(), 6u);
    EXPECT_GE(unit.lines("life").size(), 2u);
    EXPECT_GE(unit.line("used").number("calls"), 500);
    EXPECT_EQ(unit.lines("fix", "after-all").size(), 1u);
    faultFigure("use.four-threads", "calls", unit.line("used").number("calls"));
    faultFigure("use.four-threads", "recovery_s", unit.line("fix", "after-all").number("seconds"));
}
