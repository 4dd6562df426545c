// The driver: its life cycle, gpsd's life and the reader thread.

#include "GPSHAL_RUXO_3.h"

#include <malloc.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "DriverFixture.h"
#include "GpsRecord.h"
#include "SignalMask.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

constexpr uint32_t kUnsignedMax = std::numeric_limits<uint32_t>::max();

constexpr unsigned int kNotRunning = 0x17000002;

const Lines kOneCheck = {"popen pidof gpsd", "pclose pidof gpsd"};

Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Lines times(int count, const Lines& lines) {
    Lines all;
    for (int i = 0; i < count; ++i)
        all = all + lines;
    return all;
}

// --- Construction and destruction -----------------------------------------------------------------------

class DriverConstruction : public UnitTest {};

TEST_F(DriverConstruction, SetsEveryMember) {
    alignas(GPSHAL_RUXO_3) static unsigned char memory[sizeof(GPSHAL_RUXO_3)];
    std::memset(memory, 0xEE, sizeof memory);
    auto* driver = new (memory) GPSHAL_RUXO_3;
    EXPECT_FALSE(driver->*memberOf(DriverActive()));
    EXPECT_FALSE(driver->*memberOf(DriverRunning()));
    EXPECT_FALSE(driver->*memberOf(DriverGpsdRunning()));
    EXPECT_EQ(driver->*memberOf(DriverReaderThread()), 0u);
    EXPECT_EQ(driver->*memberOf(DriverLastQueryTime()), 0);
    EXPECT_EQ(driver->*memberOf(DriverInitializeTick()), 0u);
    const ReaderBlock zero{};
    EXPECT_EQ(std::memcmp(&(driver->*memberOf(DriverReader())), &zero, sizeof zero), 0);
    driver->~GPSHAL_RUXO_3();
}

TEST_F(DriverConstruction, CountsTheSatelliteLogFromItsBegin) {
    unit.clock.setUtc(1234567890);
    const GPSHAL_RUXO_3 driver;
    EXPECT_GT(unit.clock.utc(), 1234567890) << "configuring the receiver takes its time";
    EXPECT_EQ(driver.*memberOf(DriverLastSatelliteLog()), 1234567890);
}

TEST_F(DriverConstruction, LeavesTheCounterOfEmptyCyclesAlone) {
    noDataReadCounter() = 7;
    const GPSHAL_RUXO_3 driver;
    EXPECT_EQ(noDataReadCounter(), 7u);
}

TEST_F(DriverConstruction, ThrowsForWantOfMemoryAloneAndLeavesNothingBehind) {
    std::unique_ptr<GPSHAL> hal;
    std::size_t thrown = 0;
    while (hal == nullptr) {
        try {
            const FailingMemory memory(thrown + 1);
            hal.reset(GPSHAL::GetNewInstance());
        } catch (const std::bad_alloc&) {
            ++thrown;
            EXPECT_FALSE(unit.port.isOpen());
        }
    }
    EXPECT_GT(thrown, 5u);
}

TEST_F(DriverConstruction, ReleasesWhatItTookWhereverItsMemoryEnds) {
    const auto failEverywhere = [this](std::size_t allocations) {
        for (std::size_t n = 1; n <= allocations; ++n) {
            const FailingMemory memory(n);
            EXPECT_THROW(GPSHAL::GetNewInstance(), std::bad_alloc);
        }
        unit.forget();
        return mallinfo2().uordblks;
    };
    const std::size_t before = failEverywhere(20);
    EXPECT_LT(failEverywhere(20), before + 4000) << "the read buffer alone takes 5000";
}

class DriverDestruction : public DriverFixture {};

TEST_F(DriverDestruction, StopsTheReaderKillsGpsdAndThenSavesTheDatabase) {
    start();
    driver.reset();
    const Lines done = unit.journal.only({"pthread_", "popen kill", "remove", "fopen /data"});
    EXPECT_THAT(done, ElementsAre("pthread_join thread 1", "popen kill -9 $(pidof gpsd)",
                                  "remove /var/run/gpsd.pid", "fopen /data/NavigationDatabaseDump wb"));
}

TEST_F(DriverDestruction, ThrowsNothingWithoutMemory) {
    withEachAllocationFailing(
        [this] {
            driver = std::make_unique<GPSHAL_RUXO_3>();
            start();
        },
        [this] { driver.reset(); },
        [this] {
            EXPECT_EQ(unit.journal.count("popen kill"), 1u);
            EXPECT_FALSE(unit.port.isOpen());
        });
}

TEST_F(DriverDestruction, JoinsNothingWhenItNeverStarted) {
    driver.reset();
    EXPECT_EQ(unit.journal.count("pthread_"), 0u);
    EXPECT_EQ(unit.journal.count("remove"), 0u);
}

// --- gpsd's life ----------------------------------------------------------------------------------------

class GpsdControl : public DriverFixture {
protected:
    GpsdControl() { unit.semaphores.journalAs(&reportSemaphore(), "semaphore"); }

    bool found() { return (*driver).*memberOf(DriverGpsdRunning()); }
    VirtualDaemon& daemon = unit.shell.daemon;

    void expectOneLogLine(const std::string& text) {
        ASSERT_EQ(unit.log.all().size(), 1u);
        EXPECT_EQ(unit.log.all()[0].level, 3);
        EXPECT_EQ(unit.log.all()[0].source, "src/GPSHAL_RUXO_3.cpp");
        EXPECT_EQ(unit.log.all()[0].text, text);
    }
};

