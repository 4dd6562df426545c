// The receiver and its line as a vehicle treats them, on the virtual unit with the real gpsd.

#include <sys/stat.h>

#include <optional>

#include "ReceiverOnUnit.h"
#include "UbxFrame.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Pair;
using testing::SizeIs;

namespace {

class LineFault : public ReceiverOnUnit {
protected:
    void expectResultsOfZero() const {
        for (const char* step : {"initialize", "start", "stop", "finalize"})
            EXPECT_EQ(unit.line("end", step).text("rc"), "0x00000000") << step;
    }

    /// What was sent with a construction, and what became of it.
    std::vector<std::string> commandsOf(std::size_t number) const {
        const double begin = unit.lines("begin", "construct").at(number).t;
        const double end = unit.lines("end", "construct").at(number).t;
        std::vector<std::string> texts;
        for (const ReceiverLine& line : unit.receiverLog())
            if (line.t > begin && line.t < end && line.text.find("reset line") != 0)
                texts.push_back(line.text);
        return texts;
    }

    // --- The database

    /// A service that saves a database of so many records and nothing else.
    static Steps saved(int records) {
        return {"construct", control("database " + std::to_string(records)), "run 1", "destroy"};
    }
    /// A record that no receiver has sent.
    static std::string oldDatabase() {
        const simulator::Bytes frame = simulator::encodeUbx({0x13, 0x80, {'o', 'l', 'd', '!'}});
        return std::string(frame.begin(), frame.end()) + "000001";
    }
    /// The file holds what the receiver answered to the last poll, whole, and something at all.
    void expectDatabaseSaved() const {
        const std::size_t records = simulator::framesIn(dump()).size();
        EXPECT_GT(records, 10u);
        char trailer[24];
        std::snprintf(trailer, sizeof trailer, "%06zu", records);
        EXPECT_THAT(dump(), testing::EndsWith(trailer));
        const auto polls = unit.receiverLog("MGA-DBD poll");
        ASSERT_THAT(polls, testing::Not(IsEmpty()));
        EXPECT_EQ(polls.back().text, "MGA-DBD poll: " + std::to_string(records) + " records");
    }

    /// How often the steps' output has this line.
    std::size_t outputs(const std::string& text) const {
        const std::vector<std::string> lines = unit.output();
        return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), text));
    }

    // --- Recovery

    /// From the first epoch that gpsd understands: with it gpsd switches the receiver to binary messages,
    /// whose first epoch is cut. So it takes two more until a report has a PDOP, without which no fix is
    /// accepted.
    static constexpr double kUnderstood = kEpoch + kNextFix;
    /// The same, where gpsd runs and listens at the receiver's speed when the receiver begins to speak.
    static constexpr double kFirstSentences = kEpoch + kUnderstood;
    /// gpsd may take the last of random bytes for the begin of a message and swallow what follows as its
    /// rest, until its buffer is full.
    static constexpr double kGpsdsBuffer = 9216;
    static constexpr double kLeastEpoch = 515; ///< bytes of sentences
    /// From the last report to the watchdog's line: eleven waits of the reader in vain, and the worker's
    /// cycle.
    static constexpr double kSilenceToRestart = (kEmptyWaitsAllowed + 1) * kEmptyWait + 1;
    /// What a restart takes until the receiver is reset: the worker finds the line dead and joins the reader,
    /// the kill is looked after once more.
    static constexpr double kRestartToReset = 3;
    /// What gpsd takes, behind its start, to recognise the receiver and report its next epochs.
    static constexpr double kRecognition = kRestartSeconds - kRestartToReset - 1 - 5 - 3;

    double endOfFault() const { return unit.lines("write").back().t; }
    /// To the next reading of a fix that is newer than the fault's end, the last thing waited for.
    double recoverySince(double begin) const {
        const std::vector<ProbeLine> seen = unit.lines("seen");
        if (seen.empty() || seen.back().text("what") != "fix")
            return std::nan("");
        return seen.back().t - begin;
    }
    void expectRecoveryFromTheFault(const std::string& row, double atMost) const {
        expectRecovery(row, recoverySince(endOfFault()), atMost);
    }
    /// Behind random bytes the fix comes with the first sentences that gpsd understands, which it shows by
    /// asking for the receiver's version. Until then it swallows the rest of a false message; or it has found
    /// a whole one of another maker's, whose receiver it takes this for until the watchdog ends it.
    void expectRecoveryFromRubbish(const std::string& row) const {
        const bool restarted = !unit.logged(3, kWatchdog).empty();
        expectRecoveryFromTheFault(row, restarted ? kSilenceToRestart + kRestartSeconds
                                                  : kGpsdsBuffer / kLeastEpoch + kFirstSentences);
        const auto understood = firstBehind(endOfFault(), unit.receiverLog("MON-VER poll"));
        ASSERT_TRUE(understood);
        EXPECT_LE(recoverySince(*understood), kUnderstood);
    }
    /// The time of the first of these that is later.
    static std::optional<double> firstBehind(double t, const std::vector<ReceiverLine>& lines) {
        for (const ReceiverLine& line : lines)
            if (line.t > t)
                return line.t;
        return std::nullopt;
    }
    /// The first reading that was printed knows no fix.
    void expectNoFixUntilThen() const { EXPECT_EQ(unit.line("readings").text("fixTick"), "0"); }
};

