#include <gmock/gmock.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "Json.h"
#include "JsonOutput.h"
#include "LinesOutput.h"
#include "LogOutput.h"
#include "OnceOutput.h"
#include "RecordOutput.h"

namespace {

using namespace monitor;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;
using State = Output::State;

constexpr std::int64_t kUtcMs = 1767323045042; // 2026-01-02 03:04:05.042

telemetry::Line lineAt(std::int64_t uptimeMs, telemetry::Content content) {
    return {{kUtcMs, uptimeMs, 4711}, std::move(content)};
}

telemetry::Line start() { return lineAt(0, telemetry::Start{1, "test"}); }
telemetry::Line event() {
    return lineAt(0, telemetry::AntennaChanged{2, telemetry::Position{52500000, -13400000}});
}
telemetry::Line readingsAt(std::int64_t uptimeMs, bool hasFix = true) {
    telemetry::Readings readings;
    readings.available = true;
    readings.antennaState = 1;
    readings.fixTickS = hasFix ? 4709 : 0;
    if (hasFix)
        readings.fix = telemetry::Fix();
    return lineAt(uptimeMs, telemetry::ReadingsTaken{readings});
}
telemetry::Line stepAt(std::int64_t uptimeMs, telemetry::ServiceStep::Step step, double elapsedS = 0) {
    return lineAt(uptimeMs, telemetry::ServiceStep{step, elapsedS, 13, std::nullopt});
}

/// A pipe with a reader of the test's own.
class Pipe {
public:
    Pipe() {
        EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
        fcntl(ends_[0], F_SETFL, O_NONBLOCK);
    }
    // The writing end stays open: a stream may still be at it.
    ~Pipe() { hangUp(); }

