// The navigation database file: what is read and written, and what stands in its place is left alone.

#include "DatabaseFile.h"

#include <array>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "InstanceNames.h"
#include "VirtualUnit.h"

using ::testing::ElementsAre;
using ::testing::Optional;
using ::testing::Values;

namespace {

class DatabaseFile : public UnitTest {
protected:
    const char* path() const { return unit.port.dumpPath().c_str(); }

    static void writes(const std::string& frames, uint32_t count) {
        DatabaseWriter file;
        EXPECT_TRUE(file.isOpen());
        file.finish(frames, count);
    }
    /// The trailer's number of a file of this content.
    std::string totalOf(const Bytes& content) {
        unit.port.setDumpFile(content);
        const DatabaseReader file;
        EXPECT_TRUE(file.holdsATrailer());
        return file.total();
    }
};

// --- Writing --------------------------------------------------------------------------------------------

TEST_F(DatabaseFile, HoldsFramesAndTheirNumber) {
    writes("frames", 137);
    EXPECT_THAT(unit.port.dumpFile(), Optional(Bytes("frames000137")));
}

TEST_F(DatabaseFile, IsEmptyUntilItIsFinished) {
    unit.port.setDumpFile("old");
    const DatabaseWriter file;
    EXPECT_THAT(unit.port.dumpFile(), Optional(Bytes("")));
}

TEST_F(DatabaseFile, IsCreatedBehindALinkThatLeadsNowhere) {
    const std::string target = unit.port.dumpPath() + "-target";
    ASSERT_EQ(symlink(target.c_str(), path()), 0);
    writes("frames", 1);
    EXPECT_TRUE(std::filesystem::is_symlink(path()));
    EXPECT_THAT(unit.port.dumpFile(), Optional(Bytes("frames000001")));
}

TEST_F(DatabaseFile, IsWrittenBehindALink) {
    const std::string target = unit.port.dumpPath() + "-target";
    unit.port.setDumpFile("old");
    std::filesystem::rename(path(), target);
    ASSERT_EQ(symlink(target.c_str(), path()), 0);
    writes("new", 1);
    EXPECT_THAT(unit.port.dumpFile(), Optional(Bytes("new000001")));
}

// --- A full disk ----------------------------------------------------------------------------------------

class DatabaseOnAFullDisk : public DatabaseFile {
protected:
    static constexpr std::size_t kRoom = 4096;
    const FullDisk disk{kRoom};

