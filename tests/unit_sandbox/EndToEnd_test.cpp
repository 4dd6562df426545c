// The service on the virtual unit: the library as it is, a real gpsd, the simulated receiver.

#include <gps.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <set>

#include "EndToEnd.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr char kWatchdog[] = "GPSD does not provide any data - restarting GPSD";
constexpr char kWorkerStopped[] = "GPS worker stopped.";
constexpr char kFirstFix[] = "until position 1 90"; // eleven fixes, in fact

class Service : public EndToEndTest {};

} // namespace

// --- Fix to callback ------------------------------------------------------------------------------------

TEST_F(Service, BringsAFixFromTheReceiverToTheCallbacks) {
    unit.receiver("--ttff 2 --start 47.2852,8.5653,450");
    serveWith({"params trackingEnabled=1 trackingPeriod=10"},
              {"until availability,available=1 1 60", kFirstFix, "until tracking,valid=1 2 60", "readings"});
    const ProbeLine readings = unit.line("readings");
    EXPECT_EQ(readings.text("available"), "1");
    EXPECT_EQ(readings.text("antenna"), "1");
    EXPECT_NEAR(readings.number("lat"), 47.2852, 2e-6);
    EXPECT_NEAR(readings.number("lon"), 8.5653, 2e-6);
    EXPECT_NEAR(readings.number("alt"), 450, 1);
    EXPECT_NEAR(readings.number("time"), readings.t, 5);
    EXPECT_GT(readings.number("satellites"), 10);
    EXPECT_GT(readings.number("snr"), 25);
    EXPECT_NEAR(readings.number("delta"), 0, 5);
}

TEST_F(Service, SendsTrackingReportsAtMultiplesOfThePeriod) {
    unit.receiver("--ttff 2");
    serveWith({"params trackingEnabled=1 trackingPeriod=20"}, {kFirstFix, "until tracking,valid=1 3 100"});
    for (const ProbeLine& report : unit.lines("event", "tracking")) {
        const double late = std::fmod(report.t + 1, 20); // from a second before the boundary on
        EXPECT_LT(late, 4) << report.t;
    }
}

TEST_F(Service, CallsOnPositionUpdateWithEveryEleventhFix) {
    unit.receiver("--ttff 2");
    serve({kFirstFix, "until position 2 60"});
    const auto updates = unit.lines("event", "position");
    ASSERT_GE(updates.size(), 3u);
    for (std::size_t i = 1; i < updates.size(); ++i)
        EXPECT_NEAR(updates[i].t - updates[i - 1].t, 11, 1); // whole seconds, looked at four times in each
}

TEST_F(Service, WorksForAnApplicationWithoutACallback) {
    unit.receiver("--ttff 2");
    unit.probe({"construct-without-callback", "geofence here 47.2852 8.5653 2000 2000", "initialize", "start",
                "until-reading available=1 60", "until-reading satellites>4 60", "stop", "finalize",
                "destroy"});
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.lines("event"), IsEmpty());
}

// --- Geofences ------------------------------------------------------------------------------------------

namespace {

constexpr double kMetresPerDegree = 111195; // of latitude
constexpr double kSpeed = 20;               // m/s, due north
constexpr double kFirstBound = 47.004;      // of two areas of 0.004 degrees, 0.008 apart
constexpr double kMargin = 0.0005;

/// Behind the bound, by no more than three seconds' way.
void expectJustBehind(double latitude, double bound) {
    EXPECT_GE(latitude, bound);
    EXPECT_LE(latitude, bound + 3 * kSpeed / kMetresPerDegree);
}

} // namespace

