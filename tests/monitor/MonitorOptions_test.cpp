#include "Options.h"

#include <gmock/gmock.h>

#include <initializer_list>
#include <vector>

namespace {

using namespace monitor;
using ::testing::HasSubstr;
using ::testing::StartsWith;

Options parsed(std::vector<const char*> words) {
    words.insert(words.begin(), "ruxogps-monitor");
    return parseOptions(static_cast<int>(words.size()), words.data());
}

std::string refusal(std::vector<const char*> words) {
    try {
        wishesOf(parsed(std::move(words)));
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing was wrong";
}

telemetry::Geofence firstGeofence(const char* words) {
    return wishesOf(parsed({"--geofence", words})).settings.geofences[0];
}

TEST(MonitorOptions, AreTheServicesDefaultsWhereNothingIsSaid) {
    const Wishes wishes = wishesOf(parsed({}));
    EXPECT_TRUE(wishes.settings.enabled);
    EXPECT_EQ(wishes.settings.positionIntervalS, 1u);
    EXPECT_EQ(wishes.settings.statusIntervalS, 2u);
    EXPECT_EQ(wishes.settings.logIntervalS, 900u);
    EXPECT_FALSE(wishes.settings.trackingEnabled);
    EXPECT_FALSE(wishes.settings.geofencesEnabled);
    EXPECT_FALSE(wishes.odometerM);
}

TEST(MonitorOptions, TakeIntervalsAndTheOdometer) {
    const Wishes wishes = wishesOf(
        parsed({"--interval=3600", "--status-interval", "5", "--log-interval=0", "--odometer=4294967295"}));
    EXPECT_EQ(wishes.settings.positionIntervalS, 3600u);
    EXPECT_EQ(wishes.settings.statusIntervalS, 5u);
    EXPECT_EQ(wishes.settings.logIntervalS, 0u);
    EXPECT_EQ(wishes.odometerM, 4294967295u);
}

TEST(MonitorOptions, TakeATrackingSchedule) {
    const telemetry::Settings settings = wishesOf(parsed({"--tracking=60,-5,7"})).settings;
    EXPECT_TRUE(settings.trackingEnabled);
    EXPECT_EQ(settings.trackingPeriodS, 60);
    EXPECT_EQ(settings.trackingBaseS, -5);
    EXPECT_EQ(settings.trackingOffsetS, 7);
    EXPECT_EQ(wishesOf(parsed({"--tracking=30"})).settings.trackingBaseS, 0);
}

TEST(MonitorOptions, TakeAGeofenceInDegrees) {
    const telemetry::Geofence geofence = firstGeofence("depot,52.5123456,-13.25,0.01,0.02,0.003");
    EXPECT_EQ(geofence.name, "depot");
    EXPECT_EQ(geofence.centre.latitude, 52512346);
    EXPECT_EQ(geofence.centre.longitude, -13250000);
    EXPECT_EQ(geofence.width, 10000u);
    EXPECT_EQ(geofence.height, 20000u);
    EXPECT_EQ(geofence.margin, 3000u);
}

TEST(MonitorOptions, TakeAGeofenceInMetres) {
    const telemetry::Geofence geofence = firstGeofence("depot,60,13,1000m,1000m,100m");
    EXPECT_EQ(geofence.width, 17996u); // meridians are half as far apart at 60 degrees
    EXPECT_EQ(geofence.height, 8998u);
    EXPECT_EQ(geofence.margin, 900u);
}

TEST(MonitorOptions, GiveAGeofenceTheLibrarysMargin) { EXPECT_EQ(firstGeofence("a,1,2,3,4").margin, 1500u); }

TEST(MonitorOptions, WatchGeofencesAsSoonAsThereIsOne) {
    EXPECT_TRUE(wishesOf(parsed({"--geofence=a,1,2,3,4"})).settings.geofencesEnabled);
}

TEST(MonitorOptions, SayWhatIsWrongWithANumber) {
    EXPECT_EQ(refusal({"--interval=0"}), "--interval is 0; it must be a number from 1 to 3600");
    EXPECT_EQ(refusal({"--interval=1.5"}), "--interval is 1.5; it must be a whole number");
    EXPECT_EQ(refusal({"--interval=soon"}), "--interval is 'soon'; it must be a number");
    EXPECT_EQ(refusal({"--interval= 1"}), "--interval is ' 1'; it must be a number");
    EXPECT_EQ(refusal({"--interval="}), "--interval is ''; it must be a number");
    EXPECT_EQ(refusal({"--status-interval=3601"}),
              "--status-interval is 3601; it must be a number from 1 to 3600");
    EXPECT_EQ(refusal({"--log-interval=4096"}), "--log-interval is 4096; it must be a number from 0 to 4095");
    EXPECT_EQ(refusal({"--odometer=-1"}), "--odometer is -1; it must be a number from 0 to 4294967295");
    EXPECT_EQ(refusal({"--odometer=nan"}), "--odometer is nan; it must be a number from 0 to 4294967295");
    EXPECT_EQ(refusal({"--wait=-1"}), "--wait is -1; it must be a number from 0 to 1000000");
}

TEST(MonitorOptions, SayWhatIsWrongWithASchedule) {
    EXPECT_EQ(refusal({"--tracking=0"}), "--tracking: PERIOD is 0; it must be a number from 1 to 2147483647");
    EXPECT_EQ(refusal({"--tracking=5,x"}), "--tracking: BASE is 'x'; it must be a number");
    EXPECT_EQ(refusal({"--tracking=5,0,1e10"}),
              "--tracking: OFFSET is 1e10; it must be a number from -2147483647 to 2147483647");
    EXPECT_EQ(refusal({"--tracking=1,2,3,4"}), "--tracking is '1,2,3,4'; it must be PERIOD[,BASE[,OFFSET]]");
}

TEST(MonitorOptions, SayWhatIsWrongWithAGeofence) {
    EXPECT_EQ(refusal({"--geofence=a,1,2,3"}),
              "--geofence is 'a,1,2,3'; it must be NAME,LATITUDE,LONGITUDE,WIDTH,HEIGHT[,MARGIN]");
    EXPECT_EQ(refusal({"--geofence=a,91,2,3,4"}),
              "--geofence: LATITUDE is 91; it must be a number of degrees from -90 to 90");
    EXPECT_EQ(refusal({"--geofence=a,1,-181,3,4"}),
              "--geofence: LONGITUDE is -181; it must be a number of degrees from -180 to 180");
    EXPECT_EQ(refusal({"--geofence=a,1,2,300,4"}) + refusal({"--geofence=a,1,2,3,300"}),
              "nothing was wrong--geofence: HEIGHT is 300; it must be from 1e-06 to 180 degrees");
    EXPECT_EQ(refusal({"--geofence=a,1,2,3km,4"}),
              "--geofence: WIDTH is '3km'; it must be a number of degrees, or of metres with an 'm'");
    EXPECT_EQ(refusal({"--geofence=a,0,2,0m,4"}),
              "--geofence: WIDTH is 0m; it must be from 0.1111329 to 4.000783e+07 metres");
    EXPECT_EQ(refusal({"--geofence=a,1,2,3,4,-5"}),
              "--geofence: MARGIN is -5; it must be from 0 to 90 degrees");
    EXPECT_THAT(refusal({"--geofence=,1,2,3,4"}), StartsWith("--geofence: NAME is ''; it must be a text"));
}

TEST(MonitorOptions, RefuseMetresAtAPole) {
    EXPECT_EQ(refusal({"--geofence=pole,90,0,10m,10m"}),
              "--geofence: WIDTH is 10m; it must be given in degrees within a degree of a pole");
    EXPECT_EQ(firstGeofence("pole,-90,0,360,10m").width, 360000000u);
}

TEST(MonitorOptions, RefuseAnAreaAcrossTheDateLine) {
    EXPECT_THAT(
        refusal({"--geofence=fiji,-17,179.5,2,2"}),
        AllOf(StartsWith("--geofence: LONGITUDE is 179.5 with a width of 2.000000 degrees; it must be"),
              HasSubstr("two geofences do")));
    EXPECT_EQ(firstGeofence("fiji,-17,179.5,1,2").centre.longitude, 179500000);
}

TEST(MonitorOptions, RefuseAThirteenthGeofenceAndANameThatIsUsedTwice) {
    std::vector<std::string> words;
    for (int i = 0; i < 13; ++i)
        words.push_back("--geofence=g" + std::to_string(i) + ",1,2,3,4");
    std::vector<const char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(word.c_str());
    EXPECT_EQ(refusal(pointers), "--geofence: NAME is 'g12', the 13th; there must be 12 geofences at most");
    EXPECT_EQ(refusal({"--geofence=a,1,2,3,4", "--geofence=a,5,6,7,8"}),
              "--geofence: NAME is 'a' a second time; it must be a name that no other geofence has");
}

TEST(MonitorOptions, RefuseWhatExcludesEachOther) {
    EXPECT_EQ(refusal({"--lines", "--json"}), "--lines and --json exclude each other");
    EXPECT_EQ(refusal({"--lines", "--once"}), "--lines and --once exclude each other");
    EXPECT_EQ(refusal({"--wait=5"}), "--wait is of use with --once alone");
    EXPECT_EQ(refusal({"--nonsense"}), "unknown option '--nonsense'");
    EXPECT_EQ(refusal({"--record="}), "--record needs the name of a file");
}

} // namespace
