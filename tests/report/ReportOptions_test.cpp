#include "Options.h"

#include <gmock/gmock.h>

#include <limits>
#include <vector>

#include "RecordedLines.h"
#include "WhatIf.h"

namespace {

using namespace report;
using ::testing::HasSubstr;

Options parse(std::vector<const char*> words) {
    words.insert(words.begin(), "ruxogps-report");
    return parseOptions(static_cast<int>(words.size()), words.data());
}

std::string refusal(const std::vector<const char*>& words) {
    try {
        parse(words);
    } catch (const OptionError& error) {
        return error.what();
    }
    return "none";
}

// --- Files ----------------------------------------------------------------------------------------------

TEST(ReportOptions, AreARecordingAndAnOutputInEitherOrder) {
    EXPECT_EQ(parse({"drive.jsonl", "-o", "drive.html"}).recording, "drive.jsonl");
    EXPECT_EQ(parse({"--output=drive.html", "drive.jsonl"}).output, "drive.html");
    EXPECT_EQ(parse({"-o", "drive.html", "--", "-drive.jsonl"}).recording, "-drive.jsonl");
}

TEST(ReportOptions, TakeTheFormatFromTheExtension) {
    EXPECT_EQ(parse({"r", "-o", "d.html"}).format, Format::Html);
    EXPECT_EQ(parse({"r", "-o", "d.svg"}).format, Format::Svg);
    EXPECT_EQ(parse({"r", "-o", "d.gpx"}).format, Format::Gpx);
    EXPECT_EQ(parse({"r", "-o", "d.e/d.geojson"}).format, Format::GeoJson);
}

TEST(ReportOptions, SayWhichExtensionsThereAre) {
    for (const char* const name : {"drive", "drive.pdf", ".html", "html", "drive.html/", "drive.HTML"})
        EXPECT_EQ(refusal({"r", "-o", name}),
                  std::string("--output: '") + name + "' ends in none of .html, .svg, .gpx and .geojson");
}

TEST(ReportOptions, SayWhatIsMissing) {
    EXPECT_EQ(refusal({"-o", "d.html"}), "which recording? One file of ruxogps-monitor --record is needed");
    EXPECT_EQ(refusal({"r"}), "where to? -o FILE.html is needed, or .svg, .gpx, .geojson");
    EXPECT_EQ(refusal({"r", "-o"}), "-o needs a value");
    EXPECT_EQ(refusal({"", "-o", "d.html"}), "the recording's name is empty");
}

TEST(ReportOptions, RefuseWhatIsTooMuch) {
    EXPECT_EQ(refusal({"r", "s", "-o", "d.html"}),
              "unexpected argument 's': one recording makes one picture");
    EXPECT_EQ(refusal({"r", "-o", "d.html", "--nonsense"}), "unknown option '--nonsense'");
    EXPECT_EQ(refusal({"r", "-o", "d.gpx", "--what-if", "margin=1"}),
              "--what-if is shown in .html and .svg alone");
}

TEST(ReportOptions, LookAtNothingBehindHelpAndVersion) {
    EXPECT_TRUE(parse({"-h", "--nonsense"}).help);
    EXPECT_TRUE(parse({"--version", "--nonsense"}).version);
    EXPECT_THAT(usage(), HasSubstr("Usage: ruxogps-report RECORDING -o FILE"));
}

// --- What if --------------------------------------------------------------------------------------------

std::string whatIfRefusal(const std::string& list) {
    return refusal({"r", "-o", "d.html", "--what-if", list.c_str()});
}

TEST(WhatIfList, HoldsAllKeys) {
    const WhatIf whatIf =
        *parse({"r", "-o", "d.html", "--what-if=margin=2500, interval=5,error=3,size=1.5"}).whatIf;
    EXPECT_EQ(whatIf.marginMicrodegrees, 2500u);
    EXPECT_EQ(whatIf.positionIntervalS, 5u);
    EXPECT_EQ(whatIf.horizontalErrorM, 3u);
    EXPECT_EQ(whatIf.sizeFactor, 1.5);
    EXPECT_EQ(whatIf.words, "margin=2500, interval=5, error=3, size=1.5");
}

TEST(WhatIfList, MayBeOfOneGeofence) {
    const WhatIf whatIf = parseWhatIf("margin.Depot north=2500,size.Depot north=0.5,margin.a.b=1");
    ASSERT_EQ(whatIf.geofences.size(), 2u);
    EXPECT_EQ(whatIf.geofences[0].name, "Depot north");
    EXPECT_EQ(whatIf.geofences[0].marginMicrodegrees, 2500u);
    EXPECT_EQ(whatIf.geofences[0].sizeFactor, 0.5);
    EXPECT_EQ(whatIf.geofences[1].name, "a.b");
}

TEST(WhatIfList, SaysWhichKeysThereAre) {
    EXPECT_EQ(whatIfRefusal("margins=1"),
              "--what-if: unknown key 'margins'; there are margin, size, interval, "
              "error, and margin.NAME and size.NAME of one geofence");
    EXPECT_EQ(whatIfRefusal("margin"), "--what-if: 'margin' is no KEY=VALUE, as in margin=2500");
    EXPECT_EQ(whatIfRefusal(""), "--what-if: there is nothing to replace, as in margin=2500");
    EXPECT_EQ(whatIfRefusal("interval.Depot=5"),
              "--what-if: 'interval.Depot' is of no geofence: the key is interval");
    EXPECT_EQ(whatIfRefusal("margin.=5"), "--what-if: 'margin.' names no geofence");
}

TEST(WhatIfList, SaysWhichNumbersAreRight) {
    for (const char* const number : {"", "-1", "4294967296", "1e3", "12m", "99999999999999999999"})
        EXPECT_EQ(whatIfRefusal(std::string("margin=") + number),
                  std::string("--what-if: margin: '") + number +
                      "' is no whole number of microdegrees from 0 to 4294967295");
    EXPECT_THAT(whatIfRefusal("interval=0"), HasSubstr("no whole number of seconds from 1 to 4294967295"));
    EXPECT_THAT(whatIfRefusal("error=x"), HasSubstr("no whole number of metres from 0"));
    for (const char* const factor : {"0", "1001", "1m", "nan", "inf", "1.5.1", "-2"})
        EXPECT_THAT(whatIfRefusal(std::string("size=") + factor),
                    HasSubstr("is no factor from 0.001 to 1000"));
}

TEST(WhatIfList, SaysWhichGeofencesTheDriveHas) {
    RecordedLines lines;
    lines.settings.geofences[0] = {"Depot", {}, 1, 1, 0};
    lines.settings.geofences[5] = {"Customer", {}, 1, 1, 0};
    const Drive drive = lines.start().drive();
    EXPECT_NO_THROW(checkGeofences(parseWhatIf("margin.Depot=1"), drive));
    try {
        checkGeofences(parseWhatIf("size.depot=2"), drive);
        FAIL() << "not refused";
    } catch (const WhatIfError& error) {
        EXPECT_STREQ(error.what(), "the drive has no geofence 'depot'; it has 'Customer', 'Depot'");
    }
}

// --- Settings with what is replaced ---------------------------------------------------------------------

TEST(WhatIfSettings, ReplaceWhatHoldsForAllUnlessOneHasItsOwn) {
    telemetry::Settings settings;
    settings.geofences[0] = {"Depot", {}, 1000, 2000, 10};
    settings.geofences[1] = {"Customer", {}, 1000, 2000, 20};
    const auto changed = with(parseWhatIf("interval=9,margin=30,size=1.5,margin.Depot=40"), settings);
    EXPECT_EQ(changed.positionIntervalS, 9u);
    EXPECT_EQ(changed.geofences[0].margin, 40u);
    EXPECT_EQ(changed.geofences[1].margin, 30u);
    EXPECT_EQ(changed.geofences[0].width, 1500u);
    EXPECT_EQ(changed.geofences[1].height, 3000u);
}

TEST(WhatIfSettings, LeaveUnconfiguredGeofencesAlone) {
    const auto changed = with(parseWhatIf("margin=30,size=1000"), telemetry::Settings());
    EXPECT_EQ(changed.geofences[0].margin, 0u);
    EXPECT_FALSE(changed.geofences[0].isConfigured());
}

TEST(WhatIfSettings, StopAtTheLimitsOfASize) {
    telemetry::Settings settings;
    settings.geofences[0] = {"Depot", {}, 4294967295u, 1, 0};
    EXPECT_EQ(with(parseWhatIf("size=2"), settings).geofences[0].width, 4294967295u);
    EXPECT_EQ(with(parseWhatIf("size=0.4"), settings).geofences[0].height, 1u);
}

} // namespace
