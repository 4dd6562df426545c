// The navigation database's file as a vehicle and a disk leave it, on the virtual unit.

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>

#include "ReceiverOnUnit.h"
#include "UbxFrame.h"

using testing::ElementsAre;
using testing::SizeIs;

namespace {

class FileFault : public ReceiverOnUnit {
protected:
    /// Starts with this file, serves until there is a fix, and ends.
    void serveAfter(const std::string& content) {
        writeDump(content);
        serveWhatIsThere();
    }
    void serveWhatIsThere() {
        unit.receiver("--ttff 2 --burst");
        serve({"until position 1 60"});
        EXPECT_EQ(acknowledgedAtTheStart(), 5);
    }

    /// Nothing but whole frames and their number.
    void expectWholeDatabase(const std::string& content) const {
        const auto frames = simulator::framesIn(content);
        std::size_t size = 6;
        for (const auto& frame : frames)
            size += frame.payload.size() + 8;
        EXPECT_EQ(content.size(), size);
        EXPECT_GT(frames.size(), 10u);
        EXPECT_EQ(std::stoul(content.substr(content.size() - 6)), frames.size());
    }

    /// Frames that the first construction sent behind its five commands.
    std::size_t sentFrames() const {
        const double end = unit.line("end", "construct").t;
        std::size_t count = 0;
        for (const ReceiverLine& line : unit.receiverLog())
            count += line.t < end && line.text.find("reset line") != 0 && line.text.find("CFG-") != 0 ? 1 : 0;
        return count;
    }
};

std::string frame(const std::string& payload) {
    const simulator::Bytes bytes = simulator::encodeUbx({0x13, 0x80, {payload.begin(), payload.end()}});
    return {bytes.begin(), bytes.end()};
}

// --- A file that is none --------------------------------------------------------------------------------

TEST_F(FileFault, AMissingFileIsSaidAndMadeAtTheEnd) {
    serveWhatIsThere();
    EXPECT_THAT(unit.logged(6, kNoDumpFile), SizeIs(1));
    expectWaits(0);
    expectWholeDatabase(dump());
}

TEST_F(FileFault, AShortFileIsSaidToBeEmptyAndReplacedAtTheEnd) {
    serveAfter("00000");
    EXPECT_THAT(unit.logged(6, kEmptyDump), SizeIs(1));
    expectWaits(0);
    EXPECT_EQ(sentFrames(), 0u);
    expectWholeDatabase(dump());
}

struct Place {
    const char* name;
    const char* target; // of the link in the file's place
    bool isWritten;
};

void PrintTo(const Place& place, std::ostream* stream) { *stream << place.name; }

class LinkInPlaceOfTheFile : public FileFault, public testing::WithParamInterface<Place> {};

TEST_P(LinkInPlaceOfTheFile, IsKeptAndFollowedWhereItCanBe) {
    std::filesystem::create_symlink(GetParam().target, dumpFile());
    serveWhatIsThere();
    EXPECT_THAT(unit.logged(6, kNoDumpFile), SizeIs(1));
    EXPECT_THAT(unit.logged(3, kNotWritable), SizeIs(GetParam().isWritten ? 0 : 1));
    expectWaits(0);
    EXPECT_TRUE(std::filesystem::is_symlink(dumpFile()));
    if (GetParam().isWritten)
        expectWholeDatabase(dump());
    else
        EXPECT_EQ(dump(), "");
}

INSTANTIATE_TEST_SUITE_P(Link, LinkInPlaceOfTheFile,
                         testing::Values(Place{"ToItself", "NavigationDatabaseDump", false},
                                         Place{"ToAFileThatIsMissing", "elsewhere", true},
                                         Place{"ToAFolderThatIsGone", "gone/NavigationDatabaseDump", false},
                                         Place{"ToAReadOnlyDisk", "/usr/NavigationDatabaseDump", false}),
                         [](const auto& place) { return place.param.name; });

// --- A file that was cut --------------------------------------------------------------------------------

struct CutFile {
    const char* name;
    std::string content;
    int empties; // a step behind the frame sends an empty one, which nobody answers
    int waits;
    const char* row;
};

void PrintTo(const CutFile& file, std::ostream* stream) { *stream << file.name; }

class FileThatEndsInAFrame : public FileFault, public testing::WithParamInterface<CutFile> {};

TEST_P(FileThatEndsInAFrame, CostsAWaitForEachStepBehindIt) {
    serveAfter(GetParam().content);
    expectWaits(GetParam().waits);
    EXPECT_THAT(unit.receiverLog("class 0x00 id 0x00"), SizeIs(GetParam().empties));
    expectWholeDatabase(dump());
    faultFigure(GetParam().row, "construction_s", construction());
}

INSTANTIATE_TEST_SUITE_P(File, FileThatEndsInAFrame,
                         testing::Values(CutFile{"Cut", frame("abcd").substr(0, 8), 5, 5, "files.cut"},
                                         CutFile{"WithoutTrailer", frame("ab"), 7, 7, "files.no-trailer"},
                                         CutFile{"OfTheGreatestLength",
                                                 std::string("\xB5\x62\x13\x80\xFF\xFF", 6) + "01", 5, 1 + 5,
                                                 "files.greatest-length"}),
                         [](const auto& file) { return file.param.name; });

// --- Large files ----------------------------------------------------------------------------------------

// Out of step behind its first pair, which opens a frame of 25,269 bytes: too long for no shell, and no
// receiver answers it.
TEST_F(FileFault, AMillionSyncPairsCostOneWait) {
    std::string content;
    for (int i = 0; i < 1000000; ++i)
        content += "\xB5\x62";
    serveAfter(content);
    expectWaits(1);
    EXPECT_THAT(unit.logged(3, kChecksumError), SizeIs(1));
    EXPECT_EQ(restored().total, 0);
    expectWholeDatabase(dump());
}

// Read to its end, step by step; no command is sent and no pause made for it.
class LargeFile : public FileFault {
protected:
    static constexpr int kSize = 50000000;

