#include "Json.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

namespace {

using namespace telemetry;
using ::testing::HasSubstr;

constexpr std::int64_t kUtcMs = 1767323045042; // 2026-01-02 03:04:05.042

Line lineOf(Content content) { return {{kUtcMs, 61250, 4711}, std::move(content)}; }

Fix someFix() {
    Fix fix;
    fix.position = {52512195, -13312128};
    fix.altitudeMm = 34567;
    fix.utcS = 1767323044;
    fix.speedMmPerS = 13889;
    fix.courseMdeg = 271501;
    fix.hdop = 0.9;
    fix.tdop = 1.01;
    fix.pdop = 1.7;
    fix.gdop = std::numeric_limits<double>::quiet_NaN();
    return fix;
}

Readings someReadings() {
    Readings readings;
    readings.available = true;
    readings.antennaState = 1;
    readings.satellites = 11;
    readings.snrDbHz = 38;
    readings.fixTickS = 4709;
    readings.odometerM = std::numeric_limits<std::uint32_t>::max();
    readings.fix = someFix();
    readings.geofenceStates = {GeofenceState::Inside, GeofenceState::Outside, GeofenceState::Entered,
                               GeofenceState::Left};
    readings.timeDeviationS = -3600;
    readings.horizontalErrorM = 6;
    readings.timeErrorMs = -5;
    return readings;
}

Settings someSettings() {
    Settings settings;
    settings.enabled = false;
    settings.positionIntervalS = 4294967295u;
    settings.trackingEnabled = true;
    settings.trackingPeriodS = -30;
    settings.trackingBaseS = 7;
    settings.trackingOffsetS = -7;
    settings.geofencesEnabled = true;
    settings.geofences[0] = {"Depot \"north\"\n", {90000000, 180000000}, 4294967295u, 1, 1500};
    settings.geofences[11] = {"Hafenstraße", {-2147483647 - 1, 2147483647}, 2, 3, 0};
    return settings;
}

/// What a line becomes when it is written, read, and written again.
std::string again(const Line& line) { return toJson(fromJson(toJson(line)).value()); }

std::string whatIsWrongWith(const std::string& text) {
    try {
        return fromJson(text) ? "nothing" : "of a type that is not known";
    } catch (const NotTelemetry& error) {
        return error.what();
    }
}

// --- Written --------------------------------------------------------------------------------------------

TEST(LineAsJson, NamesItsTypeAndItsMomentFirst) {
    EXPECT_EQ(
        toJson(lineOf(AvailabilityChanged{true, Position{52512195, -13312128}})),
        R"({"type":"availability","time_utc":"2026-01-02T03:04:05.042Z","uptime_s":61.25,"tick_s":4711,)"
        R"("available":true,"latitude_deg":52.512195,"longitude_deg":-13.312128})");
}

TEST(LineAsJson, HasReadingsWithTheirUnits) {
    EXPECT_EQ(
        toJson(lineOf(ReadingsTaken{someReadings()})),
        R"({"type":"readings","time_utc":"2026-01-02T03:04:05.042Z","uptime_s":61.25,"tick_s":4711,)"
        R"("available":true,"antenna":"in order","antenna_state":1,"satellites":11,"snr_dbhz":38,)"
        R"("fix_tick_s":4709,"fix_age_s":2,"fix":{"time_utc":"2026-01-02T03:04:04Z",)"
        R"("latitude_deg":52.512195,"longitude_deg":-13.312128,"altitude_m":34.567,"speed_m_per_s":13.889,)"
        R"("course_deg":271.501,"hdop":0.9,"tdop":1.01,"pdop":1.7,"gdop":null},"odometer_m":4294967295,)"
        R"("geofence_states":["inside","outside","entered","left","unknown","unknown","unknown","unknown",)"
        R"("unknown","unknown","unknown","unknown"],"time_deviation_s":-3600,"horizontal_error_m":6,)"
        R"("time_error_ms":-5})");
}

TEST(LineAsJson, SaysNullForWhatIsNotKnown) {
    const std::string readings = toJson(lineOf(ReadingsTaken{}));
    EXPECT_THAT(readings, HasSubstr(R"("fix_age_s":null,"fix":null)"));
    EXPECT_THAT(readings, HasSubstr(R"("time_deviation_s":null)"));
    EXPECT_THAT(toJson(lineOf(PositionUpdated{})), HasSubstr(R"("latitude_deg":null,"longitude_deg":null)"));
    EXPECT_THAT(toJson(lineOf(Tracked{})), HasSubstr(R"("fix":null)"));
}

TEST(LineAsJson, HasTheConfiguredGeofencesAlone) {
    const std::string text = toJson(lineOf(SettingsTaken{someSettings()}));
    EXPECT_THAT(text, HasSubstr(R"("geofences":[{"slot":0,"name":"Depot \"north\"\n","latitude_deg":90.0,)"
                                R"("longitude_deg":180.0,"width_deg":4294.967295,"height_deg":1e-06,)"
                                R"("margin_deg":0.0015},{"slot":11,"name":"Hafenstraße",)"));
    EXPECT_THAT(toJson(lineOf(SettingsTaken{})), HasSubstr(R"("geofences":[])"));
}

TEST(LineAsJson, IsOneLineOfUtf8WhateverTheName) {
    const std::string text = toJson(lineOf(GeofenceCrossed{true, std::nullopt, "\xff\n", std::nullopt}));
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_THAT(text, HasSubstr("\"type\":\"geofence_entered\""));
    EXPECT_THAT(text, HasSubstr("\xEF\xBF\xBD\\n"));
}

// --- Read -----------------------------------------------------------------------------------------------