// --- A receiver that says nothing -----------------------------------------------------------------------

// It hears and obeys, its answers and sentences don't come. Each record of the saved database is waited for.
TEST_F(LineFault, SilenceFromPowerUpCostsItsWaitsAndEndsWithTheFirstSentences) {
    unit.receiver("--ttff 2 --burst --command nofix");
    unit.probe(concat(saved(1),
                      {control("silence"), "construct", "state", "initialize", "start", "run 15", "readings",
                       control("clear"), "until-fix 60", "run 3", "stop", "finalize", "destroy"}));
    EXPECT_EQ(unit.status(), 0);
    expectWaits(3, 1);
    expectResultsOfZero();
    EXPECT_EQ(acknowledgedAtTheStart(1), 0);
    EXPECT_THAT(commandsOf(1), SizeIs(5 + 1)) << "none is sent twice";
    expectConfigured(unit.receiverStates().at(0));
    EXPECT_EQ(unit.receiverStates().at(0)["mga_taken"], "1");
    EXPECT_EQ(restored().total, 0) << "which no answer tells";
    expectNoFixUntilThen();
    expectDatabaseSaved();
    faultFigure("line.silent-from-power-up", "construction_s", construction(1));
    expectRecoveryFromTheFault("line.silent-from-power-up", kFirstSentences);
}

// The watchdog's restart finds it silent too; it speaks again while each command is waited for, so one wait
// may be spent. The restart sends the restored records again, so the reset costs none of them.
TEST_F(LineFault, SilenceInServiceLeadsToARestartThatFindsTheReceiverAgain) {
    const std::string restarting = "GPSD does not provide any data - restarting GPSD";
    unit.receiver("--ttff 2 --burst");
    unit.probe(concat(saved(1), {"construct", "initialize", "start", "until-fix 60", control("silence"),
                                 "until-state resets=3 90", control("clear"), "until-fix 60", "run 3",
                                 "state", "stop", "finalize", "destroy"}));
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.logged(3, "11 cycles without any data reception have been detected"), SizeIs(1));
    EXPECT_THAT(unit.logged(3, restarting), SizeIs(1));
    expectConfigured(unit.receiverStates().at(0));
    EXPECT_EQ(unit.receiverStates().at(0)["mga_taken"], "1") << "since the last reset";
    expectResultsOfZero();
    expectDatabaseSaved();
    expectRecoveryFromTheFault("line.silent-later", kLeastWait + kRestartSeconds - kRestartToReset);
    faultFigure("line.silent-later", "until_restart_s",
                unit.logged(3, restarting).at(0).t - unit.lines("write").at(1).t);
}