TEST_F(GpsdControl, FindsGpsdByAnyOutputOfPidof) {
    for (const std::string& output : Lines{"1234\n", "12 13\n", "7", "\n", std::string(3000, '9')}) {
        unit.shell.answers("pidof gpsd", output);
        unit.forget();
        EXPECT_EQ(driver->checkgpsd(), 0u);
        EXPECT_TRUE(found()) << output;
        expectJournal(kOneCheck);
    }
}

TEST_F(GpsdControl, FindsNoGpsdWithoutOutput) {
    (*driver).*memberOf(DriverGpsdRunning()) = true;
    EXPECT_EQ(driver->checkgpsd(), 0u);
    EXPECT_FALSE(found());
    expectJournal(kOneCheck);
}

TEST_F(GpsdControl, HasFoundNoneUntilTheCheckIsOver) {
    (*driver).*memberOf(DriverGpsdRunning()) = true;
    std::vector<bool> meanwhile;
    unit.shell.listeners.push_back([&](const std::string&) { meanwhile.push_back(found()); });
    driver->checkgpsd();
    unit.shell.listeners.pop_back();
    EXPECT_THAT(meanwhile, ElementsAre(false));
}

TEST_F(GpsdControl, TakesAFailedCheckForNoGpsd) {
    daemon.running = true;
    (*driver).*memberOf(DriverGpsdRunning()) = true;
    unit.shell.popenFails("pidof gpsd");
    EXPECT_EQ(driver->checkgpsd(), 0u);
    EXPECT_FALSE(found());
    expectOneLogLine("GPSD checkgpsd: Failed to check if GPSD is running \"pidof gpsd\"!");
    EXPECT_EQ(unit.journal.count("pclose"), 0u);
}

TEST_F(GpsdControl, KillsNothingAndKeepsThePidFileWhenNoneRuns) {
    EXPECT_EQ(driver->killgpsd(), 0u);
    expectJournal(kOneCheck);
}

TEST_F(GpsdControl, KillsAndRemovesThePidFileAfterTheCommandWasClosed) {
    daemon.running = true;
    EXPECT_EQ(driver->killgpsd(), 0u);
    expectJournal(kOneCheck + Lines{"popen kill -9 $(pidof gpsd)"} + kOneCheck +
                  Lines{"pclose kill -9 $(pidof gpsd)", "remove /var/run/gpsd.pid"});
    EXPECT_FALSE(found());
}

TEST_F(GpsdControl, WaitsUntilTheKilledGpsdIsGone) {
    daemon.running = true;
    daemon.checksUntilGone = 4;
    driver->killgpsd();
    EXPECT_EQ(unit.journal.count("popen pidof gpsd"), 1u + 4u);
    EXPECT_THAT(unit.journal.only({"sleep"}), ElementsAre("sleep 1", "sleep 1", "sleep 1"));
}

TEST_F(GpsdControl, GivesUpOnAGpsdThatWillNotDieAfterTenSleeps) {
    daemon.running = true;
    daemon.ignoresKill = true;
    EXPECT_EQ(driver->killgpsd(), 0u);
    expectJournal(kOneCheck + Lines{"popen kill -9 $(pidof gpsd)"} + times(10, kOneCheck + Lines{"sleep 1"}) +
                  Lines{"pclose kill -9 $(pidof gpsd)", "remove /var/run/gpsd.pid"});
    EXPECT_TRUE(found());
}

TEST_F(GpsdControl, WaitsAndRemovesThePidFileAlsoWhenTheKillFails) {
    daemon.running = true;
    unit.shell.popenFails("kill -9 $(pidof gpsd)");
    EXPECT_EQ(driver->killgpsd(), 0u);
    expectOneLogLine("GPSD killgpsd: Failed to kill GPSD \"open\"!");
    EXPECT_EQ(unit.journal.count("sleep 1"), 10u);
    EXPECT_EQ(unit.journal.count("pclose kill"), 0u);
    EXPECT_EQ(unit.journal.lines().back(), "remove /var/run/gpsd.pid");
}

TEST_F(GpsdControl, KeepsAGpsdThatRuns) {
    daemon.running = true;
    EXPECT_EQ(driver->startgpsd(), 0u);
    expectJournal(kOneCheck);
}

TEST_F(GpsdControl, StartsGpsdOnTheReceiversPort) {
    EXPECT_EQ(driver->startgpsd(), 0u);
    const std::string command = "gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1";
    expectJournal(kOneCheck + Lines{"popen " + command} + kOneCheck + Lines{"pclose " + command});
    EXPECT_TRUE(found());
}

TEST_F(GpsdControl, WaitsUntilGpsdIsUp) {
    daemon.checksUntilUp = 3;
    driver->startgpsd();
    EXPECT_EQ(unit.journal.count("popen pidof gpsd"), 1u + 3u);
    EXPECT_EQ(unit.journal.count("sleep 1"), 2u);
}

TEST_F(GpsdControl, GivesUpOnAGpsdThatDoesNotComeUpAfterNineSleeps) {
    daemon.neverComesUp = true;
    EXPECT_EQ(driver->startgpsd(), 0u);
    EXPECT_EQ(unit.journal.count("popen pidof gpsd"), 1u + 9u);
    EXPECT_EQ(unit.journal.count("sleep 1"), 9u);
    EXPECT_EQ(unit.journal.count("popen gpsd "), 1u);
    EXPECT_EQ(unit.journal.lines().back(), "pclose gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1");
    EXPECT_THAT(unit.log.texts(), IsEmpty());
}

