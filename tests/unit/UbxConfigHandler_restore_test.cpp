// The navigation database is sent back: well-formed files, long ones, and damaged ones of every kind.

#include <sys/stat.h>

#include <filesystem>

#include "HandlerTest.h"
#include "InstanceNames.h"

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::SizeIs;
using ::testing::Values;
using namespace std::string_literals;

namespace {

const std::string kDumpFile = "/data/NavigationDatabaseDump";
const std::string kNotReadable = "Failed to open navigation database dump file";
const std::string kEmpty = "Navigation database dump file is empty";
const std::string kChecksumError = "Checksum error: Failed to restore one part of the navigation database";

std::string number(int value, int width) {
    const std::string digits = std::to_string(value);
    return std::string(static_cast<std::size_t>(width) - digits.size(), '0') + digits;
}

Bytes dbd(const Bytes& payload) { return ubxFrame(0x13, 0x80, payload); }

/// Database frames that differ: the first carries "0001".
std::vector<Bytes> differentFrames(int count) {
    std::vector<Bytes> frames;
    for (int i = 1; i <= count; ++i)
        frames.push_back(dbd(number(i, 4)));
    return frames;
}

/// Of those; the poll of the database at the end is shorter.
bool isTheSecond(const Bytes& frame) { return frame.size() > 9 && frame[9] == '2'; }

Bytes joined(const std::vector<Bytes>& frames) {
    Bytes all;
    for (const Bytes& frame : frames)
        all += frame;
    return all;
}

/// A whole file of these frames.
Bytes database(const std::vector<Bytes>& frames) {
    return joined(frames) + number(static_cast<int>(frames.size()), 6);
}

std::string announcement(const std::string& n, const std::string& total) {
    return "UBXConfig: Restoring navigation database (" + n + " of " + total + ")";
}

std::string completion(int used, int notUsed) {
    return "UBXConfig: Restoring navigation database completed, " + std::to_string(used) +
           " MGA messages used, " + std::to_string(notUsed) + " MGA messages not used, " +
           std::to_string(used + notUsed) + " MGA messages received in total";
}

/// A handler in the middle of its start-up: five records, open port.
class Restore : public HandlerTest {
protected:
    Restore() {
        openPort();
        unit.forget();
    }

