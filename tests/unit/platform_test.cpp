// The host versions of the platform's four libraries, as the library and an application meet them.
//
// Sleeps, clocks and syslog are interposed from here. Logging takes its settings once a process, so each of
// its cases runs in a process of its own.

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "logging/Logging.h"
#include "ruxo/GPSData.h"
#include "ruxo/RuxoString.h"
#include "ruxo/RuxoSystem.h"
#include "ruxohal/RuxoHAL.h"
#include "utilities/Util.h"

// --- Interposed calls -----------------------------------------------------------------------------------

namespace {

std::map<clockid_t, timespec> fakedClocks;
bool clocksFail = false;
std::function<int(const timespec&, timespec&)> onNanosleep;
std::function<void()> onUsleep;

} // namespace

#define INTERPOSED extern "C" __attribute__((visibility("default")))

/// The kernel's own record in the two calls below: two words of the machine, whatever the width of `time_t`.
struct KernelTime {
    long seconds = 0;
    long nanoseconds = 0;
};

INTERPOSED int clock_gettime(clockid_t clock, timespec* now) noexcept {
    if (clocksFail)
        return -1;
    const auto faked = fakedClocks.find(clock);
    if (faked != fakedClocks.end()) {
        *now = faked->second;
        return 0;
    }
    KernelTime real;
    const long result = syscall(SYS_clock_gettime, clock, &real);
    if (result == 0)
        *now = {static_cast<time_t>(real.seconds), real.nanoseconds};
    return static_cast<int>(result);
}

INTERPOSED int nanosleep(const timespec* wanted, timespec* left) {
    if (onNanosleep)
        return onNanosleep(*wanted, *left);
    const KernelTime pause = {static_cast<long>(wanted->tv_sec), static_cast<long>(wanted->tv_nsec)};
    KernelTime rest;
    const long result = syscall(SYS_nanosleep, &pause, &rest);
    if (result != 0 && left != nullptr) // only an interrupted pause leaves something
        *left = {static_cast<time_t>(rest.seconds), rest.nanoseconds};
    return static_cast<int>(result);
}

INTERPOSED int usleep(useconds_t) {
    if (onUsleep)
        onUsleep();
    return 0;
}

INTERPOSED void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::printf("syslog %d: ", priority);
    std::vprintf(format, arguments);
    std::fflush(stdout);
    va_end(arguments);
}

namespace {

// --- Vocabulary -----------------------------------------------------------------------------------------

using Environment = std::map<std::string, std::string>;

std::string readAll(int file) {
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(file, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(n));
    return text;
}

/// What `body` writes to `descriptor` in a process with these settings.
std::string outputOf(int descriptor, const Environment& settings, const std::function<void()>& body) {
    int ends[2];
    if (pipe(ends) != 0)
        return "no pipe";
    fflush(stdout); // or the child would write what is still in its buffer, too
    const pid_t child = fork();
    if (child == 0) {
        unsetenv("RUXO_LOG");
        unsetenv("RUXO_LOG_LEVEL");
        for (const auto& [name, value] : settings)
            setenv(name.c_str(), value.c_str(), 1);
        dup2(ends[1], descriptor);
        body();
        _exit(0);
    }
    close(ends[1]);
    const std::string output = readAll(ends[0]);
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return output;
}

std::string logged(const Environment& settings, const std::function<void()>& body) {
    return outputOf(STDERR_FILENO, settings, body);
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        result.push_back(line);
    return result;
}

/// Every digit as a "d".
std::string shapeOf(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }, 'd');
    return text;
}

void logAllLevels() {
    for (int level = 0; level <= 7; ++level)
        Logging::Message(static_cast<Logging::Level>(level), "src/A.cpp", 7, "level %d", level);
}

std::size_t levelsLogged(const char* limit) {
    return lines(logged({{"RUXO_LOG_LEVEL", limit}}, logAllLevels)).size();
}