TEST_F(LineFault, SilenceAtTheEndCostsAWaitAndTheSavedDatabase) {
    unit.receiver("--burst --command nofix");
    unit.probe({"construct", control("database 20"), "run 1", "destroy",
                "shell tail -c 6 /data/NavigationDatabaseDump; echo", "construct", control("silence"),
                "destroy"});
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.output(), ElementsAre("000020")) << "what was saved before";
    EXPECT_EQ(restored().used, 20);
    EXPECT_EQ(waitsOf("destroy", 1), 1);
    EXPECT_EQ(dump(), "000000");
    faultFigure("line.silent-at-the-end", "destruction_s", secondsOf("destroy", 1));
}

// Power comes back at the factory's speed, while gpsd listens at the service's.
TEST_F(LineFault, UnpluggedAndPluggedInAgainTheReceiverIsServedAgain) {
    writeDump(oldDatabase());
    unit.receiver("--ttff 2 --burst");
    serve({"until-fix 60", control("silence"), "run 20", control("powercycle"), control("clear"),
           "until-fix 150", "run 3"});
    expectResultsOfZero();
    expectDatabaseSaved();
    EXPECT_THAT(dump(), testing::Not(testing::HasSubstr("old!")));
    expectRecoveryFromTheFault("line.unplugged", kSilenceToRestart - 20 + kRestartSeconds);
}

// --- A receiver that can't be configured ----------------------------------------------------------------

struct Unheard {
    const char* name;
    const char* receiver;
    const char* baud; // it stays there
    const char* row;
};

void PrintTo(const Unheard& unheard, std::ostream* stream) { *stream << unheard.name; }

class UnheardReceiver : public LineFault, public testing::WithParamInterface<Unheard> {};

// The port command is lost, and the others are sent at a speed that the receiver does not have; so are the
// saved record and the poll at the end, though the receiver has found its satellites meanwhile.
TEST_P(UnheardReceiver, StaysAsItIsAndItsDatabaseIsLost) {
    writeDump(oldDatabase());
    unit.receiver(std::string("--ttff 2 --burst ") + GetParam().receiver);
    serve({"run 15", "readings", "state"});
    expectWaits(3);
    expectResultsOfZero();
    expectNoFixUntilThen();
    EXPECT_EQ(restored().total, 0);
    EXPECT_EQ(dump(), "000000");
    EXPECT_EQ(waitsOf("destroy"), 1);
    const VirtualUnitRun::Fields state = unit.receiverState();
    EXPECT_THAT(state, IsSupersetOf({Pair("baud", GetParam().baud), Pair("frames_received", "0"),
                                     Pair("antenna_flags", "0x001f"), Pair("ack_aiding", "off"),
                                     Pair("port_baud", "9600"), Pair("fix", "1")}));
    EXPECT_GT(std::stoi(unit.receiverStates().at(0)["database_frames"]), 10) << "there was one to save";
    faultFigure(GetParam().row, "construction_s", construction());
}

INSTANTIATE_TEST_SUITE_P(Fault, UnheardReceiver,
                         testing::Values(Unheard{"deaf", "--deaf 3", "9600", "line.deaf-after-reset"},
                                         Unheard{"speed", "--baud 38400", "38400", "line.wrong-speed"}),
                         [](const auto& unheard) { return unheard.param.name; });

struct Refused {
    const char* name;
    const char* row; // behind "line.refused-"
    const char* id;
    VirtualUnitRun::Fields factory; // what the receiver keeps of its settings
};

void PrintTo(const Refused& refused, std::ostream* stream) { *stream << refused.name; }

class RefusedCommand : public LineFault, public testing::WithParamInterface<Refused> {};