    int writer() const { return ends_[1]; }
    int reader() const { return ends_[0]; }
    void hangUp() {
        if (ends_[0] >= 0)
            close(ends_[0]);
        ends_[0] = -1;
    }
    /// What is there.
    std::string read() {
        std::string text(1 << 22, '\0');
        const ssize_t length = ::read(ends_[0], text.data(), text.size());
        text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
        return text;
    }

private:
    int ends_[2];
};

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

/// What an output writes of these lines.
template <class AnOutput, class... Arguments>
std::vector<std::string> written(const std::vector<telemetry::Line>& lines, Arguments... arguments) {
    Pipe pipe;
    AnOutput output(pipe.writer(), arguments...);
    for (const telemetry::Line& line : lines)
        output.take(line);
    EXPECT_TRUE(output.finish());
    return linesOf(pipe.read());
}

// --- What is said ---------------------------------------------------------------------------------------

TEST(LinesOutput, SaysEachEventInALine) {
    telemetry::GeofenceCrossed crossing;
    crossing.entered = true;
    crossing.name = "a\nb";
    EXPECT_THAT(written<LinesOutput>({event(), lineAt(0, crossing)}, false),
                ElementsAre("2026-01-02 03:04:05   52.500000  -13.400000  antenna: disconnected",
                            "2026-01-02 03:04:05             no position  geofence entered: \"a?b\""));
}

TEST(LinesOutput, SaysWhereAGeofenceIsLeftAtTheFirstLookAlone) {
    const auto left = [](std::size_t slot, const char* name) {
        return lineAt(0, telemetry::GeofenceCrossed{false, slot, name, std::nullopt});
    };
    telemetry::Readings readings;
    readings.geofenceStates[1] =
        telemetry::GeofenceState::Inside; // at the first look, which nothing tells of
    const auto lines = written<LinesOutput>(
        {left(0, "far"), lineAt(0, telemetry::ReadingsTaken{readings}), left(1, "here")}, false);
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_THAT(lines[0], EndsWith("geofence left: \"far\" (first look at it, from outside)"));
    EXPECT_THAT(lines[2], EndsWith("geofence left: \"here\""));
}

TEST(LinesOutput, SaysTheReadingsOnceInAStatusInterval) {
    telemetry::Settings settings;
    settings.statusIntervalS = 5;
    const auto lines = written<LinesOutput>({lineAt(0, telemetry::SettingsTaken{settings}), readingsAt(1000),
                                             readingsAt(2000), readingsAt(5999), readingsAt(6000)},
                                            false);
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_THAT(lines[1],
                EndsWith("status: available, fix 2 s old, within 0 m, 0.0 m/s, course 0, 0 satellites, "
                         "0 dB-Hz, antenna in order, odometer 0 m"));
}

TEST(LinesOutput, SaysHowLongAStepLastsOnATerminalAlone) {
    const auto step = telemetry::ServiceStep::Step::Constructing;
    const std::vector<telemetry::Line> lines{stepAt(0, step), stepAt(1000, step, 1)};
    EXPECT_THAT(written<LinesOutput>(lines, false), ElementsAre(EndsWith("configures it (13 s at most)")));
    EXPECT_THAT(written<LinesOutput>(lines, true),
                ElementsAre(EndsWith("(13 s at most)"), EndsWith("configures it: 1 s of 13 s at most")));
}

TEST(JsonOutput, WritesEachLineAsAnObject) {
    EXPECT_THAT(written<JsonOutput>({start(), event()}),
                ElementsAre(telemetry::toJson(start()), telemetry::toJson(event())));
}

TEST(OnceOutput, TakesTheReadingsOfTheFirstWholeStatusIntervalAfterTheServiceIsUp) {
    Pipe pipe;
    OnceOutput output(pipe.writer(), true, 0);
    output.take(readingsAt(500));
    output.take(stepAt(1000, telemetry::ServiceStep::Step::Running));
    output.take(readingsAt(3000, false));
    EXPECT_EQ(output.state(), State::Going);
    output.take(readingsAt(3001, false));
    EXPECT_EQ(output.state(), State::Done);
    output.take(readingsAt(9000));
    EXPECT_TRUE(output.finish());
    EXPECT_EQ(pipe.read(), telemetry::toJson(readingsAt(3001, false)) + "\n");
}

TEST(OnceOutput, WaitsForAFixAsLongAsItIsToldTo) {
    Pipe pipe;
    OnceOutput output(pipe.writer(), true, 30);
    output.take(stepAt(0, telemetry::ServiceStep::Step::Running));
    output.take(readingsAt(29999, false));
    EXPECT_EQ(output.state(), State::Going);
    output.take(readingsAt(30000, false));
    EXPECT_EQ(output.state(), State::Done);
}

TEST(OnceOutput, WritesABlockForPeople) {
    const auto lines =
        written<OnceOutput>({stepAt(0, telemetry::ServiceStep::Step::Running), readingsAt(2500)}, false, 0.0);
    EXPECT_THAT(lines[0], StartsWith("time         2026-01-02T03:04:05.042Z"));
    EXPECT_THAT(lines, ::testing::Contains("antenna      in order"));
    EXPECT_THAT(lines, ::testing::Contains("clock        not compared with GPS time yet"));
}

// --- Nobody reads ---------------------------------------------------------------------------------------

StreamOutput::Bounds roomFor(std::size_t bytes) {
    StreamOutput::Bounds bounds;
    bounds.room = bytes;
    return bounds;
}

/// What its reader gets of an output when he comes back, up to its end.
std::string readToItsEnd(Output& output, Pipe& pipe) {
    std::atomic<bool> isFinished{false};
    std::string text;
    std::thread reader([&] {
        while (!isFinished) {
            pollfd readable{pipe.reader(), POLLIN, 0};
            poll(&readable, 1, 10);
            text += pipe.read();
        }
    });
    EXPECT_TRUE(output.finish());
    isFinished = true;
    reader.join();
    return text + pipe.read();
}

TEST(StreamOutput, NeitherWaitsForAReaderThatStopsNorGrows) {
    Pipe pipe;
    JsonOutput output(pipe.writer(), roomFor(100000));
    for (int i = 0; i < 10000; ++i)
        output.take(event()); // returns, or the test never ends
    EXPECT_EQ(output.state(), State::Going);
    EXPECT_LE(readToItsEnd(output, pipe).size(), 100000u + 65536u + 200u); // its room, the pipe's, and a line
}

TEST(StreamOutput, CountsWhatWasLostAndSaysSoWhenTheReaderComesBack) {
    constexpr std::uint64_t kEvents = 10000;
    Pipe pipe;
    JsonOutput output(pipe.writer(), roomFor(4000));
    for (std::uint64_t i = 0; i < kEvents; ++i)
        output.take(event());
    std::uint64_t events = 0;
    std::uint64_t lost = 0;
    for (const std::string& text : linesOf(readToItsEnd(output, pipe))) {
        const telemetry::Line line = telemetry::fromJson(text).value();
        const auto* const told = std::get_if<telemetry::Lost>(&line.content);
        events += told == nullptr ? 1 : 0;
        lost += told != nullptr ? told->events : 0;
    }
    EXPECT_GT(lost, 0u);
    EXPECT_EQ(events + lost, kEvents);
}

TEST(StreamOutput, LeavesReadingsOutBeforeEvents) {
    Pipe pipe;
    JsonOutput output(pipe.writer(), roomFor(200000));
    for (int i = 0; i < 10000; ++i)
        output.take(readingsAt(i));
    output.take(event());
    const std::string text = readToItsEnd(output, pipe);
    EXPECT_THAT(linesOf(text).back(), HasSubstr("\"type\":\"antenna\""));
    EXPECT_THAT(text, ::testing::Not(HasSubstr("\"lost\"")));
}

TEST(StreamOutput, GivesAReaderUpThatNeverComesBack) {
    Pipe pipe;
    LinesOutput output(pipe.writer(), false, {Stream::kRoom, 0});
    for (int i = 0; i < 2000; ++i)
        output.take(event());
    EXPECT_FALSE(output.finish());
    EXPECT_EQ(output.problem(), "the standard output can't be written: nobody reads it");
}

TEST(StreamOutput, IsBrokenWhenItsReaderHasGone) {
    Pipe pipe;
    LinesOutput output(pipe.writer(), false);
    pipe.hangUp();
    output.take(event());
    EXPECT_FALSE(output.finish()); // SIGPIPE would have ended the test
    EXPECT_EQ(output.state(), State::Broken);
    EXPECT_TRUE(output.essential());
    EXPECT_EQ(output.problem(), "the standard output can't be written: Broken pipe");
}

// --- Recording ------------------------------------------------------------------------------------------

class Recording : public ::testing::Test {
protected:
    Recording() {
        EXPECT_NE(mkdtemp(folder_.data()), nullptr);
        name_ = folder_ + "/drive.jsonl";
    }
    ~Recording() override { std::filesystem::remove_all(folder_); }

