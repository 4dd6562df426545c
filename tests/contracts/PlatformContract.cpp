// What the library relies on in the platform's libraries. Each test runs against the host's versions and
// against those that the unit tests have in their place.

#include "PlatformContract.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <limits>

#include "GPSPlatform.h"

namespace {

/// A path in a folder that goes with the test.
class OwnFolder {
public:
    OwnFolder() { EXPECT_NE(mkdtemp(&path_[0]), nullptr); }
    ~OwnFolder() {
        unlink(file().c_str());
        rmdir(file().c_str());
        rmdir(path_.c_str());
    }
    OwnFolder(const OwnFolder&) = delete;
    OwnFolder& operator=(const OwnFolder&) = delete;

    std::string file() const { return path_ + "/file"; }
    bool hasFile() const { return access(file().c_str(), F_OK) == 0; }

private:
    std::string path_ = ::testing::TempDir() + "contract_XXXXXX";
};

} // namespace

// --- RuxoString -------------------------------------------------------------------------------------------

TEST_P(PlatformContract, StringsAreEmptyWithoutAText) {
    const char* const none = nullptr;
    EXPECT_STREQ(RuxoString().getStr(), "");
    EXPECT_STREQ(RuxoString(none).getStr(), "");
    RuxoString text("depot");
    text.setStr(nullptr);
    EXPECT_STREQ(text.getStr(), "");
    EXPECT_TRUE(text.equals(RuxoString("")));
}

TEST_P(PlatformContract, StringsKeepACopy) {
    std::string source = "/var/run/gpsd.pid";
    RuxoString text(source.c_str());
    const RuxoString copy(text);
    source.assign(source.size(), 'x');
    text.setStr("depot");
    EXPECT_STREQ(copy.getStr(), "/var/run/gpsd.pid");
    EXPECT_STREQ(text.getStr(), "depot");
    text = copy;
    EXPECT_STREQ(text.getStr(), "/var/run/gpsd.pid");
}

TEST_P(PlatformContract, StringsMayBeGivenTheirOwnText) {
    RuxoString text("depot");
    text.setStr(text.getStr() + 2);
    EXPECT_STREQ(text.getStr(), "pot");
}

TEST_P(PlatformContract, StringsAreEqualByteForByte) {
    EXPECT_TRUE(RuxoString("depot").equals(RuxoString("depot")));
    EXPECT_FALSE(RuxoString("depot").equals(RuxoString("Depot")));
    EXPECT_FALSE(RuxoString("depot").equals(RuxoString("depots")));
}

// --- GPSData ----------------------------------------------------------------------------------------------

TEST_P(PlatformContract, FixesBeginCleared) {
    const GPSData data;
    EXPECT_FALSE(data.valid);
    EXPECT_EQ(data.latitude | data.longitude | data.altitude | data.time, 0);
    EXPECT_EQ(data.speed | data.course, 0u);
    EXPECT_EQ(data.hdop + data.tdop + data.pdop + data.gdop, 0.0f);
}

TEST_P(PlatformContract, FixesAreAssignedWholeAndClearedWhole) {
    GPSData data;
    data.valid = true;
    data.latitude = data.longitude = data.altitude = data.time = std::numeric_limits<int32_t>::min();
    data.speed = data.course = std::numeric_limits<uint32_t>::max();
    data.hdop = data.tdop = data.pdop = data.gdop = 2.5f;
    GPSData copy;
    copy = data;
    data.Clear();
    EXPECT_TRUE(copy.valid);
    EXPECT_EQ(copy.time, std::numeric_limits<int32_t>::min());
    EXPECT_EQ(copy.course, std::numeric_limits<uint32_t>::max());
    EXPECT_EQ(copy.gdop, 2.5f);
    EXPECT_FALSE(data.valid);
    EXPECT_EQ(data.latitude | data.longitude | data.altitude | data.time, 0);
    EXPECT_EQ(data.hdop + data.tdop + data.pdop + data.gdop, 0.0f);
}