TEST_F(Service, EntersAndLeavesGeofencesInTheirOrderAndNearTheirBounds) {
    unit.receiver("--ttff 2 --start 47,8,400 --waypoints '47,8,20;47.018,8,20' --hold");
    serveWith({"geofence a 47.006 8 4000 4000 500", "geofence b 47.014 8 4000 4000 500"},
              {kFirstFix, "run 2", control("go"), "until geofence-entered,name=a 1 60", "readings",
               "until geofence-left,name=a 1 60", "readings", "until geofence-entered,name=b 1 60",
               "readings", "until geofence-left,name=b 1 60", "readings"});
    // Outside at first is an event of its own.
    EXPECT_THAT(unit.sequence("geofence"),
                ElementsAre("left:a", "left:b", "entered:a", "left:a", "entered:b", "left:b"));
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(4));
    expectJustBehind(readings[0].number("lat"), kFirstBound);
    expectJustBehind(readings[1].number("lat"), kFirstBound + 0.004 + kMargin);
    expectJustBehind(readings[2].number("lat"), kFirstBound + 0.008);
    expectJustBehind(readings[3].number("lat"), kFirstBound + 0.012 + kMargin);
}

// --- Odometer -------------------------------------------------------------------------------------------

namespace {

// 180 cycles of warm-up lie within 17 times 11 fixes; another 66 bring the smoothed position to the end.
const std::vector<std::string> kWarmUp = {kFirstFix, "until position 16 400"};
const std::vector<std::string> kStandAtTheEnd = {"until-state arrived=1 400", "forget",
                                                 "until position 6 200", "readings"};

/// CFG-GNSS: GPS alone.
constexpr char kGpsAlone[] = R"(shell echo -e "\xb5\x62\x06\x3e\x3c\x00\x00\x20\x20\x07\x00\x08\x10\x00)"
                             R"(\x01\x00\x01\x01\x01\x01\x03\x00\x01\x00\x01\x01\x02\x08\x08\x00\x00)"
                             R"(\x00\x01\x01\x03\x00\x10\x00\x00\x00\x01\x01\x04\x00\x08\x00\x00\x00)"
                             R"(\x01\x03\x05\x03\x03\x00\x00\x00\x01\x05\x06\x08\x0e\x00\x00\x00\x01)"
                             R"(\x01\x52\xf0" > /dev/ttymxc1)";

/// Due north from 1 N 8 E.
double endOf(double metres) { return 1 + metres / kMetresPerDegree; }

std::string route(double metres, double speed) {
    const std::string pace = ",8," + std::to_string(speed);
    return "--start 1,8,400 --waypoints '1" + pace + ";" + std::to_string(endOf(metres)) + pace + "'";
}

} // namespace

// What is left at the end, less than 15 m, is not counted yet. Each step is rounded to a metre, which
// averages out where the cycles come evenly.
TEST_F(Service, CountsTheRoutesLengthWithinAPercentAfterTheWarmUp) {
    unit.receiver("--ttff 2 --hold " + route(6000, 20));
    serve(concat(concat(kWarmUp, {"readings", control("go")}), kStandAtTheEnd));
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(2));
    EXPECT_EQ(readings[0].number("odometer"), 0);
    EXPECT_NEAR(std::stod(unit.receiverState()["travelled_m"]), 6000, 1);
    EXPECT_NEAR(readings[1].number("odometer"), 6000, 60);
}

// Steps of 17 m lie within twice the error that gpsd estimates for fixes of GPS without corrections.
TEST_F(Service, DropsTheStepsOfADriveWithoutCorrections) {
    unit.speed(2.5).receiver("--ttff 2 --hold --quality 1 " + route(2000, 17));
    serveWith({kGpsAlone, "until-state gnss=GPS+SBAS 5"},
              concat(concat(kWarmUp, {"readings", control("go")}), kStandAtTheEnd));
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(2));
    EXPECT_GT(2 * readings[0].number("error"), 18);
    EXPECT_NEAR(readings[1].number("lat"), endOf(2000), 1e-5);
    EXPECT_LT(readings[1].number("odometer"), 400);
}

TEST_F(Service, KeepsTheOdometerThatTheApplicationSets) {
    unit.receiver("--ttff 2");
    serve({"params odometerValue=123456 setOdometer=1", "params logInterval=5", "run 12", "readings"});
    EXPECT_EQ(unit.line("readings").text("odometer"), "123456");
    EXPECT_THAT(unit.logged(6, "Set odometer from 0 to 123456"), SizeIs(1));
    EXPECT_THAT(unit.loggedLike(" odometer=123456"), Not(IsEmpty()));
}