    /// Starts with the file that is there, ends, and starts and ends once more with what that left.
    void serveTwiceWhatIsThere() {
        unit.speed(0.1); // the host's own pace: what the file takes is the processor's time
        unit.receiver("--burst");
        const Steps life = {kLook, "construct", kLook, kConfigured, "destroy"};
        unit.probe(concat(life, life));
        EXPECT_EQ(unit.status(), 0);
        EXPECT_EQ(acknowledgedAtTheStart(), 5);
        EXPECT_EQ(sentFrames(), 0u);
        EXPECT_EQ(restored().total, 0);
        EXPECT_EQ(dump(), "000000");
    }

    /// How long a byte takes depends on the host and on what runs beside it; how long nothing is done, on the
    /// library alone. A wait for answers, which nobody gives, would be seen.
    void expectNoPauseForIt(const std::string& row) const {
        EXPECT_LT(asleep(0), asleep(1) + kLeastWait / 2);
        faultFigure(row, "asleep_more_s", asleep(0) - asleep(1));
        faultFigure(row, "seconds_per_gigabyte", (construction(0) - construction(1)) * (1e9 / kSize));
    }

private:
    /// The host's uptime, and the nanoseconds for which the application's thread had the processor and for
    /// which it stood in the queue for it.
    static constexpr char kLook[] = "shell cat /proc/uptime /proc/$PPID/schedstat";

