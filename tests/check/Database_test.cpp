// The decoder of the navigation database file: what it says of whole, damaged and foreign files, and that the
// library makes the same of them.

#include "Database.h"

#include <sys/stat.h>
#include <unistd.h>

#include <random>
#include <sstream>

#include "HandlerTest.h"
#include "InstanceNames.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::Values;
using namespace std::string_literals;

namespace {

Bytes dbd(const Bytes& payload) { return ubxFrame(0x13, 0x80, payload); }

/// Of `frame` only the first `count` bytes came; the rest is filled up with zeros.
Bytes zeroFilled(Bytes frame, std::size_t count) {
    return frame.substr(0, count) + Bytes(frame.size() - count, '\0');
}

Bytes withWrongChecksum(Bytes frame) {
    frame.back() = static_cast<char>(frame.back() ^ 0x55);
    return frame;
}

DatabaseReport decoded(const Bytes& file) {
    std::istringstream stream(file);
    return readDatabase(stream);
}

std::string printed(const Bytes& file) {
    std::ostringstream text;
    printDatabase(decoded(file), text);
    return text.str();
}

std::vector<DatabaseChecksum> verdicts(const DatabaseReport& report) {
    std::vector<DatabaseChecksum> all;
    for (const DatabaseRecord& record : report.records)
        all.push_back(record.verdict);
    return all;
}

// --- Records --------------------------------------------------------------------------------------------

TEST(Database, TellsWhereEachRecordBeginsAndHowLongItIs) {
    const DatabaseReport report = decoded(dbd("first") + dbd(Bytes(300, 'x')) + "000002");
    ASSERT_THAT(report.records, SizeIs(2));
    EXPECT_EQ(report.records[0].offset, 0u);
    EXPECT_EQ(report.records[1].offset, 13u);
    EXPECT_EQ(report.records[1].length, 300u);
    EXPECT_EQ(report.records[1].size(), 308u);
    EXPECT_TRUE(report.records[1].isDatabase());
    EXPECT_EQ(report.state, DatabaseState::Records);
}

TEST(Database, TellsWholeZeroFilledAndWrongRecordsApart) {
    const DatabaseReport report =
        decoded(dbd("whole") + zeroFilled(dbd("filled up"), 9) + withWrongChecksum(dbd("wrong")) + "000003");
    EXPECT_THAT(verdicts(report),
                ElementsAre(DatabaseChecksum::Right, DatabaseChecksum::Zero, DatabaseChecksum::Wrong));
    EXPECT_EQ(report.whole(), 1u);
    EXPECT_EQ(report.damaged(), 2u);
}

TEST(Database, TellsHowMuchOfAZeroFilledRecordCameAtMost) {
    const DatabaseReport report = decoded(zeroFilled(dbd("filled up"), 9) + "000001");
    EXPECT_EQ(report.records.at(0).arrived, 9u);
    EXPECT_THAT(printed(zeroFilled(dbd("filled up"), 9) + "000001"), HasSubstr("9 of 17 bytes came at most"));
}

TEST(Database, TakesARecordForWholeWhoseRightChecksumIsZero) {
    EXPECT_THAT(verdicts(decoded(hex("b562 0000 0000 0000") + "000001")),
                ElementsAre(DatabaseChecksum::Right));
}

TEST(Database, SeesThatTheFileEndsInsideARecord) {
    const Bytes frame = dbd("a record");
    for (std::size_t count = 6; count < frame.size(); ++count)
        EXPECT_THAT(verdicts(decoded(frame.substr(0, count))), ElementsAre(DatabaseChecksum::CutShort))
            << count;
}

TEST(Database, SeesTheRecordThatIsLostInsideACutOne) {
    const Bytes cut = dbd(Bytes(60, 'x')).substr(0, 20);
    const DatabaseReport report = decoded(cut + dbd(Bytes(50, 'y')) + dbd(Bytes(50, 'z')) + "000003");
    EXPECT_THAT(verdicts(report), ElementsAre(DatabaseChecksum::Wrong, DatabaseChecksum::Right));
    EXPECT_TRUE(report.records[0].holdsAnother);
    EXPECT_EQ(report.bytesPassedOver, 20u + 58u - 68u);
    EXPECT_FALSE(report.trailerAgrees());
}

TEST(Database, NamesARecordOfAnotherMessage) {
    EXPECT_THAT(printed(ubxFrame(0x13, 0x60, "12345678") + "000001"),
                HasSubstr("13 60  right; no database record\n"));
    EXPECT_THAT(printed(ubxFrame(0x05, 0x01, "12") + "000001"), HasSubstr("sent garbled"));
}

// --- Whole files ----------------------------------------------------------------------------------------

TEST(Database, ComparesTheTrailerWithTheNumberOfRecords) {
    EXPECT_TRUE(decoded(dbd("one") + "000001").trailerAgrees());
    EXPECT_FALSE(decoded(dbd("one") + "000002").trailerAgrees());
    EXPECT_FALSE(decoded(dbd("one") + "00000x").hasTrailer);
    EXPECT_EQ(decoded(dbd("one") + "000137").total, "137");
}

TEST(Database, KnowsTheFileOfAReceiverThatHadNothingToSay) {
    EXPECT_EQ(decoded("000000").state, DatabaseState::Empty);
    EXPECT_TRUE(decoded("000000").trailerAgrees());
    EXPECT_EQ(printed("000000"), "000000: the receiver had nothing to say, or was not heard\n");
}

TEST(Database, KnowsTheFileOfALossOfPower) {
    for (const Bytes& file : {""s, "0"s, "00000"s, Bytes(5, '\0')})
        EXPECT_EQ(decoded(file).state, DatabaseState::TooShort);
}

TEST(Database, FindsNoRecordInGarbage) {
    for (const Bytes& file : {"000001"s, "garbage and more of it"s, Bytes(10000, '\0'), Bytes(7, '\xb5')})
        EXPECT_EQ(decoded(file).state, DatabaseState::NoRecords);
    EXPECT_EQ(decoded("a text 000001").bytesPassedOver, 7u);
}

TEST(Database, CountsTheEmptyFramesBehindAFileWithoutTrailer) {
    const Bytes file = dbd("one");
    EXPECT_EQ(decoded(file).emptyFrames, file.size() - 2 - 1);
    EXPECT_EQ(decoded(file + "000001").emptyFrames, 0u);
}

TEST(Database, TellsHowManyFramesAreSentByThemselves) {
    Bytes frames;
    for (int i = 0; i < 124; ++i)
        frames += dbd("record");
    EXPECT_EQ(decoded(frames + "000124").sentByThemselves(), 123u);
    EXPECT_THAT(printed(frames + "000124"),
                HasSubstr("from 123 frames on the library can't save the database"));
}

TEST(Database, PrintsALineForEachRecordAndTheCounts) {
    EXPECT_EQ(printed(dbd("whole") + zeroFilled(dbd("filled up"), 9) + "000002"),
              "record    offset  payload  class  checksum\n"
              "     1         0        5  13 80  right\n"
              "     2        13        9  13 80  00 00: cut by a short read, 9 of 17 bytes came at most\n"
              "2 records, 1 whole, 1 damaged (1 cut by a short read, 0 with a wrong checksum, 0 cut by the "
              "file's end), "
              "trailer 000002\n"
              "the next start makes 2 frames of it, the first 2 are sent\n");
}

// --- What stands in the file's place --------------------------------------------------------------------

class DatabaseAtItsPlace : public UnitTest {
protected:
    const char* path() const { return unit.port.dumpPath().c_str(); }
    DatabaseReport report() const { return readDatabaseFile(path()); }
};

TEST_F(DatabaseAtItsPlace, IsReadWithItsAge) {
    unit.port.setDumpFile(dbd("one") + "000001");
    EXPECT_EQ(report().whole(), 1u);
    EXPECT_GT(report().modifiedUtc, 0);
}

TEST_F(DatabaseAtItsPlace, IsReadBehindALink) {
    unit.port.setDumpFile(dbd("one") + "000001");
    const std::string link = unit.port.dumpPath() + "-link";
    ASSERT_EQ(symlink(path(), link.c_str()), 0);
    EXPECT_EQ(readDatabaseFile(link).whole(), 1u);
}

TEST_F(DatabaseAtItsPlace, MayBeMissing) {
    EXPECT_EQ(readDatabaseFile(unit.port.dumpPath() + "-missing").state, DatabaseState::Missing);
}

TEST_F(DatabaseAtItsPlace, IsNeverAFifoADeviceOrAFolder) {
    const std::string fifo = unit.port.dumpPath() + "-fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& other : {fifo, "/dev/null"s, "/"s})
        EXPECT_EQ(readDatabaseFile(other).state, DatabaseState::NotRegular) << other;
}

// --- Side by side with the library ----------------------------------------------------------------------

/// What a file is made of at random: whole, damaged and foreign pieces.
class RandomFile {
public:
    explicit RandomFile(unsigned int seed) : random_(seed) {}