    void restores(const Bytes& file) {
        unit.port.setDumpFile(file);
        handler->restoreNavigationDatabase();
    }
    /// The announcements of single frames among the log lines.
    Lines announcements() {
        Lines lines;
        for (const LogLine& line : unit.log.all())
            if (line.text.find("Restoring navigation database (") != std::string::npos)
                lines.push_back(line.text);
        return lines;
    }
    std::string descriptionOf(std::size_t record) { return records().at(record).description; }
};

// --- Well-formed files ----------------------------------------------------------------------------------

TEST_F(Restore, RunsItsStepsInThisOrder) {
    restores(database({dbd("ab")}));
    EXPECT_THAT(unit.journal.lines(),
                ElementsAre("fopen /data/NavigationDatabaseDump rb", logged(6, announcement("1", "1")),
                            written(R"(\xb5\x62\x13\x80\x02\x00\x61\x62\x58\x1e)"),
                            logged(6, completion(1, 0))));
}

TEST_F(Restore, SendsEveryFrameAsItWasStored) {
    const std::vector<Bytes> frames = {dbd("first"), dbd(Bytes(172, '\xff')), dbd("")};
    restores(database(frames));
    EXPECT_EQ(unit.port.sent, frames);
    EXPECT_LOGGED(6, completion(3, 0));
}

TEST_F(Restore, AppendsARecordForEachFrame) {
    restores(database({dbd("one"), ubxFrame(0x13, 0x60, "two")}));
    ASSERT_EQ(records().size(), 7u);
    EXPECT_EQ(descriptionOf(5), announcement("1", "2"));
    EXPECT_EQ(descriptionOf(6), announcement("2", "2"));
    EXPECT_EQ(records()[6].msgClass, 0x13);
    EXPECT_EQ(records()[6].msgId, 0x60);
    EXPECT_TRUE(records()[6].acknowledged);
}

TEST_F(Restore, AnnouncesOnlyTheLastFrame) {
    restores(database(differentFrames(12)));
    EXPECT_THAT(announcements(), ElementsAre(announcement("12", "12")));
}

TEST_F(Restore, SendsNothingOfAFileWithTheTrailerAlone) {
    member(HandlerMgaUsedCount()) = 3;
    member(HandlerMgaNotUsedCount()) = 2;
    restores("000000");
    EXPECT_THAT(unit.journal.only({"system"}), IsEmpty());
    EXPECT_LOGGED(6, completion(3, 2));
}

TEST_F(Restore, NeverResetsTheCounters) {
    member(HandlerMgaUsedCount()) = 10;
    restores(database({dbd("one")}));
    EXPECT_EQ(used(), 11u);
}

TEST_F(Restore, CountsRefusedFramesAsNotUsed) {
    unit.port.receiver = [](const Bytes& frame) { return mgaAck(0x80, isTheSecond(frame) ? 0 : 1); };
    restores(database(differentFrames(3)));
    EXPECT_LOGGED(6, completion(2, 1));
}

TEST_F(Restore, GoesOnAfterAFrameThatIsNotAcknowledged) {
    unit.port.receiver = [](const Bytes& frame) {
        return isTheSecond(frame) ? Bytes() : contentReceiver(frame);
    };
    restores(database(differentFrames(3)));
    EXPECT_THAT(unit.port.sent, SizeIs(3));
    EXPECT_EQ(unit.port.reads, 1 + 276 + 1);
    EXPECT_LOGGED(6, completion(3, 0)); // the third's acknowledgement names the second too
}

TEST_F(Restore, NeitherOpensNorClosesThePort) {
    restores(database({dbd("one")}));
    EXPECT_EQ(unit.journal.count("fopen /dev"), 0u);
    EXPECT_TRUE(unit.port.isOpen());
}

TEST_F(Restore, LeavesTheFileAsItIs) {
    restores(database(differentFrames(3)));
    EXPECT_THAT(unit.port.dumpFile(), Optional(database(differentFrames(3))));
    EXPECT_EQ(unit.journal.count("fopen " + kDumpFile), 1u);
}

TEST_F(Restore, KeepsBlanksLineFeedsAndZerosOfAPayload) {
    const Bytes frame = dbd(Bytes(" \n\r\t\v\f\0 \0\n", 10));
    restores(database({frame, dbd("\n\n")}));
    EXPECT_THAT(unit.port.sent, ElementsAre(frame, dbd("\n\n")));
}

TEST_F(Restore, TakesBytesAbove127Unsigned) {
    const Bytes frame = ubxFrame(0xFF, 0xFE, Bytes(200, '\x80'));
    restores(database({frame}));
    EXPECT_THAT(unit.port.sent, ElementsAre(frame));
    EXPECT_EQ(records().back().msgClass, 0xFF);
    EXPECT_EQ(records().back().msgId, 0xFE);
}

TEST_F(Restore, SendsAnyMessageThatWasStored) {
    const Bytes frame = ubxFrame(0x6B, 0x7C, "anything");
    restores(database({frame}));
    EXPECT_THAT(unit.port.sent, ElementsAre(frame));
}

TEST_F(Restore, WritesItsFramesWithoutAPort) {
    fclose(member(HandlerSerialPort()));
    member(HandlerSerialPort()) = nullptr;
    restores(database(differentFrames(2)));
    EXPECT_THAT(unit.port.sent, SizeIs(2));
    EXPECT_EQ(unit.port.reads, 0);
    EXPECT_LOGGED(6, completion(0, 0));
}

class RestoreAtStartUp : public HandlerTest {};

TEST_F(RestoreAtStartUp, FollowsTheConfigurationWhileThePortIsOpen) {
    shutDown();
    unit.port.setDumpFile(database({dbd("one")}));
    unit.forget();
    handler = std::make_unique<UbxConfigHandler>();
    const Lines lines = unit.journal.lines();
    EXPECT_THAT(Lines(lines.end() - 6, lines.end()),
                ElementsAre(logged(6, "UBXConfig: All commands have been acknowledged by positioning chip"),
                            "fopen /data/NavigationDatabaseDump rb", logged(6, announcement("1", "1")),
                            written(R"(\xb5\x62\x13\x80\x03\x00\x6f\x6e\x65\xd8\x22)"),
                            logged(6, completion(1, 0)), "fclose /dev/ttymxc1"));
}

TEST_F(RestoreAtStartUp, BringsBackWhatTheShutDownSaved) {
    const std::vector<Bytes> frames = differentFrames(20);
    unit.port.receiver = [&](const Bytes&) { return joined(frames) + mgaAck(0x80); };
    shutDown();
    unit.port.receiver = contentReceiver;
    startUp();
    EXPECT_EQ(used(), 20u);
    EXPECT_EQ(records().back().description, announcement("20", "20"));
}

TEST_F(RestoreAtStartUp, LeavesFramesThatAReloadSendsAgain) {
    shutDown();
    unit.port.setDumpFile(database(differentFrames(3)));
    startUp();
    handler->reloadConfig();
    EXPECT_EQ(std::vector<Bytes>(unit.port.sent.begin() + 5, unit.port.sent.end()), differentFrames(3));
}

// --- More frames than 8 bits can number -----------------------------------------------------------------

class RestoreIndex : public Restore {
protected:
    /// What is written to the port: with five records ahead, frame n is record n + 4.
    static std::vector<Bytes> expectedFor(int count) {
        std::vector<Bytes> list;
        for (const ConfigurationText& text : kConfigurationTexts)
            list.push_back(unescaped(text.frame));
        for (const Bytes& frame : differentFrames(count))
            list.push_back(frame);
        std::vector<Bytes> expected;
        for (int n = 1; n <= count; ++n) {
            const int index = (n + 4) % 256; // 128 to 254 are negative and name none, 255 is -1
            if (index < 128)
                expected.push_back(list[static_cast<std::size_t>(index)]);
            if (index == 255)
                expected.insert(expected.end(), list.begin() + 1, list.begin() + n + 5);
        }
        return expected;
    }
};

TEST_F(RestoreIndex, WrapsAt8Bits) {
    restores(database(differentFrames(300)));
    EXPECT_EQ(unit.port.sent, expectedFor(300));
    EXPECT_THAT(unit.port.sent, SizeIs(123 + 255 + 49));
    EXPECT_THAT(records(), SizeIs(305));
}

struct CountCase {
    int frames;
    std::size_t written;
    int used;
};

class RestoreOfManyFrames : public RestoreIndex, public ::testing::WithParamInterface<CountCase> {};

TEST_P(RestoreOfManyFrames, SendsWhatTheIndexOf8BitsNames) {
    restores(database(differentFrames(GetParam().frames)));
    EXPECT_EQ(unit.port.sent, expectedFor(GetParam().frames));
    EXPECT_THAT(unit.port.sent, SizeIs(GetParam().written));
    EXPECT_LOGGED(6, completion(GetParam().used, 0));
}

INSTANTIATE_TEST_SUITE_P(Counts, RestoreOfManyFrames,
                         Values(CountCase{0, 0, 0}, CountCase{1, 1, 1}, CountCase{122, 122, 122},
                                CountCase{123, 123, 123}, CountCase{124, 123, 123}, CountCase{249, 123, 123},
                                CountCase{250, 123, 123}, CountCase{251, 378, 251}, CountCase{252, 379, 251},
                                CountCase{300, 427, 300}, CountCase{379, 506, 379}, CountCase{380, 506, 379},
                                CountCase{506, 506, 379}, CountCase{507, 1017, 507},
                                CountCase{508, 1018, 508}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.frames);
                         });

