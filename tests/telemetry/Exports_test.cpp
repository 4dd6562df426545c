#include <gmock/gmock.h>

#include <clocale>
#include <random>
#include <sstream>

#include "Area.h"
#include "ExportText.h"
#include "GeoJson.h"
#include "GeofenceArithmetic.h"
#include "Gpx.h"
#include "TestDrive.h"

namespace {

using namespace telemetry;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

std::string gpxOf(const TestDrive& drive) {
    std::ostringstream output;
    writeGpx(output, drive.journey);
    return output.str();
}

std::string geoJsonOf(const TestDrive& drive) {
    std::ostringstream output;
    writeGeoJson(output, drive.journey);
    return output.str();
}

std::string boxText(const std::optional<Box>& box) {
    if (!box)
        return "none";
    return decimal(box->southWest.latitude, 6) + " " + decimal(box->southWest.longitude, 6) + " to " +
           decimal(box->northEast.latitude, 6) + " " + decimal(box->northEast.longitude, 6);
}

// --- Areas ----------------------------------------------------------------------------------------------

TEST(Area, IsHalfAnExtentAndTheMarginOnEachSide) {
    const Geofence geofence = {"Depot", {50000000, 10000000}, 2001, 1000, 1500};
    EXPECT_EQ(boxText(areaOf(geofence, 0).counted), "49.999500 9.999000 to 50.000500 10.001000");
    EXPECT_EQ(boxText(areaOf(geofence, geofence.margin).counted),
              "49.998000 9.997500 to 50.002000 10.002500");
}

TEST(Area, EndsAtThePolesAndAtTheDateLineAsTheServiceDoes) {
    const Area east = areaOf({"Fiji", {89900000, 179900000}, 400000, 400000, 0}, 0);
    EXPECT_EQ(boxText(east.counted), "89.700000 179.700000 to 90.000000 180.000000");
    EXPECT_EQ(boxText(east.beyond), "89.700000 -180.000000 to 90.000000 -179.900000");
    const Area west = areaOf({"Fiji", {-89900000, -179900000}, 400000, 400000, 0}, 0);
    EXPECT_EQ(boxText(west.counted), "-90.000000 -180.000000 to -89.700000 -179.700000");
    EXPECT_EQ(boxText(west.beyond), "-90.000000 179.900000 to -89.700000 180.000000");
}

TEST(Area, HasNothingBeyondTheDateLineWhereItGoesAllAround) {
    const Area around = areaOf({"Arctic", {80000000, 0}, 400000000, 1000000, 0}, 0);
    EXPECT_EQ(boxText(around.counted), "79.500000 -180.000000 to 80.500000 180.000000");
    EXPECT_EQ(boxText(around.beyond), "none");
    const Area nearly = areaOf({"Arctic", {80000000, 100000000}, 300000000, 1000000, 0}, 0);
    EXPECT_EQ(boxText(nearly.beyond), "79.500000 -180.000000 to 80.500000 -110.000000");
    const Area overlapping = areaOf({"Arctic", {80000000, 100000000}, 380000000, 1000000, 0}, 0);
    EXPECT_EQ(boxText(overlapping.beyond), "79.500000 -180.000000 to 80.500000 -90.000000");
}

TEST(Area, IsNoneWhereTheServiceSeesNone) {
    EXPECT_EQ(boxText(areaOf({"", {0, 0}, 4294967295u, 1000, 0}, 1500).counted), "none");
    EXPECT_EQ(boxText(areaOf({"", {0, 0}, 1000, 4294967295u, 0}, 1500).counted), "none");
    EXPECT_EQ(boxText(areaOf({"", {0, 200000000}, 1000, 1000, 0}, 0).counted), "none");
    EXPECT_EQ(boxText(areaOf({"", {0, 0}, 0, 1000, 0}, 0).counted), "none");
}

bool isIn(const std::optional<Box>& box, const Position& position) {
    return box && box->southWest.latitude <= position.latitude &&
           position.latitude <= box->northEast.latitude && box->southWest.longitude <= position.longitude &&
           position.longitude <= box->northEast.longitude;
}

bool countsAsInside(const Geofence& geofence, std::uint32_t margin, const Position& position) {
    const auto halfHeight = geofencing::halfWithMargin(geofence.height, margin);
    const auto halfWidth = geofencing::halfWithMargin(geofence.width, margin);
    return geofencing::isConfigured(geofence.width, geofence.height) &&
           geofencing::isWithin(position.latitude, geofence.centre.latitude, halfHeight) &&
           geofencing::isWithin(position.longitude, geofence.centre.longitude, halfWidth);
}

/// Often near the borders: a number of any size.
std::int32_t upTo(std::int32_t bound, std::mt19937& random) {
    const auto size = std::uniform_int_distribution<std::int32_t>(0, 2)(random);
    const std::int32_t scaled = size == 0 ? bound : size == 1 ? bound / 1000 : 5;
    return std::uniform_int_distribution<std::int32_t>(-scaled, scaled)(random);
}

TEST(Area, HoldsThePositionsThatTheServiceTakesForInside) {
    std::mt19937 random(9);
    for (int i = 0; i < 200000; ++i) {
        Geofence geofence = {"", {upTo(90000000, random), upTo(180000000, random)}, 0, 0, 0};
        geofence.width = static_cast<std::uint32_t>(upTo(2147483647, random));
        geofence.height = static_cast<std::uint32_t>(upTo(2147483647, random));
        const auto margin = static_cast<std::uint32_t>(upTo(2147483647, random));
        const Position position = {upTo(90000000, random), upTo(180000000, random)};
        ASSERT_EQ(isIn(areaOf(geofence, margin).counted, position),
                  countsAsInside(geofence, margin, position))
            << geofence.centre.latitude << " " << geofence.centre.longitude << " " << geofence.width << " "
            << geofence.height << " " << margin << " " << position.latitude << " " << position.longitude;
    }
}

// --- GPX ------------------------------------------------------------------------------------------------

TEST(Gpx, HasTheTrackWithItsTimesSpeedsAndCourses) {
    TestDrive drive;
    drive.isAt(52512195, -13312128);
    EXPECT_THAT(
        gpxOf(drive),
        HasSubstr(R"(<trkpt lat="52.512195" lon="-13.312128"><ele>-34.567</ele>)"
                  R"(<time>2026-01-02T03:20:01Z</time><sat>11</sat><hdop>0.90</hdop><pdop>0.00</pdop>)"
                  R"(<extensions><gpxtpx:TrackPointExtension><gpxtpx:speed>13.889</gpxtpx:speed>)"
                  R"(<gpxtpx:course>271.501</gpxtpx:course></gpxtpx:TrackPointExtension></extensions>)"));
}

TEST(Gpx, HasEventsWithAPlaceAsWaypoints) {
    TestDrive drive;
    drive.isAt(52000000, 13000000);
    drive.enters("Depot", Position{52000000, 180000000});
    drive.enters("Nowhere", std::nullopt);
    EXPECT_THAT(gpxOf(drive), HasSubstr(R"(<wpt lat="52.000000" lon="-180.000000">)"
                                        R"(<time>2026-01-02T03:20:01.000Z</time><name>entered Depot</name>)"
                                        R"(<type>geofence_entered</type></wpt>)"));
    EXPECT_THAT(gpxOf(drive), Not(HasSubstr("Nowhere")));
}

TEST(Gpx, HasGeofencesAndTheirMarginsAsClosedRoutes) {
    TestDrive drive;
    drive.watches({"Depot", {50000000, 10000000}, 2000, 1000, 1500});
    EXPECT_THAT(gpxOf(drive), HasSubstr(R"(  <rte><name>Depot</name><type>geofence</type>
    <rtept lat="49.999500" lon="9.999000"/>
    <rtept lat="49.999500" lon="10.001000"/>
    <rtept lat="50.000500" lon="10.001000"/>
    <rtept lat="50.000500" lon="9.999000"/>
    <rtept lat="49.999500" lon="9.999000"/>
  </rte>
)"));
    EXPECT_THAT(gpxOf(drive), HasSubstr("<rte><name>Depot (margin)</name><type>geofence_margin</type>"));
}

std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

TEST(Gpx, SplitsTheTrackAtGapsAndAtTheDateLine) {
    TestDrive drive;
    drive.isAt(-17000000, 179999000);
    drive.isAt(-17000000, -179999000);
    drive.tickS += 60;
    drive.isAt(-17000000, -179998000);
    EXPECT_EQ(countOf(gpxOf(drive), "<trkseg>"), 3u);
    EXPECT_EQ(countOf(gpxOf(drive), "<trkpt "), 3u);
}

TEST(Gpx, HoldsAnyNameThatAGeofenceMayHave) {
    TestDrive drive;
    drive.enters("<Depot> & \"Co\"\x01\x1b\x7f\xff\xef\xbf\xbf\xed\xa0\x80\n", Position{});
    EXPECT_THAT(gpxOf(drive),
                HasSubstr("<name>entered &lt;Depot&gt; &amp; &quot;Co&quot;\xEF\xBF\xBD\xEF\xBF\xBD\x7f"
                          "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"));
    EXPECT_THAT(gpxOf(drive), HasSubstr("&#10;</name>"));
}

TEST(Gpx, TellsHowMuchItHoldsAndWhatWasLeftOut) {
    JourneyLimits limits;
    limits.marks = 1;
    TestDrive drive(limits);
    drive.standsStill(100);
    drive.enters("Depot", std::nullopt);
    drive.enters("Depot", std::nullopt);
    EXPECT_THAT(gpxOf(drive),
                HasSubstr("<desc>100 fixes, 2 points of the track, 1 event, 0 geofences; left out: 1 "
                          "later event</desc>"));
}

// --- GeoJSON --------------------------------------------------------------------------------------------

TEST(GeoJson, HasALineWithTheListsOfItsPointsForEachSegment) {
    TestDrive drive;
    drive.isAt(52512195, -13312128);
    drive.isAt(52512200, -13312128);
    EXPECT_THAT(
        geoJsonOf(drive),
        HasSubstr(
            R"({"type":"Feature","geometry":{"type":"LineString","coordinates":[[-13.312128,52.512195],)"
            R"([-13.312128,52.512200]]},"properties":{"kind":"track","segment":1,)"
            R"("times_utc":["2026-01-02T03:20:01Z","2026-01-02T03:20:02Z"],"altitudes_m":[-34.567,-34.567],)"
            R"("speeds_m_per_s":[13.889,13.889],"courses_deg":[271.501,271.501]}})"));
}

TEST(GeoJson, CutsTheTrackAtTheDateLine) {
    TestDrive drive;
    drive.isAt(-17000000, 179998000);
    drive.isAt(-17000300, -179999000);
    EXPECT_THAT(
        geoJsonOf(drive),
        HasSubstr(R"("MultiLineString","coordinates":[[[179.998000,-17.000000],[180.000000,-17.000200]],)"
                  R"([[-180.000000,-17.000200],[-179.999000,-17.000300]]]})"));
    EXPECT_THAT(geoJsonOf(drive), HasSubstr(R"("speeds_m_per_s":[[13.889,null],[null,13.889]])"));
}

TEST(GeoJson, HasAPointForALonelyFixAndForAnEvent) {
    TestDrive drive;
    drive.isAt(52000000, 13000000);
    drive.enters("Depot", Position{52000001, 13000002});
    EXPECT_THAT(geoJsonOf(drive),
                HasSubstr(R"({"type":"Point","coordinates":[13.0,52.0]},"properties":{"kind":"track")"));
    EXPECT_THAT(
        geoJsonOf(drive),
        HasSubstr(R"({"type":"Point","coordinates":[13.000002,52.000001]},"properties":{"kind":"event",)"
                  R"("event":"geofence_entered","name":"entered Depot",)"
                  R"("time_utc":"2026-01-02T03:20:01.000Z","geofence":"Depot"}})"));
}

TEST(GeoJson, HasAnEventWithoutAPlaceWithoutGeometry) {
    TestDrive drive;
    drive.enters("Depot", std::nullopt);
    EXPECT_THAT(geoJsonOf(drive), HasSubstr(R"("geometry":null,"properties":{"kind":"event")"));
}

TEST(GeoJson, HasGeofencesCounterclockwiseAndWhatTheServiceNeverSeesApart) {
    TestDrive drive;
    drive.watches({"Fiji", {-17000000, 179900000}, 400000, 400000, 0});
    EXPECT_THAT(
        geoJsonOf(drive),
        HasSubstr(
            R"("coordinates":[[[179.7,-17.2],[180.0,-17.2],[180.0,-16.8],[179.7,-16.8],[179.7,-17.2]]]},)"
            R"("properties":{"kind":"geofence","name":"Fiji","margin_deg":0.0}})"));
    EXPECT_THAT(geoJsonOf(drive), HasSubstr(R"("coordinates":[[[-180.0,-17.2],[-179.9,-17.2],)"));
    EXPECT_THAT(geoJsonOf(drive), HasSubstr(R"("kind":"geofence_beyond_date_line")"));
}

TEST(Exports, AreTheSameInEachLocale) {
    TestDrive drive;
    drive.drivesOn(3);
    drive.watches({"Depot", {50000000, 10000000}, 2000, 1000, 1500});
    const std::string gpx = gpxOf(drive);
    const std::string geoJson = geoJsonOf(drive);
    for (const char* locale : {"de_DE.UTF-8", "fr_FR.UTF-8"}) // where the machine has them
        std::setlocale(LC_ALL, locale);
    EXPECT_EQ(gpxOf(drive), gpx);
    EXPECT_EQ(geoJsonOf(drive), geoJson);
    std::setlocale(LC_ALL, "C");
}

TEST(Exports, OfNothingAreWholeDocuments) {
    TestDrive drive;
    EXPECT_THAT(gpxOf(drive), EndsWith("</metadata>\n</gpx>\n"));
    EXPECT_THAT(geoJsonOf(drive), EndsWith("\"features\":[\n]}\n"));
}

} // namespace
