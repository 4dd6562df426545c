// gpsd's port in the hands of another server, and what such a server may send.

#include <gps.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "FaultOnUnit.h"
#include "GpsRecord.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr int kRoom = static_cast<int>(std::extent_v<decltype(gps_data_t::skyview)>); // of this libgps
constexpr double kMostReportsASecond = 20;
constexpr double kWorkersCycle =
    1.25;                          // a second and its sleep: by so much a reading may be older than the other
constexpr double kReportsKib = 20; // some 30 reports, or a session's record; and the probe's own events
constexpr double kBacklogSeconds = 25; // what the buffers between hold, 19.9 reports a second

class HeldPort : public FaultOnUnit {
public:
    // --- Judgements: of the readings four seconds after the start (the server's reports
    // are good at first), and of those at the end of the server's time

    void seesNoFix() const {
        EXPECT_EQ(during().text("fixTick"), "0");
        EXPECT_EQ(during().text("valid"), "0");
        EXPECT_THAT(unit.lines("event", "position"), IsEmpty());
    }
    void waitsInVain() const {
        seesNoFix();
        EXPECT_EQ(restartsMeanwhile(), 0u);
        EXPECT_THAT(unit.logged(3, cyclesWithoutData(3)), SizeIs(1));
    }
    void givesUpAfterElevenWaits() const {
        seesNoFix();
        EXPECT_EQ(restartsMeanwhile(), 1u);
        EXPECT_THAT(unit.logged(3, kCloses), SizeIs(1));
        EXPECT_EQ(unit.logged(3, cyclesWithoutData(11)).size(), restarts());
    }
    void restartsAgainAndAgain() const {
        seesNoFix();
        EXPECT_GE(restartsMeanwhile(), 1u);
        EXPECT_THAT(unit.logged(3, kCloses), IsEmpty());
    }
    void restartsAndKeepsTheOldFix() const {
        EXPECT_GE(restartsMeanwhile(), 1u);
        expectPlace(during(), "10.500000", "20.250000");
        EXPECT_THAT(unit.logged(3, kCloses), IsEmpty());
    }
    /// The old values come again and again with what is no report.
    void keepsTheOldFixFresh() const {
        EXPECT_EQ(restartsMeanwhile(), 0u);
        expectPlace(during(), "10.500000", "20.250000");
        EXPECT_GT(during().number("fixTick"), before().number("fixTick") + 10);
        EXPECT_LT(during().number("time"), before().number("time") + 3);
    }
    /// A place that is no number, or none at all, is too old after ten seconds; then it is no fix, and
    /// nothing takes the old one's place.
    void losesTheFix() const {
        EXPECT_EQ(restartsMeanwhile(), 0u);
        expectPlace(during(), "10.500000", "20.250000");
        EXPECT_LT(during().number("fixTick"), during().t - 1);
        EXPECT_GE(eventsWith("availability", "available", "0"), 2u) << "said again in each cycle";
    }
    /// One coordinate alone is no place in newer generations; in older ones the other one is 0.
    void takesNoHalfOfAPlace() const {
        if (during().text("lat") == "10.500000")
            return losesTheFix();
        EXPECT_TRUE(during().number("lat") == 0 || during().number("lon") == 0);
    }
    void takesTheLimitsOfTheTypes() const {
        expectPlace(during(), "-2147.483648", "2147.483647");
        EXPECT_EQ(during().text("alt"), "2147483.647");
        EXPECT_EQ(during().text("speed"), "4294967.295");
        EXPECT_EQ(during().text("course"), "4294967.295");
        EXPECT_EQ(during().text("error"), "4294967295");
    }
    void takesTheFixOfALongLine() const {
        EXPECT_EQ(restartsMeanwhile(), 0u);
        EXPECT_EQ(during().text("lat"), "11.500000");
    }
    void seesSatellites(int sent) const {
        const bool seen = sent <= kRoom && (sent > 0 || !kTellsDilutionsFromASky);
        EXPECT_EQ(during().text("satellites"), std::to_string(seen ? sent : 0));
        EXPECT_EQ(during().text("snr"), seen && sent > 0 ? "38" : "0");
        EXPECT_EQ(during().text("lat"), "11.500000");
        EXPECT_EQ(restartsMeanwhile(), 0u);
    }
    void seesNoSatellite() const { seesSatellites(0); }
    void seesOneSatellite() const { seesSatellites(1); }
    void sees140Satellites() const { seesSatellites(140); }
    void seesOrRefuses190Satellites() const { seesSatellites(190); }
    void sees8Satellites() const { seesSatellites(8); }
    /// The reader pauses 50 ms behind each report, so it takes 20 a second at most, and loses none: what it
    /// tells grows old. The probe's pauses of 50 ms were as late as the reader's; two of them behind a report
    /// would make it half as many.
    void fallsBehind() const {
        EXPECT_EQ(restartsMeanwhile(), 0u);
        const double seconds = during().t - before().t;
        EXPECT_LE(reports(), kMostReportsASecond * (seconds + kWorkersCycle));
        EXPECT_GT(reports(), 0.75 * pausesASecond() * (seconds - kWorkersCycle));
        faultFigure(row, "reports_a_second", std::round(10 * reports() / seconds) / 10);
        EXPECT_GT(during().t - during().number("time"), 3);
        EXPECT_GT(during().number("fixTick"), during().t - 3) << "old, but accepted";
    }
    void takesTheTimeAsItIs() const {
        EXPECT_EQ(restartsMeanwhile(), 0u);
        EXPECT_EQ(during().text("valid"), "1");
        EXPECT_GE(std::fabs(during().t - during().number("time")), 30 * 86400) << "a time of the script's";
        EXPECT_EQ(before().text("deviation"), "1") << "of the good reports";
        EXPECT_EQ(during().text("deviation"), "1");
        EXPECT_NEAR(during().number("delta"), 0, 5) << "more than 30 days are not believed";
    }

