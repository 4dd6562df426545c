// The service's life on interposed calls: started and stopped a thousand times, and destroyed wherever it
// stands.

#include <dirent.h>

#include <memory>

#include "AdapterMembers.h"
#include "DriverMembers.h"
#include "FaultFigures.h"
#include "GpsRecord.h"
#include "RecordingCallback.h"
#include "Shortage.h"

using namespace std::chrono_literals;
using ::testing::Each;
using ::testing::SizeIs;

namespace {

constexpr int kRounds = 1000;
constexpr char kRestarting[] = "GPSD does not provide any data - restarting GPSD";

int openDescriptors() {
    const GroundMemory ground;
    DIR* const entries = opendir("/proc/self/fd");
    int count = 0;
    while (readdir(entries) != nullptr)
        ++count;
    closedir(entries);
    return count;
}

/// The C library holds one copy of the time zone's name, which it takes anew each time: from here on another
/// one than the service's.
void giveTimeZoneBack() {
    const GroundMemory ground;
    tzset();
}

int threadsNotJoined(VirtualThreads& threads) {
    int count = 0;
    for (std::size_t i = 0; i < threads.count(); ++i)
        count += threads.at(i).joined ? 0 : 1;
    return count;
}

// --- A thousand times -----------------------------------------------------------------------------------

/// Reader and worker are captured: what they take is taken on this thread.
class LifeCycles : public UnitTest {
protected:
    LifeCycles() : adapter(std::make_unique<GPSAdapter>(&callback)) {}

    /// Initialised and started, a fix read, some cycles of the worker, stopped and finalised.
    void round() {
        {
            const GroundMemory ground;
            unit.gpsd.reports(fillNorthbound);
        }
        ASSERT_EQ(adapter->Initialize(), 0u);
        ASSERT_EQ(adapter->Start(), 0u);
        read();
        work();
        GPSReadings readings;
        adapter->GetReadings(readings);
        EXPECT_TRUE(readings.available);
        EXPECT_EQ(adapter->Stop(), 0u);
        EXPECT_EQ(adapter->Finalize(), 0u);
        EXPECT_FALSE(unit.gpsd.isOpen());
        EXPECT_EQ(unit.shell.openStreams(), 0u);
        unit.forget();
    }
    void read() {
        unit.gpsd.whenLastCycleBegins = [this] { reader().stopRequested = true; };
        unit.threads.run(unit.threads.count() - 2);
    }
    void work() {
        int sleeps = 4;
        bool& stop = (*adapter).*memberOf(AdapterWorker())->*memberOf(WorkerStopRequested());
        unit.clock.afterEachSleep = [&sleeps, &stop](VirtualClock::Duration) { stop = --sleeps <= 0; };
        unit.threads.run();
        unit.clock.afterEachSleep = nullptr;
        // Its end was the test's: for the application it runs still.
        (*adapter).*memberOf(AdapterWorker())->*memberOf(WorkerRunning()) = true;
    }
    ReaderBlock& reader() {
        return static_cast<GPSHAL_RUXO_3&>(*((*adapter).*memberOf(AdapterHal()))).*memberOf(DriverReader());
    }

    RecordingCallback callback;
    std::unique_ptr<GPSAdapter> adapter;
};

TEST_F(LifeCycles, AThousandTimesHoldNoMemoryDescriptorOrProcess) {
    round(); // what is made once and kept is made now
    const int descriptors = openDescriptors();
    const MemoryWatch memory;
    for (int i = 1; i < kRounds && !HasFailure(); ++i)
        round();
    giveTimeZoneBack();
    EXPECT_EQ(memory.blocks(), 0u);
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(unit.threads.count(), 2u * kRounds);
    EXPECT_EQ(threadsNotJoined(unit.threads), 0);
    faultFigure("use.thousand-starts", "leaked_kib", static_cast<double>(memory.bytes()) / 1024);
    faultFigure("use.thousand-starts", "leaked_descriptors", openDescriptors() - descriptors);
    faultFigure("use.thousand-starts", "leaked_threads", threadsNotJoined(unit.threads));
}

// --- With threads of their own --------------------------------------------------------------------------

class Lives : public UnitTest {
protected:
    Lives() { unit.useRealThreads(); }

