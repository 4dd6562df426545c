// The ground under the unit tests keeps what it promises.

#include "VirtualUnit.h"

#include <dlfcn.h>
#include <unistd.h>

#include <fstream>

#include "FailingMemory.h"

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using namespace std::chrono_literals;

namespace {

class VirtualUnitTest : public UnitTest {};

int run(const char* command) { return system(command); }

/// The file that gives the process its `symbol`.
std::string libraryOf(const char* symbol) {
    void* const address = dlsym(RTLD_DEFAULT, symbol);
    Dl_info info{};
    return address != nullptr && dladdr(address, &info) != 0 ? info.dli_fname : "nowhere";
}

TEST_F(VirtualUnitTest, IsFoundByTheLibraryInPlaceOfThePlatform) {
    for (const char* name : {"_Z15ruxo_systemtickv", "_ZN7RuxoHAL8InstanceEv", "_ZN7GPSData5ClearEv",
                             "_ZN4Util4File16RemoveSingleFileEPKc"})
        EXPECT_THAT(libraryOf(name), HasSubstr("tests/platform")) << name;
}

TEST_F(VirtualUnitTest, RecordsAlsoWhatTheLibraryDoesWithoutMemory) {
    const char* const command = "a command that needs memory to be written down";
    {
        const FailingMemory none(1);
        run(command);
        ruxosleep_interruptible(1);
        EXPECT_FALSE(none.hasFailed());
    }
    EXPECT_THAT(unit.journal.lines(), ElementsAre(std::string("system ") + command, "ruxosleep 1"));
}

TEST_F(VirtualUnitTest, LetsTimePassWithoutWaiting) {
    const time_t before = time(nullptr);
    const uint32_t tick = ruxo_systemtick();
    sleep(1800);
    usleep(500000);
    usleep(500000);
    EXPECT_EQ(time(nullptr), before + 1801);
    EXPECT_EQ(ruxo_systemtick(), tick + 1801);
    EXPECT_THAT(unit.journal.lines(), ElementsAre("sleep 1800", "usleep 500000", "usleep 500000"));
}

TEST_F(VirtualUnitTest, RunsScheduledActionsAtTheirTime) {
    uint32_t seen = 0;
    unit.clock.in(3s, [&] { seen = ruxo_systemtick(); });
    sleep(10);
    EXPECT_EQ(seen, VirtualClock::kStartTick + 3);
    EXPECT_EQ(ruxo_systemtick(), VirtualClock::kStartTick + 10);
}

TEST_F(VirtualUnitTest, AnswersFramesWrittenToThePort) {
    FILE* port = fopen("/dev/ttymxc1", "rb");
    char buffer[100] = {};
    run("echo -e \"\\xb5\\x62\\x06\\x13\\x04\\x0\\x01\\x00\\x00\\x00\\x1e\\xd1\" > /dev/ttymxc1");
    EXPECT_EQ(fread(buffer, 1, sizeof buffer, port), 10u);
    EXPECT_EQ(Bytes(buffer, 10), hex("b5 62 05 01 02 00 06 13 21 4a"));
    EXPECT_THAT(unit.port.sent, ElementsAre(hex("b5 62 06 13 04 00 01 00 00 00 1e d1")));
    unit.port.arrivesLater("later");
    usleep(1);
    clearerr(port);
    EXPECT_EQ(fread(buffer, 1, sizeof buffer, port), 5u);
    EXPECT_EQ(unit.port.reads, 2);
    fclose(port);
    EXPECT_FALSE(unit.port.isOpen());
}

TEST_F(VirtualUnitTest, KeepsTheNavigationDatabaseFileApart) {
    EXPECT_FALSE(std::ifstream("/data/NavigationDatabaseDump"));
    EXPECT_FALSE(unit.port.dumpFile());
    std::ofstream("/data/NavigationDatabaseDump") << "000000";
    EXPECT_EQ(unit.port.dumpFile(), "000000");
    unit.port.openFails("/data/NavigationDatabaseDump", 1, "w");
    EXPECT_FALSE(std::ofstream("/data/NavigationDatabaseDump", std::ios::trunc));
}

TEST_F(VirtualUnitTest, KnowsWhetherTheDaemonRuns) {
    char line[100];
    FILE* none = popen("pidof gpsd", "r");
    EXPECT_EQ(fgets(line, sizeof line, none), nullptr);
    pclose(none);
    unit.shell.daemon.running = true;
    FILE* one = popen("pidof gpsd", "r");
    EXPECT_STREQ(fgets(line, sizeof line, one), "1234\n");
    pclose(one);
}

void* incrementForAMinute(void* counter) {
    for (int i = 0; i < 60; ++i) {
        sleep(1);
        ++*static_cast<int*>(counter);
    }
    return nullptr;
}

TEST_F(VirtualUnitTest, CapturesThreads) {
    int counter = 0;
    pthread_t handle{};
    pthread_create(&handle, nullptr, incrementForAMinute, &counter);
    EXPECT_EQ(counter, 0);
    unit.threads.run();
    EXPECT_EQ(counter, 60);
    EXPECT_EQ(pthread_join(handle, nullptr), 0);
}

TEST_F(VirtualUnitTest, LetsRealThreadsSleepSideBySide) {
    unit.useRealThreads();
    int counters[2] = {};
    pthread_t handles[2];
    for (int i = 0; i < 2; ++i)
        pthread_create(&handles[i], nullptr, incrementForAMinute, &counters[i]);
    for (pthread_t handle : handles)
        pthread_join(handle, nullptr);
    EXPECT_THAT(counters, ElementsAre(60, 60));
    EXPECT_EQ(unit.clock.elapsed(), 60s);
}

void* giveBackAfterASecond(void* semaphore) {
    sleep(1);
    sem_post(static_cast<sem_t*>(semaphore));
    return nullptr;
}

TEST_F(VirtualUnitTest, LetsRealThreadsWaitForASemaphore) {
    unit.useRealThreads();
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    pthread_t handle{};
    pthread_create(&handle, nullptr, giveBackAfterASecond, &semaphore);
    const timespec half = {time(nullptr), 500000000};
    EXPECT_EQ(sem_timedwait(&semaphore, &half), -1);
    EXPECT_EQ(unit.clock.elapsed(), 500ms);
    EXPECT_EQ(sem_wait(&semaphore), 0);
    EXPECT_EQ(unit.clock.elapsed(), 1s);
    pthread_join(handle, nullptr);
    sem_destroy(&semaphore);
}

TEST_F(VirtualUnitTest, EndsATestThatWouldWaitForEver) {
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    EXPECT_DEATH(sem_wait(&semaphore), "a deadlock");
}

TEST_F(VirtualUnitTest, TellsWhatLedToAnExit) {
    sleep(7);
    EXPECT_EXIT(exit(-1), ::testing::ExitedWithCode(255), "sleep 7");
}

TEST_F(VirtualUnitTest, RefusesACommandWithoutAUnit) {
    EXPECT_DEATH(
        {
            unit.~VirtualUnit();
            run("true");
        },
        "without a virtual unit");
}

} // namespace
