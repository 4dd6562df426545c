// The example application's own arithmetic: geofences drawn on a track, the verdict and its words, the
// command line.

#include <gtest/gtest.h>

#include <algorithm>

#include "Expectations.h"
#include "TrackGeofences.h"

namespace {

// --- Vocabulary -----------------------------------------------------------------------------------------

using Track = std::vector<TrackPoint>;

/// One point a second on the way north.
Track driveNorth(int32_t points, int32_t microdegreesPerPoint) {
    Track track;
    for (int32_t i = 0; i < points; ++i)
        track.push_back({52000000 + i * microdegreesPerPoint, 13000000});
    return track;
}

struct Crossed {
    unsigned int entered = 0;
    unsigned int left = 0;
};

/// What the service makes of the geofence when the track is driven.
Crossed drive(const Track& track, const GPSGeofence& geofence) {
    Crossed crossed;
    GPSGeofenceState state = GPSGeofenceState::Outside;
    for (const TrackPoint& point : track) {
        GPSData data;
        data.valid = true;
        data.latitude = point.latitude;
        data.longitude = point.longitude;
        geofence.CheckGeofence(data, state);
        crossed.entered += state == GPSGeofenceState::Entered ? 1 : 0;
        crossed.left += state == GPSGeofenceState::Left ? 1 : 0;
    }
    return crossed;
}

/// Everything that a good drive shows.
Tally goodTally() {
    Tally tally;
    tally.fixes = 300;
    tally.positionUpdates = 27;
    tally.trackingReports = 10;
    tally.geofenceEvents = 6;
    tally.geofences["a"] = {1, 1, false};
    tally.antennaChanges = 3;
    tally.odometerM = 1234;
    tally.becameAvailable = true;
    tally.antennaCameBack = true;
    tally.extentM = 2000;
    tally.firstFixS = 20;
    return tally;
}

Options parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "drive");
    return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

std::vector<std::string> unmet(const Tally& tally) { return judge(parse({}), tally).unmet; }

/// The verdict in words, line by line.
std::string words(const Options& options, const Tally& tally) {
    std::string text;
    for (const std::string& sentence : inWords(options, tally, judge(options, tally)))
        text += sentence + "\n";
    return text;
}

std::string complaint(const std::vector<const char*>& arguments) {
    try {
        parse(arguments);
    } catch (const OptionError& error) {
        return error.what();
    }
    return "";
}

} // namespace

// --- Geofences on a track -------------------------------------------------------------------------------

TEST(TrackGeofences, AreEnteredAndLeftOnTheTrackTheyWereDrawnOn) {
    const Track track = driveNorth(150, 27);
    const std::vector<GPSGeofence> geofences = geofencesOnTrack(track, 2);
    ASSERT_EQ(geofences.size(), 2u);
    for (const GPSGeofence& geofence : geofences) {
        EXPECT_EQ(drive(track, geofence).entered, 1u);
        EXPECT_EQ(drive(track, geofence).left, 1u);
    }
}

TEST(TrackGeofences, HaveNamesAndPlacesOfTheirOwn) {
    const std::vector<GPSGeofence> geofences = geofencesOnTrack(driveNorth(150, 27), 2);
    ASSERT_EQ(geofences.size(), 2u);
    EXPECT_FALSE(geofences[0].name.equals(geofences[1].name));
    EXPECT_NE(geofences[0].latitude, geofences[1].latitude);
}

TEST(TrackGeofences, FindTheWanderOfAStandingReceiver) {
    Track track;
    for (int32_t i = 0; i < 90; ++i)
        track.push_back({52000000 + (i / 10) % 3, 13000000});
    const std::vector<GPSGeofence> geofences = geofencesOnTrack(track, 1);
    ASSERT_EQ(geofences.size(), 1u);
    EXPECT_GT(drive(track, geofences[0]).entered, 0u);
    EXPECT_GT(drive(track, geofences[0]).left, 0u);
}

TEST(TrackGeofences, AreNotInventedWhereNothingMoves) {
    EXPECT_TRUE(geofencesOnTrack(driveNorth(100, 0), 2).empty());
    EXPECT_TRUE(geofencesOnTrack(driveNorth(3, 100), 2).empty());
    EXPECT_TRUE(geofencesOnTrack({}, 2).empty());
}

// --- Verdict --------------------------------------------------------------------------------------------

TEST(Verdict, IsCleanAfterAGoodDrive) { EXPECT_TRUE(unmet(goodTally()).empty()); }

