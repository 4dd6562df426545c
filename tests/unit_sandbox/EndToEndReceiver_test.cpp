// The receiver's configuration and its navigation database on the virtual unit: what the library did is read
// back from the receiver itself.

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

#include "EndToEnd.h"
#include "UbxFrame.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Le;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr char kAllAcknowledged[] = "UBXConfig: All commands have been acknowledged by positioning chip";
constexpr char kNoDumpFile[] = "Failed to open navigation database dump file";
constexpr char kEmptyDump[] = "Navigation database dump file is empty";
constexpr char kNotWritable[] = "Failed to open device for storing navigation database dump";
constexpr char kConfigured[] =
    "until-state antenna_flags=0x0001 10"; // the last command; the state follows each epoch

const std::vector<std::string> kDescriptions = {
    "UBXConfig: Setting baud rate to 115200", "UBXConfig: Setting NMEA version to 4.10 extended",
    "UBXConfig: Setting GNSS (GPS, Galileo and Glonass)", "UBXConfig: Activating Assisted GPS (NAVX5)",
    "UBXConfig: Enable GNSS antenna diagnosis"};

const VirtualUnitRun::Fields kConfiguredState = {
    {"baud", "115200"},      {"nmea_version", "4.1"},
    {"ack_aiding", "on"},    {"gnss", "GPS+SBAS+Galileo+QZSS+GLONASS"},
    {"antenna_svcs", "on"},  {"sv_numbering", "extended"},
    {"port_baud", "115200"}, {"antenna_flags", "0x0001"}};

std::string acknowledged(const std::string& description) {
    return "UBXConfig: Acknowledgment has been received for the command: \"" + description + "\"";
}

struct Counts {
    int used = -1;
    int notUsed = -1;
    int total = -1;
};

class Receiver : public EndToEndTest {
protected:
    std::string dumpFile() const { return unit.dataFolder() + "/NavigationDatabaseDump"; }

