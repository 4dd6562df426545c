// How long a file may keep the next start busy, to the microsecond: on virtual time, with a receiver that
// knows configuration and database messages and says nothing to others, as the real one does.

#include "FaultFigures.h"
#include "HandlerTest.h"

using ::testing::SizeIs;

namespace {

constexpr std::chrono::microseconds kWait{275 * 21701};
const std::string kChecksumError = "Checksum error: Failed to restore one part of the navigation database";

Bytes dbd(std::size_t length) { return ubxFrame(0x13, 0x80, Bytes(length, 'x')); }

Bytes frames(int count) {
    Bytes all;
    for (int i = 0; i < count; ++i)
        all += dbd(52);
    return all;
}

class FileTimes : public HandlerTest {
protected:
    FileTimes() {
        unit.port.receiver = [](const Bytes& frame) {
            return frame[2] == 0x13 ? contentReceiver(frame) : "";
        };
        openPort();
        unit.forget();
    }

    void restores(const Bytes& file) {
        size = file.size();
        unit.port.setDumpFile(file);
        const auto begin = unit.clock.elapsed();
        handler->restoreNavigationDatabase();
        took = unit.clock.elapsed() - begin;
    }

    double seconds() const { return static_cast<double>(took.count()) / 1e6; }

    /// Each step but the last two of as many as the file has bytes may cost a wait, and no more.
    void expectBound() const {
        EXPECT_TRUE(took <= static_cast<int64_t>(size - 2) * kWait)
            << seconds() << " s for " << size << " bytes";
    }

    std::size_t size = 0;
    std::chrono::microseconds took{0};
};

// 20 frames and no trailer: behind them a frame without contents is sent in each of the file's remaining
// steps, as far as an index of eight bits names it.
TEST_F(FileTimes, AFileWithoutItsTrailerCostsAWaitForAboutEverySecondByte) {
    restores(frames(20));
    expectBound();
    const std::size_t empties = size - 2 - 20;
    EXPECT_THAT(records(), SizeIs(5 + 20 + empties));
    EXPECT_GT(seconds(), 3000) << "nearly an hour for 1200 bytes";
    faultFigure("files.no-trailer-hours", "restore_s", seconds());
    faultFigure("files.no-trailer-hours", "restore_s_per_byte", seconds() / static_cast<double>(size));
}

TEST_F(FileTimes, AFrameOfTheGreatestLengthAtTheEndCostsTheSame) {
    restores(frames(20) + hex("b5 62 13 80 ff ff") + "000021");
    expectBound();
    EXPECT_GT(seconds(), 3000);
    EXPECT_EQ(unit.log.count(3, kChecksumError), 0) << "its checksum is read as 00 00";
    faultFigure("files.greatest-length-hours", "restore_s", seconds());
}

// The first pair opens a frame of 25,269 bytes; its odd size puts all that follows out of step.
TEST_F(FileTimes, AMillionSyncPairsAreOneFrame) {
    Bytes file;
    for (int i = 0; i < 1000000; ++i)
        file += "\xB5\x62";
    restores(file);
    EXPECT_THAT(unit.port.sent, SizeIs(1));
    EXPECT_TRUE(took == kWait);
    EXPECT_LOGGED(3, kChecksumError);
}

TEST_F(FileTimes, AWholeFileCostsNoPause) {
    restores(frames(100) + "000100");
    EXPECT_TRUE(took == std::chrono::microseconds(0));
    EXPECT_EQ(used(), 100u);
}

} // namespace