TEST_F(GpsdControl, WaitsAlsoWhenTheStartFails) {
    unit.shell.popenFails("gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1");
    EXPECT_EQ(driver->startgpsd(), 0u);
    expectOneLogLine("GPSD startgpsd: Failed to start GPSD \"open\"!");
    EXPECT_EQ(unit.journal.count("sleep 1"), 9u);
    EXPECT_EQ(unit.journal.count("pclose gpsd"), 0u);
}

TEST_F(GpsdControl, NeverRemovesThePidFileOfAStart) {
    driver->startgpsd();
    EXPECT_EQ(unit.journal.count("remove"), 0u);
}

TEST_F(GpsdControl, LeavesThePidFileWhenThePlatformHasNoMemoryToRemoveIt) {
    daemon.running = true;
    unit.atRemoval = [] { throw std::bad_alloc(); };
    EXPECT_EQ(driver->killgpsd(), 0u);
    EXPECT_EQ(unit.journal.lines().back(), "remove /var/run/gpsd.pid");
    EXPECT_FALSE(found());
}

bool isBlocked(int signal) { return blocks(maskOfThisThread(), signal); }

TEST_F(GpsdControl, WaitsForGpsdUndisturbedByTheApplicationsTimers) {
    daemon.running = true;
    daemon.checksUntilGone = daemon.checksUntilUp = 2;
    std::vector<std::pair<bool, bool>> seen;
    unit.clock.afterEachSleep = [&](auto) { seen.emplace_back(isBlocked(SIGALRM), isBlocked(SIGTERM)); };
    driver->killgpsd();
    driver->startgpsd();
    EXPECT_THAT(seen, ElementsAre(std::make_pair(true, false), std::make_pair(true, false)));
    EXPECT_FALSE(isBlocked(SIGALRM));
}

TEST_F(GpsdControl, LosesOnlyLogLinesWithoutMemory) {
    const auto allFail = [this] {
        daemon = VirtualDaemon{};
        for (const char* command : {"pidof gpsd", "gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1"})
            unit.shell.popenFails(command);
        unit.forget();
    };
    withEachAllocationFailing(
        allFail, [this] { EXPECT_EQ(driver->startgpsd(), 0u); },
        [this] { EXPECT_EQ(unit.journal.count("sleep 1"), 9u); });
}

// --- Initialize and Finalize ----------------------------------------------------------------------------

class DriverInitialize : public DriverFixture {};

TEST_F(DriverInitialize, KillsGpsdAndStartsItAnew) {
    unit.shell.daemon.running = true;
    EXPECT_EQ(driver->Initialize(), 0u);
    EXPECT_TRUE(driver->IsActive());
    EXPECT_FALSE(driver->IsRunning());
    EXPECT_THAT(unit.journal.only({"popen kill", "popen gpsd", "remove"}),
                ElementsAre("popen kill -9 $(pidof gpsd)", "remove /var/run/gpsd.pid",
                            "popen gpsd -n -P /var/run/gpsd.pid /dev/ttymxc1"));
}

TEST_F(DriverInitialize, DoesNothingWhenActive) {
    driver->Initialize();
    unit.clock.advance(60s);
    unit.forget();
    const uint32_t before = (*driver).*memberOf(DriverInitializeTick());
    EXPECT_EQ(driver->Initialize(), 0u);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
    EXPECT_EQ((*driver).*memberOf(DriverInitializeTick()), before);
}

TEST_F(DriverInitialize, TakesTheTickAfterGpsdWasStarted) {
    unit.shell.daemon.checksUntilUp = 5;
    unit.clock.setTick(1000);
    driver->Initialize();
    EXPECT_EQ((*driver).*memberOf(DriverInitializeTick()), 1004u);
}

TEST_F(DriverInitialize, SucceedsWhenGpsdDoesNotComeUp) {
    unit.shell.daemon.neverComesUp = true;
    EXPECT_EQ(driver->Initialize(), 0u);
    EXPECT_TRUE(driver->IsActive());
}

TEST_F(DriverInitialize, LogsAMissingHalAndSucceeds) {
    unit.hal.present = false;
    EXPECT_EQ(driver->Initialize(), 0u);
    EXPECT_TRUE(driver->IsActive());
    EXPECT_THAT(unit.log.texts(),
                ElementsAre("2 GPSHAL_RUXO_3 Initialize: RuxoHAL instance not found - bug fix needed!"));
    EXPECT_EQ(unit.log.all()[0].source, "src/GPSHAL_RUXO_3.cpp");
}

TEST_F(DriverInitialize, LogsNothingWithAHal) {
    driver->Initialize();
    EXPECT_THAT(unit.log.texts(), IsEmpty());
}

class DriverFinalize : public DriverFixtureOf<WatchedDriver> {};

TEST_F(DriverFinalize, KillsGpsd) {
    driver->Initialize();
    unit.forget();
    EXPECT_EQ(driver->Finalize(), 0u);
    EXPECT_FALSE(driver->IsActive());
    EXPECT_EQ(unit.journal.count("popen kill -9 $(pidof gpsd)"), 1u);
    EXPECT_THAT(driver->calls, ElementsAre("Initialize", "Finalize"));
}

TEST_F(DriverFinalize, HandsOnTheResultOfTheStopAndKillsGpsdAllTheSame) {
    start();
    driver->stopResult = 0x1234;
    driver->calls.clear();
    EXPECT_EQ(driver->Finalize(), 0x1234u);
    EXPECT_THAT(driver->calls, ElementsAre("Stop", "Finalize"));
    EXPECT_FALSE(driver->IsActive());
    EXPECT_FALSE(driver->IsRunning());
    EXPECT_THAT(unit.journal.only({"pthread_join", "popen kill"}),
                ElementsAre("pthread_join thread 1", "popen kill -9 $(pidof gpsd)"));
}

