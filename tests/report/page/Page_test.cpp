#include "Page.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <vector>

#include "SomePage.h"

namespace {

using namespace report;
using ::testing::HasSubstr;
using ::testing::Not;

const Drive& someDrive() {
    static const Drive kDrive = driveOf(deliveryRound().recording());
    return kDrive;
}

const std::string& somePage() {
    static const std::string kPage = pageOf(someDrive());
    return kPage;
}

/// Names of elements that are open at the end, or of one that was closed out of turn.
std::vector<std::string> leftOpen(const std::string& xml) {
    std::vector<std::string> open;
    for (std::size_t at = xml.find('<'); at != std::string::npos; at = xml.find('<', at + 1)) {
        const std::size_t end = xml.find('>', at);
        const bool closes = xml[at + 1] == '/';
        const std::size_t from = at + (closes ? 2 : 1);
        const std::string name = xml.substr(from, xml.find_first_of(" />\n", from) - from);
        if (!closes && xml[end - 1] != '/')
            open.push_back(name);
        if (closes && (open.empty() || open.back() != name))
            return {name};
        if (closes)
            open.pop_back();
    }
    return open;
}

/// Its elements, without series and script.
std::string bodyOf(const std::string& page) {
    const std::size_t from = page.find("<body>");
    return page.substr(from, page.find("<script type=", from) - from);
}

// --- What it states -------------------------------------------------------------------------------------

TEST(Page, StatesAsManyOfEachKindAsTheRecordingHolds) {
    const Counts& counts = someDrive().counts;
    EXPECT_EQ(stated(somePage(), "count-fixes"), std::to_string(counts.fixes));
    EXPECT_EQ(stated(somePage(), "count-samples"), std::to_string(counts.samples));
    EXPECT_EQ(stated(somePage(), "count-events"), std::to_string(someDrive().events.size()));
    EXPECT_EQ(stated(somePage(), "count-entered"), std::to_string(counts.entered));
    EXPECT_EQ(stated(somePage(), "count-left"), std::to_string(counts.left));
    EXPECT_EQ(stated(somePage(), "count-antenna"), std::to_string(counts.antennaChanges));
    EXPECT_EQ(stated(somePage(), "count-tracking"), std::to_string(counts.trackingReports));
    EXPECT_EQ(stated(somePage(), "count-lines"), std::to_string(counts.lines));
    EXPECT_EQ(stated(somePage(), "count-lost"), "0");
}

TEST(Page, CountsTrackingReportsWithoutAFixByThemselves) {
    MadeDrive made({50000000, 8000000});
    made.setTrackingPeriod(10);
    made.setSky(false);
    made.stand(10);
    made.setSky(true);
    made.stand(20);
    const std::string page = pageOf(driveOf(made.recording()));
    EXPECT_EQ(stated(page, "count-tracking"), "2");
    EXPECT_EQ(stated(page, "count-tracking-without-fix"), "1");
    EXPECT_THAT(page, HasSubstr("<bdi>1 tracking report without a fix</bdi>"));
}

TEST(Page, MarksEachCrossingOnTheMapAndOverTime) {
    const std::size_t entered = someDrive().counts.entered;
    ASSERT_GT(entered, 0u);
    EXPECT_EQ(occurrences(somePage(), "class=\"mark entered\" data-t="), 2 * entered);
    EXPECT_EQ(occurrences(somePage(), "class=\"mark left\" data-t="), 2 * someDrive().counts.left);
}

/// A drive straight west out of a geofence, whose border is so far from the first fix.
std::string pageThatLeaves(double metres) {
    MadeDrive made({0, 8000000});
    made.addGeofence("Yard", 200 - metres, 0, 3600, 3600, 0); // 400 m wide
    made.stand(3);
    made.driveTo(-2000, 0, 50);
    return pageOf(driveOf(made.recording()));
}

TEST(Page, PutsNoNumberOnTheFirstFix) {
    EXPECT_THAT(pageThatLeaves(390), HasSubstr("<text class=\"label\" x=\"11\" y=\"5\">1</text>"));
    EXPECT_THAT(pageThatLeaves(2), HasSubstr("<text class=\"label\" x=\"17\" y=\"5\">1</text>"));
    EXPECT_THAT(pageThatLeaves(60), HasSubstr("<text class=\"label last\" x=\"-11\" y=\"5\">1</text>"));
}

TEST(Page, HasARowForEachCrossing) {
    EXPECT_EQ(occurrences(somePage(), "<tr class=\"entered\">"), someDrive().counts.entered);
    EXPECT_EQ(occurrences(somePage(), "<tr class=\"left\">"), someDrive().counts.left);
}

TEST(Page, MarksGapsRestartsAndJumpsOfTheClock) {
    for (const char* kind : {"no-fix", "restart", "clock-jump", "no-readings"})
        EXPECT_THAT(somePage(), HasSubstr("<rect class=\"band " + std::string(kind)));
    for (const Stretch& stretch : someDrive().stretches)
        EXPECT_THAT(somePage(), HasSubstr("</span>" + stretch.words + "</td>"));
}

TEST(Page, MarksTheWatchdog) {
    Drive drive = someDrive();
    drive.stretches.push_back({Stretch::Kind::Watchdog, 100, 160, "gpsd was probably restarted"});
    EXPECT_THAT(pageOf(drive), HasSubstr("<rect class=\"band watchdog\""));
}

TEST(Page, HasAChartForEachReadingOverTime) {
    for (const char* id : {"speed", "odometer", "satellites", "snr", "dilution", "antenna"})
        EXPECT_THAT(somePage(), HasSubstr("<figure class=\"chart\" id=\"chart-" + std::string(id) + "\">"));
}

TEST(Page, ShowsTheOdometersDroppedSteps) {
    ASSERT_GT(replay(someDrive()).droppedSteps, 0u);
    EXPECT_THAT(somePage(), HasSubstr("<path class=\"line drop\""));
    EXPECT_THAT(somePage(), HasSubstr("<path class=\"dropped\""));
}

// --- What is wrong with a recording ---------------------------------------------------------------------

TEST(Page, TellsOfDamageWithItsLines) {
    std::string recording = deliveryRound().recording();
    recording.insert(recording.find('\n') + 1, "{\"type\":\"rea\n");
    const std::string page = pageOf(driveOf(recording));
    EXPECT_EQ(stated(page, "count-damage"), "1");
    EXPECT_THAT(page, HasSubstr("<li>Line 2: "));
}

TEST(Page, CountsAllDamagedLinesHoweverFewItNames) {
    std::string damage;
    for (int i = 0; i < 2500; ++i)
        damage += "rubbish\n";
    std::string recording = deliveryRound().recording();
    recording.insert(recording.find('\n') + 1, damage);
    const std::string page = pageOf(driveOf(recording));
    EXPECT_EQ(stated(page, "count-damage"), "2500");
    EXPECT_THAT(page, HasSubstr("<p>2500 lines of the recording could not be read"));
    EXPECT_THAT(page, HasSubstr("<li>and 2450 more</li>"));
}

TEST(Page, TellsWhereTheRecordingWasCutOff) {
    const std::string recording = deliveryRound().recording();
    const std::string page = pageOf(driveOf(recording.substr(0, recording.size() / 2)));
    EXPECT_THAT(page, HasSubstr("The recording has no end"));
    EXPECT_THAT(somePage(), Not(HasSubstr("The recording has no end")));
}

TEST(Page, OfARecordingWithoutAFixSaysSo) {
    MadeDrive made({50000000, 8000000});
    made.setSky(false);
    made.stand(30);
    EXPECT_THAT(pageOf(driveOf(made.recording())), HasSubstr("The recording has no fix"));
}

TEST(Page, OfAStartAloneIsAPage) {
    const std::string recording = deliveryRound().recording();
    const std::string page = pageOf(driveOf(recording.substr(0, recording.find('\n') + 1)));
    EXPECT_THAT(page, HasSubstr("there is nothing to draw"));
    EXPECT_EQ(stated(page, "count-samples"), "0");
}

TEST(Page, HoldsTheDateLineAndThePole) {
    for (const MadeDrive& made : {overTheDateLine(), overThePole()}) {
        const std::string page = pageOf(driveOf(made.recording()));
        EXPECT_THAT(bodyOf(page), Not(HasSubstr("?"))); // of a number that is none
    }
    EXPECT_THAT(pageOf(driveOf(overTheDateLine().recording())), HasSubstr(">date line</text>"));
}

// --- What it carries ------------------------------------------------------------------------------------

TEST(Page, NeedsNothingButItself) {
    for (const char* wish : {"http://", "https://", " src=", "@import", "url(", "<link", "<iframe"})
        EXPECT_THAT(somePage(), Not(HasSubstr(wish)));
    EXPECT_THAT(somePage(), HasSubstr("content=\"default-src 'none'; style-src 'sha256-"));
}

TEST(Page, HasNoStyleAndNoScriptWithinItsElements) {
    EXPECT_THAT(somePage(), Not(HasSubstr(" style=")));
    EXPECT_THAT(somePage(), Not(HasSubstr(" onclick=")));
    EXPECT_EQ(occurrences(somePage(), "<style>"), 1u);
    EXPECT_EQ(occurrences(somePage(), "<script>"), 1u);
}

TEST(Page, TakesNamesAsText) {
    MadeDrive made({50000000, 8000000});
    made.addGeofence("<script>alert(1)</script>\" onload=\"x", 200, 0, 2000, 2000, 1500);
    made.driveTo(900, 0, 50);
    const Drive drive = driveOf(made.recording(), "</title><script>.jsonl");
    EXPECT_EQ(occurrences(pageOf(drive), "<script>"), 1u); // its own
    EXPECT_THAT(pageOf(drive), Not(HasSubstr("\" onload=\"")));
    EXPECT_THAT(pictureOf(drive), Not(HasSubstr("<script>")));
}

TEST(Page, IsTheSameForTheSameRecording) { EXPECT_EQ(pageOf(someDrive()), somePage()); }

/// The same again and again, one behind the other.
Drive repeated(const Drive& drive, int times) {
    Drive day = drive;
    for (int i = 1; i < times; ++i) {
        const double later = i * drive.durationS;
        for (Sample sample : drive.samples) {
            sample.timeS += later;
            sample.readings.fixTickS += static_cast<std::uint32_t>(later);
            sample.tickS += static_cast<std::uint32_t>(later);
            day.samples.push_back(sample);
        }
        for (Event event : drive.events) {
            event.timeS += later;
            event.sample = day.samples.size() - 1;
            day.events.push_back(event);
        }
    }
    day.durationS = times * drive.durationS;
    return day;
}

TEST(Page, OfADayIsUnderFiveMegabytes) {
    const Drive day = repeated(someDrive(), 57);
    ASSERT_GT(day.samples.size(), 86400u);
    const std::string page = htmlPage({day, replay(someDrive()), {}});
    EXPECT_LT(page.size(), 5u * 1024 * 1024);
    EXPECT_EQ(stated(page, "count-events"), std::to_string(day.events.size()));
}

TEST(Page, IsNotMadeLargeByASpeedThatWavers) {
    Drive drive = someDrive();
    std::uint32_t fast = 0;
    for (Sample& sample : drive.samples)
        if (sample.readings.fix)
            sample.readings.fix->speedMmPerS = 10000 + (++fast % 2) * 8000;
    EXPECT_LT(pageOf(drive).size(), somePage().size() * 5 / 4);
}

/// So many events of a geofence on whose border the vehicle moves, and as many gaps.
Drive restless(int times) {
    Drive drive = someDrive();
    for (int i = 0; i < times; ++i) {
        const double timeS = i * drive.durationS / times;
        const auto sample =
            static_cast<std::size_t>(i) * drive.samples.size() / static_cast<std::size_t>(times);
        telemetry::GeofenceCrossed crossed{i % 2 == 0, 0, "Depot",
                                           drive.samples[sample].readings.fix->position};
        drive.events.push_back({timeS, 0, crossed, sample});
        drive.stretches.push_back({Stretch::Kind::NoFix, timeS, timeS + 0.01, "no fix"});
    }
    return drive;
}

TEST(Page, OfTensOfThousandsOfCrossingsAndGapsIsUnderFiveMegabytes) {
    const Drive drive = restless(40000);
    const std::string page = htmlPage({drive, replay(someDrive()), {}});
    EXPECT_LT(page.size(), 5u * 1024 * 1024);
    EXPECT_EQ(stated(page, "count-events"), std::to_string(drive.events.size()));
    EXPECT_THAT(page, HasSubstr("The table has the first "));
}

// --- The picture ----------------------------------------------------------------------------------------

TEST(Picture, IsWellFormed) {
    const std::string picture = pictureOf(someDrive());
    EXPECT_THAT(leftOpen(picture), ::testing::IsEmpty());
    EXPECT_THAT(picture, ::testing::StartsWith("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"1000\""));
}

TEST(Picture, HasScaleNorthAndTheColoursOfSpeed) {
    const std::string picture = pictureOf(someDrive());
    EXPECT_THAT(picture, HasSubstr(">1 km</text>"));
    EXPECT_THAT(picture, HasSubstr(">N</text>"));
    EXPECT_THAT(picture, HasSubstr(" km/h</text>"));
}

TEST(Page, ClosesWhatItOpens) {
    std::string body = bodyOf(somePage());
    const std::size_t input = body.find("<input"); // which has no end
    body.erase(input, body.find('>', input) + 1 - input);
    EXPECT_THAT(leftOpen(body), ::testing::ElementsAre("body"));
}

} // namespace