TEST_P(RefusedCommand, CostsAWaitAndLeavesThatSettingAlone) {
    unit.receiver(std::string("--ttff 2 --burst --command 'ubx-refuse-id ") + GetParam().id + "'");
    serveWith({"state"}, {"until position 1 60"});
    expectWaits(1);
    expectResultsOfZero();
    EXPECT_EQ(acknowledgedAtTheStart(), 4);
    EXPECT_THAT(commandsOf(0), SizeIs(5));
    EXPECT_THAT(unit.logged(6, kAllAcknowledged), IsEmpty());
    VirtualUnitRun::Fields expected = kConfiguredState;
    for (const auto& setting : GetParam().factory)
        expected[setting.first] = setting.second;
    EXPECT_THAT(unit.receiverStates().at(0), IsSupersetOf(expected));
    faultFigure(std::string("line.refused-") + GetParam().row, "construction_s", construction());
}

INSTANTIATE_TEST_SUITE_P(
    Command, RefusedCommand,
    testing::Values(Refused{"Nmea", "nmea", "23", {{"nmea_version", "4.0"}, {"sv_numbering", "strict"}}},
                    Refused{"Gnss", "gnss", "62", {{"gnss", "GPS+SBAS+QZSS+GLONASS"}}},
                    Refused{"Navx5", "navx5", "35", {{"ack_aiding", "off"}}},
                    Refused{"Antenna", "antenna", "19", {{"antenna_flags", "0x001f"}}}),
    [](const auto& refused) { return refused.param.name; });

TEST_F(LineFault, ARefusedPortCommandCostsTwoWaitsAndLeavesEverySettingAlone) {
    unit.receiver("--burst --command 'ubx-refuse-id 0'");
    unit.probe({"construct", "state", "initialize", "start", "stop", "finalize", "destroy"});
    EXPECT_EQ(unit.status(), 0);
    expectWaits(2);
    expectResultsOfZero();
    VirtualUnitRun::Fields state = unit.receiverStates().at(0);
    EXPECT_EQ(state["naks_sent"], "1");
    EXPECT_EQ(state["acks_sent"], "0");
    EXPECT_EQ(state["baud"], "9600");
    EXPECT_EQ(state["antenna_flags"], "0x001f");
    faultFigure("line.refused-port", "construction_s", construction());
}

// The first wait misses its answer, which comes into the second. Those of the other commands come when
// nobody waits any more. A wait of 6 s takes up to 11 where its pauses come late.
TEST_F(LineFault, AnswersThatComeBehindTheirWaitCountInTheNextOne) {
    unit.receiver("--ttff 2 --burst --command 'ubx-late 11000'");
    serveWith({"state", control("ubx-normal")}, {"until position 1 60"});
    expectWaits(2);
    EXPECT_EQ(acknowledgedAtTheStart(), 1);
    expectConfigured(unit.receiverStates().at(0));
    expectResultsOfZero();
    faultFigure("line.later-than-a-wait", "construction_s", construction());
}

// --- Rubbish --------------------------------------------------------------------------------------------

TEST_F(LineFault, RubbishHidesNoAnswerAndTheFixComesWithTheFirstSentences) {
    unit.receiver("--ttff 2 --burst --command garbage");
    serve({"run 10", "readings", control("clear"), "until-fix 150", "run 1", "state"});
    expectWaits(0);
    EXPECT_EQ(acknowledgedAtTheStart(), 5);
    expectNoFixUntilThen();
    expectConfigured(unit.receiverStates().at(0));
    expectRecoveryFromRubbish("line.rubbish");
}

// Ten epochs of random bytes a second: at 115200 baud the line hardly rests.
TEST_F(LineFault, AFloodHidesNoAnswer) {
    unit.receiver("--ttff 2 --burst --command garbage --command 'hz 10'");
    serve({"state", "run 10", "state", "readings", control("hz 0"), control("clear"), "until-fix 150"});
    expectWaits(0);
    expectNoFixUntilThen();
    EXPECT_EQ(acknowledgedAtTheStart(), 5);
    const auto states = unit.receiverStates();
    const auto field = [&](std::size_t i, const char* name) { return std::stod(states.at(i).at(name)); };
    faultFigure("line.flood", "bytes_per_s",
                (field(1, "bytes_to_host") - field(0, "bytes_to_host")) /
                    (field(1, "uptime_s") - field(0, "uptime_s")));
    expectRecoveryFromRubbish("line.flood");
}

