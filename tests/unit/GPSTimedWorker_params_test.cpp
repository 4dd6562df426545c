// The worker with an adapter whose settings can't be read. The adapter's own operation never fails; this
// program has one of its own in its place, which the library finds first.

#include <deque>

#include "WorkerFixture.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

/// What the next calls return; 0 when it is empty. Only a 0 fills in the settings.
std::deque<unsigned int> results;
GPSParams settings;
int calls = 0;
std::function<void()> atCall;

} // namespace

unsigned int GPSAdapter::GetParams(GPSParams& p) {
    ++calls;
    if (atCall)
        atCall();
    const unsigned int result = results.empty() ? 0 : results.front();
    if (!results.empty())
        results.pop_front();
    if (result == 0)
        p = settings;
    return result;
}

namespace {

class WorkerSettings : public WorkerFixture {
protected:
    WorkerSettings() {
        settings = GPSParams();
        settings.enabled = true;
        settings.positionInterval = settings.statusInterval = 1;
        calls = 0;
    }
    ~WorkerSettings() override {
        results.clear();
        atCall = nullptr;
    }

    static std::string failed(const std::string& code) {
        return "3 GPS worker failed to get setting parameters (error code " + code + ")!";
    }
    const std::string kStartsWithoutSleep = "6 GPS worker starts and should not exit immediately, usleep 0.";
};

TEST_F(WorkerSettings, AreReadOnceBeforeTheLoopAndOnceACycle) {
    runCycles(3);
    EXPECT_EQ(calls, 4);
    EXPECT_EQ(ticks["GetData"].size(), 1u);
}

TEST_F(WorkerSettings, AreReadAgainAtOnceUntilItSucceeds) {
    results = {0, 0x17000001, 0x17000205, 0x42};
    runCycles(1);
    EXPECT_THAT(unit.log.texts(),
                ElementsAre("6 GPS worker starts and should not exit immediately, usleep 250000.",
                            failed("0x17000001"), failed("0x17000205"), failed("0x00000042"),
                            "6 GPS worker stopped."));
    EXPECT_EQ(unit.log.all()[1].source, "src/GPSTimedWorker.cpp");
    EXPECT_EQ(unit.journal.only({"usleep"}), Lines{"usleep 250000"}) << "no sleep in between";
    EXPECT_EQ(ticks["GetData"].size(), 1u);
}

TEST_F(WorkerSettings, MayFailUnnoticedBeforeTheLoop) {
    results = {0x17000001};
    runCycles(1);
    EXPECT_THAT(unit.log.texts(), ElementsAre(kStartsWithoutSleep, "6 GPS worker stopped."));
    EXPECT_EQ(ticks["GetData"].size(), 1u);
}

TEST_F(WorkerSettings, EndTheLoopWhenTheyFailWhileItIsToStop) {
    results = {0, 0x17000001, 0x17000001, 0x17000001};
    atCall = [this] { stopRequested() = calls == 3; };
    worker().Run();
    EXPECT_THAT(unit.log.texts(),
                ElementsAre("6 GPS worker starts and should not exit immediately, usleep 250000.",
                            failed("0x17000001"), failed("0x17000001"), "6 GPS worker stopped."));
    EXPECT_THAT(cycle(), IsEmpty()) << "no cycle and no sleep";
    EXPECT_FALSE(worker().IsActive());
}

TEST_F(WorkerSettings, AreHeldToACycleEvenIfAStopIsAskedForWhileTheyAreRead) {
    atCall = [this] { stopRequested() = calls == 2; };
    worker().Run();
    EXPECT_EQ(ticks["GetData"].size(), 1u);
    EXPECT_EQ(unit.journal.count("usleep"), 1u);
}

} // namespace