TEST_F(DriverFinalize, MayComeTwice) {
    driver->Initialize();
    driver->Finalize();
    EXPECT_EQ(driver->Finalize(), 0u);
    EXPECT_FALSE(driver->IsActive());
}

// --- Start and Stop -------------------------------------------------------------------------------------

class DriverStart : public DriverFixtureOf<WatchedDriver> {
protected:
    /// Starts `seconds` after the initialisation.
    void startAfter(uint32_t seconds) {
        driver->Initialize();
        unit.clock.setTick((*driver).*memberOf(DriverInitializeTick()) + seconds);
        unit.forget();
        EXPECT_EQ(driver->Start(), 0u);
    }

    const std::string delayed = "6 GPSD Start: requires additional start delay.";
};

TEST_F(DriverStart, IsRefusedBeforeInitialize) {
    EXPECT_EQ(driver->Start(), kNotRunning);
    EXPECT_FALSE(driver->IsRunning());
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
}

TEST_F(DriverStart, AsksWhetherItIsActiveAndRunsThroughTheVirtualTable) {
    driver->pretendsToBeActive = true;
    driver->pretendsToRun = true;
    EXPECT_EQ(driver->Start(), 0u);
    EXPECT_EQ(unit.threads.count(), 0u);
    driver->pretendsToRun = false;
    EXPECT_EQ(driver->Start(), 0u);
    EXPECT_EQ(unit.threads.count(), 1u);
}

TEST_F(DriverStart, DoesNothingWhenRunning) {
    startAfter(10);
    unit.forget();
    reader().tsStatus = 5;
    EXPECT_EQ(driver->Start(), 0u);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
    EXPECT_EQ(reader().tsStatus, 5);
}

TEST_F(DriverStart, WaitsThreeSecondsRightAfterInitialize) {
    startAfter(0);
    EXPECT_THAT(unit.journal.only({"ruxosleep"}), ElementsAre("ruxosleep 3000"));
    EXPECT_THAT(unit.log.texts(), ElementsAre(delayed));
}

TEST_F(DriverStart, WaitsTwoSecondsAfterOne) {
    startAfter(1);
    EXPECT_THAT(unit.journal.only({"ruxosleep"}), ElementsAre("ruxosleep 2000"));
    EXPECT_THAT(unit.log.texts(), ElementsAre(delayed));
}

TEST_F(DriverStart, WaitsOneSecondAfterTwo) {
    startAfter(2);
    EXPECT_THAT(unit.journal.only({"ruxosleep"}), ElementsAre("ruxosleep 1000"));
    EXPECT_THAT(unit.log.texts(), ElementsAre(delayed));
}

TEST_F(DriverStart, WaitsNoMoreAfterThree) {
    startAfter(3);
    EXPECT_EQ(unit.journal.count("ruxosleep"), 0u);
    EXPECT_THAT(unit.log.texts(), IsEmpty());
}

TEST_F(DriverStart, MeasuresAcrossTheTicksWrap) {
    unit.clock.setTick(kUnsignedMax);
    startAfter(2); // the tick stands at 1
    EXPECT_EQ(unit.journal.count("ruxosleep 1000"), 1u);
}

TEST_F(DriverStart, DoesNotWaitWhenTheTickRanBackwards) {
    startAfter(kUnsignedMax);
    EXPECT_EQ(unit.journal.count("ruxosleep"), 0u);
}

TEST_F(DriverStart, CountsAsRunningWhileItWaits) {
    driver->Initialize();
    bool ranMeanwhile = false;
    unit.clock.in(1s, [&] { ranMeanwhile = driver->IsRunning(); });
    driver->Start();
    EXPECT_TRUE(ranMeanwhile);
}

TEST_F(DriverStart, MakesTheSemaphoreAnewAndThenTheThread) {
    startAfter(0);
    EXPECT_THAT(unit.journal.lines(),
                ElementsAre("log 6 src/GPSHAL_RUXO_3.cpp GPSD Start: requires additional start delay.",
                            "ruxosleep 3000", "sem_init semaphore 0 1", "pthread_create thread 1"));
}

TEST_F(DriverStart, GivesTheThreadTheAddressOfTheSnapshot) {
    startAfter(3);
    VirtualThreads::Thread& thread = unit.threads.last();
    EXPECT_EQ(thread.body, &GPSHAL_RUXO_3::ReadData);
    EXPECT_EQ(thread.argument, &reader().stopRequested);
    EXPECT_TRUE(thread.defaultAttributes);
    EXPECT_NE((*driver).*memberOf(DriverReaderThread()), 0u);
}

TEST_F(DriverStart, KeepsTheApplicationsSignalsFromTheThreadAndInTheApplication) {
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    startAfter(3);
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (const int signal : {SIGALRM, SIGINT, SIGTERM, SIGCHLD, SIGUSR1, SIGRTMIN, lastSignal()}) {
        EXPECT_EQ(sigismember(&unit.threads.last().signalMask, signal), 1) << signal;
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
    }
}

TEST_F(DriverStart, MakesEveryValueStaleButKeepsIt) {
    reader().latitude = 48;
    reader().stopRequested = true;
    for (Arrival arrival : kArrivals)
        reader().*arrival = 99;
    startAfter(3);
    for (Arrival arrival : kArrivals)
        EXPECT_EQ(reader().*arrival, 0);
    EXPECT_EQ(reader().latitude, 48);
    EXPECT_FALSE(reader().stopRequested);
}