// The header of a UBX message of 9,000 bytes: gpsd waits for the rest of it.
TEST_F(LineFault, AFalseMessageSwallowsEpochsAndNoMore) {
    constexpr double kClaimed = 9000;
    constexpr double kCutEpoch = kEpoch; // in which the claimed bytes end
    unit.receiver("--ttff 2 --burst");
    serve({"until-fix 60", "run 3", "state", control("raw b56201072823"), "run 3", "until-fix 60", "state"});
    expectResultsOfZero();
    EXPECT_THAT(unit.logged(3, kWatchdog), IsEmpty());
    const auto grown = [&](const char* name) {
        const auto states = unit.receiverStates();
        return std::stod(states.at(1).at(name)) - std::stod(states.at(0).at(name));
    };
    const double bytesPerSecond = grown("bytes_to_host") / grown("uptime_s");
    EXPECT_GE(recoverySince(endOfFault()), kClaimed / bytesPerSecond - kEpoch);
    expectRecoveryFromTheFault("line.false-message", kClaimed / bytesPerSecond + kCutEpoch + kNextFix);
}

// A whole message of TSIP, the first that gpsd reads: it takes the receiver for that maker's, whose driver
// ignores sentences. Only an end of gpsd ends that.
TEST_F(LineFault, AMessageOfAnotherMakersCostsARestart) {
    unit.receiver("--ttff 2 --burst");
    serveWith({control("silence")},
              {"run 3", control("raw 104600001003"), "run 1", control("clear"), "until-fix 150"});
    expectResultsOfZero();
    EXPECT_THAT(unit.logged(3, kWatchdog), SizeIs(1));
    expectRecoveryFromTheFault("line.another-makers", kSilenceToRestart + kRestartSeconds);
}

// --- An stty of the test's own ---------------------------------------------------------------------------

class Stty : public LineFault {
protected:
    /// Puts an stty of this content ahead of the real one, which it reaches by "real", and runs the probe.
    /// `$n` is the number of the try, `$3` the speed. The last try is the shut-down's.
    void probeWith(const std::string& content, const std::string& steps) {
        writeProgram("#!/bin/sh\nn=$(($(cat /data/tries 2>/dev/null) + 1)); echo $n >/data/tries\n"
                     "real() { PATH=${PATH#*:}; exec stty \"$@\"; }\n" +
                     content + "\nreal \"$@\"\n");
        unit.script("PATH=/data/bin:$PATH; exec \"$0\" " + steps);
    }

    int tries() const {
        int count = 0;
        std::ifstream(unit.dataFolder() + "/tries") >> count;
        return count;
    }

private:
    void writeProgram(const std::string& content) const {
        const std::string folder = unit.dataFolder() + "/bin";
        mkdir(folder.c_str(), 0755);
        std::ofstream(folder + "/stty") << content;
        chmod((folder + "/stty").c_str(), 0755);
    }
};

// --- The reset line -------------------------------------------------------------------------------------

struct ResetLine {
    const char* name;
    const char* command; // that breaks it
};

void PrintTo(const ResetLine& line, std::ostream* stream) { *stream << line.name; }

class BrokenResetLine : public Stty, public testing::WithParamInterface<ResetLine> {};

// The receiver keeps its speed and settings. The port command at the other speed is lost on it, and what
// comes behind that at the service's speed is heard.
TEST_P(BrokenResetLine, LeavesTheReceiverAtItsSpeedAndCostsTwoWaits) {
    unit.receiver("--ttff 2 --burst");
    probeWith("test $n != 5 || sleep 0.2", std::string("construct destroy 'shell ") + GetParam().command +
                                               "' construct state initialize start 'until position 1 60' "
                                               "stop finalize destroy");
    EXPECT_EQ(unit.status(), 0);
    expectWaits(0, 0);
    expectWaits(2, 1);
    EXPECT_EQ(acknowledgedAtTheStart(1), 4);
    EXPECT_EQ(unit.receiverStates().at(0).at("resets"), "1");
    expectConfigured(unit.receiverStates().at(0));
    faultFigure(std::string("line.reset-line-") + GetParam().name, "construction_s", construction(1));
}