TEST(Verdict, NamesEachKindThatWasNotSeen) {
    const std::vector<std::string> sentences = unmet(Tally());
    EXPECT_EQ(sentences.size(), 7u);
    for (const char* name :
         {"fix", "availability", "position", "tracking", "geofence", "antenna", "odometer"}) {
        const auto begins = [&](const std::string& s) { return s.rfind(std::string(name) + ": ", 0) == 0; };
        EXPECT_EQ(std::count_if(sentences.begin(), sentences.end(), begins), 1) << name;
    }
}

TEST(Verdict, WantsEveryGeofenceEnteredAndLeft) {
    Tally tally = goodTally();
    tally.geofences["b"] = {1, 0, true};
    EXPECT_EQ(unmet(tally).size(), 1u);
    tally.geofences["b"] = {0, 1, false};
    EXPECT_EQ(unmet(tally).size(), 1u);
}

TEST(Verdict, ExcusesAStandingOdometerOnlyWhereThatIsAllowed) {
    Tally tally = goodTally();
    tally.odometerM = 0;
    tally.extentM = 12;
    EXPECT_EQ(unmet(tally).size(), 1u);
    const Verdict verdict = judge(parse({"--allow-excuses"}), tally);
    EXPECT_TRUE(verdict.unmet.empty());
    EXPECT_EQ(verdict.excused.size(), 1u);
}

TEST(Verdict, DoesNotExcuseAnOdometerThatCouldHaveCounted) {
    Tally tally = goodTally();
    tally.odometerM = 0;
    tally.countableM = 3;
    EXPECT_EQ(judge(parse({"--allow-excuses"}), tally).unmet.size(), 1u);
}

TEST(Verdict, DoesNotExcuseAMissingAntennaChangeOrAMissingFix) {
    const Verdict verdict = judge(parse({"--allow-excuses"}), Tally());
    EXPECT_EQ(verdict.unmet.size(), 7u);
    EXPECT_TRUE(verdict.excused.empty());
}

TEST(Verdict, ComplainsOfAFirstFixThatIsNotSooner) {
    EXPECT_TRUE(judge(parse({"--first-fix-before", "20.1"}), goodTally()).unmet.empty());
    EXPECT_EQ(judge(parse({"--first-fix-before", "20"}), goodTally()).unmet.size(), 1u);
    Tally never = goodTally();
    never.firstFixS = -1;
    EXPECT_EQ(judge(parse({"--first-fix-before", "20"}), never).unmet.size(), 1u);
}

// --- In words -------------------------------------------------------------------------------------------

TEST(Words, NameEverythingThatWasSeen) {
    EXPECT_EQ(words(parse({}), goodTally()),
              "verdict: all is well; seen: fixes, their availability, position updates, tracking "
              "reports, each geofence entered and left, the antenna lost and back again and metres on the "
              "odometer\n");
}

TEST(Words, NameWhatWasAskedForAlone) {
    EXPECT_EQ(words(parse({"--expect", "antenna"}), goodTally()),
              "verdict: all is well; seen: the antenna lost and back again\n");
}

TEST(Words, DoNotPraiseWhatIsMissingOrExcused) {
    Tally tally = goodTally();
    tally.odometerM = 0;
    tally.extentM = 12;
    const char* const good = "all is well";
    EXPECT_EQ(words(parse({}), tally).rfind("verdict: not as it should be, see above; seen: fixes, ", 0), 0u);
    EXPECT_EQ(words(parse({"--allow-excuses"}), tally)
                  .rfind("verdict: as good as what the receiver sends allows; seen: fixes, ", 0),
              0u);
    EXPECT_EQ(words(parse({}), Tally()).find(good), std::string::npos);
    EXPECT_EQ(words(parse({"--expect", "fix"}), Tally()),
              "verdict: not as it should be, see above; nothing was seen\n");
}

TEST(Words, ExplainAnOdometerThatShowsLessThanWasDriven) {
    Tally tally = goodTally();
    tally.drivenM = 4190.4;
    EXPECT_NE(words(parse({}), tally)
                  .find("\nodometer: 1234 m of about 4190 m driven; it counts nothing in its "
                        "first 180 s, and stretches within twice the error estimate don't "
                        "count\n"),
              std::string::npos);
}

TEST(Words, CompareTheFirstFixWithTheTimeToBeat) {
    EXPECT_NE(words(parse({"--first-fix-before", "29.4"}), goodTally())
                  .find("\nfirst fix: after 20.0 s; 29.4 s was the time to beat\n"),
              std::string::npos);
}

