// Answers that are damaged, lost or late while the navigation database goes to its file and comes back, on
// the virtual unit with the real gpsd.

#include "ReceiverOnUnit.h"
#include "UbxFrame.h"

using testing::EndsWith;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr double kResetS = 1;    // the pause behind the reset
constexpr double kLateS = 1.5;   // within the wait for an answer
constexpr double kTooLateS = 11; // behind it: it takes 6 s, and up to 11 where its pauses come late
constexpr char kLate[] = "ubx-late 1500";
constexpr char kTooLate[] = "ubx-late 11000";

class DatabaseFaults : public ReceiverOnUnit {
protected:
    /// A service with so many records to save, the next one that restores them, and what the receiver knows
    /// then. The fault is there during the dump.
    void dumpWith(const std::string& fault, int records) {
        run({"construct", control(database(records)), control(fault), "run 1", "destroy", kKeep,
             control("ubx-normal"), "construct", kConfigured, "run 2", "state"});
    }
    /// The same with the fault during the next service's configuration and restore. What it leaves at its own
    /// end, without the fault, is the file.
    void restoreWith(const Steps& faults, int records) {
        run(concat(concat({"construct", control(database(records)), "run 1", "destroy", kKeep}, faults),
                   {"construct", "run 2", "state", control("ubx-normal"), "destroy"}));
    }

