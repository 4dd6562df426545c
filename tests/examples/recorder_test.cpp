// The example application's recording, as the report's reader finds it.

#include "Recorder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "Options.h"
#include "Recording.h"

namespace {

using namespace telemetry;

// --- Vocabulary -----------------------------------------------------------------------------------------

class RecorderTest : public testing::Test {
protected:
    ~RecorderTest() override { std::remove(file_.c_str()); }

    std::vector<Line> recorded() const {
        std::ifstream input(file_);
        RecordingReader reader(input, file_);
        std::vector<Line> lines;
        while (const auto line = reader.next())
            lines.push_back(*line);
        EXPECT_TRUE(reader.damage().empty());
        return lines;
    }

    template <class What>
    What last() const {
        return std::get<What>(recorded().back().content);
    }

    std::string file_ = testing::TempDir() + "recorder_test." + std::to_string(getpid());
    Recorder recorder_{file_};
};

GPSReadings someReadings() {
    GPSReadings readings;
    readings.available = true;
    readings.antennaState = GPS_ANTENNA_DISCONNECTED;
    readings.satelliteCount = 11;
    readings.snr = 38;
    readings.fixTick = 4711;
    readings.odometer = 1806;
    readings.data.latitude = 52516300;
    readings.data.longitude = -13377200;
    readings.data.time = 1767323045;
    readings.data.speed = 14000;
    readings.data.pdop = std::numeric_limits<float>::quiet_NaN();
    readings.geofenceStates[11] = GPSGeofenceState::Left;
    readings.horizontalError = 4;
    return readings;
}

GPSParams watching(const char* name, std::size_t slot) {
    GPSParams params;
    params.positionInterval = 1;
    params.geofences[slot].name.setStr(name);
    params.geofences[slot].width = 100;
    params.geofences[slot].height = 200;
    return params;
}

Event crossing(const char* name) {
    Event event{Event::Kind::GeofenceEntered, 0};
    event.geofence = name;
    return event;
}

// --- Lines ----------------------------------------------------------------------------------------------

TEST_F(RecorderTest, BeginsWithAStartThatNamesTheApplication) {
    EXPECT_EQ(last<Start>().version, 1u);
    EXPECT_EQ(last<Start>().program.rfind("drive ", 0), 0u);
}

TEST_F(RecorderTest, HasEachLineInTheFileAtOnce) {
    recorder_.step(ServiceStep::Step::Constructing);
    EXPECT_EQ(recorded().size(), 2u);
    recorder_.step(ServiceStep::Step::Failed, 0x17000003u);
    EXPECT_EQ(last<ServiceStep>().result, 0x17000003u);
}

TEST_F(RecorderTest, KeepsReadingsAsTheyWere) {
    recorder_.readings(someReadings());
    const Readings readings = last<ReadingsTaken>().readings;
    EXPECT_TRUE(readings.available);
    EXPECT_EQ(readings.antennaState, 2u);
    EXPECT_EQ(readings.fixTickS, 4711u);
    EXPECT_EQ(readings.odometerM, 1806u);
    EXPECT_EQ(readings.fix.value().position.longitude, -13377200);
    EXPECT_EQ(readings.fix.value().utcS, 1767323045);
    EXPECT_TRUE(std::isnan(readings.fix.value().pdop));
    EXPECT_EQ(readings.geofenceStates[11], GeofenceState::Left);
    EXPECT_FALSE(readings.timeDeviationS);
}

TEST_F(RecorderTest, KnowsNoFixBeforeTheFirstOne) {
    recorder_.readings(GPSReadings());
    EXPECT_FALSE(last<ReadingsTaken>().readings.fix);
}

TEST_F(RecorderTest, KeepsReadingsThatDifferAlone) {
    GPSParams params;
    params.positionInterval = 3600;
    recorder_.settings(params);
    recorder_.readings(someReadings());
    recorder_.readings(someReadings());
    EXPECT_EQ(recorded().size(), 3u);
    GPSReadings other = someReadings();
    ++other.fixTick;
    recorder_.readings(other);
    EXPECT_EQ(recorded().size(), 4u);
}

TEST_F(RecorderTest, KeepsTheSettingsWithTheirGeofences) {
    recorder_.settings(watching("depot", 3));
    const Settings settings = last<SettingsTaken>().settings;
    EXPECT_EQ(settings.geofences[3].name, "depot");
    EXPECT_EQ(settings.geofences[3].height, 200u);
    EXPECT_FALSE(settings.geofences[0].isConfigured());
}

TEST_F(RecorderTest, SaysWhichGeofenceWasCrossedAndWhere) {
    recorder_.settings(watching("depot", 3));
    recorder_.event(crossing("depot"), someReadings());
    const GeofenceCrossed crossed = last<GeofenceCrossed>();
    EXPECT_TRUE(crossed.entered);
    EXPECT_EQ(crossed.slot, 3u);
    EXPECT_EQ(crossed.where.value().latitude, 52516300);
    recorder_.event(crossing("gone"), GPSReadings());
    EXPECT_FALSE(last<GeofenceCrossed>().slot);
    EXPECT_FALSE(last<GeofenceCrossed>().where);
}

TEST_F(RecorderTest, NeverGoesBackInTime) {
    recorder_.readings(someReadings());
    recorder_.event(crossing("depot"), someReadings());
    recorder_.end(0);
    const std::vector<Line> lines = recorded();
    const auto earlier = [](const Line& a, const Line& b) { return a.at.uptimeMs < b.at.uptimeMs; };
    EXPECT_TRUE(std::is_sorted(lines.begin(), lines.end(), earlier));
}

// --- Where nothing can be written -----------------------------------------------------------------------

TEST(Recorder, RefusesAFileThatCantBeWritten) {
    try {
        Recorder recorder("/no/such/folder/drive.jsonl");
        FAIL();
    } catch (const OptionError& error) {
        EXPECT_STREQ(error.what(), "--record: '/no/such/folder/drive.jsonl' can't be written");
    }
}

TEST(Recorder, KnowsThatADiskIsFull) {
    Recorder recorder("/dev/full");
    EXPECT_FALSE(recorder.isWhole());
}

TEST(Recorder, RecordsNothingUnlessAsked) {
    Recorder recorder("");
    recorder.readings(someReadings());
    EXPECT_TRUE(recorder.isWhole());
}

} // namespace
