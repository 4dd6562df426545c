// The navigation database is saved: what the acknowledgement wait stores of the receiver's burst.

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "HandlerTest.h"
#include "InstanceNames.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::Values;

namespace {

constexpr std::size_t kBufferSize = 5000;
const std::string kDumpFile = "/data/NavigationDatabaseDump";
const std::string kNotWritable = "Failed to open device for storing navigation database dump";
const std::string kPollFrame = R"(\xb5\x62\x13\x80\x00\x00\x93\xcc)";

Bytes filler(std::size_t count) { return Bytes(count, '.'); }

/// A database frame with a payload of `length` equal bytes.
Bytes dbd(std::size_t length, char content = 'x') { return ubxFrame(0x13, 0x80, Bytes(length, content)); }

/// The receiver's word that the database is complete.
Bytes databaseEnd() { return mgaAck(0x80); }

Bytes longFrameHeader(unsigned int length) {
    return hex("b5 62 13 80") + Bytes{static_cast<char>(length & 0xFF), static_cast<char>(length >> 8)};
}

/// A handler that has an open port and a poll record behind its five.
class DumpingWait : public HandlerTest {
protected:
    static constexpr int kPoll = 5;

    DumpingWait() {
        addRecord(0x13, 0x80);
        openPort();
        unit.forget();
    }

