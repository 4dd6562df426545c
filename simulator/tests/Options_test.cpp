#include "Options.h"

#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace simulator;
using namespace std::chrono_literals;

namespace {

std::string errorOf(const std::vector<std::string>& arguments) {
    try {
        parseOptions(arguments);
    } catch (const OptionError& error) {
        return error.what();
    }
    return "";
}

std::string fileErrorOf(const std::vector<std::string>& arguments) {
    try {
        parseOptions(arguments);
    } catch (const FileError& error) {
        return error.what();
    }
    return "";
}

// Files of the tests' own, gone with the program.
struct ScratchFiles {
    ~ScratchFiles() {
        for (const std::string& path : paths)
            unlink(path.c_str());
    }
    std::vector<std::string> paths;
};

std::string scratchFile(const std::string& content) {
    static ScratchFiles files;
    const std::string number = std::to_string(getpid()) + "_" + std::to_string(files.paths.size());
    files.paths.push_back(::testing::TempDir() + "options_test_" + number);
    std::ofstream(files.paths.back(), std::ios::binary) << content;
    return files.paths.back();
}

constexpr char kSentence[] = "$GPGSV,1,1,00*79\r\n";

} // namespace

TEST(Options, AboutTheSkyAndTheTime) {
    const Options usual = parseOptions({});
    EXPECT_TRUE(usual.engine.cutsFirstEpoch);
    EXPECT_FALSE(usual.engine.factory.utcToHundredths);
    EXPECT_EQ(750s, usual.settings.timeToLeapSeconds);
    EXPECT_DOUBLE_EQ(0, usual.settings.drift.sigmaM);
    EXPECT_EQ(0u, usual.settings.unhealthySatellites);
    const Options other = parseOptions(
        {"--first-epoch=whole", "--utc=hundredths", "--leap-after=5", "--drift=2.5,60", "--unhealthy=2"});
    EXPECT_FALSE(other.engine.cutsFirstEpoch);
    EXPECT_TRUE(other.engine.factory.utcToHundredths);
    EXPECT_EQ(5s, other.settings.timeToLeapSeconds);
    EXPECT_DOUBLE_EQ(2.5, other.settings.drift.sigmaM);
    EXPECT_EQ(60s, other.settings.drift.correlation);
    EXPECT_EQ(2u, other.settings.unhealthySatellites);
    EXPECT_EQ("--drift needs a number from 1 to 1000000, not '0'", errorOf({"--drift", "3,0"}));
}

TEST(Options, WithoutAnyTheReceiverIsAFactoryOne) {
    const Options options = parseOptions({});
    EXPECT_EQ(9600U, options.engine.baudRate);
    EXPECT_EQ(9600U, options.portBaudRate);
    EXPECT_EQ(2, options.settings.quality);
    EXPECT_EQ(1000ms, options.engine.factory.epochPeriod);
    EXPECT_EQ(Delivery::Paced, options.settings.delivery);
    EXPECT_FALSE(options.settings.recording);
}