    void isThere(const std::string& text) const { std::ofstream(name_) << text; }
    std::string text() const {
        std::ifstream file(name_);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string refusal() const {
        try {
            const RecordOutput output(name_);
        } catch (const FileError& error) {
            return error.what();
        }
        return "nothing was wrong";
    }

    std::string folder_ = ::testing::TempDir() + "recording.XXXXXX";
    std::string name_;
};

const std::string& startText() {
    static const std::string text = telemetry::toJson(start()) + "\n";
    return text;
}

TEST_F(Recording, HasEachLineAsSoonAsItIsTaken) {
    RecordOutput output(name_);
    output.take(start());
    EXPECT_EQ(text(), startText());
    output.take(event());
    EXPECT_EQ(text(), startText() + telemetry::toJson(event()) + "\n");
}

TEST_F(Recording, GoesOnBehindAnEarlierOne) {
    isThere(startText());
    RecordOutput(name_).take(start());
    EXPECT_EQ(text(), startText() + startText());
}

TEST_F(Recording, BeginsALineOfItsOwnBehindOneThatWasCut) {
    isThere(startText() + "{\"type\":\"read");
    RecordOutput(name_).take(start());
    EXPECT_EQ(text(), startText() + "{\"type\":\"read\n" + startText());
}

TEST_F(Recording, TakesAFileThatIsEmpty) {
    isThere("");
    EXPECT_EQ(refusal(), "nothing was wrong");
}

TEST_F(Recording, RefusesAFileThatIsSomethingElse) {
    isThere("Dear diary,\n");
    EXPECT_THAT(refusal(), StartsWith(name_ + ":1: this is no recording of ruxogps-monitor: "));
    EXPECT_EQ(text(), "Dear diary,\n");
}

TEST_F(Recording, RefusesAnotherVersion) {
    const std::string other = telemetry::toJson(lineAt(0, telemetry::Start{2, "test"})) + "\n";
    isThere(other);
    EXPECT_THAT(refusal(), HasSubstr("the recording has version 2 of the format"));
    EXPECT_EQ(text(), other);
}

TEST_F(Recording, RefusesWhatIsNoFileAndWhatCanNotBeWritten) {
    name_ = "/dev/null";
    EXPECT_EQ(refusal(), "/dev/null is no regular file");
    name_ = folder_;
    EXPECT_EQ(refusal(), folder_ + " can't be written: Is a directory");
    name_ = folder_ + "/no/such/folder";
    EXPECT_THAT(refusal(), EndsWith("can't be written: No such file or directory"));
    name_ = folder_ + "/fifo";
    EXPECT_EQ(mkfifo(name_.c_str(), 0600), 0);
    EXPECT_EQ(refusal(), name_ + " is no regular file");
}

TEST_F(Recording, LeavesNoFileWhereNothingCame) {
    EXPECT_EQ(refusal(), "nothing was wrong");
    EXPECT_FALSE(std::filesystem::exists(name_));
    isThere("");
    EXPECT_EQ(refusal(), "nothing was wrong");
    EXPECT_TRUE(std::filesystem::exists(name_)); // as it was
}

TEST_F(Recording, IsWrittenByOneMonitorAtATime) {
    const RecordOutput first(name_);
    EXPECT_EQ(refusal(), name_ + " is being written by another monitor");
}

/// No file grows beyond so many bytes while it lives.
class FullDisk {
public:
    explicit FullDisk(rlim_t room) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &former_);
        const rlimit limit{room, former_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &former_); }

private:
    rlimit former_{};
};