    std::string dump() const {
        std::ifstream file(dumpFile(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    void writeDump(const std::string& content) const {
        std::ofstream(dumpFile(), std::ios::binary) << content;
    }

    /// The whole configuration, in its order.
    void expectConfigured(const VirtualUnitRun::Fields& state) const {
        EXPECT_THAT(state, IsSupersetOf(kConfiguredState));
    }

    /// The counts of the last such line in the log.
    Counts countsOf(const std::string& operation) const {
        Counts counts;
        for (const LogLine& line : unit.loggedLike("UBXConfig: " + operation + " completed"))
            EXPECT_EQ(
                std::sscanf(
                    line.text.c_str() + line.text.find(','),
                    ", %d MGA messages used, %d MGA messages not used, %d MGA messages received in total",
                    &counts.used, &counts.notUsed, &counts.total),
                3);
        return counts;
    }

    /// How many waits for an answer the last restore spent in vain, told by the receiver's own times.
    int missedAnswers() const {
        std::vector<double> times;
        for (const ReceiverLine& line : unit.receiverLog("MGA-DBD"))
            if (line.text.find("poll") == std::string::npos)
                times.push_back(line.t);
        for (const LogLine& line : unit.loggedLike("Restoring navigation database completed"))
            times.push_back(line.t);
        int missed = 0;
        for (std::size_t i = 1; i < times.size(); ++i)
            missed += static_cast<int>((times[i] - times[i - 1]) / 5);
        return missed;
    }

    /// A frame that a read cut within its first six bytes has no length and is a poll: how many of those the
    /// last restore sent. The receiver answers with its list and says "used".
    int restoredPolls() const {
        const double begin = unit.lines("begin", "construct").back().t;
        const double end = unit.loggedLike("Restoring navigation database completed").back().t;
        const auto polls = unit.receiverLog("MGA-DBD poll");
        return static_cast<int>(std::count_if(polls.begin(), polls.end(), [&](const ReceiverLine& line) {
            return line.t > begin && line.t < end;
        }));
    }

    /// Runs the service until it has a fix, ends it and constructs it anew: `between` and `after` see the
    /// receiver.
    void restart(const Steps& between, const Steps& after) {
        unit.probe(concat(concat(concat({"construct", "initialize", "start", "until position 1 60"}, between),
                                 {"destroy", "construct", kConfigured, "run 2"}),
                          after));
        EXPECT_EQ(unit.status(), 0);
    }
};

} // namespace

// --- Configuration --------------------------------------------------------------------------------------

TEST_F(Receiver, IsConfiguredByConstruction) {
    unit.receiver("--burst");
    unit.probe({"construct", kConfigured, "state", "destroy"});
    ASSERT_THAT(unit.receiverStates(), SizeIs(1));
    expectConfigured(unit.receiverStates()[0]);
    EXPECT_EQ(unit.receiverStates()[0]["acks_sent"], "5");
    EXPECT_EQ(unit.receiverStates()[0]["frames_bad"], "0");
    for (const std::string& description : kDescriptions) {
        EXPECT_THAT(unit.logged(6, description), SizeIs(1));
        EXPECT_THAT(unit.logged(6, acknowledged(description)), SizeIs(1));
    }
    EXPECT_THAT(unit.logged(6, kAllAcknowledged), SizeIs(1));
}

TEST_F(Receiver, KeepsTheConfigurationWhileGpsdRuns) {
    unit.receiver("--ttff 2 --burst");
    serve({"until position 1 60", "state"});
    ASSERT_THAT(unit.receiverStates(), SizeIs(1));
    expectConfigured(unit.receiverStates()[0]);
}

TEST_F(Receiver, IsConfiguredAgainByTheWatchdogWhileGpsdIsDown) {
    unit.receiver("--ttff 2 --burst");
    serve({"until position 1 60", "shell kill -9 $(pidof gpsd)", "until-state resets=2 60", kConfigured,
           "state", "forget", "until position 1 90"});
    auto log = unit.receiverLog();
    const auto isReset = [](const ReceiverLine& line) { return line.text == "reset line pulsed"; };
    const auto reset = std::find_if(log.rbegin(), log.rend(), isReset).base();
    ASSERT_GT(std::distance(reset, log.end()), 6);
    const std::vector<std::string> messages = {"CFG-PRT uart1 115200", "CFG-NMEA", "CFG-GNSS", "CFG-NAVX5",
                                               "CFG-ANT"};
    for (std::size_t i = 0; i < messages.size(); ++i)
        EXPECT_THAT(reset[static_cast<std::ptrdiff_t>(i)].text,
                    AllOf(StartsWith(messages[i]), HasSubstr("ACK-ACK")));
    EXPECT_GT(reset[5].t - reset[4].t, 4) << "gpsd comes back after the pause of 5 s";
    expectConfigured(unit.receiverStates().at(0));
}

TEST_F(Receiver, NeverSharesThePortWithGpsd) {
    unit.receiver("--ttff 2");
    unit.probe({"watch-port", "construct", "initialize", "start", "until position 1 60",
                "shell kill -9 $(pidof gpsd)", "until-state resets=2 60", "forget", "until position 1 90",
                "stop", "position 52.5 13.4 34", "stop", "finalize", "destroy", "construct", "destroy"});
    EXPECT_EQ(unit.status(), 0);
    const ProbeLine watch = unit.line("port-watch");
    EXPECT_GT(watch.number("library"), 20);
    EXPECT_GT(watch.number("gpsd"), 20);
    EXPECT_EQ(watch.number("both"), 0);
}

// A pause that the timer cut short would meet a receiver that does not listen yet: no fix, and an empty list
// in place of the saved database.
TEST_F(Receiver, IsConfiguredAndSavedWhileTheApplicationsTimerRuns) {
    unit.receiver("--ttff 2 --burst --deaf 0.5");
    unit.probe({"construct", "initialize", "start", "until position 1 60", "destroy", "timer-here 10",
                "construct", kConfigured, "state", "destroy"});
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.logged(6, kAllAcknowledged), SizeIs(2));
    ASSERT_THAT(unit.receiverStates(), SizeIs(1));
    expectConfigured(unit.receiverStates()[0]);
    EXPECT_GT(simulator::framesIn(dump()).size(), 10u);
}

// --- Navigation database --------------------------------------------------------------------------------

TEST_F(Receiver, LeavesItsDatabaseInAFileWhenTheServiceIsDestroyed) {
    unit.receiver("--ttff 2 --burst");
    serve({"until position 1 60"});
    const auto poll = unit.receiverLog("MGA-DBD poll");
    ASSERT_THAT(poll, SizeIs(1));
    const std::vector<simulator::UbxFrame> frames = simulator::framesIn(dump());
    EXPECT_EQ(poll[0].text, "MGA-DBD poll: " + std::to_string(frames.size()) + " records");
    char trailer[24];
    std::snprintf(trailer, sizeof trailer, "%06zu", frames.size());
    std::size_t size = 6;
    for (const simulator::UbxFrame& frame : frames)
        size += frame.payload.size() + 8;
    EXPECT_EQ(dump().size(), size) << "nothing but whole frames and the trailer";
    EXPECT_EQ(dump().substr(dump().size() - 6), trailer);
}

TEST_F(Receiver, TakesEveryFrameBackThatArrivesWhole) {
    unit.receiver("--ttff 2 --burst");
    restart({}, {"state"});
    const auto saved = unit.receiverLog("MGA-DBD poll").at(0).text;
    const Counts counts = countsOf("Restoring navigation database");
    EXPECT_EQ(saved, "MGA-DBD poll: " + std::to_string(counts.used) + " records");
    EXPECT_GT(counts.used, 10);
    EXPECT_EQ(counts.notUsed, 0);
    EXPECT_EQ(unit.receiverStates().at(0)["mga_taken"], std::to_string(counts.used));
    EXPECT_EQ(unit.receiverStates().at(0)["mga_refused"], "0");
}

// The reads cut frames on a port that delivers byte by byte. Where an answer is missed, it costs a wait of 6
// s, and the next one may count for both. A poll is answered with a list, and a read that begins within it
// may be taken for an answer, as bytes 5 to 12 are looked at where none was found. Nothing else can make the
// log's counts differ from the receiver's.
TEST_F(Receiver, CountsWhatItTakesAndRefusesOfAByteByByteDump) {
    unit.receiver("--ttff 2");
    restart({control("database 90"), "run 1"}, {"state"});
    const Counts counts = countsOf("Restoring navigation database");
    VirtualUnitRun::Fields state = unit.receiverStates().at(0);
    const int misread = missedAnswers() + restoredPolls();
    EXPECT_GT(counts.notUsed, 0);
    EXPECT_GT(counts.used, 0);
    EXPECT_EQ(counts.total, counts.used + counts.notUsed);
    EXPECT_NEAR(counts.used, std::stoi(state["mga_taken"]) + restoredPolls(), misread);
    EXPECT_NEAR(counts.notUsed, std::stoi(state["mga_refused"]), misread);
}

// The list of a receiver that knows nothing is empty: it answers that there is nothing to send.
TEST_F(Receiver, AnswersAFrameWithoutALengthWithItsEmptyListWhichCountsAsNotUsed) {
    writeDump(std::string("\xB5\x62\x13\x80\x00\x00\x00\x00", 8) + "000001");
    unit.receiver("--burst");
    unit.probe({"construct", kConfigured, "run 2", "state"});
    EXPECT_EQ(countsOf("Restoring navigation database").used, 0);
    EXPECT_EQ(countsOf("Restoring navigation database").notUsed, 1);
    EXPECT_EQ(unit.receiverStates().at(0)["mga_taken"], "0");
    EXPECT_EQ(restoredPolls(), 1);
}

TEST_F(Receiver, CountsAnEmptyListAsUsedWhereTheReceiverCountsItsRecords) {
    writeDump(std::string("\xB5\x62\x13\x80\x00\x00\x00\x00", 8) + "000001");
    unit.receiver("--burst --empty-database counted");
    unit.probe({"construct", kConfigured, "run 2"});
    EXPECT_EQ(countsOf("Restoring navigation database").used, 1);
    EXPECT_EQ(countsOf("Restoring navigation database").notUsed, 0);
}

TEST_F(Receiver, TakesNoMoreFramesThanAnIndexOf8BitsCanName) {
    unit.receiver("--burst --command nofix");
    unit.probe({"construct", control("database 200"), "run 1", "destroy", "construct", kConfigured, "run 2",
                "state"});
    EXPECT_EQ(simulator::framesIn(dump()).size(), 200u);
    EXPECT_EQ(countsOf("Restoring navigation database").used, 123);
    EXPECT_EQ(unit.receiverStates().at(0)["mga_taken"], "123");
}

TEST_F(Receiver, HasItsFixSoonerAtTheSecondStart) {
    unit.receiver("--burst");
    unit.probe({"construct", "initialize", "start", "until availability,available=1 1 90",
                "until position 1 60", "destroy", "construct", "initialize", "start", "forget",
                "until availability,available=1 1 90", "destroy"});
    EXPECT_EQ(unit.status(), 0);
    const auto begins = unit.lines("begin", "construct");
    std::vector<double> seconds;
    for (const ProbeLine& begin : begins)
        for (const ProbeLine& event : unit.lines("event", "availability"))
            if (event.t > begin.t) {
                seconds.push_back(event.t - begin.t);
                break;
            }
    ASSERT_THAT(seconds, SizeIs(2));
    EXPECT_GT(seconds[0], 26);
    EXPECT_LT(seconds[1], seconds[0] - 10);
}

TEST_F(Receiver, LeavesAnEmptyFileWhenItHasLostItsDatabase) {
    unit.receiver("--ttff 2 --burst");
    restart({control("nofix"), "run 2", control("database lost"), "run 1"}, {control("clear")});
    EXPECT_THAT(unit.receiverLog("MGA-DBD poll: 0 records"), SizeIs(Ge(1u)));
    EXPECT_EQ(countsOf("Restoring navigation database").total, 0);
}

TEST_F(Receiver, LosesTheFramesBehindAnAcknowledgementThatComesTooEarly) {
    unit.receiver("--ttff 2 --burst");
    unit.probe(
        {"construct", "initialize", "start", "until position 1 60", control("ubx-early-ack"), "destroy"});
    EXPECT_EQ(unit.status(), 0);
    EXPECT_EQ(dump(), "000000");
}

TEST_F(Receiver, LeavesAFileOfWholeFramesFromADumpMixedWithOtherMessages) {
    unit.receiver("--ttff 2 --burst");
    restart({control("ubx-mixed"), "run 1"}, {"state"});
    EXPECT_EQ(unit.receiverStates().at(0)["mga_refused"], "0");
    EXPECT_EQ(unit.receiverStates().at(0)["mga_taken"],
              std::to_string(countsOf("Restoring navigation database").used));
}

// --- Power loss -----------------------------------------------------------------------------------------

// The dump of 300 records takes three seconds of the line; each is cut off at another moment.
TEST_F(Receiver, LeavesAUsableFileOrNoneAfterAPowerLossDuringTheDump) {
    unit.receiver("--command nofix");
    unit.script(R"(control=/run/unit/receiver.control
        polls() { grep -c "MGA-DBD poll" /run/unit/receiver.log; }
        for seconds in 0 0.5 1 1.5 2 2.5; do
            rm -f /data/NavigationDatabaseDump
            before=$(polls)
            "$0" construct "write $control delivery paced" "write $control database 300" "run 1" destroy & probe=$!
            until (($(polls) > before)); do kill -0 $probe || exit 9; done
            "$0" "run $seconds"; kill -9 $probe; wait $probe
            echo delivery burst >$control
            "$0" construct destroy
        done)");
    EXPECT_EQ(unit.status(), 0);
    const auto starts = unit.lines("end", "construct");
    ASSERT_THAT(starts, SizeIs(12));
    for (const ProbeLine& start : starts)
        EXPECT_LT(start.number("seconds"), 60) << "a file without its trailer costs hours";
    EXPECT_EQ(unit.logged(6, kEmptyDump).size() +
                  unit.loggedLike("Restoring navigation database completed").size(),
              6u);
    EXPECT_THAT(unit.lines("end", "destroy"), SizeIs(AllOf(Ge(6u), Le(8u)))) << "most kills came too late";
}

TEST_F(Receiver, ServesAgainAfterAPowerLossAtAnyMoment) {
    unit.receiver("--ttff 2");
    unit.script(R"(for pause in 0.3 1.2 1.6 2.5 4 6 9 15; do
            "$0" construct initialize start "run 100" & probe=$!
            sleep $pause; kill -9 $probe; wait $probe
        done 2>/dev/null
        "$0" construct "until-state antenna_flags=0x0001 10" state initialize start "until position 1 60" destroy)");
    EXPECT_EQ(unit.status(), 0);
    expectConfigured(unit.receiverStates().at(0));
    // The losses met a receiver reset, one configured, and one that gpsd spoke to.
    const std::size_t configured = unit.receiverLog("CFG-ANT").size();
    EXPECT_THAT(unit.receiverLog("reset line pulsed"), SizeIs(Ge(configured + 1)));
    EXPECT_GE(configured, 4u);
    EXPECT_THAT(unit.receiverLog("MON-VER"), SizeIs(Ge(4u)));
}

// --- Initial position -----------------------------------------------------------------------------------

TEST_F(Receiver, GetsTheInitialPositionAndGpsdComesBack) {
    unit.receiver("--ttff 2 --burst");
    serve({"until position 1 60", "params enabled=0", "run 3", "position 52.5 -13.4 34.56",
           "params enabled=1", "start", "forget", "until position 1 60", "state"});
    EXPECT_THAT(unit.receiverStates().at(0)["mga_ini_position"], HasSubstr("52.5000000"));
    EXPECT_THAT(unit.receiverStates().at(0)["mga_ini_position"], HasSubstr("-13.4000000"));
    EXPECT_THAT(unit.receiverStates().at(0)["mga_ini_position"], HasSubstr("34.56_m_accuracy_10.00_m"));
    const Counts counts = countsOf("Initial position assistance");
    EXPECT_EQ(counts.used, 1);
    EXPECT_EQ(counts.total, 1);
}

TEST_F(Receiver, IsLeftAloneByAnInitialPositionWithAZero) {
    unit.receiver("--ttff 2 --burst");
    unit.probe({"construct", "initialize", "position 0 13.4 34", "run 1", "state", "destroy"});
    EXPECT_EQ(unit.receiverStates().at(0)["mga_ini_position"], "none");
    EXPECT_THAT(unit.loggedLike("Initial position assistance"), IsEmpty());
}

// --- Faults of the receiver -----------------------------------------------------------------------------

namespace {

struct Fault {
    const char* name;
    const char* command;
    std::ptrdiff_t acknowledged; // of the five commands
};

void PrintTo(const Fault& fault, std::ostream* stream) { *stream << fault.command; }

class FaultyReceiver : public Receiver, public testing::WithParamInterface<Fault> {
protected:
    /// Seconds from the first command to the second. A wait ends after so many pauses, each a little late, so
    /// only another one tells how long it may take.
    double firstWait() const {
        return unit.logged(6, kDescriptions[1]).at(0).t - unit.logged(6, kDescriptions[0]).at(0).t;
    }
};

} // namespace

// Two waits of 6 s are all that it can cost, and the service starts without the answers.
TEST_P(FaultyReceiver, DelaysTheStartByTwoWaitsAndThenServes) {
    unit.receiver("--ttff 2 --burst --command '" + std::string(GetParam().command) + "'");
    serveWith({control("clear"), control("ubx-normal")}, {"until position 1 90"});
    EXPECT_GT(unit.line("end", "construct").number("seconds"), 12);
    EXPECT_LT(unit.line("end", "construct").number("seconds"), 1 + 3 * firstWait()) << "a third one";
    const auto acknowledgements = unit.loggedLike("Acknowledgment has been received");
    const auto inTime =
        std::count_if(acknowledgements.begin(), acknowledgements.end(),
                      [&](const LogLine& line) { return line.t < unit.line("end", "construct").t; });
    EXPECT_EQ(inTime, GetParam().acknowledged) << "of five, before the service started";
}

INSTANTIATE_TEST_SUITE_P(Fault, FaultyReceiver,
                         testing::Values(Fault{"Silence", "silence", 0}, Fault{"NoAnswers", "ubx-silence", 0},
                                         Fault{"SplitAnswers", "ubx-split 4 2000", 0},
                                         Fault{"DroppedBytes", "ubx-drop 3", 0},
                                         Fault{"FlippedBytes", "ubx-flip 3", 0},
                                         Fault{"AnswerAtTheOldSpeed", "ubx-old-speed", 4}),
                         [](const auto& fault) { return fault.param.name; });

// It stays at 9600 baud, so the other commands don't even reach it.
TEST_F(Receiver, MayRefuseItsConfigurationAndTheServiceGoesOn) {
    unit.receiver("--burst --command ubx-refuse");
    serve({"until-state naks_sent=1 10", "state"});
    EXPECT_GT(unit.line("end", "construct").number("seconds"), 12);
    EXPECT_EQ(unit.receiverStates().at(0)["baud"], "9600");
    EXPECT_EQ(unit.line("end", "start").text("rc"), "0x00000000");
    EXPECT_THAT(unit.loggedLike("Acknowledgment has been received"), IsEmpty());
}

TEST_F(Receiver, MayAnswerLate) {
    unit.receiver("--burst --command 'ubx-late 1500'");
    unit.probe({"construct", kConfigured, "state"});
    EXPECT_THAT(unit.logged(6, kAllAcknowledged), SizeIs(1));
    expectConfigured(unit.receiverStates().at(0));
}

// --- What the unit lacks --------------------------------------------------------------------------------

TEST_F(Receiver, EndsTheProcessWithStatus255WhenThereIsNoPort) {
    unit.option("--no-receiver");
    unit.probe({"construct"});
    EXPECT_EQ(unit.status(), 255);
    EXPECT_THAT(unit.log(), IsEmpty());
}

TEST_F(Receiver, IsServedWithAFolderInPlaceOfTheDumpFile) {
    std::filesystem::create_directory(dumpFile());
    unit.receiver("--ttff 2 --burst");
    serve({"until position 1 60"});
    EXPECT_THAT(unit.logged(6, kNoDumpFile), SizeIs(1));
    EXPECT_THAT(unit.logged(3, kNotWritable), SizeIs(1));
    EXPECT_TRUE(std::filesystem::is_directory(dumpFile()));
}

// The unit sees the current folder, but cannot write there.
TEST_F(Receiver, LeavesAnOldFileThatCanNotBeWrittenAsItIs) {
    const std::filesystem::path old = std::filesystem::absolute("old-dump");
    std::ofstream(old) << "000000";
    std::filesystem::create_symlink(old, dumpFile());
    unit.receiver("--ttff 2 --burst");
    serve({"until position 1 60"});
    EXPECT_EQ(countsOf("Restoring navigation database").total, 0);
    EXPECT_THAT(unit.logged(3, kNotWritable), SizeIs(1));
    EXPECT_EQ(dump(), "000000");
    std::filesystem::remove(old);
}

TEST_F(Receiver, IsServedWithADeviceInPlaceOfTheDumpFile) {
    std::filesystem::create_symlink("/dev/full", dumpFile());
    unit.receiver("--ttff 2 --burst");
    serve({"until position 1 60"});
    EXPECT_THAT(unit.logged(6, kNoDumpFile), SizeIs(1));
    EXPECT_THAT(unit.logged(3, kNotWritable), SizeIs(1));
}

// One page: the frames of a longer list stop in the middle, and the trailer would be missing.
TEST_F(Receiver, EmptiesTheFileThatADumpDoesNotFitInto) {
    unit.receiver("--ttff 2 --burst").dataSize(4);
    unit.probe({"construct", control("database 90"), "run 1", "destroy",
                "shell stat -c %s /data/NavigationDatabaseDump", "construct", "destroy"});
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.receiverLog("MGA-DBD poll: 90 records"), SizeIs(Ge(1u)));
    EXPECT_THAT(unit.output(), ElementsAre("0"));
    EXPECT_THAT(unit.logged(6, kNoDumpFile), SizeIs(1)) << "at the first start";
    EXPECT_THAT(unit.logged(6, kEmptyDump), SizeIs(1)) << "at the second";
}

