// A receiver that is busy, forgets, refuses and talks as real ones do, on the virtual unit with the real
// gpsd.

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>

#include "EndToEnd.h"
#include "FaultFigures.h"

using testing::AllOf;
using testing::Ge;
using testing::Gt;
using testing::IsEmpty;
using testing::Le;
using testing::Lt;
using testing::SizeIs;

namespace {

constexpr char kAllAcknowledged[] = "UBXConfig: All commands have been acknowledged by positioning chip";
constexpr char kConfigured[] = "until-state antenna_flags=0x0001 40";
constexpr double kAckWaitS = 6; // the budget of one wait for acknowledgements
constexpr double kResetS = 1;   // the pause behind the reset

struct Counts {
    int used = -1;
    int notUsed = -1;
};

class ReceiverFaults : public EndToEndTest {
protected:
    double secondsOf(const std::string& operation, std::size_t which = 0) const {
        const auto ends = unit.lines("end", operation);
        return which < ends.size() ? ends[which].number("seconds") : -1;
    }
    /// When the receiver took the first message of this name.
    double takenAt(const std::string& message) const {
        const auto lines = unit.receiverLog(message);
        return lines.empty() ? 0 : lines.front().t;
    }
    std::string dump() const {
        std::ifstream file(unit.dataFolder() + "/NavigationDatabaseDump", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string trailer() const { return dump().size() < 6 ? "" : dump().substr(dump().size() - 6); }
    Counts restored() const {
        Counts counts;
        for (const LogLine& line : unit.loggedLike("Restoring navigation database completed"))
            std::sscanf(line.text.c_str() + line.text.find(','),
                        ", %d MGA messages used, %d MGA messages not", &counts.used, &counts.notUsed);
        return counts;
    }
    // --- What the receiver sent, from `--capture /data/capture`

    std::string sent() const {
        std::ifstream file(unit.dataFolder() + "/capture", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// Texts of this content.
    std::size_t textsSent(const std::string& text) const {
        const std::string all = sent();
        const std::string mark = "TXT,01,01,";
        std::size_t count = 0;
        for (std::size_t at = all.find(mark); at != std::string::npos; at = all.find(mark, at + 1))
            count += all.compare(at + mark.size() + 3, text.size() + 1, text + "*") == 0 ? 1 : 0;
        return count;
    }
    /// Acknowledgements between two sentences of which the second is not an epoch's first.
    std::size_t acknowledgementsWithinAnEpoch() const {
        const std::set<std::string> laterSentences = {"VTG", "GGA", "GSA", "GSV", "GLL"};
        const std::string header("\r\n\xB5\x62\x05\x01\x02\x00", 8);
        const std::string all = sent();
        std::size_t count = 0;
        for (std::size_t at = all.find(header); at != std::string::npos; at = all.find(header, at + 1))
            count += laterSentences.count(all.substr(std::min(at + 15, all.size()), 3)); // behind "$GN"
        return count;
    }

    /// Receives a fix, ends, and is constructed anew after `commands`, without satellites until then.
    void restartAfter(const Steps& commands) {
        Steps steps{"construct", "initialize", "start", "until position 1 60", "destroy"};
        for (const std::string& command : commands)
            steps.push_back(control(command));
        unit.probe(concat(steps, {"construct", kConfigured, "run 2", "state", control("clear"), "initialize",
                                  "start", "forget", "until position 1 60", "stop", "finalize"}));
        EXPECT_EQ(unit.status(), 0);
    }
};

} // namespace

// --- Busy -----------------------------------------------------------------------------------------------

TEST_F(ReceiverFaults, BusyForASecondAfterAChangeOfSystemsItIsConfiguredAllTheSame) {
    unit.receiver("--ttff 2 --burst --gnss-busy 1");
    unit.probe({"construct", kConfigured, "run 2", "state", "destroy"});
    ASSERT_THAT(unit.receiverStates(), SizeIs(1));
    EXPECT_EQ(unit.receiverStates()[0]["acks_sent"], "5");
    EXPECT_EQ(unit.receiverStates()[0]["input_lost"], "0");
    EXPECT_THAT(unit.logged(6, kAllAcknowledged), SizeIs(1));
    EXPECT_THAT(takenAt("CFG-NAVX5") - takenAt("CFG-GNSS"), AllOf(Ge(1), Le(2)));
    EXPECT_LT(secondsOf("construct"), kResetS + kAckWaitS);
    faultFigure("receiver.busy-after-gnss", "construction_s", secondsOf("construct"));
}

TEST_F(ReceiverFaults, BusyForLongerThanTheWaitItIsConfiguredAfterIt) {
    unit.receiver("--ttff 2 --burst --gnss-busy 25");
    serve({kConfigured, "state", "until position 1 60"});
    EXPECT_THAT(unit.logged(6, kAllAcknowledged), IsEmpty());
    EXPECT_THAT(secondsOf("construct"), AllOf(Ge(kResetS + kAckWaitS), Lt(25)));
    EXPECT_EQ(unit.receiverStates().at(0)["ack_aiding"], "on");
    faultFigure("receiver.busy-longer-than-the-wait", "construction_s", secondsOf("construct"));
}

// It is busy after CFG-GNSS alone: where the host hands over two commands at once the others cost no time.
TEST_F(ReceiverFaults, WithoutRoomForWhatWaitsItLosesTwoCommandsForGood) {
    unit.receiver("--ttff 2 --burst --input-buffer 20 --message-time 0");
    serve({"until position 1 60", "state"});
    EXPECT_THAT(unit.logged(6, kAllAcknowledged), IsEmpty());
    EXPECT_THAT(secondsOf("construct"), AllOf(Ge(kResetS + kAckWaitS), Lt(kResetS + 2 * kAckWaitS)));
    EXPECT_EQ(unit.receiverStates().at(0)["ack_aiding"], "off");
    EXPECT_EQ(unit.receiverStates().at(0)["antenna_flags"], "0x001f");
    EXPECT_EQ(unit.receiverStates().at(0)["gnss"], "GPS+SBAS+Galileo+QZSS+GLONASS");
    faultFigure("receiver.small-input-buffer", "construction_s", secondsOf("construct"));
}

// --- Navigation database --------------------------------------------------------------------------------

TEST_F(ReceiverFaults, WithoutTheTimeItUsesNoRecordOfItsDatabase) {
    unit.receiver("--ttff 12 --burst");
    restartAfter({"ubx-no-time", "nosatellites"});
    EXPECT_EQ(restored().used, 0);
    EXPECT_GT(restored().notUsed, 10);
    EXPECT_EQ(unit.receiverStates().at(0)["mga_refused"], std::to_string(restored().notUsed));
    EXPECT_LT(secondsOf("construct", 1), kResetS + kAckWaitS)
        << "an answer to each record, so no wait in vain";
}

TEST_F(ReceiverFaults, NotReadyItRefusesTheFirstRecordsAndTakesTheRest) {
    unit.receiver("--ttff 2 --burst");
    restartAfter({"ubx-not-ready 3"});
    EXPECT_EQ(restored().notUsed, 3);
    EXPECT_GT(restored().used, 10);
    EXPECT_EQ(unit.receiverStates().at(0)["mga_taken"], std::to_string(restored().used));
}

TEST_F(ReceiverFaults, ADumpWithoutItsEndIsKeptAfterTheWholeWait) {
    unit.receiver("--ttff 2 --burst --command ubx-no-closing-ack");
    serve({"until position 1 60"});
    EXPECT_THAT(secondsOf("destroy"), AllOf(Ge(kAckWaitS - 0.1), Le(2 * kAckWaitS)));
    EXPECT_GT(std::atoi(trailer().c_str()), 10);
    faultFigure("receiver.dump-without-its-end", "destruction_s", secondsOf("destroy"));
}

// The list of commands holds a record for each frame: beyond 256 the poll's index names an older record,
// which is sent in the poll's place.
TEST_F(ReceiverFaults, ADatabaseOfSeveralHundredRecordsComesBackAndIsLostAtTheNextEnd) {
    const std::string tell = "shell tail -c 6 /data/NavigationDatabaseDump; stat -c ' %s' /data/*Dump";
    unit.receiver("--ttff 2 --burst --database recorded");
    unit.probe({"construct", "initialize", "start", "until position 1 60", "destroy", tell, "construct",
                "initialize", "start", "forget", "until position 1 60", "destroy", tell});
    EXPECT_EQ(unit.status(), 0);
    ASSERT_THAT(unit.output(), SizeIs(2));
    const int saved = std::atoi(unit.output()[0].c_str());
    EXPECT_THAT(saved, AllOf(Gt(256), Lt(500)));
    EXPECT_EQ(restored().used, saved);
    EXPECT_EQ(unit.output()[1], "000000 6");
    faultFigure("receiver.several-hundred-records", "records", saved);
    faultFigure("receiver.several-hundred-records", "second_construction_s", secondsOf("construct", 1));
}

// --- What it says besides -------------------------------------------------------------------------------

// Ten epochs a second are more than 9600 baud carry, so that at the construction sentences are always on
// their way; its output buffer holds them, or it would speak of that by itself.
TEST_F(ReceiverFaults, TextsAndAcknowledgementsBetweenTheSentencesDisturbNothing) {
    unit.receiver("--ttff 2 --burst --output-buffer 1000000 --capture /data/capture --command ubx-between "
                  "--command 'hz 10'");
    serveWith(
        {control("hz 0"), control("inform error txbuf alloc"), control("inform warning NMEA unknown msg")},
        {"until position 5 60", control("inform error txbuf alloc"), "until position 5 60", "state"});
    EXPECT_GE(acknowledgementsWithinAnEpoch(), 1u);
    EXPECT_EQ(textsSent("txbuf alloc"), 2u);
    EXPECT_EQ(textsSent("NMEA unknown msg"), 1 + unit.receiverLog(": NMEA unknown msg").size());
    EXPECT_THAT(unit.logged(6, kAllAcknowledged), SizeIs(1));
    EXPECT_EQ(unit.receiverStates().at(0)["ack_aiding"], "on");
}