// --- Files ------------------------------------------------------------------------------------------------

TEST_P(PlatformContract, RemovesASingleFile) {
    const OwnFolder folder;
    fclose(fopen(folder.file().c_str(), "w"));
    EXPECT_TRUE(Util::File::RemoveSingleFile(folder.file().c_str()));
    EXPECT_FALSE(folder.hasFile());
}

TEST_P(PlatformContract, RemovesNothingWhereThereIsNoFile) {
    const OwnFolder folder;
    EXPECT_FALSE(Util::File::RemoveSingleFile(folder.file().c_str()));
    EXPECT_FALSE(Util::File::RemoveSingleFile(nullptr));
    ASSERT_EQ(mkdir(folder.file().c_str(), 0700), 0);
    EXPECT_FALSE(Util::File::RemoveSingleFile(folder.file().c_str()));
    EXPECT_TRUE(folder.hasFile());
}

// --- Time -------------------------------------------------------------------------------------------------

TEST_P(PlatformContract, TheTickNeverRunsBackwards) {
    uint32_t last = ruxo_systemtick();
    for (int i = 0; i < 1000; ++i) {
        const uint32_t now = ruxo_systemtick();
        EXPECT_GE(now, last);
        last = now;
    }
    ruxosleep_interruptible(10);
    EXPECT_GE(ruxo_systemtick(), last);
}

TEST_P(PlatformContract, SleepsToTheEnd) {
    EXPECT_EQ(ruxosleep_interruptible(0), 0u);
    EXPECT_EQ(ruxosleep_interruptible(10), 0u);
}

// By either of libc's two readings: time() turns to a new second with the kernel's next tick, milliseconds
// after clock_gettime(), so the one gives the earliest second that can be meant and the other the latest.
TEST_P(PlatformContract, GivesTheTimeThatTimeGives) {
    const time_t earliest = time(nullptr);
    long utc = 0;
    EXPECT_TRUE(Util::Time::GetGmTime(&utc));
    timespec latest = {};
    ASSERT_EQ(clock_gettime(CLOCK_REALTIME, &latest), 0);
    EXPECT_GE(utc, earliest);
    EXPECT_LE(utc, latest.tv_sec);
}

TEST_P(PlatformContract, GivesNoTimeWithoutAPlaceForIt) { EXPECT_FALSE(Util::Time::GetGmTime(nullptr)); }

// --- The antenna ------------------------------------------------------------------------------------------

TEST_P(PlatformContract, HasOneHalWithAnAntennaInOrder) {
    ASSERT_NE(RuxoHAL::Instance(), nullptr);
    EXPECT_EQ(RuxoHAL::Instance(), RuxoHAL::Instance());
    GPSAntennaState state{};
    EXPECT_EQ(RuxoHAL::Instance()->GetGNSSAntennaState(state), 0u);
    EXPECT_EQ(state, GPS_ANTENNA_OK);
}

// --- The log ----------------------------------------------------------------------------------------------

TEST_P(PlatformContract, LogsWhatPrintfMakesOfIt) {
    const auto lines = ground->logged([] {
        Logging::Message(Logging::LevelError, "src/A.cpp", 42, "rc=0x%08X of %s, %d %%", 0x17u, "x", -6);
        Logging::Message(Logging::LevelInfo, "src/B.cpp", 7, "PDOP: %f", 1.5);
    });
    EXPECT_EQ(lines, (std::vector<std::string>{"3 src/A.cpp:42 rc=0x00000017 of x, -6 %",
                                               "6 src/B.cpp:7 PDOP: 1.500000"}));
}

TEST_P(PlatformContract, LogsLongTextsWhole) {
    const std::string text(10000, 'x');
    const auto lines =
        ground->logged([&] { Logging::Message(Logging::LevelCritical, "s", 1, "%s", text.c_str()); });
    EXPECT_EQ(lines, std::vector<std::string>{"2 s:1 " + text});
}