TEST_F(Receiver, IsServedWithAFifoInPlaceOfTheDumpFile) {
    ASSERT_EQ(mkfifo(dumpFile().c_str(), 0600), 0);
    unit.receiver("--ttff 2 --burst");
    serve({"until position 1 60"});
    EXPECT_THAT(unit.logged(6, kNoDumpFile), SizeIs(1));
    EXPECT_THAT(unit.logged(3, kNotWritable), SizeIs(1));
    EXPECT_TRUE(std::filesystem::is_fifo(dumpFile()));
}

TEST_F(Receiver, IsServedAfterAHostileDumpFile) {
    const std::string junk(1000, '\xB5');
    const std::string wrongChecksum("\xB5\x62\x13\x80\x04\x00junk\x01\x02", 12);
    const std::string foreign("\xB5\x62\x0A\x04\x00\x00\x0E\x34", 8);
    writeDump(junk + wrongChecksum + foreign + "999999");
    unit.receiver("--ttff 2 --burst");
    serve({"until position 1 60"});
    // A class below 16 misaligns the text, so the second one's checksum is not found right either.
    EXPECT_THAT(unit.logged(3, "Checksum error: Failed to restore one part of the navigation database"),
                SizeIs(2));
    EXPECT_EQ(countsOf("Restoring navigation database").notUsed, 1);
    EXPECT_LT(unit.line("end", "construct").number("seconds"), 60);
}