/// A folder of its own for each test, gone afterwards.
class PlatformFiles : public testing::Test {
protected:
    PlatformFiles() {
        std::string pattern = testing::TempDir() + "platform_XXXXXX";
        folder_ = mkdtemp(&pattern[0]);
    }
    ~PlatformFiles() override {
        for (const char* name : {"antenna", "file"}) {
            unlink(path(name).c_str());
            rmdir(path(name).c_str());
        }
        rmdir(folder_.c_str());
    }

    std::string path(const std::string& name) const { return folder_ + "/" + name; }
    bool exists(const std::string& name) const { return access(path(name).c_str(), F_OK) == 0; }
    void write(const std::string& name, const std::string& content) {
        std::ofstream(path(name), std::ios::binary) << content;
    }

private:
    std::string folder_;
};

/// What the antenna's file says, and what it costs to ask.
class AntennaFile : public PlatformFiles {
protected:
    static constexpr unsigned int kUntouched = 77;
    static constexpr uid_t kNobody = 65534;

    AntennaFile() {
        setenv("RUXO_ANTENNA_FILE", path("antenna").c_str(), 1);
        onUsleep = [this] { ++pauses; };
    }
    ~AntennaFile() override {
        unsetenv("RUXO_ANTENNA_FILE");
        onUsleep = nullptr;
    }

    unsigned int ask() { return RuxoHAL::Instance()->GetGNSSAntennaState(state); }
    unsigned int askFor(const std::string& content) {
        write("antenna", content);
        state = GPSAntennaState(kUntouched);
        return ask();
    }

    GPSAntennaState state = GPSAntennaState(kUntouched);
    int pauses = 0;
};

/// Clocks and sleeps under the test's control.
class PlatformTime : public testing::Test {
protected:
    ~PlatformTime() override {
        fakedClocks.clear();
        clocksFail = false;
        onNanosleep = nullptr;
    }

    static constexpr long kMilliseconds = 1000000; // nanoseconds
    timespec wanted = {};

    void sleepIsInterruptedWith(time_t seconds, long nanoseconds) {
        onNanosleep = [=](const timespec& asked, timespec& left) {
            wanted = asked;
            left = {seconds, nanoseconds};
            errno = EINTR;
            return -1;
        };
    }
};

} // namespace

// --- Logging --------------------------------------------------------------------------------------------

TEST(PlatformLogging, WritesTimeLevelSourceLineAndText) {
    const std::string text = logged(
        {}, [] { Logging::Message(Logging::LevelError, "src/A.cpp", 42, "rc=0x%08X of %s", 0x17u, "x"); });
    EXPECT_EQ(shapeOf(text.substr(0, 24)), "dddd-dd-ddTdd:dd:dd.dddZ");
    EXPECT_EQ(text.substr(24), " <3> src/A.cpp:42 rc=0x00000017 of x\n");
}

TEST(PlatformLogging, TakesTheTimeFromTheUnitsClock) {
    const std::string text = logged({}, [] {
        fakedClocks[CLOCK_REALTIME] = {1700000000, 7000000};
        Logging::Message(Logging::LevelInfo, "s", 1, "t");
    });
    EXPECT_EQ(text, "2023-11-14T22:13:20.007Z <6> s:1 t\n");
}

TEST(PlatformLogging, DropsLinesAboveLevelSixUnlessToldOtherwise) {
    const std::vector<std::string> seen = lines(logged({}, logAllLevels));
    ASSERT_EQ(seen.size(), 7u);
    EXPECT_NE(seen.back().find("<6> src/A.cpp:7 level 6"), std::string::npos);
}

TEST(PlatformLogging, DropsLinesAboveTheSetLevel) {
    EXPECT_EQ(levelsLogged("0"), 1u);
    EXPECT_EQ(levelsLogged("3"), 4u);
    EXPECT_EQ(levelsLogged("7"), 8u);
}

TEST(PlatformLogging, TakesAnUnknownLevelForNotSet) {
    for (const char* unknown : {"", "8", "-1", "33", "debug", " 3"})
        EXPECT_EQ(levelsLogged(unknown), 7u) << unknown;
}