// --- Antenna --------------------------------------------------------------------------------------------

TEST_F(Service, ReportsAnAntennaThatIsLostAndBack) {
    unit.receiver("--ttff 2").option("--antenna=1");
    serve({kFirstFix, "write /run/unit/antenna 3", "until antenna,state=3 1 20",
           "until-reading available=0 20", "readings", "write /run/unit/antenna 1",
           "until-reading antenna=1 20", "until availability,available=1 1 20",
           "until-reading available=1 20"});
    const ProbeLine lost = unit.line("readings");
    EXPECT_EQ(lost.text("antenna"), "3");
    EXPECT_EQ(lost.text("valid"), "1") << "the last accepted fix stays";
}

TEST_F(Service, TakesNoFixWhileTheAntennaCanNotBeRead) {
    unit.receiver("--ttff 2").option("--antenna=1");
    serve({kFirstFix, "write /run/unit/antenna broken", "run 3", "readings", "run 5", "readings",
           "write /run/unit/antenna 1", "forget", "until position 1 30"});
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(2));
    EXPECT_EQ(readings[0].text("fixTick"), readings[1].text("fixTick"));
    EXPECT_THAT(unit.lines("event", "antenna"), SizeIs(1)) << "no answer is no other state";
}

TEST_F(Service, HandsTheCodeOfAnUnreadableAntennaOn) {
    unit.receiver("--ttff 2").option("--antenna=1");
    unit.probe({"driver", "poll 8", "write /run/unit/antenna broken", "poll 3", "write /run/unit/antenna 2",
                "poll 3", "destroy-driver"});
    std::map<std::string, std::set<std::string>> validity;
    for (const ProbeLine& answer : unit.lines("fix"))
        validity[answer.text("rc")].insert(answer.text("valid"));
    EXPECT_THAT(validity["0x00000000"], ElementsAre("0", "1")) << "state 2 is an answer, but not in order";
    EXPECT_THAT(validity["0x16000002"], ElementsAre("0"));
}

// --- Loss and recovery ----------------------------------------------------------------------------------

TEST_F(Service, RepeatsTheLossOfAFixAndGoesOnWhenItIsFound) {
    unit.receiver("--ttff 2");
    serve({kFirstFix, control("nofix"), "until availability,available=0 3 60", "readings", "run 5",
           "readings", control("clear"), "run 5", "forget", "until position 1 60", "readings"});
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(3));
    EXPECT_EQ(readings[0].text("fixTick"), readings[1].text("fixTick"));
    EXPECT_GT(readings[2].number("fixTick"), readings[1].number("fixTick") + 5);
    EXPECT_EQ(readings[1].text("available"), "1") << "it follows only fixes with a PDOP";
    EXPECT_EQ(eventsBetween("availability", readings[2].t - 9, readings[2].t), 0u);
}

TEST_F(Service, BringsAKilledGpsdBack) {
    unit.receiver("--ttff 2");
    serve({kFirstFix, "shell pidof gpsd; kill -9 $(pidof gpsd)", "until-state resets=2 60", "forget",
           "until position 2 90", "readings", "shell pidof gpsd"});
    EXPECT_THAT(unit.logged(3, kWatchdog), SizeIs(1));
    ASSERT_THAT(unit.output(), SizeIs(2));
    EXPECT_NE(unit.output()[0], unit.output()[1]);
    EXPECT_NEAR(unit.line("readings").number("time"), unit.line("readings").t, 5);
}

TEST_F(Service, BringsAHungGpsdBack) {
    unit.receiver("--ttff 2");
    serve({kFirstFix, "shell kill -STOP $(pidof gpsd)", "until-state resets=2 120", "forget",
           "until position 2 90", "readings"});
    EXPECT_THAT(unit.logged(3, kWatchdog), SizeIs(1));
    EXPECT_THAT(unit.logged(3, "11 cycles without any data reception have been detected"), SizeIs(1));
    EXPECT_THAT(unit.logged(3, "Close GPS socket"), SizeIs(1));
    EXPECT_NEAR(unit.line("readings").number("time"), unit.line("readings").t, 5);
}

