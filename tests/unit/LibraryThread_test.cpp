// The signals of the library's threads, and of the shell commands that run on them.

#include <map>
#include <string>

#include "DriverMembers.h"
#include "GPSAdapter.h"
#include "SignalMask.h"
#include "VirtualUnit.h"

namespace {

/// An application that blocks SIGUSR1 for a purpose of its own, and a service that has fallen silent.
class ShellCommandsOfTheWatchdog : public UnitTest {
protected:
    ShellCommandsOfTheWatchdog() {
        adapter.Initialize();
        adapter.Start();
        noDataReadCounter() = 11;
        unit.shell.listeners.push_back([this](const std::string& command) {
            masks.emplace(command.substr(0, command.find(' ')), maskOfThisThread());
        });
    }
    ~ShellCommandsOfTheWatchdog() override {
        unit.shell.listeners.clear();
        noDataReadCounter() = 0;
    }

    /// One cycle of the worker, under the signal mask that its thread was created with.
    void runWorker() {
        unit.clock.afterEachSleep = [this](auto) {
            GPSParams off;
            adapter.GetParams(off);
            off.enabled = false;
            adapter.SetParams(off);
        };
        const sigset_t own = maskOfThisThread();
        pthread_sigmask(SIG_SETMASK, &unit.threads.last().signalMask, nullptr);
        unit.threads.run();
        unit.clock.afterEachSleep = nullptr;
        workerMask = maskOfThisThread();
        pthread_sigmask(SIG_SETMASK, &own, nullptr);
    }

    GPSAdapter adapter{nullptr};
    BlocksOnly itsOwn{SIGUSR1};            // from here on; put back before the adapter goes
    std::map<std::string, sigset_t> masks; // of the first command by its first word
    sigset_t workerMask{};
};

TEST_F(ShellCommandsOfTheWatchdog, CanBeEndedBySignals) {
    runWorker();
    ASSERT_EQ(masks.count("timeout"), 1u); // ends a stty that hangs with SIGTERM
    EXPECT_FALSE(blocks(masks["timeout"], SIGTERM));
    ASSERT_EQ(masks.count("gpsd"), 1u); // lives on with the mask it was started with
    EXPECT_FALSE(blocks(masks["gpsd"], SIGTERM));
    EXPECT_FALSE(blocks(masks["gpsd"], SIGINT));
    EXPECT_FALSE(blocks(masks["gpsd"], SIGHUP));
}

TEST_F(ShellCommandsOfTheWatchdog, HaveTheApplicationsOwnMask) {
    runWorker();
    EXPECT_TRUE(blocks(masks["timeout"], SIGUSR1));
    EXPECT_TRUE(blocks(masks["gpsd"], SIGUSR1));
}

TEST_F(ShellCommandsOfTheWatchdog, LeaveTheWorkersThreadBlockedAfterwards) {
    runWorker();
    EXPECT_TRUE(blocks(workerMask, SIGTERM));
    EXPECT_TRUE(blocks(workerMask, SIGALRM));
}

TEST_F(ShellCommandsOfTheWatchdog, LeaveAnApplicationsThreadAsItIs) {
    sigset_t blocked;
    sigfillset(&blocked);
    pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
    adapter.Stop();
    adapter.Finalize();
    EXPECT_TRUE(blocks(masks["pidof"], SIGTERM));
}

} // namespace