    void construct() { adapter = std::make_unique<GPSAdapter>(nullptr); }
    void initialize() { EXPECT_EQ(adapter->Initialize(), 0u); }
    void start() { EXPECT_EQ(adapter->Start(), 0u); }
    void run() { unit.clock.advance(20s); }
    void disable() {
        GPSParams params;
        adapter->GetParams(params);
        params.enabled = false;
        adapter->SetParams(params);
        unit.clock.advance(10s);
    }
    void stop() { EXPECT_EQ(adapter->Stop(), 0u); }
    void finalize() { EXPECT_EQ(adapter->Finalize(), 0u); }

    /// Destroyed, and then nothing of it is there any more.
    void destroy() {
        adapter.reset();
        for (; joined_ < unit.threads.count(); ++joined_)
            EXPECT_TRUE(unit.threads.at(joined_).joined) << "thread " << joined_;
        EXPECT_FALSE(unit.gpsd.isOpen());
        EXPECT_FALSE(unit.port.isOpen());
        EXPECT_FALSE(unit.shell.daemon.running) << "gpsd is ended";
        EXPECT_EQ(unit.shell.openStreams(), 0u);
        noDataReadCounter() = 0;
        unit.forget();
    }

    std::unique_ptr<GPSAdapter> adapter;

private:
    std::size_t joined_ = 0;
};

TEST_F(Lives, AThousandTimesLeaveNoThread) {
    unit.gpsd.reportsEvery(1s, fillNorthbound);
    construct();
    for (int i = 0; i < kRounds && !HasFailure(); ++i) {
        initialize();
        start();
        unit.clock.advance(2s);
        finalize();
        unit.forget();
    }
    EXPECT_EQ(unit.gpsd.opens(), kRounds);
    EXPECT_EQ(unit.gpsd.closes(), kRounds);
    EXPECT_EQ(unit.threads.count(), 2u * kRounds);
    destroy();
    faultFigure("use.thousand-threads", "leaked_threads", threadsNotJoined(unit.threads));
}

TEST_F(Lives, EndInEveryState) {
    unit.gpsd.reportsEvery(1s, fillNorthbound);
    const std::vector<std::function<void()>> whole = {
        [this] { initialize(); }, [this] { start(); }, [this] { run(); },  [this] { disable(); },
        [this] { stop(); },       [this] { start(); }, [this] { stop(); }, [this] { finalize(); },
        [this] { initialize(); }, [this] { start(); }};
    for (std::size_t states = 0; states <= whole.size(); ++states) {
        construct();
        for (std::size_t i = 0; i < states; ++i)
            whole[i]();
        destroy();
        ASSERT_FALSE(HasFailure()) << "after " << states << " steps";
    }
    faultFigure("use.destroyed-in-every-state", "leaked_threads", threadsNotJoined(unit.threads));
}

// A restart begins when the reader has waited eleven times for a report (5 s, and 50 ms of its pause), at the
// worker's next position cycle (1 s, seen by a sleep of 0.25 s), and not before.
TEST_F(Lives, EndAnywhereInARestart) {
    constexpr auto kSilence = 11 * 5s;
    constexpr auto kLatest = kSilence + 11 * 50ms + 1s + 250ms;
    constexpr auto kStep = 250ms;
    int restarts = 0;
    int leastRestarts = 0;
    for (auto life = kSilence - 2s + 0ms; life < kSilence + 18s; life += kStep) {
        construct();
        initialize();
        start();
        unit.clock.advance(life);
        const int restarted = unit.log.count(3, kRestarting);
        EXPECT_LE(restarted, life < kSilence ? 0 : 1);
        restarts += restarted;
        leastRestarts += life > kLatest ? 1 : 0;
        destroy();
        ASSERT_FALSE(HasFailure()) << "after " << life.count() << " ms";
    }
    EXPECT_GE(restarts, leastRestarts);
    faultFigure("use.destroyed-in-a-restart", "restarts", restarts);
    faultFigure("use.destroyed-in-a-restart", "leaked_threads", threadsNotJoined(unit.threads));
}

} // namespace
