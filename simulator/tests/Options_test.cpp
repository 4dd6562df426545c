#include "Options.h"

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>

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

} // namespace

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

TEST(Options, WhatIsWrongIsSaidInOneSentence) {
    EXPECT_EQ("unknown option '--frobnicate', see --help", errorOf({"--frobnicate"}));
    EXPECT_EQ("unknown option 'stray', see --help", errorOf({"stray"}));
    EXPECT_EQ("--baud needs a value: SPEED", errorOf({"--baud"}));
    EXPECT_EQ("--hz: '99' is not a number from 1 to 10", errorOf({"--hz", "99"}));
    EXPECT_EQ("--hz: 'fast' is not a number from 1 to 10", errorOf({"--hz", "fast"}));
    EXPECT_EQ("--burst takes no value", errorOf({"--burst=yes"}));
    EXPECT_EQ("--nmea: '5' is none of: 2.1, 2.3, 4.0, 4.1", errorOf({"--nmea", "5"}));
    EXPECT_EQ("--route: can't read '/nowhere/at/all'", errorOf({"--route", "/nowhere/at/all"}));
    EXPECT_EQ("route, line 1: 'x' is no latitude (-90 to 90)", errorOf({"--waypoints", "x,8,1"}));
    EXPECT_EQ("'1' is not LAT,LON[,ALT]", errorOf({"--start", "1"}));
    EXPECT_EQ("--restamp needs --recording", errorOf({"--restamp"}));
    EXPECT_EQ("--print-route-length needs --route or --waypoints", errorOf({"--print-route-length"}));
}

TEST(Options, FolderIsNoRecording) {
    EXPECT_EQ("--recording: '/' is a folder", errorOf({"--recording", "/"}));
}
TEST(Options, HelpNamesEveryOptionOnce) {
    const std::string help = optionHelp();
    for (const char* name :
         {"--link ", "--baud ", "--recording ", "--restamp ", "--control ", "--reset-line "})
        EXPECT_EQ(help.find(name), help.rfind(name)) << name;
}
