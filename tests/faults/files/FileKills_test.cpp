// SIGKILL at every single step of saving the receiver's database and of sending it back: a child dies at its
// n-th call, for every n, and the file is looked at and used for the next start.

#include <dlfcn.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "FaultFigures.h"
#include "HandlerTest.h"

using ::testing::SizeIs;

// --- Steps ----------------------------------------------------------------------------------------------

namespace {

/// Steps until this process dies; 0: it lives.
int stepsLeft = 0;

void step() {
    if (stepsLeft > 0 && --stepsLeft == 0)
        kill(getpid(), SIGKILL);
}

#define REAL(name) reinterpret_cast<decltype(&::name)>(dlsym(RTLD_NEXT, #name))

} // namespace

// The stream's calls that the ground leaves to the C library. What they do may reach the file at once or
// later, so the process dies in front of each and behind it; in front of a write, and of what leads to one,
// as the ground asks.

extern "C" int vfprintf(FILE* stream, const char* format, va_list arguments) {
    step();
    const int written = REAL(vfprintf)(stream, format, arguments);
    step();
    return written;
}

extern "C" void rewind(FILE* stream) {
    step();
    REAL(rewind)(stream);
    step();
}

extern "C" int fgetc(FILE* stream) {
    step();
    return REAL(fgetc)(stream);
}

namespace {

// --- The unit -------------------------------------------------------------------------------------------

constexpr int kFrames = 60; // of 100 bytes: more than a stream's buffer, and whole in each read
constexpr std::chrono::microseconds kWait{275 * 21701};
constexpr std::chrono::microseconds kPauses{100 + 1000000};
const Bytes kTrailer = "000060";

Bytes dbd(std::size_t length) { return ubxFrame(0x13, 0x80, Bytes(length, 'x')); }

Bytes frames(int count) {
    Bytes all;
    for (int i = 0; i < count; ++i)
        all += dbd(92);
    return all;
}

/// Knows configuration and database messages, as the real one does, and says nothing to others.
Bytes receiverWithDatabase(const Bytes& frame) {
    if (frame[2] == 0x13 && frame.size() == 8)
        return frames(kFrames) + mgaAck(0x80);
    return frame[2] == 0x06 || frame[2] == 0x13 ? contentReceiver(frame) : "";
}

class Killed : public HandlerTest {
protected:
    Killed() {
        unit.port.receiver = receiverWithDatabase;
        unit.journal.atEachLine = [](const std::string&) { step(); };
        unit.refuses = [](Want) {
            step();
            return false;
        };
    }

    /// Leads `life` in a child that dies at its n-th step. False when it was over before.
    template <typename Life>
    bool diesAt(int n, Life life) {
        const pid_t child = fork();
        if (child == 0) {
            stepsLeft = n;
            life();
            _exit(0);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) ? WTERMSIG(status) == SIGKILL : WEXITSTATUS(status) == 0);
        return WIFSIGNALED(status);
    }

    Bytes file() const { return unit.port.dumpFile().value_or("no file"); }

    bool endsWithItsTrailer() const {
        const Bytes content = file();
        return content.size() >= kTrailer.size() &&
               content.substr(content.size() - kTrailer.size()) == kTrailer;
    }

    /// Starts anew with what the file holds, and ends without saving.
    void startAgain() {
        unit.forget();
        const auto begin = unit.clock.elapsed();
        auto* const next = new UbxConfigHandler;
        took = unit.clock.elapsed() - begin;
        sent = unit.port.sent.size();
        next->resetConfig(); // an empty list: the shut-down keeps the file
        delete next;
    }

    std::chrono::microseconds took{0};
    std::size_t sent = 0;
};

// The old file, an empty one, or one with its trailer: behind whatever of the frames came into the file stand
// zeros, which are passed over. One frame may be cut, and cost a wait.
TEST_F(Killed, AtAnyStepOfTheDumpItLeavesAFileThatTheNextStartIsSoonDoneWith) {
    const Bytes old = frames(3) + "000003";
    int n = 1;
    for (bool died = true; died; ++n) {
        unit.port.setDumpFile(old);
        died = diesAt(n, [this] { shutDown(); });
        EXPECT_TRUE(file() == old || file().empty() || endsWithItsTrailer()) << "step " << n;
        const Bytes left = file();
        startAgain();
        EXPECT_TRUE(took <= kPauses + kWait) << "step " << n << ": " << took.count() << " us";
        EXPECT_LE(sent, 5 + left.size() / 100 + 1) << "step " << n;
    }
    EXPECT_EQ(file(), frames(kFrames) + kTrailer);
    EXPECT_GT(n, 12) << "hardly a step was counted";
    faultFigure("files.killed-at-each-call-of-the-dump", "moments", n - 2);
}

TEST_F(Killed, AtAnyStepOfTheRestoreItLeavesTheFileAsItWas) {
    const Bytes whole = dbd(4) + dbd(2) + "000002";
    int n = 1;
    for (bool died = true; died; ++n) {
        unit.port.setDumpFile(whole);
        died = diesAt(n, [] { new UbxConfigHandler; });
        ASSERT_EQ(file(), whole) << "step " << n;
    }
    startAgain();
    EXPECT_TRUE(took == kPauses);
    EXPECT_EQ(sent, 5u + 2u);
    EXPECT_GT(n, 80) << "hardly a step was counted";
    faultFigure("files.killed-at-each-call-of-the-restore", "moments", n - 2);
}

} // namespace