TEST_F(DriverStart, SucceedsAndStaysRunningWhenTheThreadCanNotBeCreated) {
    unit.threads.createFails(EAGAIN);
    startAfter(3);
    EXPECT_TRUE(driver->IsRunning());
    EXPECT_THAT(unit.log.texts(), ElementsAre("3 GPSD Start: Failed creating data thread!"));
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(sigismember(&after, SIGTERM), 0);
}

TEST_F(DriverStart, RunsAllItsLifeWithoutMemory) {
    unit.hal.present = false; // so that there is something to log
    withEachAllocationFailing([this] { unit.forget(); },
                              [this] {
                                  EXPECT_EQ(driver->GPSHAL_RUXO_3::Initialize(), 0u);
                                  EXPECT_EQ(driver->GPSHAL_RUXO_3::Start(), 0u);
                                  EXPECT_TRUE(driver->IsRunning());
                                  EXPECT_EQ(driver->GPSHAL_RUXO_3::Stop(), 0u);
                                  EXPECT_EQ(driver->GPSHAL_RUXO_3::Finalize(), 0u);
                                  EXPECT_FALSE(driver->IsActive());
                              },
                              [this] { EXPECT_EQ(unit.journal.count("popen kill"), 1u); });
}

TEST_F(DriverStart, HandsAPositionOverWithoutMemoryOrLeavesItOut) {
    driver->Initialize();
    withEachAllocationFailing(
        [this] { unit.forget(); },
        [this] { EXPECT_EQ(driver->GPSHAL_RUXO_3::setInitialPosition(52500000, 13400000, 12345), 0u); },
        [this] {
            EXPECT_TRUE(driver->IsRunning());
            EXPECT_TRUE(unit.shell.daemon.running);
            EXPECT_FALSE(unit.port.isOpen());
        });
}

class DriverStop : public DriverFixture {};

TEST_F(DriverStop, AsksTheThreadToStopAndJoinsIt) {
    start();
    EXPECT_EQ(driver->Stop(), 0u);
    EXPECT_TRUE(reader().stopRequested);
    EXPECT_FALSE(driver->IsRunning());
    EXPECT_TRUE(driver->IsActive());
    EXPECT_EQ((*driver).*memberOf(DriverReaderThread()), 0u);
    EXPECT_THAT(unit.journal.lines(), ElementsAre("pthread_join thread 1"));
}

TEST_F(DriverStop, AsksBeforeItJoins) {
    start();
    unit.threads.runsAtJoin = true;
    driver->Stop();
    EXPECT_THAT(unit.journal.lines(), ElementsAre("pthread_join thread 1", "gps_open localhost 2947",
                                                  "gps_stream 0x11", "gps_close"));
}

TEST_F(DriverStop, JoinsNothingWhenNotRunning) {
    EXPECT_EQ(driver->Stop(), 0u);
    EXPECT_TRUE(reader().stopRequested);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
}

TEST_F(DriverStop, JoinsOnlyOnce) {
    start();
    driver->Stop();
    EXPECT_EQ(driver->Stop(), 0u);
    EXPECT_EQ(unit.journal.count("pthread_join"), 1u);
}

TEST_F(DriverStop, JoinsNoThreadThatWasNeverCreated) {
    start();
    driver->Stop();
    unit.threads.createFails(EAGAIN);
    start();
    EXPECT_EQ(driver->Stop(), 0u);
    EXPECT_FALSE(driver->IsRunning());
    EXPECT_EQ(unit.journal.count("pthread_join"), 0u);
}

TEST_F(DriverStop, MayBeFollowedByAnotherStart) {
    start();
    driver->Stop();
    EXPECT_EQ(driver->Start(), 0u);
    EXPECT_EQ(unit.threads.count(), 2u);
    EXPECT_FALSE(reader().stopRequested);
}

class DriverOddments : public DriverFixture {};

TEST_F(DriverOddments, SetTimesToZeroChangesTheFourteenTimesAlone) {
    std::memset(&reader(), 1, sizeof(ReaderBlock));
    ReaderBlock expected;
    std::memcpy(&expected, &reader(), sizeof expected);
    for (Arrival arrival : kArrivals)
        expected.*arrival = 0;
    driver->SetTimesToZero();
    EXPECT_EQ(std::memcmp(&reader(), &expected, sizeof expected), 0);
}

TEST_F(DriverOddments, GetgnssDoesNothing) {
    EXPECT_EQ(driver->getgnss(), 0u);
    EXPECT_THAT(unit.journal.lines(), IsEmpty());
}

// --- The reader thread ----------------------------------------------------------------------------------

class ReaderThread : public DriverFixture {
protected:
    ReaderThread() { start(); }

    static std::string cycles(unsigned int count) {
        return "3 " + std::to_string(count) + " cycles without any data reception have been detected";
    }
    static VirtualGpsd::Fill position(double latitude) {
        return [latitude](gps_data_t& r) {
            r.set = LATLON_SET;
            r.fix.latitude = latitude;
        };
    }
};

const Lines kConnect = {"gps_open localhost 2947", "gps_stream 0x11"};
const Lines kRead = {"gps_waiting 5000000", "gps_read", "sem_wait semaphore", "sem_post semaphore",
                     "usleep 50000"};