TEST(PlatformLogging, TakesAnUnknownDestinationForNotSet) {
    EXPECT_EQ(lines(logged({{"RUXO_LOG", "printer"}}, logAllLevels)).size(), 7u);
}

TEST(PlatformLogging, HandsLinesToSyslogWithTheirLevel) {
    const auto body = [] { Logging::Message(Logging::LevelCritical, "src/A.cpp", 9, "%d%%", 50); };
    EXPECT_EQ(outputOf(STDOUT_FILENO, {{"RUXO_LOG", "syslog"}}, body), "syslog 2: src/A.cpp:9 50%");
    EXPECT_EQ(logged({{"RUXO_LOG", "syslog"}}, body), "");
}

TEST(PlatformLogging, WritesLongTextsWhole) {
    const std::string longText(100000, 'x');
    const std::string text =
        logged({}, [&] { Logging::Message(Logging::LevelInfo, "s", 1, "%s", longText.c_str()); });
    EXPECT_NE(text.find("s:1 " + longText + "\n"), std::string::npos);
}

TEST(PlatformLogging, NeverMixesTheLinesOfSeveralThreads) {
    constexpr int kThreads = 4;
    constexpr int kLines = 50;
    const std::string text = logged({}, [] {
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([t] {
                const std::string body(6000, static_cast<char>('a' + t)); // more than a pipe takes at once
                for (int i = 0; i < kLines; ++i)
                    Logging::Message(Logging::LevelInfo, "s", 1, "[%s]", body.c_str());
            });
        for (std::thread& thread : threads)
            thread.join();
    });
    const std::vector<std::string> seen = lines(text);
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(kThreads * kLines));
    const auto whole = [](const std::string& line) {
        const std::string body = line.substr(line.find('[') + 1, 6000);
        return line.back() == ']' && body.find_first_not_of(body[0]) == std::string::npos;
    };
    EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), whole));
}

// --- GPSData --------------------------------------------------------------------------------------------

TEST(PlatformGPSData, StartsCleared) {
    const GPSData data;
    EXPECT_FALSE(data.valid);
    for (const double value : {double(data.latitude), double(data.longitude), double(data.altitude),
                               double(data.time), double(data.speed), double(data.course), double(data.hdop),
                               double(data.tdop), double(data.pdop), double(data.gdop)})
        EXPECT_EQ(value, 0.0);
}

TEST(PlatformGPSData, IsCopiedWholeAndCleared) {
    GPSData data;
    data.valid = true;
    data.latitude = -1;
    data.gdop = 2.5f;
    GPSData copy;
    copy = data;
    EXPECT_TRUE(copy.valid);
    EXPECT_EQ(copy.latitude, -1);
    EXPECT_EQ(GPSData(copy).gdop, 2.5f);
    copy.Clear();
    EXPECT_FALSE(copy.valid);
    EXPECT_EQ(copy.latitude, 0);
    EXPECT_EQ(copy.gdop, 0.0f);
}

// --- RuxoString -----------------------------------------------------------------------------------------

TEST(PlatformRuxoString, IsEmptyWithoutAText) {
    const char* const null = nullptr;
    EXPECT_STREQ(RuxoString().getStr(), "");
    EXPECT_STREQ(RuxoString(null).getStr(), "");
    RuxoString text("x");
    text.setStr(nullptr);
    EXPECT_STREQ(text.getStr(), "");
}

TEST(PlatformRuxoString, KeepsACopyOfItsOwn) {
    char buffer[] = "depot";
    RuxoString text(buffer);
    const RuxoString copy(text);
    buffer[0] = 'X';
    text.setStr("bridge");
    EXPECT_STREQ(copy.getStr(), "depot");
    EXPECT_STREQ(text.getStr(), "bridge");
}