// --- Life cycle -----------------------------------------------------------------------------------------

TEST_F(Service, StartsAgainAfterStopAndAfterFinalize) {
    unit.receiver("--ttff 2");
    serve({kFirstFix, "stop", "shell pidof gpsd >/dev/null && echo up", "run 2", "start",
           "until position 1 60", "stop", "finalize", "shell pidof gpsd >/dev/null || echo down",
           "initialize", "start", "until position 1 60"});
    EXPECT_THAT(unit.output(), ElementsAre("up", "down"));
    const auto stops = unit.lines("end", "stop");
    ASSERT_THAT(stops, SizeIs(3));
    for (std::size_t i = 0; i + 1 < stops.size(); ++i)
        EXPECT_EQ(eventsBetween("position", stops[i].t, unit.lines("begin", "start")[i + 1].t), 0u);
}

TEST_F(Service, RefusesToStartBeforeItIsInitialized) {
    unit.probe({"construct", "start", "initialize", "start", "stop", "finalize", "start", "destroy"});
    const auto starts = unit.lines("end", "start");
    ASSERT_THAT(starts, SizeIs(3));
    EXPECT_EQ(starts[0].text("rc"), "0x17000002");
    EXPECT_EQ(starts[1].text("rc"), "0x00000000");
    EXPECT_EQ(starts[2].text("rc"), "0x17000002");
}

TEST_F(Service, EndsTheWorkerWhenTheApplicationDisablesIt) {
    unit.receiver("--ttff 2");
    serve({kFirstFix, "params enabled=0", "run 3", "readings", "run 13", "readings", "params enabled=1",
           "start", "until position 1 60"});
    const auto readings = unit.lines("readings");
    ASSERT_THAT(readings, SizeIs(2));
    EXPECT_EQ(readings[0].text("fixTick"), readings[1].text("fixTick"));
    EXPECT_EQ(eventsBetween("position", readings[0].t, readings[1].t), 0u);
    EXPECT_THAT(unit.logged(6, kWorkerStopped), SizeIs(2));
}

TEST_F(Service, IsNotDisturbedByTheApplicationsTimer) {
    unit.receiver("--ttff 2");
    serve({kFirstFix, "timer 10", "until position 3 100", "timer 0"});
    EXPECT_THAT(unit.loggedLike("cycles without any data reception"), IsEmpty());
    EXPECT_THAT(unit.logged(3, kWatchdog), IsEmpty());
}

TEST(Units, RunSideBySide) {
    const auto drive = [](const std::string& place) {
        VirtualUnitRun unit;
        unit.receiver("--ttff 2 --start " + place);
        unit.probe(
            {"construct", "initialize", "start", kFirstFix, "readings", "stop", "finalize", "destroy"});
        return unit.line("readings").text("lat");
    };
    const std::vector<std::string> latitudes = {"10.000000", "20.000000", "30.000000"};
    std::vector<std::future<std::string>> units;
    for (const std::string& latitude : latitudes)
        units.push_back(std::async(std::launch::async, drive, latitude + ",8,100"));
    for (std::size_t i = 0; i < units.size(); ++i)
        EXPECT_NEAR(std::atof(units[i].get().c_str()), std::atof(latitudes[i].c_str()), 2e-6);
}

// --- Fixes, one by one ----------------------------------------------------------------------------------