TEST(LineFromJson, IsWhatWasWritten) {
    using Step = ServiceStep::Step;
    const Content contents[] = {
        Start{1, "ruxogps-monitor 0.1.0"},
        SettingsTaken{someSettings()},
        SettingsTaken{},
        ReadingsTaken{someReadings()},
        ReadingsTaken{},
        GeofenceCrossed{true, 3, "Depot", Position{1, -1}},
        GeofenceCrossed{false, std::nullopt, "", std::nullopt},
        AntennaChanged{3, Position{-90000000, 180000000}},
        AvailabilityChanged{false, std::nullopt},
        PositionUpdated{Position{0, 0}},
        Tracked{someFix()},
        Tracked{},
        ServiceStep{Step::Constructing, 1.25, 13, std::nullopt},
        ServiceStep{Step::Failed, 0, 0, 0x80000001u},
        Command{Command::Kind::SetOdometer, 123456, false},
        Command{Command::Kind::Tracking, 0, true},
        Command{Command::Kind::Geofences, 0, false},
        Lost{12},
        End{130},
    };
    for (const Content& content : contents)
        EXPECT_EQ(again(lineOf(content)), toJson(lineOf(content)));
}

TEST(LineFromJson, GivesEachMicrodegreeBack) {
    for (std::int32_t i = -1000000; i < 1000000; i += 997) {
        const Position position{i * 90, i * 180};
        const Line line = fromJson(toJson(lineOf(PositionUpdated{position}))).value();
        ASSERT_EQ(std::get<PositionUpdated>(line.content).where->latitude, position.latitude);
        ASSERT_EQ(std::get<PositionUpdated>(line.content).where->longitude, position.longitude);
    }
}

TEST(LineFromJson, HasTheMomentAndEachValueOfAFix) {
    const Line line = fromJson(toJson(lineOf(Tracked{someFix()}))).value();
    const Fix fix = std::get<Tracked>(line.content).fix.value();
    EXPECT_EQ(line.at.utcMs, kUtcMs);
    EXPECT_EQ(line.at.uptimeMs, 61250);
    EXPECT_EQ(line.at.tickS, 4711u);
    EXPECT_EQ(fix.utcS, 1767323044);
    EXPECT_EQ(fix.courseMdeg, 271501u);
    EXPECT_EQ(fix.pdop, 1.7);
    EXPECT_TRUE(std::isnan(fix.gdop));
}

TEST(LineFromJson, PassesOverWhatALaterVersionMayAdd) {
    EXPECT_EQ(whatIsWrongWith(R"({"type":"weather","time_utc":"soon"})"), "of a type that is not known");
    EXPECT_EQ(whatIsWrongWith(R"({"type":"lost","time_utc":"2026-01-02T03:04:05Z","uptime_s":0,"tick_s":0,)"
                              R"("events":1,"why":"slow"})"),
              "nothing");
}

TEST(LineFromJson, IsRefusedWithTheReason) {
    const std::string beginning = R"({"type":"lost","time_utc":"2026-01-02T03:04:05.000Z","uptime_s":0,)";
    EXPECT_EQ(whatIsWrongWith(""), "this is no JSON object");
    EXPECT_EQ(whatIsWrongWith("[1]"), "this is no JSON object");
    EXPECT_EQ(whatIsWrongWith(R"({"type":"lost")"), "this is no JSON object");
    EXPECT_EQ(whatIsWrongWith("{}"), R"("type" is missing)");
    EXPECT_EQ(whatIsWrongWith(R"({"type":1})"), R"("type" is no text)");
    EXPECT_EQ(whatIsWrongWith(beginning + R"("tick_s":-1,"events":1})"), R"("tick_s" is out of range)");
    EXPECT_EQ(whatIsWrongWith(beginning + R"("tick_s":1e99,"events":1})"), R"("tick_s" is out of range)");
    EXPECT_EQ(whatIsWrongWith(beginning + R"("tick_s":"1","events":1})"), R"("tick_s" is no number)");
    EXPECT_EQ(whatIsWrongWith(beginning + R"("tick_s":1})"), R"("events" is missing)");
    EXPECT_EQ(
        whatIsWrongWith(R"({"type":"lost","time_utc":"2026-01-02","uptime_s":0,"tick_s":0,"events":1})"),
        R"("2026-01-02" is no time)");
}

TEST(LineFromJson, KnowsTwelveGeofences) {
    std::string text = toJson(lineOf(SettingsTaken{someSettings()}));
    text.replace(text.find("\"slot\":11"), 9, "\"slot\":12");
    EXPECT_EQ(whatIsWrongWith(text), R"("slot" is out of range)");
    text = toJson(lineOf(ReadingsTaken{}));
    text.replace(text.find("\"unknown\",\"unknown\""), 19, "\"unknown\"");
    EXPECT_EQ(whatIsWrongWith(text), R"("geofence_states" has not 12 states)");
    text.replace(text.find("\"unknown\""), 9, "\"beside\",\"unknown\"");
    EXPECT_EQ(whatIsWrongWith(text), R"("beside" is not understood)");
}

// --- In words -------------------------------------------------------------------------------------------

TEST(Times, AreWrittenInUtc) {
    EXPECT_EQ(utcText(kUtcMs), "2026-01-02T03:04:05.042Z");
    EXPECT_EQ(utcText(kUtcMs, false), "2026-01-02T03:04:05Z");
    EXPECT_EQ(utcText(-1), "1969-12-31T23:59:59.999Z");
    EXPECT_EQ(utcText(0), "1970-01-01T00:00:00.000Z");
}

TEST(Antenna, IsInWords) {
    EXPECT_EQ(antennaInWords(1), "in order");
    EXPECT_EQ(antennaInWords(2), "disconnected");
    EXPECT_EQ(antennaInWords(3), "short circuit");
    EXPECT_EQ(antennaInWords(7), "unknown (7)");
}

} // namespace