INSTANTIATE_TEST_SUITE_P(Fault, BrokenResetLine,
                         testing::Values(ResetLine{"missing", "rm -r /sys/class/gpio/gpio93"},
                                         ResetLine{"readonly", "ln -sf /proc/sys/kernel/ostype "
                                                               "/sys/class/gpio/gpio93/value"}),
                         [](const auto& line) { return line.param.name; });

// --- stty -----------------------------------------------------------------------------------------------

constexpr char kStartAndState[] = R"(construct "until-state antenna_flags=0x0001 10" state)";

TEST_F(Stty, ThatFailsOnceIsTriedAgainAtOnce) {
    unit.receiver("--burst");
    probeWith("test $n -gt 1 || exit 1", kStartAndState);
    EXPECT_EQ(unit.status(), 0);
    EXPECT_EQ(tries(), 2 + 1 + 1);
    expectWaits(0);
    EXPECT_EQ(unit.receiverStates().at(0).at("resets"), "1");
    expectConfigured(unit.receiverStates().at(0));
}

TEST_F(Stty, ThatFailsTwiceHasTheReceiverResetOnceMore) {
    unit.receiver("--burst");
    probeWith("test $n -gt 2 || exit 1", kStartAndState);
    EXPECT_EQ(unit.status(), 0);
    EXPECT_EQ(tries(), 3 + 1 + 1);
    EXPECT_GE(construction(), 1 + 2);
    EXPECT_EQ(unit.receiverStates().at(0).at("resets"), "2");
    EXPECT_EQ(acknowledgedAtTheStart(), 5);
    expectConfigured(unit.receiverStates().at(0));
    faultFigure("line.stty-fails-twice", "construction_s", construction());
}

TEST_F(Stty, ThatAlwaysFailsEndsTheProcessWithoutAWord) {
    unit.receiver("--burst");
    probeWith("exit 1", "construct");
    EXPECT_EQ(unit.status(), 255);
    EXPECT_EQ(tries(), 4);
    EXPECT_THAT(unit.log(), IsEmpty());
    EXPECT_THAT(unit.receiverLog("reset line pulsed"), SizeIs(2));
    EXPECT_THAT(unit.receiverLog("CFG-"), IsEmpty());
}

// The limit of a second is the host's: on the unit's clock a try takes as much longer as that is faster.
TEST_F(Stty, ThatHangsIsEndedByItsLimitAndCountsAsFailed) {
    unit.receiver("--burst");
    probeWith("test $n -gt 1 || exec sleep 1000", kStartAndState);
    EXPECT_EQ(unit.status(), 0);
    EXPECT_EQ(tries(), 2 + 1 + 1);
    EXPECT_EQ(unit.receiverStates().at(0).at("resets"), "1");
    EXPECT_EQ(acknowledgedAtTheStart(), 5);
    expectConfigured(unit.receiverStates().at(0));
}

TEST_F(Stty, ThatAlwaysHangsEndsTheProcess) {
    unit.receiver("--burst");
    probeWith("exec sleep 1000", "construct");
    EXPECT_EQ(unit.status(), 255);
    EXPECT_EQ(tries(), 4);
    EXPECT_THAT(unit.log(), IsEmpty());
}