namespace {

struct Place {
    double latitude;
    double longitude;
};
using PlacesBySecond = std::map<long, std::vector<Place>>;

/// The library truncates to a millionth of a degree.
bool isSame(const Place& a, const Place& b) {
    return std::fabs(a.latitude - b.latitude) < 1.1e-6 && std::fabs(a.longitude - b.longitude) < 1.1e-6;
}

std::string jsonField(const std::string& report, const std::string& name) {
    const std::size_t at = report.find("\"" + name + "\":");
    const std::size_t begin = at + name.size() + 3;
    return at == std::string::npos ? "" : report.substr(begin, report.find_first_of(",}", begin) - begin);
}

double numberIn(const std::string& report, const std::string& name) {
    return std::atof(jsonField(report, name).c_str());
}

long secondOf(const std::string& quoted) {
    tm utc = {};
    return strptime(quoted.c_str(), "\"%Y-%m-%dT%H:%M:%S", &utc) == nullptr ? -1 : timegm(&utc);
}

constexpr int kQuiet = 9; // the captures have no longer pause

// What gpsd sends for each epoch of the receiver: one TPV, and a SKY whenever it has heard of satellites. The
// numbers are those of gpsd 3.22, 3.25 and 3.27.5; client and daemon are of one generation.
constexpr int kReportsPerEpoch = GPSD_API_MAJOR_VERSION < 14 ? 2 : GPSD_API_MAJOR_VERSION < 15 ? 3 : 4;

class Fixes : public EndToEndTest {
protected:
    /// Drives or plays what `receiver` holds back, and notes gpsd's reports beside the library's answers: for
    /// `seconds`, or until there is no news for `quiet` seconds.
    void play(const std::string& receiver, int seconds, int quiet) {
        playWith(receiver, {"poll " + std::to_string(seconds) + " " + std::to_string(quiet)});
    }

    /// The same, for as long as `steps` take.
    void playWith(const std::string& receiver, const Steps& steps) {
        unit.receiver("--ttff 2 --hold " + receiver);
        unit.probe(concat(concat({"driver", "shell " + recordReports, "poll 2", control("go")}, steps),
                          {"destroy-driver"}));
        EXPECT_EQ(unit.status(), 0);
    }

    /// Places that gpsd reported with a fix.
    PlacesBySecond reported() const {
        PlacesBySecond places;
        std::ifstream file(unit.dataFolder() + "/reports");
        for (std::string line; std::getline(file, line);)
            if (line.find("\"class\":\"TPV\"") != std::string::npos && numberIn(line, "mode") >= 2)
                places[secondOf(jsonField(line, "time"))].push_back(
                    {numberIn(line, "lat"), numberIn(line, "lon")});
        return places;
    }

    /// How many of gpsd's reports came for each fix since it has configured the receiver; 0 if it never has.
    /// It turns the NMEA sentences off last, and until then makes reports of both kinds of messages.
    double reportsPerEpoch() const {
        const auto configured = unit.receiverLog("NMEA-GBS every 0");
        if (configured.empty())
            return 0;
        const double since = configured.back().t + 2; // after what was on its way then
        std::ifstream file(unit.dataFolder() + "/reports");
        int fixes = 0;
        int reports = 0;
        for (std::string line; std::getline(file, line);) {
            const std::string kind = jsonField(line, "class");
            const bool isFix = kind == "\"TPV\"";
            if (fixes == 0 && !(isFix && static_cast<double>(secondOf(jsonField(line, "time"))) >= since))
                continue;
            fixes += isFix ? 1 : 0;
            reports += isFix || kind == "\"SKY\"" ? 1 : 0;
        }
        return fixes == 0 ? 0 : static_cast<double>(reports) / fixes;
    }

    /// Seconds for which the library delivered a place that gpsd reported for them.
    std::set<long> delivered(const PlacesBySecond& reports) const {
        std::set<long> seconds;
        for (const ProbeLine& answer : unit.lines("fix")) {
            const Place place = {answer.number("lat"), answer.number("lon")};
            const auto report = reports.find(std::lround(answer.number("time")));
            if (report != reports.end() &&
                std::any_of(report->second.begin(), report->second.end(),
                            [&](const Place& reportedPlace) { return isSame(place, reportedPlace); }))
                seconds.insert(report->first);
        }
        return seconds;
    }

    /// Each second that gpsd reported a fix for must have been delivered, but for the first two, which may
    /// lie before the first question, and the last one, for which there was no time left.
    void expectEachFixDelivered(std::size_t leastSeconds) const {
        const PlacesBySecond reports = reported();
        ASSERT_GE(reports.size(), leastSeconds) << "gpsd itself saw too little";
        const std::set<long> seconds = delivered(reports);
        const auto end = std::prev(reports.end());
        for (auto report = std::next(reports.begin(), 2); report != end; ++report)
            EXPECT_EQ(seconds.count(report->first), 1u) << report->first;
    }