    /// What the first service left.
    std::string saved() const {
        std::ifstream file(unit.dataFolder() + "/saved", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    int state(const std::string& field) const { return std::stoi(unit.receiverStates().at(0).at(field)); }
    /// The receiver has kept what it was sent, whatever its answers said, and perhaps learned more.
    void expectSavedAgain() const {
        ASSERT_GT(saved().size(), 6u);
        EXPECT_THAT(dump(), HasSubstr(saved().substr(0, saved().size() - 6)));
    }
    void expectRestored(int used, int notUsed) const {
        EXPECT_EQ(restored().used, used);
        EXPECT_EQ(restored().notUsed, notUsed);
        EXPECT_EQ(restored().total, used + notUsed);
    }

private:
    static std::string database(int records) { return "database " + std::to_string(records); }

    void run(const Steps& steps) {
        unit.receiver("--burst --command nofix");
        unit.probe(steps);
        EXPECT_EQ(unit.status(), 0);
    }

    static constexpr char kKeep[] = "shell cp /data/NavigationDatabaseDump /data/saved";
};

// --- On the way to the file -----------------------------------------------------------------------------

struct Damage {
    const char* name;
    const char* command; // a byte of each record's payload
};

void PrintTo(const Damage& damage, std::ostream* stream) { *stream << damage.name; }

class DamagedDump : public DatabaseFaults, public testing::WithParamInterface<Damage> {};

// Neither checksum nor content is looked at on this way. Behind a lost byte the file takes the next one,
// which is where the search goes on.
TEST_P(DamagedDump, IsKeptWholeAndRefusedRecordByRecord) {
    dumpWith(GetParam().command, 6);
    EXPECT_THAT(saved(), EndsWith("000006"));
    EXPECT_THAT(simulator::framesIn(saved()), IsEmpty()) << "no checksum fits";
    EXPECT_THAT(unit.logged(3, kChecksumError), SizeIs(6));
    expectRestored(0, 6);
    EXPECT_EQ(state("mga_refused"), 6);
    EXPECT_EQ(state("mga_taken"), 0);
    expectWaits(0, 1);
    EXPECT_LT(construction(1), kResetS + kLeastWait) << "an answer to each record, so no wait in vain";
}

INSTANTIATE_TEST_SUITE_P(Bytes, DamagedDump,
                         testing::Values(Damage{"dropped", "ubx-drop 20"}, Damage{"flipped", "ubx-flip 20"}),
                         [](const auto& damage) { return damage.param.name; });

TEST_F(DatabaseFaults, ADumpThatComesLateIsSavedWhole) {
    dumpWith(kLate, 6);
    EXPECT_GE(secondsOf("destroy"), kLateS);
    EXPECT_EQ(waitsOf("destroy"), 0);
    EXPECT_THAT(simulator::framesIn(saved()), SizeIs(6));
    EXPECT_THAT(saved(), EndsWith("000006"));
    EXPECT_THAT(unit.logged(3, kChecksumError), IsEmpty());
    expectRestored(6, 0);
    EXPECT_EQ(state("mga_taken"), 6);
    faultFigure("receiver.dump-late", "destruction_s", secondsOf("destroy"));
}

TEST_F(DatabaseFaults, ADumpThatComesBehindItsWaitIsLost) {
    dumpWith(kTooLate, 6);
    EXPECT_EQ(waitsOf("destroy"), 1);
    EXPECT_LT(secondsOf("destroy"), kTooLateS);
    EXPECT_EQ(saved(), "000000");
    expectRestored(0, 0);
    EXPECT_EQ(state("mga_taken"), 0);
    expectWaits(0, 1);
    faultFigure("receiver.dump-later-than-its-wait", "destruction_s", secondsOf("destroy"));
}

// Nothing but records is stored, and an acknowledgement of something else ends neither wait nor search.
TEST_F(DatabaseFaults, ADumpMixedWithOtherMessagesIsSavedWhole) {
    dumpWith("ubx-mixed", 6);
    EXPECT_THAT(simulator::framesIn(saved()), SizeIs(6));
    EXPECT_THAT(saved(), EndsWith("000006"));
    EXPECT_THAT(unit.logged(3, kChecksumError), IsEmpty());
    expectRestored(6, 0);
    EXPECT_EQ(state("mga_taken"), 6);
    EXPECT_EQ(state("mga_refused"), 0);
}

TEST_F(DatabaseFaults, ADatabaseThatIsLostLeavesAnEmptyFile) {
    dumpWith("database lost", 6);
    EXPECT_THAT(unit.receiverLog("MGA-DBD poll: 0 records"), SizeIs(Ge(1u)));
    EXPECT_EQ(saved(), "000000");
    EXPECT_LT(secondsOf("destroy"), kLeastWait) << "the acknowledgement comes alone, and at once";
    expectRestored(0, 0);
    expectWaits(0, 1);
}

// --- On the way back ------------------------------------------------------------------------------------

TEST_F(DatabaseFaults, ARestoreWhoseAnswersAreLostWaitsForEachRecordAndLosesNone) {
    restoreWith({control("ubx-drop 3")}, 3);
    expectWaits(2 + 3, 1);
    expectRestored(0, 0);
    EXPECT_EQ(state("mga_taken"), 3);
    EXPECT_THAT(unit.receiverLog("MGA-DBD ephemeris"), SizeIs(3)) << "none is sent twice";
    expectSavedAgain();
    faultFigure("receiver.restore-dropped", "construction_s", construction(1));
}

// The seventh byte is the command's class or says that a record was used. The answers come late: sentences at
// the old speed read as zeros, and with those ahead in its read the first would pass for an MGA-ACK.
TEST_F(DatabaseFaults, ARestoreWhoseAnswersAreDamagedMiscountsAndLosesNone) {
    restoreWith({control("ubx-flip 7"), control("ubx-late 500")}, 3);
    expectWaits(2, 1);
    expectRestored(0, 3);
    EXPECT_EQ(state("mga_taken"), 3);
    expectSavedAgain();
}

TEST_F(DatabaseFaults, ARestoreWhoseAnswersComeLateTakesThatMuchLongerARecord) {
    restoreWith({control(kLate)}, 3);
    EXPECT_GE(construction(1), kResetS + (2 + 3) * kLateS);
    expectWaits(0, 1);
    expectRestored(3, 0);
    expectSavedAgain();
    faultFigure("receiver.restore-late", "construction_s", construction(1));
}

// Two waits for the configuration, one for the first record. Its answer comes while the second is waited for,
// and counts for both.
TEST_F(DatabaseFaults, ARestoreWhoseAnswersComeBehindTheirWaitCountsThemWithTheNext) {
    restoreWith({control(kTooLate)}, 2);
    expectWaits(2 + 1, 1);
    EXPECT_GE(construction(1), kResetS + 2 * kLeastWait + kTooLateS);
    EXPECT_THAT(unit.logged(6, kAllAcknowledged), SizeIs(1)) << "the first start's";
    expectRestored(2, 0);
    EXPECT_EQ(state("mga_taken"), 2);
    expectSavedAgain();
    faultFigure("receiver.restore-later-than-its-wait", "construction_s", construction(1));
}

} // namespace