TEST_F(ReaderThread, ConnectsReadsCopiesUnderTheSemaphoreAndCloses) {
    unit.gpsd.reports(position(48));
    unit.gpsd.reports(position(49));
    EXPECT_EQ(read(), nullptr);
    expectJournal(kConnect + kRead + kRead + Lines{"gps_close"});
    EXPECT_EQ(reader().latitude, 49);
    EXPECT_THAT(unit.log.texts(), IsEmpty());
    EXPECT_EQ(noDataReadCounter(), 0u);
}

TEST_F(ReaderThread, EndsWithoutAWaitWhenItIsToStop) {
    reader().stopRequested = true;
    EXPECT_EQ(unit.threads.run(), nullptr);
    expectJournal(kConnect + Lines{"gps_close"});
}

TEST_F(ReaderThread, CopiesBetweenWaitAndPost) {
    std::vector<std::pair<bool, double>> seen;
    unit.semaphores.beforeEachCall = [&](VirtualSemaphores::Call, const sem_t*) {
        seen.emplace_back(VirtualSemaphores::isTaken(reportSemaphore()), reader().latitude);
    };
    unit.gpsd.reports(position(48));
    read();
    EXPECT_THAT(seen, ElementsAre(std::make_pair(false, 0.0), std::make_pair(true, 48.0)));
    EXPECT_FALSE(VirtualSemaphores::isTaken(reportSemaphore()));
}

TEST_F(ReaderThread, StampsWithTheTimeBeforeTheWait) {
    const time_t before = unit.clock.utc();
    unit.gpsd.reports(position(48), 4s);
    read();
    EXPECT_EQ(reader().tsLatLon, before);
    EXPECT_GE(unit.clock.utc(), before + 4);
}

TEST_F(ReaderThread, StampsEachCycleAnew) {
    const time_t before = unit.clock.utc();
    unit.gpsd.reports(position(48), 3s);
    unit.gpsd.reports(position(48), 3s);
    read();
    EXPECT_EQ(reader().tsLatLon, before + 3);
}

TEST_F(ReaderThread, LeavesTheDilutionsWithoutASkyView) {
    unit.gpsd.reports([](gps_data_t& r) {
        r.set = TIME_SET | LATLON_SET | ALTITUDE_SET | DOP_SET;
        r.fix.longitude = 11;
        r.dop.pdop = 2;
    });
    read();
    EXPECT_EQ(reader().longitude, 11);
    EXPECT_NE(reader().tsLatLon, 0);
    EXPECT_EQ(reader().pdop, 0);
    EXPECT_EQ(reader().tsDop, 0);
}

// Skies without satellites, or with too many.

class ReaderOfSkies : public ReaderThread {
protected:
    /// A fix whose mask lets a sky bring its dilutions.
    void sendsAWholeFix() {
        unit.gpsd.reports([](gps_data_t& r) { r.set = TIME_SET | LATLON_SET | ALTITUDE_SET; });
    }
    static constexpr int kTooMany = static_cast<int>(std::extent_v<decltype(gps_data_t::skyview)>) + 1;
};

TEST_F(ReaderOfSkies, TakesDilutionsAloneForAnEmptySkyWhereLibgpsDoes) {
    sendsAWholeFix();
    unit.gpsd.sendsTheSky(3);
    unit.gpsd.sendsDilutionsAlone(7, 1.5);
    read();
    EXPECT_EQ(reader().satellitesVisible, kTellsDilutionsFromASky ? 3 : 0);
    EXPECT_EQ(reader().satellitesUsed, kTellsDilutionsFromASky ? 3 : 0);
    EXPECT_EQ(std::isnan(reader().pdop), kTellsDilutionsFromASky) << "those of the sky before";
}

TEST_F(ReaderOfSkies, KeepsTheSkyBeforeAFixWhenTheNextIsRefused) {
    sendsAWholeFix();
    unit.gpsd.sendsTheSky(3);
    sendsAWholeFix();
    unit.gpsd.isSilent();
    unit.gpsd.sendsTheSky(kTooMany);
    const time_t before = unit.clock.utc();
    read();
    EXPECT_EQ(reader().satellitesVisible, 3);
    EXPECT_EQ(reader().satellitesUsed, 3);
    EXPECT_EQ(reader().tsLatLon, before + 5);
    EXPECT_EQ(reader().tsSatellites, before) << "it grows old";
    EXPECT_EQ(reader().tsDop, before);
}

TEST_F(ReaderOfSkies, TakesTheSatellitesOfARefusedOneInTheNumberOfTheSkyBefore) {
    sendsAWholeFix();
    unit.gpsd.sendsTheSky(3);
    unit.gpsd.isSilent();
    unit.gpsd.sendsTheSky(kTooMany);
    const time_t before = unit.clock.utc();
    read();
    EXPECT_EQ(reader().satellitesVisible, 3);
    EXPECT_EQ(reader().satellitesUsed, kTellsDilutionsFromASky ? kTooMany : 3);
    EXPECT_FALSE(reader().used[3]);
    EXPECT_EQ(reader().tsSatellites, before + 5);
}

// Failed connections.

TEST_F(ReaderThread, GoesOnAfterAFailedOpenWithoutEverReading) {
    unit.gpsd.openGives(-6, -1);
    unit.gpsd.reports(position(48));
    unit.gpsd.reports(position(48));
    read();
    const Lines cycle = {"gps_waiting 5000000",
                         "log 3 src/GPSHAL_RUXO_3.cpp 1 cycles without any data reception have been detected",
                         "sem_wait semaphore", "sem_post semaphore", "usleep 50000"};
    EXPECT_EQ(unit.journal.count("gps_read"), 0u);
    EXPECT_THAT(unit.log.texts(),
                ElementsAre("2 Failed to connect to GPSD server (errno=-6)", cycles(1), cycles(2)));
    EXPECT_EQ(unit.log.all()[0].source, "src/GPSHAL_RUXO_3.cpp");
    EXPECT_EQ(unit.gpsd.closes(), 1);
    EXPECT_THAT(unit.journal.lines(), Contains("gps_stream 0x11"));
    const Lines lines = unit.journal.lines();
    EXPECT_EQ(Lines(lines.begin() + 3, lines.begin() + 8), cycle);
}

