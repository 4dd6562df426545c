// The library's pauses: which signals of the application's wait until they are over.

#include "Pause.h"

#include "SignalMask.h"
#include "VirtualUnit.h"

using ::testing::ElementsAre;

namespace {

/// A thread of the application's, which blocks one signal of its own.
class Pause : public UnitTest {
protected:
    Pause() {
        unit.clock.afterEachSleep = [this](auto) { meanwhile.push_back(maskOfThisThread()); };
    }

    /// The mask during either kind of pause, the same for both.
    sigset_t duringPauses() {
        pauseMicroseconds(100);
        pauseSeconds(2);
        EXPECT_EQ(meanwhile.size(), 2u);
        for (int signal = 1; signal <= SIGRTMAX; ++signal)
            EXPECT_EQ(blocks(meanwhile.at(0), signal), blocks(meanwhile.at(1), signal)) << signal;
        return meanwhile.at(0);
    }

    std::vector<sigset_t> meanwhile;

private:
    BlocksOnly own_{SIGWINCH};
};

TEST_F(Pause, LetsTimersAndNoticesWait) {
    const sigset_t mask = duringPauses();
    for (const int signal : {SIGALRM, SIGVTALRM, SIGPROF, SIGIO, SIGCHLD, SIGUSR1, SIGUSR2})
        EXPECT_TRUE(blocks(mask, signal)) << strsignal(signal);
    for (int signal = SIGRTMIN; signal <= lastSignal(); ++signal)
        EXPECT_TRUE(blocks(mask, signal)) << strsignal(signal);
}

TEST_F(Pause, CanBeEndedAsTheProcessCan) {
    const sigset_t mask = duringPauses();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGSEGV, SIGABRT})
        EXPECT_FALSE(blocks(mask, signal)) << strsignal(signal);
}

TEST_F(Pause, KeepsWhatTheApplicationBlocks) { EXPECT_TRUE(blocks(duringPauses(), SIGWINCH)); }

TEST_F(Pause, LeavesTheMaskAsItWas) {
    duringPauses();
    EXPECT_FALSE(blocks(maskOfThisThread(), SIGALRM));
    EXPECT_FALSE(blocks(maskOfThisThread(), SIGRTMIN));
    EXPECT_TRUE(blocks(maskOfThisThread(), SIGWINCH));
}

TEST_F(Pause, LeavesTheMaskAsItWasWhenItIsLeftByUnwinding) {
    struct Cancelled {};
    unit.clock.afterEachSleep = [](auto) { throw Cancelled(); };
    EXPECT_THROW(pauseSeconds(1), Cancelled);
    EXPECT_THROW(pauseMicroseconds(1), Cancelled);
    EXPECT_FALSE(blocks(maskOfThisThread(), SIGALRM));
}

TEST_F(Pause, IsTheSameCallWithTheSameArgument) {
    pauseMicroseconds(21701);
    pauseSeconds(5);
    EXPECT_THAT(unit.journal.lines(), ElementsAre("usleep 21701", "sleep 5"));
}

} // namespace