TEST_F(RestoreIndex, AnnouncesNoFrameThatIsNotSent) {
    restores(database(differentFrames(124)));
    EXPECT_THAT(announcements(), IsEmpty());
}

TEST_F(RestoreIndex, AnnouncesTheOlderRecordThatIsSentInsteadOfTheLast) {
    restores(database(differentFrames(300)));
    EXPECT_THAT(announcements(), ElementsAre(announcement("44", "300")));
}

struct SecondShutDownCase {
    int frames;
    std::size_t written;
    bool keepsTheFile;
};

class ShutDownAfterRestore : public HandlerTest, public ::testing::WithParamInterface<SecondShutDownCase> {};

TEST_P(ShutDownAfterRestore, SavesTheDatabaseWhenItsIndexNamesThePoll) {
    shutDown();
    const Bytes file = database(differentFrames(GetParam().frames));
    unit.port.setDumpFile(file);
    startUp();
    shutDown();
    EXPECT_THAT(unit.port.sent, SizeIs(GetParam().written));
    EXPECT_EQ(unit.port.dumpFile(), GetParam().keepsTheFile ? file : "000000");
}

INSTANTIATE_TEST_SUITE_P(Counts, ShutDownAfterRestore,
                         Values(SecondShutDownCase{0, 1, false}, SecondShutDownCase{122, 1, false},
                                SecondShutDownCase{123, 0, true}, SecondShutDownCase{249, 0, true},
                                SecondShutDownCase{250, 255, false}, SecondShutDownCase{251, 1, false},
                                SecondShutDownCase{378, 1, false}, SecondShutDownCase{379, 0, true},
                                SecondShutDownCase{505, 0, true}, SecondShutDownCase{506, 511, false},
                                SecondShutDownCase{507, 1, false}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.frames);
                         });