TEST_F(ReaderThread, KeepsTheResultOfTheOpenInErrno) {
    unit.gpsd.openGives(-3, -1);
    reader().stopRequested = true;
    unit.threads.run();
    EXPECT_EQ(unit.gpsd.errnoAtStream, -3);
}

TEST_F(ReaderThread, ReadsAfterAFailedOpenThatLeftADescriptor) {
    unit.gpsd.openGives(-7, VirtualGpsd::kDescriptor);
    unit.gpsd.reports(position(48));
    read();
    EXPECT_EQ(unit.journal.count("gps_read"), 1u);
    EXPECT_EQ(reader().latitude, 48);
    EXPECT_THAT(unit.log.texts(), ElementsAre("2 Failed to connect to GPSD server (errno=-7)"));
}

TEST_F(ReaderThread, TreatsADescriptorBeyondSelectsReachAsAFailedOpen) {
    unit.gpsd.openGives(0, 1024);
    unit.gpsd.reports(position(48));
    read();
    EXPECT_THAT(unit.log.texts(), ElementsAre("2 Failed to connect to GPSD server (errno=-24)", cycles(1)));
    EXPECT_EQ(unit.journal.count("close 1024"), 1u);
    EXPECT_EQ(unit.journal.count("gps_read"), 0u);
    EXPECT_EQ(unit.gpsd.closes(), 1);
}

TEST_F(ReaderThread, ReadsFromTheLastDescriptorWithinSelectsReach) {
    unit.gpsd.openGives(0, 1023);
    unit.gpsd.reports(position(48));
    read();
    EXPECT_EQ(reader().latitude, 48);
    EXPECT_EQ(unit.journal.count("close "), 0u);
}

// Without memory.

class ReaderWithoutMemory : public ReaderThread {
protected:
    /// Runs the reader for so many cycles without memory for its session.
    void readWithoutMemory(int cycles) {
        unit.clock.afterEachSleep = [this, cycles](auto) mutable { reader().stopRequested = --cycles == 0; };
        const FailingMemory none = FailingMemory::ofSize(sizeof(gps_data_t));
        EXPECT_EQ(unit.threads.run(), nullptr);
    }
};

TEST_F(ReaderWithoutMemory, IsLoggedAsAFailedConnectionAndCountsItsCycles) {
    readWithoutMemory(3);
    EXPECT_THAT(unit.log.texts(), ElementsAre("2 Failed to connect to GPSD server (errno=-12)", cycles(1),
                                              cycles(2), cycles(3)));
    EXPECT_EQ(noDataReadCounter(), 3u);
    EXPECT_EQ(unit.journal.count("gps_"), 0u);
    for (Arrival arrival : kArrivals)
        EXPECT_EQ(reader().*arrival, 0);
}

TEST_F(ReaderWithoutMemory, GoesThroughItsCyclesAsAfterAFailedOpen) {
    const auto cyclesSoFar = [this] { return unit.journal.only({"log 3", "sem_", "usleep"}); };
    readWithoutMemory(2);
    const Lines withoutMemory = cyclesSoFar();
    unit.forget();
    noDataReadCounter() = 0;
    unit.clock.afterEachSleep = nullptr;
    reader().stopRequested = false;
    unit.gpsd.openGives(-6, -1);
    unit.gpsd.readGives(-1);
    unit.gpsd.readGives(-1);
    read();
    EXPECT_EQ(withoutMemory, cyclesSoFar());
}

TEST_F(ReaderWithoutMemory, EndsAtOnceWhenItIsToStop) {
    reader().stopRequested = true;
    const FailingMemory none = FailingMemory::ofSize(sizeof(gps_data_t));
    EXPECT_EQ(unit.threads.run(), nullptr);
    EXPECT_EQ(noDataReadCounter(), 0u);
}

TEST_F(ReaderWithoutMemory, ThrowsNothingAndGivesTheSemaphoreBackWhateverFails) {
    const auto script = [this] {
        noDataReadCounter() = 9;
        reader().stopRequested = false;
        unit.gpsd.reports(position(48));
        unit.gpsd.readGives(-1);
        unit.gpsd.isSilent();
        unit.clock.afterEachSleep = [this, sleeps = 0](auto) mutable {
            if (++sleeps == 9) // without a session nobody plays the script to its end
                reader().stopRequested = true;
        };
    };
    withEachAllocationFailing(
        script, [this] { EXPECT_EQ(unit.threads.run(), nullptr); },
        [this] {
            EXPECT_FALSE(VirtualSemaphores::isTaken(reportSemaphore()));
            EXPECT_GE(noDataReadCounter(), 11u);
            EXPECT_EQ(unit.gpsd.closes(), unit.gpsd.opens());
        });
}

// Cycles without data.

TEST_F(ReaderThread, CountsAndLogsAnEmptyWaitAndCopiesNothing) {
    unit.gpsd.reports(position(48));
    unit.gpsd.isSilent();
    const time_t before = unit.clock.utc();
    read();
    expectJournal(kConnect + kRead +
                  Lines{"gps_waiting 5000000",
                        "log 3 src/GPSHAL_RUXO_3.cpp 1 cycles without any data reception have been detected",
                        "gps_close"});
    EXPECT_EQ(reader().tsLatLon, before);
    EXPECT_EQ(noDataReadCounter(), 1u);
}