TEST_F(Recording, EndsWithAWholeLineWhereTheDiskIsFull) {
    RecordOutput output(name_);
    output.take(start());
    {
        const FullDisk disk(startText().size() + 20);
        output.take(event());
    }
    EXPECT_EQ(text(), startText());
    EXPECT_EQ(output.state(), State::Broken);
    EXPECT_FALSE(output.essential());
    EXPECT_THAT(output.problem(), StartsWith("the recording " + name_ + " ends here: "));
    output.take(event());
    EXPECT_EQ(text(), startText());
}

// --- The log --------------------------------------------------------------------------------------------

TEST(LogOutput, IsStandardErrorFromItsBeginToItsEnd) {
    const std::string file = "/tmp/log_output_test." + std::to_string(getpid());
    testing::internal::CaptureStderr();
    LogOutput output(file);
    std::fputs("before, ", stderr);
    output.begin();
    std::fputs("the service's words", stderr);
    EXPECT_TRUE(output.hidesStandardError());
    EXPECT_TRUE(output.finish());
    std::fputs("behind", stderr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "before, behind");
    std::ifstream log(file);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(log), {}), "the service's words");
    std::remove(file.c_str());
}

TEST(LogOutput, LeavesNoNewFileBehindWhereItWasNotBegun) {
    const std::string file = "/tmp/log_output_test." + std::to_string(getpid());
    { const LogOutput output(file); }
    EXPECT_FALSE(std::filesystem::exists(file));
    std::ofstream(file) << "of yesterday";
    { const LogOutput output(file); }
    EXPECT_TRUE(std::filesystem::remove(file));
}

TEST(LogOutput, NeedsAFileThatCanBeWritten) { EXPECT_THROW(LogOutput("/no/such/folder/log"), FileError); }

} // namespace
