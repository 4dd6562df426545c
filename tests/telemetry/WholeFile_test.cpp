#include "WholeFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {
bool knowsUnnamedFiles = true; // the file system
} // namespace

extern "C" int open(const char* name, int flags, ...) {
    if (!knowsUnnamedFiles && (flags & O_TMPFILE) == O_TMPFILE) {
        errno = EOPNOTSUPP;
        return -1;
    }
    va_list rest;
    va_start(rest, flags);
    const auto mode = static_cast<mode_t>(va_arg(rest, unsigned int));
    va_end(rest);
    return openat(AT_FDCWD, name, flags, mode);
}

namespace {

using telemetry::whyNotWritable;
using telemetry::writeWholeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
namespace fs = std::filesystem;

class WholeFile : public ::testing::Test {
protected:
    WholeFile() {
        std::string name = "/tmp/whole_file.XXXXXX";
        folder_ = mkdtemp(name.data());
        path_ = folder_ / "x.gpx";
    }
    ~WholeFile() override {
        fs::remove_all(folder_);
        knowsUnnamedFiles = true;
    }

    std::string write(const std::string& text) {
        return writeWholeFile(path_, [&](std::ostream& output) { output << text; }).value_or("written");
    }
    std::string read(const fs::path& path) const {
        std::ifstream input(path);
        return {std::istreambuf_iterator<char>(input), {}};
    }
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_))
            names.push_back(entry.path().filename());
        return names;
    }

    fs::path folder_;
    fs::path path_;
};

TEST_F(WholeFile, TakesTheNameWhenItIsWritten) {
    EXPECT_EQ(write("first"), "written");
    EXPECT_EQ(write("second"), "written");
    EXPECT_EQ(read(path_), "second");
    EXPECT_THAT(files(), ElementsAre("x.gpx"));
}

TEST_F(WholeFile, IsTheOldOneUntilThen) {
    write("old");
    const auto failure = writeWholeFile(path_, [&](std::ostream& output) {
        output << "new" << std::flush;
        EXPECT_EQ(read(path_), "old");
        EXPECT_THAT(files(), ElementsAre("x.gpx")); // whatever ends the program now leaves nothing behind
    });
    EXPECT_EQ(failure, std::nullopt);
    EXPECT_EQ(read(path_), "new");
}

TEST_F(WholeFile, IsNotStoppedByTheDraftOfAnotherProcess) {
    const fs::path draft = path_.string() + "." + std::to_string(getpid()) + ".part";
    std::ofstream(draft) << "left behind by another process of this number";
    EXPECT_EQ(write("new"), "written");
    EXPECT_EQ(read(path_), "new");
    EXPECT_THAT(files(), ElementsAre("x.gpx"));
}

TEST_F(WholeFile, HasANameMeanwhileWhereTheFileSystemWantsOne) {
    knowsUnnamedFiles = false;
    write("old");
    std::size_t filesMeanwhile = 0;
    EXPECT_EQ(writeWholeFile(path_,
                             [&](std::ostream& output) {
                                 output << "new";
                                 filesMeanwhile = files().size();
                             }),
              std::nullopt);
    EXPECT_EQ(filesMeanwhile, 2u);
    EXPECT_EQ(read(path_), "new");
    EXPECT_EQ(whyNotWritable(path_), std::nullopt);
    EXPECT_THAT(files(), ElementsAre("x.gpx"));
}

TEST_F(WholeFile, HasTheRightsOfANewFile) {
    const mode_t old = umask(027);
    write("new");
    umask(old);
    EXPECT_EQ(fs::status(path_).permissions(), fs::perms(0640));
}

TEST_F(WholeFile, KeepsTheRightsOfTheOldOne) {
    write("old");
    fs::permissions(path_, fs::perms::owner_read | fs::perms::owner_write);
    write("new");
    EXPECT_EQ(fs::status(path_).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(WholeFile, ReplacesWhatALinkLeadsTo) {
    fs::create_directory(folder_ / "real");
    std::ofstream(folder_ / "real" / "y.gpx") << "old";
    fs::create_symlink("real/y.gpx", path_);
    EXPECT_EQ(write("new"), "written");
    EXPECT_TRUE(fs::is_symlink(path_));
    EXPECT_EQ(read(folder_ / "real" / "y.gpx"), "new");
}

TEST_F(WholeFile, LeavesTheOldOneWhereTheNewOneDoesNotFit) {
    write("old");
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small = {1000, limit.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const std::string said = write(std::string(100000, 'x'));
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(said, path_.string() + ": File too large");
    EXPECT_EQ(read(path_), "old");
    EXPECT_THAT(files(), ElementsAre("x.gpx"));
}

TEST_F(WholeFile, SaysWhyItCannotBeWritten) {
    path_ = folder_ / "none" / "x.gpx";
    EXPECT_EQ(write("new"), path_.string() + ": No such file or directory");
    EXPECT_EQ(whyNotWritable(path_), path_.string() + ": No such file or directory");
    path_ = folder_;
    EXPECT_EQ(write("new"), path_.string() + ": Is a directory");
    EXPECT_EQ(whyNotWritable(path_), path_.string() + ": Is a directory");
    path_ = "/dev/full";
    EXPECT_EQ(write("new"), "/dev/full: No space left on device");
}

TEST_F(WholeFile, MayBeADevice) {
    path_ = "/dev/null";
    EXPECT_EQ(whyNotWritable(path_), std::nullopt);
    EXPECT_EQ(write("new"), "written");
    EXPECT_TRUE(fs::is_character_file(path_));
}

TEST_F(WholeFile, IsNotTouchedByTheQuestionWhetherItCouldBe) {
    EXPECT_EQ(whyNotWritable(path_), std::nullopt);
    EXPECT_THAT(files(), IsEmpty());
    write("old");
    EXPECT_EQ(whyNotWritable(path_), std::nullopt);
    EXPECT_EQ(read(path_), "old");
}

} // namespace