TEST(PlatformRuxoString, ComparesByteForByte) {
    EXPECT_TRUE(RuxoString("a").equals(RuxoString("a")));
    EXPECT_TRUE(RuxoString().equals(RuxoString("")));
    EXPECT_FALSE(RuxoString("a").equals(RuxoString("A")));
    EXPECT_FALSE(RuxoString("a").equals(RuxoString("ab")));
}

TEST(PlatformRuxoString, MayBeGivenItsOwnText) {
    RuxoString text("depot");
    text.setStr(text.getStr() + 2);
    EXPECT_STREQ(text.getStr(), "pot");
    const RuxoString& same = text;
    text = same;
    EXPECT_STREQ(text.getStr(), "pot");
}

// --- Tick and sleep -------------------------------------------------------------------------------------

TEST_F(PlatformTime, TicksInWholeSecondsOfTheBootClock) {
    fakedClocks[CLOCK_BOOTTIME] = {5, 999999999};
    EXPECT_EQ(ruxo_systemtick(), 5u);
}

TEST_F(PlatformTime, TickWrapsAt32Bits) {
    const int64_t uptime = 4294967296 + 3;
    fakedClocks[CLOCK_BOOTTIME] = {static_cast<time_t>(uptime), 0};
    EXPECT_EQ(ruxo_systemtick(), 3u);
}

TEST_F(PlatformTime, TickDoesNotFollowTheWallClock) {
    fakedClocks[CLOCK_BOOTTIME] = {5, 0};
    fakedClocks[CLOCK_REALTIME] = {1700000000, 0};
    EXPECT_EQ(ruxo_systemtick(), 5u);
}

TEST_F(PlatformTime, SleepsTheWholeTimeAndLeavesNothing) {
    onNanosleep = [this](const timespec& asked, timespec&) { return wanted = asked, 0; };
    EXPECT_EQ(ruxosleep_interruptible(1500), 0u);
    EXPECT_EQ(wanted.tv_sec, 1);
    EXPECT_EQ(wanted.tv_nsec, 500 * kMilliseconds);
}

TEST_F(PlatformTime, ReturnsTheMillisecondsThatAnInterruptLeft) {
    sleepIsInterruptedWith(2, 250 * kMilliseconds);
    EXPECT_EQ(ruxosleep_interruptible(4294967295), 2250u);
    EXPECT_EQ(wanted.tv_sec, 4294967);
    EXPECT_EQ(wanted.tv_nsec, 295 * kMilliseconds);
}

TEST_F(PlatformTime, GmTimeIsTheWallClockInSeconds) {
    fakedClocks[CLOCK_REALTIME] = {1700000000, 999999999};
    long utc = 0;
    EXPECT_TRUE(Util::Time::GetGmTime(&utc));
    EXPECT_EQ(utc, 1700000000);
}

TEST_F(PlatformTime, GmTimeFailsWithoutAPlaceOrAClock) {
    EXPECT_FALSE(Util::Time::GetGmTime(nullptr));
    clocksFail = true;
    long utc = 7;
    EXPECT_FALSE(Util::Time::GetGmTime(&utc));
    EXPECT_EQ(utc, 7);
}

// --- Antenna --------------------------------------------------------------------------------------------

TEST_F(AntennaFile, IsInOrderWithoutAFile) {
    EXPECT_EQ(ask(), 0u);
    EXPECT_EQ(state, GPS_ANTENNA_OK);
    EXPECT_EQ(pauses, 0);
}

TEST_F(AntennaFile, GivesTheNumberInTheFile) {
    EXPECT_EQ(askFor("1\n"), 0u);
    EXPECT_EQ(state, GPS_ANTENNA_OK);
    EXPECT_EQ(askFor(" \t3\r\n"), 0u);
    EXPECT_EQ(state, GPS_ANTENNA_SHORT);
    EXPECT_EQ(askFor("0"), 0u);
    EXPECT_EQ(state, GPS_ANTENNA_UNKNOWN);
    EXPECT_EQ(askFor("4294967295"), 0u);
    EXPECT_EQ(state, GPSAntennaState(4294967295u));
}