    Bytes content() {
        Bytes file;
        for (unsigned int pieces = below(8); pieces > 0; --pieces)
            file += piece();
        return below(4) == 0 ? file : file + "00000" + std::to_string(below(8));
    }

private:
    unsigned int below(unsigned int end) { return static_cast<unsigned int>(random_() % end); }
    Bytes bytes(std::size_t count) {
        Bytes all;
        while (all.size() < count)
            all += static_cast<char>(below(256));
        return all;
    }
    Bytes piece() {
        const Bytes frame = dbd(bytes(below(40)));
        switch (below(7)) {
        case 0:
            return zeroFilled(frame, below(static_cast<unsigned int>(frame.size())));
        case 1:
            return withWrongChecksum(frame);
        case 2:
            return frame.substr(0, below(static_cast<unsigned int>(frame.size())));
        case 3:
            return bytes(below(4));
        case 4:
            return ubxFrame(static_cast<uint8_t>(below(256)), static_cast<uint8_t>(below(256)), "any");
        default:
            return frame;
        }
    }

    std::mt19937 random_;
};

/// The payload that a record has in the file, filled up with zeros behind the file's end.
Bytes payloadOf(const DatabaseRecord& record, const Bytes& file) {
    const auto begin = static_cast<std::size_t>(record.offset + 6);
    Bytes payload = begin < file.size() ? file.substr(begin, record.length) : Bytes();
    payload.resize(record.length);
    return payload;
}

/// Whether the library says that this record's checksum is wrong. Of one that is sent garbled nothing is
/// foretold.
bool isReported(const DatabaseRecord& record) {
    const bool isGiven = record.checksum[0] != 0 || record.checksum[1] != 0;
    return isGiven && !record.isWhole();
}

class DatabaseBesideTheLibrary : public HandlerTest {
protected:
    /// The commands that the library's restore makes of the file.
    std::vector<Record> restored(const Bytes& file) {
        records().clear();
        member(HandlerMaxReads()) = 1;
        unit.port.setDumpFile(file);
        unit.forget();
        handler->restoreNavigationDatabase();
        return records();
    }
    static bool foretellsTheErrors(const DatabaseReport& report) {
        return std::none_of(report.records.begin(), report.records.end(),
                            [](const DatabaseRecord& record) { return record.isSentGarbled(); });
    }
    int reported() {
        return unit.log.count(3, "Checksum error: Failed to restore one part of the navigation database");
    }
};

void expectSame(const DatabaseRecord& record, const std::string& description, const Bytes& sent,
                const Bytes& file, const std::string& total) {
    EXPECT_EQ(description, "UBXConfig: Restoring navigation database (" + std::to_string(record.step) +
                               " of " + total + ")");
    if (!record.isSentGarbled()) {
        EXPECT_EQ(sent, ubxFrame(record.msgClass, record.msgId, payloadOf(record, file)));
    }
}

class RandomDatabase : public DatabaseBesideTheLibrary, public ::testing::WithParamInterface<unsigned int> {};

TEST_P(RandomDatabase, TellsWhatTheLibraryMakesOfAnyBytes) {
    for (unsigned int i = 0; i < 50; ++i) {
        const Bytes file = RandomFile(GetParam() * 1000 + i).content();
        const DatabaseReport report = decoded(file);
        const std::vector<Record> commands = restored(file);
        ASSERT_EQ(commands.size(), report.frames()) << toHex(file);
        for (std::size_t n = 0; n < report.records.size(); ++n)
            expectSame(report.records[n], commands[n].description, unescaped(commands[n].frame), file,
                       report.total);
        if (foretellsTheErrors(report)) {
            EXPECT_EQ(reported(), std::count_if(report.records.begin(), report.records.end(), isReported))
                << toHex(file);
        }
        EXPECT_EQ(unit.log.count(6, "Navigation database dump file is empty") > 0,
                  report.state == DatabaseState::TooShort);
    }
}

TEST_F(DatabaseBesideTheLibrary, KeepsTheSecondHalfOfTheLastPairAsTheLibraryDoes) {
    for (const Bytes& file :
         {hex("41 62 41 62 41 62 b5"), dbd("one") + hex("b5"), hex("b5 41 b5 41 b5 41 62")}) {
        EXPECT_EQ(restored(file).size(), decoded(file).frames()) << toHex(file);
        EXPECT_EQ(decoded(file).frames() > 0, file.back() == '\xb5') << toHex(file);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomDatabase, Values(1u, 2u, 3u, 4u),
                         [](const auto& made) { return instanceName(made.param); });

} // namespace