    std::string row; ///< its id

protected:
    /// An epoch is two reports; the one that was read half when the readings were taken is none.
    double reports() const {
        return 2 * std::round(1e6 * (during().number("lat") - before().number("lat"))) - 1;
    }
    double pausesASecond() const {
        return unit.line("ran").number("pauses") / unit.line("ran").number("seconds");
    }
    /// What is not read stays in the connection: a second of what floods is more than this.
    void expectNoGrowthMeanwhile() const {
        const auto steps = unit.lines("resources");
        ASSERT_THAT(steps, SizeIs(4));
        const double grown = steps[2].number("heap_kib") - steps[1].number("heap_kib");
        EXPECT_LT(grown, kReportsKib);
        faultFigure(row, "grown_meanwhile_kib", std::max(0.0, grown));
    }

    /// Returns when the server listens (2947 is 0x0B83), so that no gpsd can be earlier.
    static std::string hold(const std::string& script) {
        return "shell (exec " SCRIPTED_SERVER " " + script +
               ") >/dev/null 2>&1 </dev/null & echo $! >/run/background; "
               "until grep -q ':0B83 ' /proc/net/tcp /proc/net/tcp6; do sleep 0.05; done";
    }

    /// Judged before the server ends: the real gpsd finds the port free at the next restart.
    void serveBeside(const std::string& script, double seconds) {
        unit.receiver("--ttff 2 --burst");
        unit.probe({"construct", "resources", hold(script), "initialize", "start", "run 4", "resources",
                    "readings", "run-counting " + std::to_string(seconds), "readings", "resources",
                    endBackground(), "until-reading lat>47 200", "stop", "finalize", "forget", "resources",
                    "destroy"});
        EXPECT_EQ(unit.status(), 0) << "the real gpsd did not come back";
    }

    ProbeLine before() const { return unit.lines("readings").at(0); }
    ProbeLine during() const { return unit.lines("readings").at(1); }
    std::size_t restarts() const { return unit.logged(3, kWatchdog).size(); }
    std::size_t restartsMeanwhile() const {
        const auto all = unit.logged(3, kWatchdog);
        return static_cast<std::size_t>(
            std::count_if(all.begin(), all.end(), [&](const LogLine& line) { return line.t < during().t; }));
    }
    std::size_t eventsWith(const char* name, const char* field, const char* value) const {
        const auto all = unit.lines("event", name);
        return static_cast<std::size_t>(std::count_if(
            all.begin(), all.end(), [&](const ProbeLine& line) { return line.text(field) == value; }));
    }
    static void expectPlace(const ProbeLine& readings, const char* latitude, const char* longitude) {
        EXPECT_EQ(readings.text("lat"), latitude);
        EXPECT_EQ(readings.text("lon"), longitude);
    }
};

constexpr double kARestart = HeldPort::kCountsToRestart + HeldPort::kRestartSeconds;
constexpr double kTwoRestarts = 2 * kARestart; // the server may end within one of them
constexpr double kBacklogFirst = kBacklogSeconds + kARestart;

struct Held {
    const char* script;
    const char* test;
    void (HeldPort::*judge)() const;
    double recovery = kARestart; // the reads fail as soon as the server has gone
    double seconds = 14;         // until it is judged
};