// --- Files that can't be read or are too short ----------------------------------------------------------

TEST_F(Restore, FindsNoFile) {
    handler->restoreNavigationDatabase();
    EXPECT_THAT(unit.journal.lines(), ElementsAre("fopen " + kDumpFile + " rb", logged(6, kNotReadable)));
}

TEST_F(Restore, CanNotReadTheFile) {
    unit.port.openFails(kDumpFile);
    restores(database({dbd("one")}));
    EXPECT_THAT(unit.journal.lines(),
                ElementsAre("fopen " + kDumpFile + " rb failed", logged(6, kNotReadable)));
}

TEST_F(Restore, FindsAFolderInTheFilesPlace) {
    std::filesystem::create_directory(unit.port.dumpPath());
    handler->restoreNavigationDatabase();
    EXPECT_THAT(unit.journal.lines(), ElementsAre("fopen " + kDumpFile + " rb", logged(6, kNotReadable)));
}

TEST_F(Restore, FindsAFifoInTheFilesPlace) {
    ASSERT_EQ(mkfifo(unit.port.dumpPath().c_str(), 0600), 0);
    handler->restoreNavigationDatabase();
    EXPECT_THAT(unit.journal.lines(), ElementsAre("fopen " + kDumpFile + " rb", logged(6, kNotReadable)));
}

TEST_F(Restore, FindsADeviceInTheFilesPlace) {
    std::filesystem::create_symlink("/dev/null", unit.port.dumpPath());
    handler->restoreNavigationDatabase();
    EXPECT_THAT(unit.journal.lines(), ElementsAre("fopen " + kDumpFile + " rb", logged(6, kNotReadable)));
}

class RestoreOfAShortFile : public Restore, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(RestoreOfAShortFile, FindsItEmpty) {
    restores(dbd("").substr(0, GetParam()));
    EXPECT_THAT(unit.journal.lines(), ElementsAre("fopen " + kDumpFile + " rb", logged(6, kEmpty)));
}

INSTANTIATE_TEST_SUITE_P(Sizes, RestoreOfAShortFile, ::testing::Range<std::size_t>(0, 6),
                         [](const auto& made) { return instanceName(made.param); });

// --- Wrong trailers -------------------------------------------------------------------------------------

struct TrailerCase {
    Bytes trailer;
    std::string total; // in the descriptions
    Lines announced;   // of three frames
};