TEST(Options, ValuesStandBehindTheOptionOrAnEqualsSign) {
    EXPECT_EQ(115'200U, parseOptions({"--baud", "115200"}).engine.baudRate);
    EXPECT_EQ(115'200U, parseOptions({"--baud=115200"}).engine.baudRate);
    EXPECT_EQ("a=b", parseOptions({"--link=a=b"}).link);
}

TEST(Options, ReceiverIsDescribed) {
    const Options options =
        parseOptions({"--hz", "10", "--quality", "1", "--ttff", "3.5", "--gnss", "gps,galileo", "--nmea",
                      "4.1", "--numbering", "extended", "--burst", "--seed", "7"});
    EXPECT_EQ(100ms, options.engine.factory.epochPeriod);
    EXPECT_EQ(1, options.settings.quality);
    EXPECT_EQ(3500ms, options.settings.fixTimes.cold);
    EXPECT_EQ((std::set<Constellation>{Constellation::Gps, Constellation::Sbas, Constellation::Galileo}),
              options.engine.factory.enabled);
    EXPECT_EQ(NmeaVersion::V41, options.engine.factory.nmeaVersion);
    EXPECT_TRUE(options.engine.factory.extendedNumbering);
    EXPECT_EQ(Delivery::Burst, options.settings.delivery);
    EXPECT_EQ(7U, options.settings.seed);
}

TEST(Options, ReceiverTakesItsInputAsARealOneDoesUnlessToldOtherwise) {
    const InputOptions usual = parseOptions({}).engine.input;
    EXPECT_EQ(500ms, usual.gnssBusyTime);
    EXPECT_TRUE(usual.acknowledgesGnssFirst);
    EXPECT_EQ(5ms, usual.messageTime);
    EXPECT_EQ(1000U, usual.bufferBytes);
    EXPECT_TRUE(usual.linePaced);
    EXPECT_EQ(1s, parseOptions({"--gnss-busy", "1"}).engine.input.gnssBusyTime);
    EXPECT_FALSE(parseOptions({"--gnss-ack", "last"}).engine.input.acknowledgesGnssFirst);
    EXPECT_EQ(20ms, parseOptions({"--message-time=0.02"}).engine.input.messageTime);
    EXPECT_EQ(64U, parseOptions({"--input-buffer", "64"}).engine.input.bufferBytes);
}

TEST(Options, DatabaseIsMixedUnlessToldOtherwise) {
    EXPECT_EQ(DatabaseStyle::Mixed, parseOptions({}).engine.database);
    EXPECT_EQ(DatabaseStyle::Recorded, parseOptions({"--database", "recorded"}).engine.database);
    EXPECT_THROW(parseOptions({"--database", "large"}), OptionError);
}

TEST(Options, PollOfAnEmptyDatabaseIsRefusedUnlessToldOtherwise) {
    EXPECT_EQ(EmptyDatabaseReply::Refused, parseOptions({}).engine.emptyDatabase);
    EXPECT_EQ(EmptyDatabaseReply::Counted, parseOptions({"--empty-database=counted"}).engine.emptyDatabase);
    EXPECT_EQ(EmptyDatabaseReply::Refused, parseOptions({"--empty-database=refused"}).engine.emptyDatabase);
}

TEST(Options, OutputBufferHasRoomForSomeSecondsAt9600Baud) {
    EXPECT_EQ(4096U, parseOptions({}).settings.outputBufferBytes);
    EXPECT_EQ(100000U, parseOptions({"--output-buffer=100000"}).settings.outputBufferBytes);
}

TEST(Options, ReceiverIsDeafForHalfASecondUnlessToldOtherwise) {
    EXPECT_EQ(500ms, parseOptions({}).settings.deafTime);
    EXPECT_EQ(0ms, parseOptions({"--deaf", "0"}).settings.deafTime);
    EXPECT_EQ(1250ms, parseOptions({"--deaf=1.25"}).settings.deafTime);
}

TEST(Options, CommandsAreGatheredInOrder) {
    EXPECT_EQ((std::vector<std::string>{"nofix 3", "hz 5"}),
              parseOptions({"--command", "nofix 3", "--command", "hz 5"}).commands);
}

TEST(Options, WaypointsMakeARoute) {
    EXPECT_NEAR(1111.951, parseOptions({"--waypoints", "47,8,10;47.01,8,10"}).settings.route.lengthM(), 1e-3);
}

TEST(Options, RepeatedRouteLeadsBackToItsStart) {
    EXPECT_NEAR(2223.902,
                parseOptions({"--repeat", "--waypoints", "47,8,10;47.01,8,10"}).settings.route.lengthM(),
                1e-3);
}

TEST(Options, LastOfTwoCounts) {
    EXPECT_EQ(9600U, parseOptions({"--baud", "4800", "--baud", "9600"}).engine.baudRate);
}

TEST(Options, WhatIsWrongIsSaidInOneSentence) {
    EXPECT_EQ("unrecognized option '--frobnicate'", errorOf({"--frobnicate"}));
    EXPECT_EQ("unrecognized option '-x'", errorOf({"-x"}));
    EXPECT_EQ("unexpected argument 'stray'", errorOf({"--hold", "stray"}));
    EXPECT_EQ("option '--baud' requires an argument: SPEED", errorOf({"--baud"}));
    EXPECT_EQ("option '--burst' doesn't allow an argument", errorOf({"--burst=yes"}));
    EXPECT_EQ("--restamp needs --recording", errorOf({"--restamp"}));
    EXPECT_EQ("--print-route-length needs --route or --waypoints", errorOf({"--print-route-length"}));
}

TEST(Options, WrongValueIsNamedWithWhatIsWanted) {
    EXPECT_EQ("--hz needs a number from 1 to 10, not '99'", errorOf({"--hz", "99"}));
    EXPECT_EQ("--hz needs a number from 1 to 10, not 'fast'", errorOf({"--hz=fast"}));
    EXPECT_EQ("--seed needs a whole number from 0 to 1000000000000000, not '1.5'",
              errorOf({"--seed", "1.5"}));
    EXPECT_EQ("--nmea needs one of 2.1, 2.3, 4.0, 4.1, not '5'", errorOf({"--nmea", "5"}));
    EXPECT_EQ("--quality needs one of 1, 2, not '3'", errorOf({"--quality", "3"}));
    EXPECT_EQ("--gnss needs one of gps, glonass, galileo, sbas, qzss, beidou, not 'sun'",
              errorOf({"--gnss", "gps,sun"}));
    EXPECT_EQ("--gnss needs at least one system, not ''", errorOf({"--gnss="}));
    EXPECT_EQ("--link needs a path, not ''", errorOf({"--link", ""}));
    EXPECT_EQ("route, line 1: 'x' is no latitude (-90 to 90)", errorOf({"--waypoints", "x,8,1"}));
    EXPECT_EQ("--start: '1' is not LAT,LON[,ALT]", errorOf({"--start", "1"}));
}

TEST(Options, RouteAndRecordingExcludeEachOther) {
    const std::string recording = scratchFile(kSentence);
    EXPECT_EQ("--recording and a route exclude each other",
              errorOf({"--waypoints", "47,8,10;47.01,8,10", "--recording", recording}));
}

TEST(Options, FilesThatCannotBeReadAreNoWrongOptions) {
    EXPECT_EQ("--route: can't read '/nowhere/at/all'", fileErrorOf({"--route", "/nowhere/at/all"}));
    EXPECT_EQ("--recording: can't read '/nowhere'", fileErrorOf({"--recording", "/nowhere"}));
    EXPECT_EQ("--recording: '/' is a folder", fileErrorOf({"--recording", "/"}));
    EXPECT_EQ("--check-recording: '/' is a folder", fileErrorOf({"--check-recording", "/"}));
}

TEST(Options, RouteIsReadFromAFile) {
    const std::string route = scratchFile("# a degree's hundredth\n47,8,10\n47.01,8,10\n");
    EXPECT_NEAR(1111.951, parseOptions({"--route", route}).settings.route.lengthM(), 1e-3);
    EXPECT_EQ("route, line 1: 'x' is no latitude (-90 to 90)",
              fileErrorOf({"--route", scratchFile("x,8,1")}));
    EXPECT_NE("", fileErrorOf({"--route", scratchFile("")}));
}

TEST(Options, FileWithoutASentenceOrFrameIsNoRecording) {
    const std::string notes = scratchFile("# Notes\n\nRun `$HOME/bin/tool` *now*.\n");
    const std::string why = "' has no sentence and no UBX frame with a right checksum";
    EXPECT_EQ("--recording: '" + notes + why, fileErrorOf({"--recording", notes}));
    EXPECT_EQ("--check-recording: '" + notes + why, fileErrorOf({"--check-recording", notes}));
}

TEST(Options, RecordingIsReadAndPlayedAsToldTo) {
    const std::string recording = scratchFile("noise" + std::string(kSentence));
    const Options options = parseOptions({"--recording", recording, "--restamp", "--playback-speed", "2.5",
                                          "--repeat", "--hold", "--quit-at-end"});
    ASSERT_TRUE(options.settings.recording.has_value());
    EXPECT_EQ(5U, options.settings.recording->content().unreadableBytes);
    EXPECT_TRUE(options.settings.restamp && options.settings.repeatRecording && options.settings.hold);
    EXPECT_EQ(2.5, options.settings.playbackSpeed);
    EXPECT_TRUE(options.quitAtEnd);
    EXPECT_FALSE(options.checkRecording);
    EXPECT_TRUE(parseOptions({"--check-recording", recording}).checkRecording);
}

TEST(Options, RecordingsSpeedIsThatOfAReceiverThatDoesNotFollow) {
    const std::string recording = scratchFile(kSentence);
    EXPECT_EQ(115'200U, parseOptions({"--recording", recording, "--engine", "nmea"}).engine.baudRate);
    EXPECT_EQ(4800U,
              parseOptions({"--recording", recording, "--engine=nmea", "--baud=4800"}).engine.baudRate);
    EXPECT_EQ(9600U, parseOptions({"--recording", recording}).engine.baudRate);
}

TEST(Options, FilesAndPortAreNamed) {
    const Options options =
        parseOptions({"--link", "l", "--control", "c", "--state", "s", "--log", "g", "--capture", "r",
                      "--reset-line", "v", "--port-baud", "38400", "--engine", "nmea"});
    EXPECT_EQ("l", options.link);
    EXPECT_EQ("c", options.controlFifo);
    EXPECT_EQ("s", options.stateFile);
    EXPECT_EQ("g", options.logFile);
    EXPECT_EQ("r", options.captureFile);
    EXPECT_EQ("v", options.resetLineFile);
    EXPECT_EQ(38'400U, options.portBaudRate);
    EXPECT_EQ("nmea", options.engineName);
}

TEST(Options, PlaceAndNoiseAndStartTimesAreSet) {
    const Options options = parseOptions(
        {"--start", "48.5,9.25,300", "--noise", "2.5", "--ttff-aided", "4", "--ttff-warm", "1.5"});
    const GeoPosition place = options.settings.route.at(0s).position;
    EXPECT_EQ(48.5, place.latitudeDeg);
    EXPECT_EQ(9.25, place.longitudeDeg);
    EXPECT_EQ(300, place.altitudeMslM);
    EXPECT_EQ(2.5, options.settings.noiseM);
    EXPECT_EQ(4s, options.settings.fixTimes.aided);
    EXPECT_EQ(1500ms, options.settings.fixTimes.warm);
}

TEST(Options, WhatIsOnlyPrintedIsKnown) {
    EXPECT_TRUE(parseOptions({"-h"}).help && parseOptions({"--help"}).help);
    EXPECT_TRUE(parseOptions({"--version"}).version);
    EXPECT_TRUE(parseOptions({"--waypoints", "47,8,10", "--print-route-length"}).printRouteLength);
    EXPECT_EQ("receiver-simulator (ruxogps) 0.1.0", versionText());
}

TEST(Options, HelpHasOneLineForEveryOption) {
    const std::string help = optionHelp();
    for (const std::string name : {"--link",
                                   "--engine",
                                   "--baud",
                                   "--port-baud",
                                   "--hz",
                                   "--seed",
                                   "--start",
                                   "--route",
                                   "--waypoints",
                                   "--repeat",
                                   "--print-route-length",
                                   "--recording",
                                   "--check-recording",
                                   "--restamp",
                                   "--playback-speed",
                                   "--hold",
                                   "--quit-at-end",
                                   "--quality",
                                   "--noise",
                                   "--ttff",
                                   "--ttff-aided",
                                   "--ttff-warm",
                                   "--deaf",
                                   "--message-time",
                                   "--gnss-busy",
                                   "--gnss-ack",
                                   "--input-buffer",
                                   "--output-buffer",
                                   "--database",
                                   "--empty-database",
                                   "--gnss",
                                   "--nmea",
                                   "--numbering",
                                   "--burst",
                                   "--control",
                                   "--command",
                                   "--state",
                                   "--log",
                                   "--capture",
                                   "--reset-line",
                                   "--lateness",
                                   "-h, --help",
                                   "--version"}) {
        const std::string line = "\n  " + name + " ";
        EXPECT_NE(std::string::npos, help.find(line)) << name;
        EXPECT_EQ(help.find(line), help.rfind(line)) << name;
    }
}
