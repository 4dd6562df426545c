// The wait for the worker's start token counts in the system's time, so setting the clock back makes it
// longer.

#include "FaultFigures.h"
#include "WorkerFixture.h"

using namespace std::chrono_literals;

namespace {

constexpr int kHour = 3600;

class TokenWait : public WorkerFixture {
protected:
    /// A worker that was disabled ends without giving the token back.
    void letTheWorkerEndByItself() {
        EXPECT_EQ(worker().Start(), 0u);
        set([](GPSParams& p) { p.enabled = false; });
        unit.threads.run();
        set([](GPSParams& p) { p.enabled = true; });
    }
    void clockIsSetIn(std::chrono::microseconds wait, int seconds) {
        unit.clock.in(wait, [this, seconds] { unit.clock.setUtc(unit.clock.utc() + seconds); });
    }
    VirtualClock::Duration timeOfAStart() {
        const auto begin = unit.clock.elapsed();
        EXPECT_EQ(worker().Start(), 0u);
        return unit.clock.elapsed() - begin;
    }
};

TEST_F(TokenWait, LastsAsLongAsTheClockIsSetBackMeanwhile) {
    letTheWorkerEndByItself();
    unit.clock.advance(kSecond - unit.clock.elapsed() % kSecond);
    clockIsSetIn(500ms, -kHour);
    const auto waited = timeOfAStart();
    EXPECT_GE(waited, 3600s);
    EXPECT_LE(waited, 3602s);
    faultFigure("system.clock-back-in-the-token-wait", "start_s",
                std::chrono::duration<double>(waited).count());
}

TEST_F(TokenWait, IsNoneAfterAStopHoweverTheClockIsSet) {
    EXPECT_EQ(worker().Start(), 0u);
    EXPECT_EQ(worker().Stop(), 0u);
    clockIsSetIn(0ms, -kHour);
    const auto waited = timeOfAStart();
    EXPECT_EQ(waited, 0s);
    faultFigure("system.clock-back-after-a-stop", "start_s", std::chrono::duration<double>(waited).count());
}

} // namespace