class RestoreWithTrailer : public Restore, public ::testing::WithParamInterface<TrailerCase> {};

TEST_P(RestoreWithTrailer, SendsAllFramesAndAnnouncesTheOneOfThatNumber) {
    restores(joined(differentFrames(3)) + GetParam().trailer);
    EXPECT_EQ(unit.port.sent, differentFrames(3));
    EXPECT_EQ(descriptionOf(5), announcement("1", GetParam().total));
    EXPECT_EQ(announcements(), GetParam().announced);
}

INSTANTIATE_TEST_SUITE_P(Trailers, RestoreWithTrailer,
                         Values(TrailerCase{"000000", "", {}}, TrailerCase{"000099", "99", {}},
                                TrailerCase{"000002", "2", {announcement("2", "2")}},
                                TrailerCase{"300000", "300000", {}}, TrailerCase{"abcdef", "abcdef", {}},
                                TrailerCase{"0\0\0\0\0\0"s, "", {}},
                                TrailerCase{"3\0rest"s, "3", {announcement("3", "3")}},
                                TrailerCase{"    3\n", "    3\n", {}}),
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.trailer);
                         });

TEST_F(Restore, LogsAHostileTrailerAsItStands) {
    restores(ubxFrame(0x21, 0x77, "acknowledged by ACK-ACK") + "%s%n%d");
    EXPECT_LOGGED(6, "UBXConfig: Acknowledgment has been received for the command: \"" +
                         announcement("1", "%s%n%d") + "\"");
}

TEST_F(Restore, TakesTheLastSixDigitsOfALongerTrailer) {
    restores(joined(differentFrames(2)) + "1000002");
    EXPECT_THAT(announcements(), ElementsAre(announcement("2", "2")));
}

// --- Wrong checksums ------------------------------------------------------------------------------------

TEST_F(Restore, SendsAFrameWithAWrongChecksumAllTheSame) {
    Bytes damaged = dbd("two");
    damaged.back() ^= 1;
    restores(joined({dbd("one"), damaged, dbd("three")}) + "000003");
    EXPECT_THAT(unit.port.sent, ElementsAre(dbd("one"), dbd("two"), dbd("three")));
    EXPECT_EQ(unit.log.count(3, kChecksumError), 1);
    EXPECT_LOGGED(6, completion(3, 0));
}

TEST_F(Restore, ReportsAWrongChecksumAheadOfTheFramesAnnouncement) {
    Bytes damaged = dbd("one");
    damaged[6] = 'O';
    restores(damaged + "000001");
    EXPECT_THAT(unit.journal.only({"log"}),
                ElementsAre(logged(3, kChecksumError), logged(6, announcement("1", "1")),
                            logged(6, completion(1, 0))));
}

TEST_F(Restore, NeverReportsAZeroChecksum) {
    Bytes zeroed = dbd("one");
    zeroed.replace(zeroed.size() - 2, 2, 2, '\0');
    restores(zeroed + "000001");
    EXPECT_THAT(unit.port.sent, ElementsAre(dbd("one")));
    EXPECT_NOT_LOGGED(3, kChecksumError);
}

// --- Damaged contents -----------------------------------------------------------------------------------

TEST_F(Restore, PassesOverJunkOfEvenLengthAndCountsItsPairs) {
    restores("junk" + dbd("one") + "!!" + dbd("two") + "000005");
    EXPECT_THAT(unit.port.sent, ElementsAre(dbd("one"), dbd("two")));
    EXPECT_THAT(announcements(), ElementsAre(announcement("5", "5")));
}

TEST_F(Restore, MissesFramesBehindJunkOfOddLength) {
    restores("odd" + database(differentFrames(3)));
    EXPECT_THAT(unit.port.sent, IsEmpty());
    EXPECT_LOGGED(6, completion(0, 0));
}

TEST_F(Restore, MissesOneFrameBetweenTwoPiecesOfOddJunk) {
    restores(joined({dbd("one"), "x", dbd("2222"), "x", dbd("three")}) + "000003");
    EXPECT_THAT(unit.port.sent, ElementsAre(dbd("one"), dbd("three")));
}