// The line stays at 9600 baud, where the answers at 115200 are rubbish. Unless gpsd finds the speed by
// itself, the watchdog's restart sets it.
TEST_F(Stty, ThatFailsAtTheServicesSpeedIsTriedThreeTimesAndTheServiceGoesOn) {
    unit.receiver("--ttff 2 --burst");
    probeWith(
        "test $3 != 115200 || test $n -gt 4 || exit 1",
        R"(construct "shell cat /data/tries" state initialize start "until-fix 150" stop finalize destroy)");
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.output(), ElementsAre("4"));
    EXPECT_GE(construction(), 1 + 3 + 2 * kLeastWait);
    EXPECT_EQ(acknowledgedAtTheStart(), 0);
    EXPECT_EQ(unit.receiverStates().at(0).at("baud"), "115200");
    expectResultsOfZero();
    faultFigure("line.stty-fails-at-service-speed", "construction_s", construction());
    expectRecovery("line.stty-fails-at-service-speed", recoverySince(unit.line("end", "initialize").t),
                   3 + kSilenceToRestart + kRestartSeconds);
}

// --- The port -------------------------------------------------------------------------------------------

// A command's output makes a file where the device was. The restart that misses it tries stty three times, a
// second apart, and its gpsd has nothing to report; the next one finds the device again and mends all.
TEST_F(LineFault, APortThatIsGoneDuringARestartComesBackWithTheNextOne) {
    unit.receiver("--ttff 2 --burst");
    serve({"until-fix 60", "shell mv /dev/ttymxc1 /dev/away; kill -9 $(pidof gpsd)", "run 25",
           "shell test -f /dev/ttymxc1 && ! test -h /dev/ttymxc1 && echo a file",
           "shell rm -f /dev/ttymxc1; mv /dev/away /dev/ttymxc1", "until-fix 150", "state"});
    EXPECT_THAT(unit.logged(2, "UBXConfig: Serial port cannot be opened for reading"), SizeIs(1));
    EXPECT_THAT(unit.logged(3, "GPSD does not provide any data - restarting GPSD"), SizeIs(2));
    EXPECT_THAT(unit.output(), ElementsAre("a file"));
    expectConfigured(unit.receiverStates().at(0));
    expectResultsOfZero();
    expectRecovery("line.port-gone", recoverySince(unit.lines("end", "shell").back().t),
                   kCountsToRestart + (kRestartSeconds - kRecognition) + 3 + kSilenceToRestart +
                       kRestartSeconds - 25);
}

// --- Stopped soon ---------------------------------------------------------------------------------------

// gpsd hunts for the speed in its first seconds: where it is killed at another one, the line stays there and
// the poll is lost; where at the receiver's, the file holds all that there is. The next start is as any.
TEST_F(LineFault, StoppedWithinTwoSecondsOfInitializeTheDatabaseIsWholeOrEmpty) {
    unit.receiver("--burst --command nofix --command 'database 20'");
    unit.script(R"(service() {
            "$probe" construct "write /run/unit/receiver.control database 20" "run 1" initialize "$@" finalize \
                "shell stty -F /dev/ttymxc1 speed" destroy "shell tail -c 6 /data/NavigationDatabaseDump; echo"
        }
        probe=$0
        for seconds in 0.3 0.8 1.3 1.8; do service "run $seconds"; done
        service start "until-reading satellites>0 60"
        "$0" construct "until-state antenna_flags=0x0001 10" state)");
    EXPECT_EQ(unit.status(), 0);
    const std::vector<std::string> lines = unit.output(); // a speed, and what came of it
    ASSERT_THAT(lines, SizeIs(2 * 5));
    for (std::size_t i = 0; i < lines.size(); i += 2)
        EXPECT_EQ(lines[i + 1], lines[i] == "115200" ? "000020" : "000000") << "at " << lines[i] << " baud";
    EXPECT_EQ(lines.back(), "000020") << "gpsd has found the speed";
    for (std::size_t start = 0; start < 6; ++start)
        EXPECT_EQ(acknowledgedAtTheStart(start), 5) << start;
    expectConfigured(unit.receiverStates().at(0));
    faultFigure("line.stopped-soon", "databases_lost_of_4", static_cast<double>(outputs("000000")));
}

} // namespace