    // Connects again when the library restarts gpsd. In one line: the probe takes its steps apart at blanks.
    const std::string recordReports =
        R"(bash -c 'while sleep 0.2; do exec 3<>/dev/tcp/localhost/2947 || continue;)"
        R"( echo "?WATCH={\"enable\":true,\"json\":true};" >&3; cat <&3 >>/data/reports; done' >/dev/null 2>&1 &)";
};

} // namespace

TEST_F(Fixes, ArriveEachWithTheReceiverAtOneHertz) {
    play("--waypoints '47,8,20;47.02,8,20' --start 47,8,400 --burst", 40, 40);
    expectEachFixDelivered(38); // of 42, less those by which gpsd recognises the receiver
}

// All of an epoch's reports together are more than the reader takes: it falls behind, but loses none. With
// four of them half a minute leaves 600 unread (30 s * (40 - 19.9)), of which half a minute at 1 Hz takes
// 480: so in the end the receiver is silent, and the reader has caught up 6 s later, or later on a busy host,
// where its pauses are longer. That is waited for; the last poll's limit ends a run that hangs.
TEST_F(Fixes, ArriveEachSecondWithTheReceiverAtTenHertz) {
    unit.speed(0.5);
    playWith("--waypoints '47,8,20;47.02,8,20' --start 47,8,400 --burst --hz 10",
             {"poll 30 30", control("hz 1"), "poll 30 30", control("silence"),
              "poll 300 " + std::to_string(kQuiet)});
    expectEachFixDelivered(50);
    EXPECT_EQ(std::lround(reportsPerEpoch()), kReportsPerEpoch);
}

TEST_F(Fixes, ArriveFromACaptureOfTheSimulator) {
    VirtualUnitRun drive;
    drive.receiver(
        "--ttff 2 --baud 115200 --waypoints '47,8,20;47.02,8,20' --start 47,8,400 --capture /data/capture");
    drive.probe({"run 45"});
    const std::string capture = drive.dataFolder() + "/capture";
    ASSERT_GT(std::filesystem::file_size(capture), 10000u);
    play("--recording " + capture, 200, kQuiet);
    expectEachFixDelivered(40); // of 45, less 2 to the fix and those by which gpsd recognises the receiver
}

// --- Captures of real receivers -------------------------------------------------------------------------

namespace {

struct Capture {
    const char* name;
    int seconds;
    std::size_t leastSecondsWithFix; // as the folder's own description counts them
};

void PrintTo(const Capture& capture, std::ostream* stream) { *stream << capture.name; }

class Recordings : public Fixes, public testing::WithParamInterface<Capture> {
protected:
    static std::string folder() {
        const char* const given = std::getenv("RUXOGPS_RECORDINGS");
        return given != nullptr ? given : RECORDINGS;
    }
};

} // namespace

TEST_P(Recordings, ArePlayedThroughWithEachFixDelivered) {
    const std::string file = folder() + "/" + GetParam().name;
    if (!std::filesystem::exists(file))
        GTEST_SKIP() << "no recordings here: " << file << " (set RUXOGPS_RECORDINGS to their folder)";
    play("--recording " + file, 3 * GetParam().seconds, kQuiet); // the reader may be behind
    expectEachFixDelivered(GetParam().leastSecondsWithFix);
}

INSTANTIATE_TEST_SUITE_P(Real, Recordings,
                         testing::Values(Capture{"ublox-8.log", 71, 66},
                                         Capture{"ublox-zed-f9p-nmea.log", 28, 24},
                                         Capture{"ublox-glo.log", 298, 280},
                                         Capture{"bundg_zeus_9.log", 147, 140}),
                         [](const auto& capture) {
                             std::string name = capture.param.name;
                             for (char& c : name)
                                 c = std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
                             return name;
                         });