TEST_F(Restore, ReadsTheFollowingFrameAsThePayloadOfACutOne) {
    const Bytes cut = dbd("abcdefghij").substr(0, 8);
    const Bytes swallowed = "ab" + dbd("two").substr(0, 8);
    restores(cut + dbd("two") + dbd("three") + "000003");
    EXPECT_THAT(unit.port.sent, ElementsAre(dbd(swallowed)));
    EXPECT_EQ(unit.log.count(3, kChecksumError), 1);
}

TEST_F(Restore, RepeatsTheSyncOfAFrameThatTheFilesEndCuts) {
    restores(dbd("abcdefghij").substr(0, 15));
    // 13 passes: the frame filled with zeros, then what is left of the sync characters of each further one
    ASSERT_THAT(unit.port.sent, SizeIs(13));
    EXPECT_EQ(unit.port.sent.front(), dbd("abcdefghi" + Bytes(1, '\0')));
    EXPECT_THAT(Lines(unit.port.sent.begin() + 1, unit.port.sent.end()), Each(hex("b5 62 00 00 00 00 00")));
    EXPECT_NOT_LOGGED(3, kChecksumError);
}

TEST_F(Restore, RepeatsTheSyncOfAFileWithoutTrailer) {
    restores(dbd("abcdefghij"));
    EXPECT_EQ(unit.port.sent.front(), dbd("abcdefghij"));
    EXPECT_THAT(unit.port.sent, SizeIs(16));
    EXPECT_THAT(announcements(), IsEmpty());
}

TEST_F(Restore, FillsAPayloadOfTheGreatestLengthWithZeros) {
    unit.port.receiver = silentReceiver;
    restores(hex("b5 62 13 80 ff ff") + "ab");
    EXPECT_EQ(unit.port.sent.front(), dbd("ab" + Bytes(65533, '\0')));
}

TEST_F(Restore, GoesOnAfterACommandThatIsTooLongForTheShell) {
    const Bytes large = dbd(Bytes(40000, 'x'));
    unit.shell.systemGives("echo -e", 127 << 8);
    restores(database({large, dbd("small")}));
    EXPECT_THAT(unit.port.sent, ElementsAre(dbd("small")));
    EXPECT_EQ(unit.journal.count("system echo -e"), 2u);
    EXPECT_LOGGED(6, completion(2, 0));
}

TEST_F(Restore, MisalignsTheTextOfAClassBelow16) {
    restores(ubxFrame(0x05, 0x80, "ab") + "000001");
    // b562 5 80 0200 61 62: the last digit stands alone
    EXPECT_THAT(unit.journal.only({"system"}),
                ElementsAre(written(R"(\xb5\x62\x58\x00\x20\x06\x16\x2\x96\xd0)")));
    EXPECT_EQ(records().back().msgClass, 0x05);
    EXPECT_LOGGED(3, kChecksumError);
}

TEST_F(Restore, MisalignsTheTextOfAnIdBelow16) {
    restores(ubxFrame(0x13, 0x01, "") + "000001");
    EXPECT_THAT(unit.journal.only({"system"}), ElementsAre(written(R"(\xb5\x62\x13\x10\x00\x0\x23\x7c)")));
    EXPECT_EQ(records().back().msgId, 0x01);
}

TEST_F(Restore, ReadsTensOfMegabytesOfJunk) {
    restores(Bytes(30000000, '7'));
    EXPECT_THAT(unit.port.sent, IsEmpty());
    EXPECT_LOGGED(6, completion(0, 0));
}

TEST_F(Restore, FindsItsFramesInTensOfMegabytes) {
    const Bytes junk(15000000, '\0');
    restores(dbd("one") + junk + dbd("two") + junk + "000001");
    EXPECT_THAT(unit.port.sent, ElementsAre(dbd("one"), dbd("two")));
    EXPECT_EQ(descriptionOf(6), announcement("7500002", "1"));
}

} // namespace
