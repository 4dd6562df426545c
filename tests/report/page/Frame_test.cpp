#include "Frame.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace {

using namespace report;

telemetry::Position at(std::int32_t latitude, std::int32_t longitude) { return {latitude, longitude}; }

std::vector<TrackPoint> trackThrough(const std::vector<telemetry::Position>& positions) {
    std::vector<TrackPoint> track;
    for (const telemetry::Position& position : positions) {
        TrackPoint point;
        point.at = position;
        track.push_back(point);
    }
    return track;
}

Area areaAt(telemetry::Position centre, std::uint32_t size, std::uint32_t margin = 1500) {
    Area area;
    area.geofence = {"Depot", centre, size, size, margin};
    return area;
}

bool isWithin(const Frame& frame, const Place& place) {
    return place.x >= 0 && place.x <= Frame::kWidth && place.y >= 0 && place.y <= frame.height();
}

TEST(Frame, ShowsTheWholeTrackWithNorthUp) {
    const Frame frame(trackThrough({{50000000, 8000000}, {50020000, 8050000}}), {});
    EXPECT_TRUE(isWithin(frame, frame.on(at(50000000, 8000000))));
    EXPECT_TRUE(isWithin(frame, frame.on(at(50020000, 8050000))));
    EXPECT_GT(frame.on(at(50000000, 8000000)).y, frame.on(at(50020000, 8000000)).y);
    EXPECT_LT(frame.on(at(50000000, 8000000)).x, frame.on(at(50000000, 8050000)).x);
}

TEST(Frame, ShowsAGeofenceThatIsNear) {
    const Frame frame(trackThrough({{50000000, 8000000}, {50020000, 8050000}}),
                      {areaAt({50030000, 8000000}, 4000)});
    EXPECT_TRUE(isWithin(frame, frame.on(at(50033500, 8000000))));
}

TEST(Frame, IsNotMadeSmallByAGeofenceThatIsFarAway) {
    const auto track = trackThrough({{50000000, 8000000}, {50020000, 8050000}});
    EXPECT_DOUBLE_EQ(Frame(track, {areaAt({10000000, 100000000}, 4000)}).unitsPerMetre(),
                     Frame(track, {}).unitsPerMetre());
}

TEST(Frame, IsNotMadeSmallByAGeofenceAsLargeAsACountry) {
    const auto track = trackThrough({{50000000, 8000000}, {50020000, 8050000}});
    EXPECT_GT(Frame(track, {areaAt({50000000, 8000000}, 9000000)}).unitsPerMetre(),
              Frame(track, {}).unitsPerMetre() / 4);
}

TEST(Frame, OfOnePlaceIsNotEndlesslyLarge) {
    const Frame frame(trackThrough({{50000000, 8000000}}), {});
    EXPECT_LT(frame.unitsPerMetre(), 20);
    EXPECT_TRUE(isWithin(frame, frame.on(at(50000000, 8000000))));
}

TEST(Frame, IsEmptyWithoutATrackAndGeofences) {
    EXPECT_TRUE(Frame({}, {}).isEmpty());
    EXPECT_FALSE(Frame({}, {areaAt({50000000, 8000000}, 4000)}).isEmpty());
}

TEST(Frame, HasAGridOfARoundNumberOfMetres) {
    const Frame frame(trackThrough({{50000000, 8000000}, {50000000, 8070000}}), {});
    EXPECT_EQ(frame.gridM(), 1000); // 5 km are 860 units
}

double east(const std::vector<Ground>& ground) {
    const auto byEast = [](const Ground& a, const Ground& b) { return a.east < b.east; };
    return std::max_element(ground.begin(), ground.end(), byEast)->east;
}

TEST(Outline, IsWiderByTheMargin) {
    const Projection projection({0, 0});
    const telemetry::Geofence geofence{"Depot", {0, 0}, 2000, 1000, 1500};
    EXPECT_NEAR(east(outline(projection, geofence, 0)), 1000 * 0.11113286273635781, 0.01);
    EXPECT_NEAR(east(outline(projection, geofence, 1500)), 2500 * 0.11113286273635781, 0.01);
}

TEST(Outline, EndsAtTheDateLineAsTheComparisonDoes) {
    const Projection projection({0, 180000000});
    const telemetry::Geofence geofence{"Depot", {0, 179999000}, 4000, 1000, 0};
    EXPECT_NEAR(east(outline(projection, geofence, 0)), 0, 0.01);
}

TEST(Outline, OfOneThatEnclosesNothingIsEmpty) {
    const telemetry::Geofence geofence{"Wraps", {0, 0}, 4294967295u, 1000, 1500};
    EXPECT_TRUE(outline(Projection({0, 0}), geofence, 4294967295u - 1000).empty());
}

Drive withSettings(const std::vector<SettingsFrom>& settings) {
    Drive drive;
    drive.durationS = 100;
    drive.settings = settings;
    return drive;
}

telemetry::Settings settingsWith(const telemetry::Geofence& geofence, bool enabled) {
    telemetry::Settings settings;
    settings.geofencesEnabled = enabled;
    settings.geofences[2] = geofence;
    return settings;
}

TEST(AreasOf, AreOneForAGeofenceThatStays) {
    const telemetry::Geofence geofence{"Depot", {1, 2}, 2000, 1000, 1500};
    SettingsFrom first{0, settingsWith(geofence, false), 0};
    SettingsFrom second{40, settingsWith(geofence, true), 0};
    const std::vector<Area> areas = areasOf(withSettings({first, second}));
    ASSERT_EQ(areas.size(), 1u);
    EXPECT_EQ(areas[0].slot, 2u);
    EXPECT_EQ(areas[0].toS, 100);
    EXPECT_TRUE(areas[0].watched);
}

TEST(AreasOf, AreTwoForAGeofenceThatChanges) {
    SettingsFrom first{0, settingsWith({"Depot", {1, 2}, 2000, 1000, 1500}, true), 0};
    SettingsFrom second{40, settingsWith({"Depot", {1, 2}, 2000, 1000, 2500}, true), 0};
    const std::vector<Area> areas = areasOf(withSettings({first, second}));
    ASSERT_EQ(areas.size(), 2u);
    EXPECT_EQ(areas[0].toS, 40);
    EXPECT_EQ(areas[1].fromS, 40);
}

} // namespace
