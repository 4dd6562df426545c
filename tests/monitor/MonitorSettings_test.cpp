#include "SettingsFile.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>

#include "Options.h"

namespace {

using namespace monitor;
using ::testing::StartsWith;

/// A file of settings, as long as it lives.
class File {
public:
    explicit File(const std::string& text) : name_(::testing::TempDir() + "settings.XXXXXX") {
        close(mkstemp(name_.data()));
        std::ofstream(name_) << text;
    }
    ~File() { std::remove(name_.c_str()); }
    const std::string& name() const { return name_; }

private:
    std::string name_;
};

Wishes wishesOf(const std::string& text) {
    Wishes wishes;
    readSettings(File(text).name(), wishes);
    return wishes;
}

/// What is wrong, with the file's name replaced.
std::string refusal(const std::string& text) {
    const File file(text);
    Wishes wishes;
    try {
        readSettings(file.name(), wishes);
    } catch (const SettingError& error) {
        const std::string what = error.what();
        return what.rfind(file.name(), 0) == 0 ? "F" + what.substr(file.name().size()) : what;
    }
    return "nothing was wrong";
}

/// A geofence's table with a line more, or another.
std::string geofence(const std::string& more, const std::string& width = "width_deg = 3") {
    return "[[geofence]]\nname = 'a'\nlatitude_deg = 1\nlongitude_deg = 2.5\n" + width +
           "\nheight_m = 400\n" + more + "\n";
}

TEST(SettingsFile, MayBeEmpty) { EXPECT_EQ(wishesOf("").settings.statusIntervalS, 2u); }

TEST(SettingsFile, HasIntervalsScheduleAndOdometer) {
    const Wishes wishes =
        wishesOf("position_interval_s = 2\nstatus_interval_s = 3\nlog_interval_s = 4\n"
                 "odometer_m = 4_000_000_000\n[tracking]\nperiod_s = 60\nbase_s = -1\noffset_s = 2\n");
    EXPECT_EQ(wishes.settings.positionIntervalS, 2u);
    EXPECT_EQ(wishes.settings.statusIntervalS, 3u);
    EXPECT_EQ(wishes.settings.logIntervalS, 4u);
    EXPECT_EQ(wishes.odometerM, 4000000000u);
    EXPECT_TRUE(wishes.settings.trackingEnabled);
    EXPECT_EQ(wishes.settings.trackingPeriodS, 60);
    EXPECT_EQ(wishes.settings.trackingBaseS, -1);
    EXPECT_EQ(wishes.settings.trackingOffsetS, 2);
}

TEST(SettingsFile, HasGeofencesInDegreesOrMetres) {
    const telemetry::Settings settings =
        wishesOf(geofence("margin_deg = 0.002") +
                 "[[geofence]]\nname = 'Köln'\nlatitude_deg = 60\nlongitude_deg = 7\n"
                 "width_m = 1000\nheight_deg = 0.5\nmargin_m = 100.5\n")
            .settings;
    EXPECT_TRUE(settings.geofencesEnabled);
    EXPECT_EQ(settings.geofences[0].width, 3000000u);
    EXPECT_EQ(settings.geofences[0].height, 3599u);
    EXPECT_EQ(settings.geofences[0].margin, 2000u);
    EXPECT_EQ(settings.geofences[1].name, "Köln");
    EXPECT_EQ(settings.geofences[1].width, 17996u);
    EXPECT_EQ(settings.geofences[1].margin, 904u);
    EXPECT_FALSE(settings.geofences[2].isConfigured());
}

TEST(SettingsFile, GivesWayToTheCommandLineAndSharesTheGeofences) {
    const File file("position_interval_s = 2\nstatus_interval_s = 3\n" + geofence(""));
    const std::string option = "--settings=" + file.name();
    const char* const words[] = {"m", "--interval=9", option.c_str(), "--geofence=b,1,2,3,4"};
    const telemetry::Settings settings = monitor::wishesOf(parseOptions(4, words)).settings;
    EXPECT_EQ(settings.positionIntervalS, 9u);
    EXPECT_EQ(settings.statusIntervalS, 3u);
    EXPECT_EQ(settings.geofences[0].name, "a");
    EXPECT_EQ(settings.geofences[1].name, "b");
}

/// The page's block of settings.
std::string settingsOfThePage() {
    std::ifstream page(DOCUMENTS "/monitor.md");
    const std::string text{std::istreambuf_iterator<char>(page), {}};
    const std::string begin = "```toml\n";
    const std::size_t from = text.find(begin) + begin.size();
    return text.substr(from, text.find("```", from) - from);
}

TEST(SettingsFile, IsAsThePageShowsIt) {
    const Wishes wishes = wishesOf(settingsOfThePage());
    EXPECT_EQ(wishes.odometerM, 12500u);
    EXPECT_EQ(wishes.settings.trackingPeriodS, 30);
    EXPECT_EQ(wishes.settings.geofences[0].name, "depot");
    EXPECT_EQ(wishes.settings.geofences[0].width, 4436u);
    EXPECT_EQ(wishes.settings.geofences[0].margin, 450u);
    EXPECT_EQ(wishes.settings.geofences[1].name, "test track");
    EXPECT_EQ(wishes.settings.geofences[1].margin, 1500u);
}

TEST(SettingsFile, NamesAnUnknownKeyWithItsLine) {
    EXPECT_EQ(
        refusal("\nposition_interval = 1\n"),
        "F:2: 'position_interval' is unknown; it must be one of position_interval_s, status_interval_s, "
        "log_interval_s, odometer_m, tracking, geofence");
    EXPECT_EQ(refusal("[tracking]\nperiod_s = 5\nphase = 1\n"),
              "F:3: 'phase' is unknown; it must be one of period_s, base_s, offset_s");
    EXPECT_THAT(refusal(geofence("color = 'red'")),
                StartsWith("F:7: 'color' is unknown; it must be one of name, "));
}

TEST(SettingsFile, NamesAWrongTypeWithItsLine) {
    EXPECT_EQ(refusal("status_interval_s = '2'"),
              "F:1: 'status_interval_s' is '2'; it must be a whole number from 1 to 3600");
    EXPECT_EQ(refusal("status_interval_s = 2.0"),
              "F:1: 'status_interval_s' is 2.0; it must be a whole number from 1 to 3600");
    EXPECT_EQ(refusal("odometer_m = true"),
              "F:1: 'odometer_m' is true; it must be a whole number from 0 to 4294967295");
    EXPECT_EQ(refusal("odometer_m = [1]"),
              "F:1: 'odometer_m' is a list; it must be a whole number from 0 to 4294967295");
    EXPECT_EQ(refusal("tracking = 5"), "F:1: 'tracking' is 5; it must be a table: [tracking]");
    EXPECT_EQ(refusal("[geofence]\nname = 'a'"),
              "F:1: 'geofence' is a table; it must be a table for each geofence: [[geofence]]");
    EXPECT_EQ(refusal("\n[[geofence]]\nname = 5"), "F:3: 'name' is 5; it must be a text");
    EXPECT_EQ(refusal(geofence("margin_m = 'wide'")),
              "F:7: 'margin_m' is 'wide'; it must be a number of metres from 0 to 1.000196e+07");
    EXPECT_EQ(refusal(geofence("", "width_deg = 'wide'")),
              "F:5: 'width_deg' is 'wide'; it must be a number of degrees from 1e-06 to 360");
    EXPECT_EQ(refusal("[[geofence]]\nname = 'a'\nlatitude_deg = '1'"),
              "F:3: 'latitude_deg' is '1'; it must be a number of degrees from -90 to 90");
}

TEST(SettingsFile, NamesWhatIsOutOfRangeWithItsLine) {
    EXPECT_EQ(refusal("position_interval_s = 0"),
              "F:1: 'position_interval_s' is 0; it must be a whole number from 1 to 3600");
    EXPECT_EQ(refusal("log_interval_s = 4096"),
              "F:1: 'log_interval_s' is 4096; it must be a whole number from 0 to 4095");
    EXPECT_EQ(refusal("odometer_m = 4294967296"),
              "F:1: 'odometer_m' is 4294967296; it must be a whole number from 0 to 4294967295");
    EXPECT_EQ(refusal("[tracking]\nperiod_s = 0"),
              "F:2: 'period_s' is 0; it must be a whole number from 1 to 2147483647");
    EXPECT_EQ(refusal(geofence("", "width_deg = 400")),
              "F:5: 'width_deg' is 400; it must be from 1e-06 to 360 degrees");
    EXPECT_EQ(refusal(geofence("", "width_deg = nan")),
              "F:5: 'width_deg' is nan; it must be from 1e-06 to 360 degrees");
    EXPECT_EQ(refusal(geofence("margin_deg = -0.5")),
              "F:7: 'margin_deg' is -0.5; it must be from 0 to 90 degrees");
    EXPECT_EQ(refusal("[[geofence]]\nname='a'\nlatitude_deg = 90.5\nlongitude_deg=0\nwidth_m=1\nheight_m=1"),
              "F:3: 'latitude_deg' is 90.5; it must be a number of degrees from -90 to 90");
}

TEST(SettingsFile, NamesWhatIsMissing) {
    EXPECT_EQ(refusal("[tracking]\nbase_s = 1\n"),
              "F:1: 'period_s' is missing; it must be a whole number from 1 to 2147483647");
    EXPECT_EQ(refusal("[[geofence]]\nname = 'a'\nlatitude_deg = 1"),
              "F:1: 'longitude_deg' is missing; it must be a number of degrees from -180 to 180");
    EXPECT_EQ(refusal("[[geofence]]\nlatitude_deg = 1\n"), "F:1: 'name' is missing; it must be a text");
    EXPECT_EQ(refusal(geofence("", "")), "F:1: 'width_deg' is missing; it must be there, or 'width_m'");
}

TEST(SettingsFile, RefusesBothUnitsAtOnce) {
    EXPECT_EQ(refusal(geofence("width_m = 5")),
              "F:7: 'width_m' is there beside 'width_deg'; it must be one of the two");
}

TEST(SettingsFile, RefusesAThirteenthGeofenceAndANameThatIsUsedTwice) {
    EXPECT_EQ(refusal(geofence("") + geofence("")),
              "F:9: 'name' is 'a' a second time; it must be a name that no other geofence has");
    std::string many;
    for (int i = 0; i < 13; ++i)
        many += "[[geofence]]\nname='" + std::to_string(i) +
                "'\nlatitude_deg=1\nlongitude_deg=1\nwidth_m=9\nheight_m=9\n";
    EXPECT_EQ(refusal(many), "F:74: 'name' is '12', the 13th; there must be 12 geofences at most");
}

TEST(SettingsFile, RefusesAnAreaAtAPoleInMetresAndOneAcrossTheDateLine) {
    EXPECT_EQ(refusal("[[geofence]]\nname='a'\nlatitude_deg = -90\nlongitude_deg=0\nwidth_m=1\nheight_m=1"),
              "F:5: 'width_m' is 1; it must be given in degrees within a degree of a pole");
    EXPECT_THAT(
        refusal("[[geofence]]\nname='a'\nlatitude_deg = 0\nlongitude_deg=180\nwidth_m=10\nheight_m=1"),
        StartsWith("F:4: 'longitude_deg' is 180 with a width of 0.000090 degrees; it must be so"));
}

TEST(SettingsFile, RefusesANameThatWouldRuleATerminal) {
    EXPECT_EQ(
        refusal(
            "[[geofence]]\nname=\"\\u001b[2J\"\nlatitude_deg = 0\nlongitude_deg=0\nwidth_m=10\nheight_m=1"),
        "F:2: 'name' is '?[2J'; it must be a text of one character or more, none of them a control "
        "character");
}

TEST(SettingsFile, IsNamedWithItsLineWhereItIsNoToml) {
    EXPECT_THAT(refusal("odometer_m = 5\nodometer_m = \n"), StartsWith("F:2: this is no TOML: "));
    EXPECT_THAT(refusal("odometer_m = 5\nodometer_m = 6\n"), StartsWith("F:2: this is no TOML: "));
}

TEST(SettingsFile, IsNamedWhereItCanNotBeRead) {
    Wishes wishes;
    EXPECT_THROW(
        {
            try {
                readSettings("/no/such/file", wishes);
            } catch (const SettingError& error) {
                EXPECT_STREQ(error.what(),
                             "/no/such/file: the settings can't be read: No such file or directory");
                throw;
            }
        },
        SettingError);
    EXPECT_THROW(readSettings("/", wishes), SettingError);
}

} // namespace