    /// In a file of its own the trailer's place, the trailer, its flush, the begin, the frames; in one that
    /// is appended to the frames and the trailer.
    void writeFails(int number) {
        unit.refuses = [this, number](Want want) { return want == Want::Write && ++written_ == number; };
    }

private:
    int written_ = 0;
};

/// On a real disk the trailer finds room behind a gap, and only the frames none; the limit ends the trailer,
/// which is written first.
TEST_F(DatabaseOnAFullDisk, IsEmptyAgainWhenOnlyTheFramesFindNoRoom) {
    writeFails(5);
    writes(std::string(kRoom - 6, 'f'), 1);
    EXPECT_THAT(unit.port.dumpFile(), Optional(Bytes("")));
}

TEST_F(DatabaseOnAFullDisk, IsEmptyAgainWhenTheTrailerFindsNoRoom) {
    writes(std::string(kRoom - 5, 'f'), 1);
    EXPECT_THAT(unit.port.dumpFile(), Optional(Bytes("")));
}

TEST_F(DatabaseOnAFullDisk, StaysWhenItJustFits) {
    writes(std::string(kRoom - 6, 'f'), 1);
    EXPECT_THAT(unit.port.dumpFile(), Optional(Bytes(kRoom - 6, 'f') + "000001"));
}

TEST_F(DatabaseOnAFullDisk, KeepsTheOldContentsThatItCouldNotReplace) {
    unit.port.setDumpFile("old");
    unit.port.openFails("/data/NavigationDatabaseDump", 1, "w");
    writes(std::string(kRoom, 'f'), 1);
    EXPECT_EQ(unit.port.dumpFile().value_or("").substr(0, 4), "oldf");
}

TEST_F(DatabaseOnAFullDisk, KeepsTheOldContentsAndFramesWhoseTrailerFindsNoRoom) {
    unit.port.setDumpFile("old");
    unit.port.openFails("/data/NavigationDatabaseDump", 1, "w");
    writeFails(2);
    writes("frames", 1);
    EXPECT_THAT(unit.port.dumpFile(), Optional(Bytes("oldframes")));
}

// --- Reading --------------------------------------------------------------------------------------------

TEST_F(DatabaseFile, IsReadByteByByte) {
    unit.port.setDumpFile("a\xff");
    DatabaseReader file;
    unsigned char byte = 'z';
    file.next(byte);
    EXPECT_EQ(byte, 'a');
    EXPECT_EQ(file.next(), 0xFF);
    file.next(byte);
    EXPECT_EQ(byte, 'a') << "stays at the end";
    EXPECT_EQ(file.next(), 0) << "0 at the end";
}

TEST_F(DatabaseFile, HasATrailerWithoutLeadingZeros) {
    EXPECT_EQ(totalOf("frames000137"), "137");
    EXPECT_EQ(totalOf("000000"), "");
    EXPECT_EQ(totalOf("100200"), "100200");
    EXPECT_EQ(totalOf(Bytes("01\0"
                            "345",
                            6)),
              "1");
}

TEST_F(DatabaseFile, IsReadFromItsBeginningAfterItsTrailer) {
    unit.port.setDumpFile("frames000137");
    DatabaseReader file;
    EXPECT_EQ(file.total(), "137");
    EXPECT_EQ(file.next(), 'f');
}

TEST_F(DatabaseFile, HasNoRoomForATrailerInFiveBytes) {
    unit.port.setDumpFile("00000");
    EXPECT_EQ(DatabaseReader().size(), 5);
    EXPECT_FALSE(DatabaseReader().holdsATrailer());
}

TEST_F(DatabaseFile, HasNoSizeWhenItIsMissing) {
    EXPECT_EQ(DatabaseReader().size(), -1);
    EXPECT_FALSE(DatabaseReader().holdsATrailer());
}

TEST_F(DatabaseFile, HasNoSizeWhenItsBytesCanNotBeRead) {
    ASSERT_EQ(symlink("/proc/self/mem", path()), 0); // a regular file with nothing at address 0
    EXPECT_EQ(DatabaseReader().size(), -1);
}

// --- What is no regular file ----------------------------------------------------------------------------

/// Puts something else in the file's place.
using PutThere = int (*)(const char* path);

class InPlaceOfTheDatabase : public DatabaseFile, public ::testing::WithParamInterface<PutThere> {
protected:
    InPlaceOfTheDatabase() { EXPECT_EQ(GetParam()(path()), 0); }
};

int putFifo(const char* path) { return mkfifo(path, 0600); }
int putFolder(const char* path) { return mkdir(path, 0700); }
int putLinkToNull(const char* path) { return symlink("/dev/null", path); }
int putLinkToFull(const char* path) { return symlink("/dev/full", path); }
int putLinkToItself(const char* path) { return symlink(path, path); }

TEST_P(InPlaceOfTheDatabase, NothingIsRead) { EXPECT_EQ(DatabaseReader().size(), -1); }

TEST_P(InPlaceOfTheDatabase, NothingIsWritten) {
    DatabaseWriter file;
    EXPECT_FALSE(file.isOpen());
    file.finish("frames", 1);
}

TEST_P(InPlaceOfTheDatabase, NoDescriptorStaysOpen) {
    const int before = dup(0);
    close(before);
    DatabaseReader();
    DatabaseWriter();
    const int after = dup(0);
    close(after);
    EXPECT_EQ(after, before);
}

const std::array<const char*, 5> kKinds{"Fifo", "Folder", "LinkToNull", "LinkToFull", "LinkToItself"};

INSTANTIATE_TEST_SUITE_P(Kinds, InPlaceOfTheDatabase,
                         Values(putFifo, putFolder, putLinkToNull, putLinkToFull, putLinkToItself),
                         [](const auto& made) { return std::string(kKinds.at(made.index)); });

TEST_F(DatabaseFile, IsNoFifoThatSomebodyReads) {
    ASSERT_EQ(mkfifo(path(), 0600), 0);
    const int somebody = open(path(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(somebody, 0);
    DatabaseWriter file;
    EXPECT_FALSE(file.isOpen());
    file.finish("frames", 1);
    char byte = 0;
    EXPECT_EQ(read(somebody, &byte, 1), 0) << "nothing was written";
    close(somebody);
}

TEST_F(DatabaseFile, IsOpenedAsItAlwaysWas) {
    DatabaseWriter();
    unit.port.openFails("/data/NavigationDatabaseDump", 1, "w");
    DatabaseWriter();
    DatabaseReader();
    EXPECT_THAT(unit.journal.lines(), ElementsAre("fopen /data/NavigationDatabaseDump wb",
                                                  "fopen /data/NavigationDatabaseDump wb failed",
                                                  "fopen /data/NavigationDatabaseDump ab",
                                                  "fopen /data/NavigationDatabaseDump rb"));
}

} // namespace