TEST_F(AntennaFile, RefusesWhatIsNoNumberAndLeavesTheStateAlone) {
    for (const char* rubbish : {" ", "ok", "1 2", "-1", "+1", "0x1", "1.0", "4294967296", "99999999999"}) {
        EXPECT_EQ(askFor(rubbish), RUXOHAL_ERR_CONTENT) << rubbish;
        EXPECT_EQ(state, GPSAntennaState(kUntouched)) << rubbish;
    }
    EXPECT_EQ(askFor(std::string("1\0", 2)), RUXOHAL_ERR_CONTENT);
    EXPECT_EQ(askFor(std::string(1000000, '1')), RUXOHAL_ERR_CONTENT);
}

TEST_F(AntennaFile, ReportsAFolderAsUnreadable) {
    ASSERT_EQ(mkdir(path("antenna").c_str(), 0700), 0);
    EXPECT_EQ(ask(), RUXOHAL_ERR_READ);
    EXPECT_EQ(state, GPSAntennaState(kUntouched));
}

TEST_F(AntennaFile, ReportsAFileThatItMayNotRead) {
    write("antenna", "1");
    ASSERT_EQ(chmod(path("antenna").c_str(), 0), 0);
    const uid_t user = geteuid();
    ASSERT_EQ(seteuid(user == 0 ? kNobody : user), 0); // root may read every file
    const unsigned int result = ask();
    ASSERT_EQ(seteuid(user), 0);
    EXPECT_EQ(result, RUXOHAL_ERR_READ);
}

TEST_F(AntennaFile, ReportsALoopOfLinksAsUnreadable) {
    ASSERT_EQ(symlink("antenna", path("antenna").c_str()), 0);
    EXPECT_EQ(ask(), RUXOHAL_ERR_READ);
}

TEST_F(AntennaFile, DoesNotHangOnANamedPipe) {
    ASSERT_EQ(mkfifo(path("antenna").c_str(), 0600), 0);
    EXPECT_EQ(ask(), RUXOHAL_ERR_CONTENT);
}

TEST_F(AntennaFile, WaitsOutTheMomentInWhichTheFileIsRewritten) {
    onUsleep = [this] {
        if (++pauses == 3)
            write("antenna", "2");
    };
    EXPECT_EQ(askFor(""), 0u);
    EXPECT_EQ(state, GPS_ANTENNA_DISCONNECTED);
    EXPECT_EQ(pauses, 3);
}

TEST_F(AntennaFile, GivesUpOnAFileThatStaysEmpty) {
    EXPECT_EQ(askFor(""), RUXOHAL_ERR_CONTENT);
    EXPECT_EQ(pauses, 19);
}

TEST_F(AntennaFile, TakesAFileRemovedMeanwhileForNoFile) {
    onUsleep = [this] { unlink(path("antenna").c_str()); };
    EXPECT_EQ(askFor(""), 0u);
    EXPECT_EQ(state, GPS_ANTENNA_OK);
}

// --- Files ----------------------------------------------------------------------------------------------

TEST_F(PlatformFiles, RemoveSingleFileRemovesAFile) {
    write("file", "x");
    EXPECT_TRUE(Util::File::RemoveSingleFile(path("file").c_str()));
    EXPECT_FALSE(exists("file"));
}

TEST_F(PlatformFiles, RemoveSingleFileFailsWhereThereIsNone) {
    EXPECT_FALSE(Util::File::RemoveSingleFile(path("file").c_str()));
    EXPECT_FALSE(Util::File::RemoveSingleFile(""));
    EXPECT_FALSE(Util::File::RemoveSingleFile(nullptr));
}

TEST_F(PlatformFiles, RemoveSingleFileLeavesAFolderAlone) {
    ASSERT_EQ(mkdir(path("file").c_str(), 0700), 0);
    EXPECT_FALSE(Util::File::RemoveSingleFile(path("file").c_str()));
    EXPECT_TRUE(exists("file"));
}