    void receives(const Bytes& bytes) { unit.port.arrives(bytes); }
    void receivesLater(const Bytes& bytes) { unit.port.arrivesLater(bytes); }
    /// Waits and gives the file.
    Bytes dumped(int index = kPoll) {
        handler->waitForAck(static_cast<signed char>(index), true);
        return unit.port.dumpFile().value_or("no file");
    }
};

// --- What is stored -------------------------------------------------------------------------------------

TEST_F(DumpingWait, StoresFramesAsTheyCameWithTheirNumberBehindThem) {
    receives(dbd(50, 'a') + dbd(172, 'b') + dbd(0) + databaseEnd());
    EXPECT_EQ(dumped(), dbd(50, 'a') + dbd(172, 'b') + dbd(0) + "000003");
}

TEST_F(DumpingWait, WritesTheNumberInSixDigits) {
    Bytes burst;
    for (int i = 0; i < 137; ++i)
        burst += dbd(20);
    receives(burst + databaseEnd());
    EXPECT_EQ(dumped(), burst + "000137");
}

TEST_F(DumpingWait, EndsSevenFramesWith000007) {
    for (int i = 0; i < 7; ++i)
        receivesLater(dbd(80));
    receivesLater(databaseEnd());
    EXPECT_EQ(dumped().substr(7 * 88), "000007");
}

TEST_F(DumpingWait, WritesMoreDigitsForAMillionFrames) {
    Bytes tenThousand;
    for (int i = 0; i < 10000; ++i)
        tenThousand += dbd(0);
    for (int i = 0; i < 100; ++i)
        receives(tenThousand);
    receives(databaseEnd());
    member(HandlerMaxReads()) = 2000;
    EXPECT_EQ(dumped().substr(8000000), "1000000");
}

TEST_F(DumpingWait, WritesTheTrailerAloneWhenNoFrameCame) {
    receives(databaseEnd());
    EXPECT_EQ(dumped(), "000000");
}

TEST_F(DumpingWait, WritesTheTrailerAfterATimeOutToo) {
    receives(dbd(50));
    EXPECT_EQ(dumped(), dbd(50) + "000001");
    expectTimeOut();
}

TEST_F(DumpingWait, ReplacesALongerFile) {
    unit.port.setDumpFile(Bytes(10000, 'o'));
    receives(dbd(50) + databaseEnd());
    EXPECT_EQ(dumped(), dbd(50) + "000001");
}

TEST_F(DumpingWait, LeavesAnEmptyFileUntilItsEndSoThatALossOfPowerLeavesNoHalfDatabase) {
    std::vector<Bytes> meanwhile;
    unit.clock.afterEachSleep = [&](auto) { meanwhile.push_back(unit.port.dumpFile().value_or("no file")); };
    Bytes read;
    for (int i = 0; i < 25; ++i)
        read += dbd(172);
    for (int i = 0; i < 4; ++i)
        receivesLater(read); // 18,000 bytes: more than a stream would hold back
    receivesLater(databaseEnd());
    EXPECT_EQ(dumped().substr(100 * 180), "000100");
    EXPECT_EQ(meanwhile, std::vector<Bytes>(5, Bytes()));
}

TEST_F(DumpingWait, LeavesOutWhatIsNotADatabaseFrame) {
    const Bytes other = ubxFrame(0x01, 0x07, Bytes(92, '\0'));
    receives("$GNRMC\r\n" + dbd(50) + other + "$GNGGA\r\n" + dbd(60) + ackAck(6, 1) + databaseEnd());
    EXPECT_EQ(dumped(), dbd(50) + dbd(60) + "000002");
}

TEST_F(DumpingWait, StoresFramesWithAWrongChecksum) {
    Bytes damaged = dbd(50);
    damaged.back() ^= 1;
    receives(damaged + databaseEnd());
    EXPECT_EQ(dumped(), damaged + "000001");
}

TEST_F(DumpingWait, StoresAFrameInsideAPayloadOnlyOnce) {
    const Bytes nested = ubxFrame(0x13, 0x80, "ab" + dbd(10) + "cd");
    receives(nested + databaseEnd());
    EXPECT_EQ(dumped(), nested + "000001");
}

TEST_F(DumpingWait, SearchesOnFromTheLastChecksumByte) {
    const Bytes endsInSync = hex("b5 62 13 80 00 00 cc b5");
    receives(endsInSync + hex("62 13 80 01 00 78 ee ee") + databaseEnd());
    EXPECT_EQ(dumped(), endsInSync + hex("b5 62 13 80 01 00 78 ee ee") + "000002");
}

TEST_F(DumpingWait, StoresFramesOfTheRecordItWaitsFor) {
    receives(dbd(50) + ubxFrame(0x06, 0x17, "settings") + ackAck(0x06, 0x17));
    EXPECT_EQ(dumped(1), ubxFrame(0x06, 0x17, "settings") + "000001");
}

class DumpWithoutRecord : public DumpingWait, public ::testing::WithParamInterface<int> {};

TEST_P(DumpWithoutRecord, WritesTheTrailerAlone) {
    receives(dbd(50) + ackAck(0xEE, 0xEE));
    EXPECT_EQ(dumped(GetParam()), "000000");
}

INSTANTIATE_TEST_SUITE_P(Indices, DumpWithoutRecord, Values(-128, -2, -1, 6, 127),
                         [](const auto& made) { return instanceName(made.param); });

// --- The MGA-ACK among the frames -----------------------------------------------------------------------

TEST_F(DumpingWait, StoresOnlyTheFramesAheadOfTheFirstMgaAckOfARead) {
    receives(dbd(50, 'a') + mgaAck(0x77) + dbd(60, 'b') + databaseEnd());
    EXPECT_EQ(dumped(), dbd(50, 'a') + "000001");
}

TEST_F(DumpingWait, StoresNothingOfAReadThatBeginsWithAnMgaAck) {
    receives(databaseEnd() + dbd(50));
    EXPECT_EQ(dumped(), "000000");
}

TEST_F(DumpingWait, StoresTheFramesOfTheNextReadAfterAForeignMgaAck) {
    receives(mgaAck(0x77) + dbd(50, 'a'));
    receivesLater(dbd(60, 'b') + databaseEnd());
    EXPECT_EQ(dumped(), dbd(60, 'b') + "000001");
}

// --- Frames over two reads ------------------------------------------------------------------------------

TEST_F(DumpingWait, CutsAFrameAtTheBuffersEnd) {
    const Bytes cut = dbd(100, 'c');
    receives(filler(kBufferSize - 20) + cut + dbd(30) + databaseEnd());
    EXPECT_EQ(dumped(), cut.substr(0, 20) + dbd(30) + "000002");
}

TEST_F(DumpingWait, FillsAFrameCutByAShortReadWithZeros) {
    const Bytes frame = dbd(100, 'c');
    receives(frame.substr(0, 40));
    receivesLater(frame.substr(40) + databaseEnd());
    EXPECT_EQ(dumped(), frame.substr(0, 40) + Bytes(68, '\0') + "000001");
}

TEST_F(DumpingWait, StoresFiveBytesOfTheLastHeaderThatIsFound) {
    receives(filler(4995) + dbd(0) + databaseEnd());
    EXPECT_EQ(dumped(), hex("b5 62 13 80 00") + "000001");
}

TEST_F(DumpingWait, MissesAHeaderAtTheBuffersEnd) {
    receives(filler(4996) + dbd(0) + databaseEnd());
    EXPECT_EQ(dumped(), "000000");
}

TEST_F(DumpingWait, StoresNoMoreThanTheBufferOfAFrameOfTheGreatestLength) {
    const Bytes header = longFrameHeader(65535);
    receives(header + filler(2 * kBufferSize - header.size()) + databaseEnd());
    EXPECT_EQ(dumped(), header + filler(kBufferSize - header.size()) + "000001");
}

// --- A file that can't be written -----------------------------------------------------------------------

TEST_F(DumpingWait, AppendsWhenTheFileCanNotBeReplaced) {
    unit.port.setDumpFile("old");
    unit.port.openFails(kDumpFile, 1, "w");
    receives(dbd(50) + databaseEnd());
    EXPECT_EQ(dumped(), "old" + dbd(50) + "000001");
    EXPECT_EQ(unit.journal.count("fopen " + kDumpFile + " ab"), 1u);
    EXPECT_NOT_LOGGED(3, kNotWritable);
}

TEST_F(DumpingWait, GoesOnWhenTheFileCanNotBeWrittenAtAll) {
    unit.port.setDumpFile("old");
    unit.port.openFails(kDumpFile, 2);
    receives(dbd(50) + databaseEnd());
    EXPECT_EQ(dumped(), "old");
    EXPECT_LOGGED(3, kNotWritable);
    EXPECT_THAT(acknowledged(), ElementsAre(0, 1, 2, 3, 4, kPoll));
}

TEST_F(DumpingWait, FindsAFolderInTheFilesPlaceNotWritable) {
    std::filesystem::create_directory(unit.port.dumpPath());
    receives(dbd(50) + databaseEnd());
    handler->waitForAck(kPoll, true);
    EXPECT_LOGGED(3, kNotWritable);
    EXPECT_EQ(unit.port.reads, 1);
}

TEST_F(DumpingWait, FindsAFifoInTheFilesPlaceNotWritable) {
    ASSERT_EQ(mkfifo(unit.port.dumpPath().c_str(), 0600), 0);
    receives(dbd(50) + databaseEnd());
    handler->waitForAck(kPoll, true);
    EXPECT_LOGGED(3, kNotWritable);
    EXPECT_TRUE(std::filesystem::is_fifo(unit.port.dumpPath()));
}

TEST_F(DumpingWait, FindsADeviceInTheFilesPlaceNotWritable) {
    ASSERT_EQ(symlink("/dev/null", unit.port.dumpPath().c_str()), 0);
    receives(dbd(50) + databaseEnd());
    handler->waitForAck(kPoll, true);
    EXPECT_LOGGED(3, kNotWritable);
}

TEST_F(DumpingWait, LeavesAnEmptyFileOnAFullDiskWhichTheNextStartSays) {
    receives(dbd(4900) + databaseEnd());
    {
        const FullDisk disk(4096);
        EXPECT_EQ(dumped(), "");
    }
    handler->restoreNavigationDatabase();
    EXPECT_LOGGED(6, "Navigation database dump file is empty");
    EXPECT_THAT(unit.port.sent, IsEmpty());
}

TEST_F(DumpingWait, KeepsOldContentsThatItCouldNotReplaceOnAFullDisk) {
    unit.port.setDumpFile("old");
    unit.port.openFails(kDumpFile, 1, "w");
    receives(dbd(4900) + databaseEnd());
    const FullDisk disk(4096);
    EXPECT_EQ(dumped().substr(0, 3), "old");
}

TEST_F(DumpingWait, SaysNothingOfAFullDisk) {
    receives(Bytes(20, '.') + dbd(4900) + databaseEnd());
    const FullDisk disk(4096);
    handler->waitForAck(kPoll, true);
    EXPECT_THAT(unit.log.all(), IsEmpty());
}

// --- dumpNavigationDatabase -----------------------------------------------------------------------------

class Dump : public HandlerTest {
protected:
    Dump() {
        unit.port.receiver = [](const Bytes&) { return dbd(50) + databaseEnd(); };
    }
};

TEST_F(Dump, AppendsThePollAndSendsIt) {
    handler->dumpNavigationDatabase();
    ASSERT_EQ(records().size(), 6u);
    EXPECT_EQ(records()[5].description, "UBXConfig: Polling navigation database");
    EXPECT_EQ(records()[5].frame, kPollFrame);
    EXPECT_EQ(records()[5].msgClass, 0x13);
    EXPECT_EQ(records()[5].msgId, 0x80);
    EXPECT_TRUE(records()[5].acknowledged);
    EXPECT_THAT(unit.port.dumpFile(), Optional(dbd(50) + "000001"));
}

TEST_F(Dump, RunsItsStepsInThisOrder) {
    handler->dumpNavigationDatabase();
    EXPECT_THAT(unit.journal.lines(),
                ElementsAre("fopen /dev/ttymxc1 rb", logged(6, "UBXConfig: Polling navigation database"),
                            written(kPollFrame), "fopen /data/NavigationDatabaseDump wb",
                            "fclose /dev/ttymxc1"));
}

TEST_F(Dump, AppendsAnotherPollEachTime) {
    handler->dumpNavigationDatabase();
    handler->dumpNavigationDatabase();
    EXPECT_EQ(records().size(), 7u);
    EXPECT_THAT(unit.port.dumpFile(), Optional(dbd(50) + "000001"));
}

TEST_F(Dump, NeverResetsTheCounters) {
    handler->dumpNavigationDatabase();
    handler->dumpNavigationDatabase();
    EXPECT_EQ(used(), 2u);
}

TEST_F(Dump, WritesItsPollWithoutAPortAndKeepsTheOldFile) {
    unit.port.setDumpFile("old");
    unit.port.openFails("/dev/ttymxc1");
    handler->dumpNavigationDatabase();
    EXPECT_LOGGED(2, "UBXConfig: Serial port cannot be opened for reading");
    EXPECT_THAT(unit.port.sent, ElementsAre(hex("b5 62 13 80 00 00 93 cc")));
    EXPECT_THAT(unit.port.dumpFile(), Optional(Bytes("old")));
    EXPECT_EQ(unit.journal.count("fopen " + kDumpFile), 0u);
}

TEST_F(Dump, KeepsAFileOfTheTrailerFromASilentReceiver) {
    unit.port.receiver = silentReceiver;
    shutDown();
    EXPECT_THAT(unit.port.dumpFile(), Optional(Bytes("000000")));
    expectTimeOut();
}

// --- Long lists -----------------------------------------------------------------------------------------

struct LongListCase {
    std::size_t records; // ahead of the poll
    std::size_t framesWritten;
    Bytes file;
};

class DumpOfALongList : public Dump, public ::testing::WithParamInterface<LongListCase> {};

TEST_P(DumpOfALongList, SendsWhatItsIndexOf8BitsNames) {
    unit.port.setDumpFile("old");
    fillListTo(GetParam().records);
    handler->dumpNavigationDatabase();
    EXPECT_EQ(unit.journal.count("system echo -e"), GetParam().framesWritten);
    EXPECT_THAT(unit.port.dumpFile(), Optional(GetParam().file));
    EXPECT_FALSE(unit.port.isOpen());
}

INSTANTIATE_TEST_SUITE_P(Lists, DumpOfALongList,
                         Values(LongListCase{127, 1, dbd(50) + "000001"}, // the poll is record 127
                                LongListCase{128, 0, "old"},              // -128
                                LongListCase{254, 0, "old"},              // -2
                                LongListCase{255, 255, "000000"},         // -1: all but the first
                                LongListCase{256, 1, "000000"}),          // 0: the port command
                         [](const auto& made) {
                             const auto& p = made.param;
                             return instanceName(p.records);
                         });

} // namespace