const Held kHeld[] = {
    {"silent", "SilentIsGivenUpAfterElevenWaits", &HeldPort::givesUpAfterElevenWaits, kTwoRestarts, 60},
    {"never-accepts", "NeverAcceptedIsWaitedForInVain", &HeldPort::waitsInVain},
    {"closes-after-each-report", "ClosedAfterEachReportIsRestartedAgainAndAgain",
     &HeldPort::restartsAgainAndAgain, kTwoRestarts},
    {"drips", "DrippingAByteASecondIsRestartedAgainAndAgain", &HeldPort::restartsAgainAndAgain, kTwoRestarts},
    {"floods", "FloodingIsReadAtTheReadersOwnPace", &HeldPort::fallsBehind, kBacklogFirst},
    {"random-bytes", "SendingRandomBytesKeepsTheOldFixFresh", &HeldPort::keepsTheOldFixFresh},
    {"half-lines", "StoppingInALineIsRestarted", &HeldPort::restartsAndKeepsTheOldFix, kTwoRestarts},
    {"lines-of-19-kb", "SendingLinesOf19KbIsUnderstood", &HeldPort::takesTheFixOfALongLine},
    {"lines-of-1-mb", "SendingLinesOf1MbIsRestarted", &HeldPort::restartsAndKeepsTheOldFix, kTwoRestarts},
    {"nan", "SendingNanHasNoFix", &HeldPort::losesTheFix},
    {"infinity", "SendingInfinityHasNoFix", &HeldPort::losesTheFix},
    {"1e308", "Sending1e308GivesTheLimitsOfTheTypes", &HeldPort::takesTheLimitsOfTheTypes},
    {"strings", "SendingStringsForNumbersHasNoFix", &HeldPort::losesTheFix},
    {"missing-fields", "LeavingFieldsOutHasNoFix", &HeldPort::losesTheFix},
    {"one-coordinate", "SendingALatitudeAloneGivesNoHalfOfAPlace", &HeldPort::takesNoHalfOfAPlace},
    {"the-other-coordinate", "SendingALongitudeAloneGivesNoHalfOfAPlace", &HeldPort::takesNoHalfOfAPlace},
    {"0-satellites", "SeeingNoSatelliteHasAFixAllTheSame", &HeldPort::seesNoSatellite},
    {"1-satellite", "SeeingOneSatelliteIsTakenAsItIs", &HeldPort::seesOneSatellite},
    {"140-satellites", "Seeing140SatellitesIsTakenAsItIs", &HeldPort::sees140Satellites},
    {"more-satellites", "SeeingMoreSatellitesThanThereIsRoomForIsRefused",
     &HeldPort::seesOrRefuses190Satellites},
    {"negative-prns", "NumberingSatellitesBelowZeroIsTakenAsItIs", &HeldPort::sees8Satellites},
    {"20-hz", "ReportingAt20HzIsReadLaterAndLater", &HeldPort::fallsBehind, kBacklogFirst},
    {"100-hz", "ReportingAt100HzIsReadLaterAndLater", &HeldPort::fallsBehind, kBacklogFirst},
    {"time-jumps", "WithATimeThatJumpsIsTakenAsItIs", &HeldPort::takesTheTimeAsItIs},
};

/// A row: the service with the port held, judged, and with the real gpsd back.
class HeldPortRow : public HeldPort {
public:
    explicit HeldPortRow(const Held& held) : held_(held) {}

    void TestBody() override {
        row = std::string("server.") + held_.script;
        serveBeside(held_.script, held_.seconds);
        ASSERT_THAT(unit.lines("readings"), SizeIs(2));
        (this->*held_.judge)();
        expectRecovery(row, secondsToSee("lat>47"), held_.recovery);
        expectNoGrowthMeanwhile();
        expectNothingLeft(row);
        expectAllSucceeded();
    }

private:
    const Held& held_;
};

[[maybe_unused]] const bool kRegistered = [] {
    for (const Held& held : kHeld)
        testing::RegisterTest("HeldPort", held.test, nullptr, nullptr, __FILE__, __LINE__,
                              [&held]() -> HeldPort* { return new HeldPortRow(held); });
    return true;
}();

} // namespace

TEST_F(HeldPort, OfALocalhostThatDoesNotResolveIsLookedForAgainAndAgain) {
    const std::filesystem::path etc = unit.dataFolder() + "/etc";
    std::filesystem::create_directory(etc);
    std::ofstream(etc / "hosts") << "127.0.0.1 elsewhere\n";
    std::ofstream(etc / "nsswitch.conf") << "hosts: files\n";
    unit.option("--etc=" + etc.string()).receiver("--ttff 2 --burst");
    unit.probe({"construct", "resources", "initialize", "start", "run 30", "readings",
                "shell echo 127.0.0.1 localhost >/data/etc/hosts", "until-reading lat>47 60", "stop",
                "finalize", "forget", "resources", "destroy"});
    EXPECT_EQ(unit.line("readings").text("fixTick"), "0");
    EXPECT_GE(restarts(), 2u);
    EXPECT_THAT(unit.loggedLike(kNotConnected), SizeIs(restarts()));
    expectRecovery("server.no-localhost", secondsToSee("lat>47"), kTwoRestarts);
    expectNothingLeft("server.no-localhost");
    expectAllSucceeded();
}