    struct Look {
        double uptime = 0;
        double active = 0;
    };
    Look look(std::size_t number) const {
        Look look;
        double ran = 0;
        double queued = 0;
        std::istringstream(unit.output().at(2 * number)) >> look.uptime;
        std::istringstream(unit.output().at(2 * number + 1)) >> ran >> queued;
        look.active = (ran + queued) / 1e9;
        return look;
    }
    /// Seconds of a construction in which its thread neither ran nor waited for a processor.
    double asleep(std::size_t number) const {
        const Look before = look(2 * number);
        const Look after = look(2 * number + 1);
        return construction(number) * (1 - (after.active - before.active) / (after.uptime - before.uptime));
    }
};

TEST_F(LargeFile, OfFiftyMegabytesOfJunkIsReadToTheEnd) {
    writeDump(std::string(kSize, '.'));
    serveTwiceWhatIsThere();
    expectNoPauseForIt("files.fifty-megabytes");
}

TEST_F(LargeFile, WithHolesIsReadToTheEndToo) {
    writeDump("");
    ASSERT_EQ(truncate(dumpFile().c_str(), kSize), 0);
    serveTwiceWhatIsThere();
    expectNoPauseForIt("files.sparse");
}

// --- Hostile contents -----------------------------------------------------------------------------------

TEST_F(FileFault, ShellWordsInTheFileReachNoShell) {
    const std::string words =
        "\" > /dev/null; touch /data/owned; echo \"$(touch /data/owned)`touch /data/owned`";
    serveAfter(frame(words) + frame("';touch /data/owned;'") + "$(id)\"");
    expectWaits(0);
    EXPECT_FALSE(std::filesystem::exists(unit.dataFolder() + "/owned"));
    EXPECT_EQ(restored().notUsed, 2) << "the receiver was sent them as they stand, and refused them";
    expectWholeDatabase(dump());
}

// --- /data ----------------------------------------------------------------------------------------------

// There was room as the file was emptied, and there are two pages left when the frames have come.
TEST_F(FileFault, ADiskThatFillsDuringTheDumpLeavesAnEmptyFile) {
    unit.receiver("--burst --command nofix --command 'ubx-late 2000'").dataSize(64);
    unit.script(R"(file=/data/NavigationDatabaseDump
        "$0" construct "write /run/unit/receiver.control database 200" "run 1" destroy & probe=$!
        until test -f $file; do kill -0 $probe || exit 9; done
        cat /dev/zero >/data/filling 2>/dev/null; truncate -s -8192 /data/filling
        wait $probe || exit
        "$0" "shell stat -c %s $file"
        rm /data/filling; echo ubx-normal >/run/unit/receiver.control
        "$0" construct "write /run/unit/receiver.control database 20" "run 1" destroy \
            "shell tail -c 6 $file; echo")");
    EXPECT_EQ(unit.status(), 0);
    EXPECT_THAT(unit.receiverLog("MGA-DBD poll: 200 records"), SizeIs(1));
    EXPECT_THAT(unit.output(), ElementsAre("0", "000020"));
    EXPECT_THAT(unit.logged(6, kEmptyDump), SizeIs(1)) << "at the second start";
}

// The disk goes while the service runs: what was saved is away with it, and the end says that it could not
// save.
TEST_F(FileFault, ADiskThatGoesInServiceIsSaidAtTheEnd) {
    std::filesystem::create_directory(unit.dataFolder() + "/disk");
    std::filesystem::create_symlink("disk/NavigationDatabaseDump", dumpFile());
    writeDump("000000");
    unit.receiver("--ttff 2 --burst");
    serve({"shell rm -r /data/disk", "until position 1 60"});
    EXPECT_THAT(unit.loggedLike("Restoring navigation database completed"), SizeIs(1));
    EXPECT_THAT(unit.logged(3, kNotWritable), SizeIs(1));
    EXPECT_THAT(unit.receiverLog("MGA-DBD poll"), SizeIs(1)) << "the receiver is asked all the same";
}

// --- SIGKILL --------------------------------------------------------------------------------------------

// 60 records take about two seconds. The file stays, and a start that is let to its end takes every one of
// them.
TEST_F(FileFault, KilledAtAnyMomentOfTheRestoreItKeepsTheFile) {
    unit.receiver("--burst --command nofix");
    unit.script(R"(file=/data/NavigationDatabaseDump
        "$0" construct "write /run/unit/receiver.control database 60" "run 1" destroy; cp $file /data/saved
        for seconds in 0.2 0.9 1.2 1.5 1.8 2.1 2.4 2.7 3; do
            "$0" construct & probe=$!
            "$0" "run $seconds"; kill -9 $probe; wait $probe
            cmp $file /data/saved || exit 9
        done 2>/dev/null
        "$0" construct "until-state mga_taken=60 10" state)");
    EXPECT_EQ(unit.status(), 0);
    EXPECT_EQ(restored().used, 60);
    EXPECT_EQ(unit.receiverStates().at(0).at("mga_taken"), "60");
}

} // namespace