TEST(Summary, IsTheDemosLastLine) {
    EXPECT_EQ(summary(goodTally()), "demo: 300 fixes, 27 position updates, 10 tracking reports, "
                                    "6 geofence events, 3 antenna changes, odometer 1234 m");
}

// --- Command line ---------------------------------------------------------------------------------------

TEST(CommandLine, ExpectsEverythingUnlessTold) {
    EXPECT_EQ(parse({}).expected.size(), 7u);
    EXPECT_EQ(parse({"--expect", "fix,antenna"}).expected, (std::vector<std::string>{"fix", "antenna"}));
}

TEST(CommandLine, TakesGeofencesInDegreesAndMetres) {
    const Options options = parse({"--geofence", "depot,60,-13.5,100,200"});
    ASSERT_EQ(options.geofences.size(), 1u);
    const GPSGeofence& depot = options.geofences[0];
    EXPECT_STREQ(depot.name.getStr(), "depot");
    EXPECT_EQ(depot.latitude, 60000000);
    EXPECT_EQ(depot.longitude, -13500000);
    EXPECT_EQ(depot.height, 1800u);
    EXPECT_EQ(depot.width, 1800u); // meridians stand half as far apart at 60 degrees
}

TEST(CommandLine, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(complaint({"--fast"}), "unknown option '--fast'");
    EXPECT_EQ(complaint({"--for"}), "--for needs a value");
    EXPECT_EQ(complaint({"--for", "soon"}), "--for needs a number from 1 to 1e+06, not 'soon'");
    EXPECT_NE(complaint({"--for", "nan"}), "");
    EXPECT_NE(complaint({"--geofence", "a,95,0,1,1"}), "");
    EXPECT_NE(complaint({"--geofence", "a,1,2,3"}), "");
    EXPECT_NE(complaint({"--expect", "snow"}), "");
}

TEST(CommandLine, TakesValuesBehindAnEqualsSign) {
    const Options options = parse({"--for=12", "--expect=fix,antenna", "--until-seen", "--tracking=0"});
    EXPECT_EQ(options.durationS, 12);
    EXPECT_EQ(options.expected, (std::vector<std::string>{"fix", "antenna"}));
    EXPECT_TRUE(options.untilSeen);
    EXPECT_EQ(options.trackingPeriodS, 0);
}

TEST(CommandLine, AnswersHelpAndVersionWhateverFollows) {
    EXPECT_TRUE(parse({"-h"}).help);
    EXPECT_TRUE(parse({"--help", "--fast"}).help);
    EXPECT_TRUE(parse({"--version"}).version);
}

TEST(CommandLine, SaysWhatIsWrongWithAnExpectation) {
    const std::string known =
        "--expect knows fix,availability,position,tracking,geofence,antenna,odometer, but not ";
    EXPECT_EQ(complaint({"--expect", ""}), known + "''");
    EXPECT_EQ(complaint({"--expect", "fix,"}), known + "''");
    EXPECT_EQ(complaint({"--expect=snow,fix,rain"}), known + "'snow' and 'rain'");
}

TEST(CommandLine, SaysWhatIsWrongWithAnArgument) {
    EXPECT_EQ(complaint({"fast"}), "unexpected argument 'fast'");
    EXPECT_EQ(complaint({"-x"}), "unknown option '-x'");
    EXPECT_EQ(complaint({"--until-seen=1"}), "--until-seen takes no value");
    EXPECT_EQ(complaint({"--fast=1"}), "unknown option '--fast'");
    EXPECT_EQ(complaint({"--tracking", "1.5"}), "--tracking needs a whole number, not '1.5'");
    EXPECT_EQ(complaint({"--first-fix-file="}), "--first-fix-file needs the name of a file");
    EXPECT_EQ(complaint({"--record="}), "--record needs the name of a file");
    EXPECT_EQ(complaint({"--for", "2000000"}), "--for needs a number from 1 to 1e+06, not '2000000'");
}

TEST(CommandLine, RefusesMoreGeofencesThanTheServiceWatches) {
    std::vector<const char*> arguments;
    for (int i = 0; i < 12; ++i)
        arguments.insert(arguments.end(), {"--geofence", "a,1,2,3,4"});
    EXPECT_EQ(complaint(arguments), "");
    arguments.insert(arguments.end(), {"--learn", "10"});
    EXPECT_EQ(complaint(arguments), "there can't be more than 12 geofences");
}