TEST_F(ReaderThread, SurvivesTenEmptyWaits) {
    unit.gpsd.isSilent(10);
    unit.gpsd.reports(position(48));
    read();
    EXPECT_EQ(noDataReadCounter(), 10u);
    EXPECT_EQ(reader().latitude, 48);
    EXPECT_NOT_LOGGED(3, "Close GPS socket");
}

TEST_F(ReaderThread, EndsByItselfAtTheEleventhEmptyWait) {
    unit.threads.run(); // gpsd is silent for ever
    const Lines lines = unit.journal.lines();
    EXPECT_THAT(Lines(lines.end() - 4, lines.end()),
                ElementsAre("gps_waiting 5000000", "log 3 src/GPSHAL_RUXO_3.cpp Close GPS socket",
                            "gps_close",
                            "log 3 src/GPSHAL_RUXO_3.cpp 11 cycles without any data reception have been "
                            "detected"));
    EXPECT_EQ(unit.gpsd.closes(), 1);
    EXPECT_TRUE(reader().stopRequested);
    EXPECT_TRUE(driver->IsRunning());
    EXPECT_EQ(unit.journal.count("gps_waiting"), 11u);
}

TEST_F(ReaderThread, CountsAcrossGoodReports) {
    unit.gpsd.isSilent(6);
    unit.gpsd.reports(position(48));
    unit.threads.run();
    EXPECT_EQ(noDataReadCounter(), 11u);
    EXPECT_EQ(unit.journal.count("gps_waiting"), 12u);
}

TEST_F(ReaderThread, CountsReadsThatGiveZeroOrMinusOne) {
    unit.gpsd.readGives(0);
    unit.gpsd.readGives(-1);
    unit.gpsd.readGives(-2); // anything else is data
    unit.gpsd.readGives(1);
    read();
    EXPECT_THAT(unit.log.texts(), ElementsAre(cycles(1), cycles(2)));
    EXPECT_EQ(unit.journal.count("usleep 50000"), 4u);
}

TEST_F(ReaderThread, RefreshesArrivalTimesAfterAFailedRead) {
    unit.gpsd.reports(position(48));
    unit.gpsd.readGives(-1, 4s);
    unit.gpsd.readGives(0, 4s);
    const time_t before = unit.clock.utc();
    read();
    EXPECT_EQ(reader().tsLatLon, before + 4); // the third cycle's begin
    EXPECT_EQ(reader().latitude, 48);
}

TEST_F(ReaderThread, EndsAtNoFailedReadButAtTheNextEmptyWait) {
    for (int i = 0; i < 20; ++i)
        unit.gpsd.readGives(-1);
    unit.threads.run();
    EXPECT_EQ(noDataReadCounter(), 21u);
    EXPECT_EQ(unit.journal.count("gps_read"), 20u);
    EXPECT_EQ(unit.log.count(3, "Close GPS socket"), 1);
}

TEST_F(ReaderThread, KeepsTheCounterOverStopAndStart) {
    unit.threads.run();
    driver->Stop();
    driver->Start();
    unit.forget();
    unit.threads.run();
    EXPECT_EQ(noDataReadCounter(), 12u);
    EXPECT_EQ(unit.journal.count("gps_waiting"), 1u);
    EXPECT_THAT(unit.log.texts(), ElementsAre("3 Close GPS socket", cycles(12)));
}

// Cancellation.

class CancelledReader : public ReaderThread {
protected:
    /// What unwinds a cancelled thread: no handler of the library's takes it for its own.
    struct Cancelled {};
    static void cancel() { throw Cancelled(); }

    void expectNothingTakenOrOpen(int copies) {
        unit.gpsd.reportsEvery(1s, position(48));
        EXPECT_THROW(unit.threads.run(), Cancelled);
        EXPECT_FALSE(VirtualSemaphores::isTaken(reportSemaphore()));
        EXPECT_EQ(unit.semaphores.count(VirtualSemaphores::Post), copies);
        EXPECT_EQ(unit.gpsd.closes(), 1);
    }
};

TEST_F(CancelledReader, LeavesNothingTakenOrOpenInARead) {
    unit.gpsd.reports([](gps_data_t&) { cancel(); });
    expectNothingTakenOrOpen(0);
}

TEST_F(CancelledReader, GivesNothingBackThatItStillWaitsFor) {
    unit.semaphores.beforeEachCall = [](auto, auto) { cancel(); };
    expectNothingTakenOrOpen(0);
}

TEST_F(CancelledReader, LeavesNothingTakenOrOpenInItsPause) {
    unit.clock.afterEachSleep = [](auto length) {
        if (length == 50ms)
            cancel();
    };
    expectNothingTakenOrOpen(1);
}

// Resources.

TEST_F(ReaderThread, ReleasesTheSessionRecordOnce) {
    const auto sessions = [this](int count) {
        for (int i = 0; i < count; ++i)
            unit.threads.run(0);
    };
    reader().stopRequested = true;
    sessions(3);
    unit.forget();
    const std::size_t before = mallinfo2().uordblks;
    sessions(100);
    unit.forget();
    EXPECT_LT(mallinfo2().uordblks, before + sizeof(gps_data_t));
    EXPECT_EQ(unit.gpsd.closes(), unit.gpsd.opens());
}

} // namespace
