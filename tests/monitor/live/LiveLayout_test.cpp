// The live view, row by row, without a terminal.

#include <clocale>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LiveRows.h"
#include "LiveScene.h"
#include "Text.h"

namespace {

using monitor::Page;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Le;
using testing::Not;
using testing::ResultOf;
using Step = telemetry::ServiceStep::Step;

class LiveLayout : public testing::Test, protected LiveScene {
protected:
    void SetUp() override { std::setlocale(LC_CTYPE, "C.UTF-8"); }
    void TearDown() override { std::setlocale(LC_CTYPE, "C"); }

    /// A drive with all there is to see.
    void driveWithEverything() {
        watchGeofences();
        given.trackingEnabled = true;
        given.trackingPeriodS = 30;
        comeUp();
        drive(30, 0, 13.4);
        take(telemetry::AvailabilityChanged{true, {}});
        take(telemetry::GeofenceCrossed{false, 0, "Depot", {}});
    }
};

TEST_F(LiveLayout, ShowsEverythingAt80x24) {
    driveWithEverything();
    EXPECT_THAT(
        rows(80, 24),
        ElementsAre(
            " ruxogps-monitor: service running 31 s                     2026-11-22 06:50:39Z",
            "Position   52.520008 N  13.410898 E   altitude 34.2 m",
            "Fix        age 0 s  at 2026-11-22T06:50:39Z", "Speed      13.4 m/s, 48 km/h   course 90.0 deg E",
            "Dilution   HDOP 0.9   PDOP 1.4   TDOP 0.8   GDOP 1.6", "Signal     9 satellites, 38 dB-Hz",
            "Antenna    in order   position available", "Error      horizontal 6 m, time 5 ms",
            "Clock      the system's clock agrees with GPS (0 s)",
            "Odometer   0 m   estimate: warms up, counts in 2:29",
            "Tracking   every 30 s, next in 20 s at 06:50:59Z", "Geofences  on, 3 of 12 in use",
            "  Depot                    inside      165 m to margin",
            "  Airport                  outside    4.8 km to border",
            "  ?[2Jbad??                left       6.2 km to border", "Events", "  06:50:39Z left Depot",
            "  06:50:39Z fixes are available", "  06:50:08Z service running", "  06:50:08Z service starting",
            "  06:50:08Z service initializing", "  06:50:00Z service constructing", "",
            "o odometer  t tracking  g geofences  l log  Tab pages  ? help  q quit"));
}

TEST_F(LiveLayout, HasTheEventsBesideTheValuesAt120x40) {
    driveWithEverything();
    const std::vector<std::string> all = rows(120, 40);
    EXPECT_EQ(all.size(), 40U);
    EXPECT_EQ(all[1], "Position   52.520008 N  13.410898 E   altitude 34.2 m                  Events");
    EXPECT_EQ(all[2], "Fix        age 0 s  at 2026-11-22T06:50:39Z                              "
                      "06:50:39Z left Depot");
    EXPECT_EQ(all[14], "  ?[2Jbad??                left       6.2 km to border");
}

TEST_F(LiveLayout, ShowsEverythingShorterAt40x24) {
    driveWithEverything();
    EXPECT_THAT(rows(40, 24),
                ElementsAre(" running 31 s                 06:50:39Z", "Pos   52.520008 N  13.410898 E",
                            "Fix   age 0 s  altitude 34.2 m", "Speed 13.4 m/s, 48 km/h  90 deg E",
                            "DOP   H 0.9  P 1.4  T 0.8  G 1.6", "Sig   9 satellites, 38 dB-Hz",
                            "Ant   in order   position available", "Err   horizontal 6 m, time 5 ms",
                            "Clock agrees, 0 s", "Odo   0 m   estimate: counts in 2:29",
                            "Track every 30 s, in 20 s", "Geo   on, 3 of 12 in use",
                            "  Depot               inside      165 m+",
                            "  Airport             outside    4.8 km",
                            "  ?[2Jbad??           left       6.2 km", "Events", "  06:50:39Z left Depot",
                            "  06:50:39Z fixes are available", "  06:50:08Z service running",
                            "  06:50:08Z service starting", "  06:50:08Z service initializing",
                            "  06:50:00Z service constructing", "", "o odo t trk g geo l log ? help q quit"));
}

TEST_F(LiveLayout, ShowsWhatMattersMostAt40x10) {
    driveWithEverything();
    EXPECT_THAT(rows(40, 10),
                ElementsAre(" running 31 s                 06:50:39Z", "Pos   52.520008 N  13.410898 E",
                            "Fix   age 0 s  altitude 34.2 m", "Speed 13.4 m/s, 48 km/h  90 deg E",
                            "Sig   9 satellites, 38 dB-Hz", "Ant   in order   position available",
                            "Odo   0 m   estimate: counts in 2:29", "Geo   on, 3 of 12 in use",
                            "  06:50:39Z left Depot", "o odo t trk g geo l log ? help q quit"));
}

TEST_F(LiveLayout, SaysWhereAndHowFastAt20x5) {
    driveWithEverything();
    EXPECT_THAT(rows(20, 5), ElementsAre(" running 31 s", "Pos   52.520,13.411", "Fix   age 0 s",
                                         "Speed 13.4 m/s", "o t g l ? q"));
}

TEST_F(LiveLayout, FitsEachSize) {
    driveWithEverything();
    given.geofences.fill(given.geofences[0]);
    settings();
    for (view.page = Page::Overview; view.page <= Page::Help;
         view.page = static_cast<Page>(int(view.page) + 1))
        for (const std::size_t columns : {1U, 2U, 5U, 19U, 40U, 46U, 59U, 60U, 76U, 80U, 109U, 110U, 200U})
            for (const std::size_t count : {1U, 2U, 3U, 7U, 24U, 60U}) {
                const auto all = monitor::layOut(model, view, at, {columns, count});
                ASSERT_EQ(all.size(), count);
                ASSERT_THAT(all,
                            Each(ResultOf([](const monitor::Row& row) { return monitor::columnsOf(row); },
                                          Le(columns))));
            }
}

TEST_F(LiveLayout, HasTwelveGeofencesInTwoColumnsAt80) {
    driveWithEverything();
    for (std::size_t slot = 0; slot < telemetry::kGeofences; ++slot)
        given.geofences[slot] = {"Stop " + std::to_string(slot), {52475000, 13404954}, 4000, 4000, 1500};
    settings();
    EXPECT_EQ(row("Geofences"), "Geofences  on, 12 of 12 in use");
    EXPECT_EQ(row("  Stop 0", 80, 24),
              "  Stop 0             inside     4.6 km+   Stop 6             unknown    4.6 km+");
    EXPECT_EQ(row("  Stop 5", 80, 24),
              "  Stop 5             unknown    4.6 km+   Stop 11            unknown    4.6 km+");
}

TEST_F(LiveLayout, TellsHowFarAStepOfTheServiceIs) {
    step(Step::Constructing, 0, 31);
    pass(8);
    EXPECT_EQ(row("constructing"), "constructing 8 s of at most 31 s  resets and configures the receiver");
    EXPECT_EQ(row("constructing", 100),
              "constructing [####............] 8 s of at most 31 s  resets and configures the receiver");
    EXPECT_EQ(row("constructing", 40), "constructing 8 s of at most 31 s");
    step(Step::Initializing);
    EXPECT_EQ(row("initializing"), "initializing 0 s  starts gpsd");
    take(telemetry::ServiceStep{Step::Failed, 0, 0, 0x17000001});
    EXPECT_EQ(row("The service"), "The service failed, result 0x17000001");
}

TEST_F(LiveLayout, SaysWhatIsNotKnownYet) {
    step(Step::Running);
    EXPECT_EQ(row("Position"), "Position   no fix yet");
    EXPECT_EQ(row("Antenna"), "Antenna    -");
    EXPECT_EQ(row("Clock"), "Clock      deviation not measured yet");
    EXPECT_EQ(row("Tracking"), "Tracking   -");
    EXPECT_EQ(row("Geofences"), "Geofences  -");
    settings();
    EXPECT_EQ(row("Tracking"), "Tracking   off");
    EXPECT_EQ(row("Geofences"), "Geofences  off, 0 of 12 in use");
}

TEST_F(LiveLayout, TellsOfAClockThatDeviates) {
    comeUp();
    now.timeDeviationS = 125;
    readings();
    EXPECT_EQ(row("Clock"), "Clock      the system's clock is 2:05 behind GPS");
    now.timeDeviationS = -3;
    readings();
    EXPECT_EQ(row("Clock"), "Clock      the system's clock is 3 s ahead of GPS");
}

TEST_F(LiveLayout, TellsOfALostAntenna) {
    comeUp();
    now.antennaState = 3;
    now.available = false;
    readings();
    EXPECT_EQ(row("Antenna"), "Antenna    short circuit   position not available");
}

TEST_F(LiveLayout, SaysWhyStepsAreDropped) {
    comeUp();
    now.horizontalErrorM = 20;
    drive(200, 0, 10);
    EXPECT_THAT(row("Odometer", 70), HasSubstr("estimate: drops steps to 40 m; dropped "));
    EXPECT_THAT(row("Odometer", 100),
                HasSubstr("drops steps up to 40 m, twice the error estimate; dropped "));
    EXPECT_EQ(row("Odo", 34), "Odo   0 m ~ drops steps to 40 m");
    drive(1, 20000, 0);
    EXPECT_THAT(row("Odometer"), HasSubstr("estimate: jumped, counts in 3:01; dropped "));
}

TEST_F(LiveLayout, WarnsOfTrackingWithoutAPeriod) {
    given.trackingEnabled = true;
    comeUp();
    EXPECT_EQ(row("Tracking"), "Tracking   on, but without a period: no reports");
}

TEST_F(LiveLayout, PromisesNoTrackingReportThatTheServiceMaySleepThrough) {
    given.trackingEnabled = true;
    given.trackingPeriodS = 30;
    given.positionIntervalS = 60;
    comeUp(); // at 06:50:09
    EXPECT_EQ(row("Tracking"), "Tracking   every 30 s, next in 20 s at 06:50:29Z or later");
    EXPECT_EQ(row("Track", 34), "Track every 30 s, in 20 s or later");
    pass(20);
    EXPECT_EQ(row("Tracking"), "Tracking   every 30 s, next now or later");
}

TEST_F(LiveLayout, LetsNoControlCharacterThrough) {
    given.geofences[0] = {"\x1b]0;x\x07\x9b\xc2\x9b\xe2\x80\xae\xff\tz\n", {}, 1, 1, 0};
    comeUp();
    take(telemetry::GeofenceCrossed{true, 0, given.geofences[0].name, {}});
    view.log = {"\x1b[2J"};
    for (const Page page : {Page::Overview, Page::Geofences, Page::Events, Page::Log}) {
        view.page = page;
        for (const std::string& text : rows(80, 24))
            for (const char byte : text)
                EXPECT_TRUE(byte >= ' ' && byte < 0x7f) << text;
    }
}

TEST_F(LiveLayout, ShowsNamesInTheTerminalsCharacterSet) {
    EXPECT_EQ(monitor::showable("Z\xc3\xbcrich"), "Z\xc3\xbcrich");
    EXPECT_EQ(monitor::columnsOf("\xe6\x9d\xb1\xe4\xba\xac"), 4U);
    EXPECT_EQ(monitor::cut("\xe6\x9d\xb1\xe4\xba\xac", 3), "\xe6\x9d\xb1~");
    std::setlocale(LC_CTYPE, "C");
    EXPECT_EQ(monitor::showable("Z\xc3\xbcrich"), "Z?rich");
    EXPECT_EQ(monitor::showable("\xe6\x9d\xb1\xbc\xc3"), "???") << "a character, and two bytes of none";
}

TEST_F(LiveLayout, AsksForTheOdometer) {
    comeUp();
    view.odometerInput = "123";
    EXPECT_EQ(rows(80, 24).back(), "Odometer in metres: 123_  Enter sets  Esc leaves");
    EXPECT_EQ(rows(40, 24).back(), "Metres: 123_");
}

TEST_F(LiveLayout, AnswersAKeyInTheLastRow) {
    view.hint = "not while the service is constructing";
    EXPECT_EQ(rows(80, 24).back(), "not while the service is constructing");
}

TEST_F(LiveLayout, ScrollsEvents) {
    for (int i = 0; i < 100; ++i) {
        take(telemetry::AntennaChanged{i % 2 == 0 ? 1U : 2U, {}});
        pass(1);
    }
    view.page = Page::Events;
    EXPECT_EQ(rows(80, 24)[22], "  06:51:39Z antenna disconnected");
    view.scrolledBack = 10;
    EXPECT_EQ(rows(80, 24)[22], "  06:51:29Z antenna disconnected");
    EXPECT_EQ(monitor::farthestBack(model, view, {80, 24}), 100U + 3 - 24);
    view.scrolledBack = 1000;
    EXPECT_EQ(rows(80, 24)[2], "  06:50:00Z antenna in order");
}

TEST_F(LiveLayout, CountsAnEventThatComesAgain) {
    for (int i = 0; i < 3; ++i)
        take(telemetry::AvailabilityChanged{true, {}});
    EXPECT_EQ(row("  06:50:00Z"), "  06:50:00Z fixes are available  x3");
}

TEST_F(LiveLayout, HasOnePlaceForWhatComesAllTheWhile) {
    take(telemetry::PositionUpdated{});
    take(telemetry::AntennaChanged{3, {}});
    pass(1);
    take(telemetry::PositionUpdated{});
    EXPECT_EQ(row("  06:50:01Z"), "  06:50:01Z position update  x2");
    EXPECT_EQ(row("  06:50:00Z"), "  06:50:00Z antenna short circuit");
}

TEST_F(LiveLayout, WrapsTheLog) {
    view.page = Page::Log;
    view.log = {"0123456789012345678901234567890123456789-0123456789012345678901234567890123456789"};
    EXPECT_EQ(rows(40, 10)[2], "0123456789012345678901234567890123456789");
    EXPECT_EQ(rows(40, 10)[3], "  -0123456789012345678901234567890123456");
    EXPECT_EQ(rows(40, 10)[4], "  789");
    view.log = {"a line of words that is somewhat longer than that"};
    EXPECT_EQ(rows(40, 10)[2], "a line of words that is somewhat longer");
    EXPECT_EQ(rows(40, 10)[3], "  than that");
}

TEST_F(LiveLayout, HasAHelpPageThatNamesEachKey) {
    view.page = Page::Help;
    EXPECT_THAT(rows(80, 24),
                testing::IsSupersetOf({testing::StartsWith("o "), testing::StartsWith("t "),
                                       testing::StartsWith("g "), testing::StartsWith("l "),
                                       testing::StartsWith("Tab "), testing::StartsWith("q ")}));
    EXPECT_THAT(rows(40, 24), Each(Not(testing::EndsWith("~")))) << "nothing of it is cut";
}

} // namespace
