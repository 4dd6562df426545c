// Exhaustion loops. Whatever an operation of the application requests of the system, memory, an open file, a
// process, a write, is refused once: the n-th of them alone, and all from the n-th on, for every n until the
// operation has no n-th. Each such run is a life of its own, from construction to destruction. Nothing is
// thrown but for want of memory by the constructor; the lock is free afterwards, the operation's next try
// succeeds, and nothing is left behind.

#include <dirent.h>

#include "AdapterMembers.h"
#include "DriverMembers.h"
#include "FaultFigures.h"
#include "GpsRecord.h"
#include "RecordingCallback.h"
#include "Shortage.h"

using namespace std::chrono_literals;
using ::testing::AnyOf;
using ::testing::Optional;

namespace {

constexpr std::size_t kForever = FailingMemory::kForever;

// Pauses as they are described, for the longest that an operation may take.
constexpr auto kGpsdEnds = 10 * 1s; // looks whether it has gone
constexpr auto kGpsdComes = 9 * 1s; // looks whether it is there
constexpr auto kGpsdIsLeftTo = 3s;  // from its start to the first connection
constexpr auto kReset = 1s + 1ms;   // pulse and settling
constexpr auto kLineFailed = 1s;    // after a try to set the line up
constexpr auto kUnanswered = 6s;    // the wait for an acknowledgement
constexpr auto kAfterReload = 5s;
constexpr int kConfiguration = 5; // frames

Bytes dbd(char content) { return ubxFrame(0x13, 0x80, Bytes(100, content)); }

const Bytes kFrames = dbd('a') + dbd('b') + dbd('c');
const Bytes kOld = dbd('d') + "000001";  ///< the database that is there when the service is constructed
const Bytes kWhole = kFrames + "000003"; ///< the one that the receiver hands out
const ::testing::Matcher<std::optional<Bytes>> kWholeOrNone =
    AnyOf(Optional(kOld), Optional(Bytes()), Optional(kWhole));
const Bytes kPoll = ubxFrame(0x13, 0x80, "");

/// Of the whole process.
int openDescriptors() {
    const GroundMemory ground;
    DIR* const folder = opendir("/proc/self/fd");
    int count = -3; // the folder's two names for itself and above, and the look itself
    while (readdir(folder) != nullptr)
        ++count;
    closedir(folder);
    return count;
}

class Exhaustion : public UnitTest {
protected:
    /// An operation of the application's, the state that it is called in, and what holds after it.
    struct Trial {
        std::function<void()> before;
        std::function<void()> operation;
        std::function<void()> after;
        VirtualClock::Duration pauses{}; ///< the longest that the operation may take
    };

    Exhaustion() {
        life({[this] { started(); }, [this] { update(); }, [] {}, {}}, Resource::Memory, kForever,
             1); // makes what stays
        descriptors_ = openDescriptors();
    }

    // --- The application's ------------------------------------------------------------------------------

    void construct() { adapter = std::make_unique<GPSAdapter>(&callback); }
    void start() {
        adapter->Initialize();
        adapter->Start();
    }
    void stop() {
        adapter->Stop();
        adapter->Finalize();
    }
    void destroy() { adapter.reset(); }
    /// What the worker does in a cycle in which everything is due.
    void update() {
        for (auto step :
             {&GPSAdapter::UpdateCurrentPosition, &GPSAdapter::UpdateOdometer, &GPSAdapter::UpdateGeofence,
              &GPSAdapter::SendTracking, &GPSAdapter::UpdateSatelliteCount, &GPSAdapter::UpdateSNR,
              &GPSAdapter::UpdateAntennaStatus, &GPSAdapter::UpdateSystemTimeDeviation,
              &GPSAdapter::UpdateErrorEstimates, &GPSAdapter::LogDetails})
            (adapter.get()->*step)();
    }

    // --- The state before -------------------------------------------------------------------------------

    void constructed() {
        const GroundMemory ground;
        unit.port.setDumpFile(kOld);
        unit.port.receiver = [](const Bytes& frame) {
            return frame == kPoll ? kFrames + mgaAck(0x80) : contentReceiver(frame);
        };
        construct();
        GPSParams params;
        adapter->GetParams(params);
        params.geofencesEnabled = true;
        params.geofences[0].width = params.geofences[0].height = 2000;
        params.geofences[0].name.setStr("a yard with a name that is too long for any place but the heap");
        adapter->SetParams(params);
    }
    void started() {
        constructed();
        const GroundMemory ground;
        start();
        unit.clock.advance(31min); // the details of the satellites are due as well
        bringAFix();
    }
    /// gpsd was silent for so long that the next update restarts it.
    void silent() {
        started();
        noDataReadCounter() = 11;
    }

    // --- What holds afterwards --------------------------------------------------------------------------

    /// The reader takes one report and ends; the driver counts as running.
    void bringAFix() {
        const GroundMemory ground;
        GPSHAL_RUXO_3& driver = static_cast<GPSHAL_RUXO_3&>(*((*adapter).*memberOf(AdapterHal())));
        ReaderBlock& reader = driver.*memberOf(DriverReader());
        for (std::size_t i = 0; i < unit.threads.count(); ++i) {
            if (unit.threads.at(i).argument != &reader || unit.threads.at(i).hasRun)
                continue;
            unit.gpsd.reports(fillNorthbound);
            unit.gpsd.whenLastCycleBegins = [&reader] { reader.stopRequested = true; };
            unit.threads.run(i);
        }
    }
    /// The lock is anybody's: a semaphore knows no owner, so another thread would get on here as well.
    void expectUsable() {
        EXPECT_FALSE(VirtualSemaphores::isTaken((*adapter).*memberOf(AdapterLock())));
        GPSParams params;
        GPSReadings readings;
        EXPECT_EQ(adapter->GetParams(params), 0u);
        EXPECT_EQ(adapter->SetParams(params), 0u);
        EXPECT_EQ(adapter->GetReadings(readings), 0u);
    }
    void expectService() {
        EXPECT_EQ(adapter->Initialize(), 0u);
        EXPECT_EQ(adapter->Start(), 0u);
        bringAFix();
        EXPECT_EQ(adapter->UpdateCurrentPosition(), 0u);
        GPSReadings readings;
        adapter->GetReadings(readings);
        EXPECT_TRUE(readings.available);
        EXPECT_EQ(readings.fixTick, unit.clock.tick());
    }
    /// After a restart of the whole service everything is as ever.
    void expectRestart() {
        expectUsable();
        EXPECT_EQ(adapter->Finalize(), 0u);
        noDataReadCounter() = 0;
        expectService();
    }
    void expectWholeDump() {
        destroy();
        EXPECT_THAT(unit.port.dumpFile(), Optional(kWhole));
    }

    // --- The loops --------------------------------------------------------------------------------------

    /// Tries it without each request for the resource, alone and with all that follow, in the order of `n`.
    /// Returns how many lives had a single one refused. Where all that follow are refused as well, fewer may
    /// be left.
    std::size_t withoutEach(Resource resource, const Trial& trial) {
        std::size_t single = 0;
        for (const std::size_t count : {std::size_t{1}, kForever})
            for (std::size_t n = 1; life(trial, resource, n, count); ++n) {
                single += count == 1 ? 1 : 0;
                if (HasFailure()) {
                    ADD_FAILURE() << "refused: number " << n << (count == 1 ? "" : " and all that follow");
                    return 0;
                }
            }
        return single;
    }
    /// From construction to destruction; whether the operation came to its n-th request.
    bool life(const Trial& trial, Resource resource, std::size_t n, std::size_t count) {
        const MemoryWatch memory;
        trial.before();
        const auto begin = unit.clock.elapsed();
        {
            const Shortage shortage(resource, n, count);
            trial.operation();
            wasRefused = shortage.hasRefused();
        }
        longest_ = std::max(longest_, unit.clock.elapsed() - begin);
        EXPECT_LE(unit.clock.elapsed() - begin, trial.pauses);
        trial.after();
        destroy();
        expectNothingLeft(memory);
        return wasRefused;
    }
    void expectNothingLeft(const MemoryWatch& memory) {
        const GroundMemory ground;
        tzset(); // gives back the C library's copy of the time zone's name, which it takes anew each time
        leakedBytes_ += descriptors_ < 0 ? 0 : memory.bytes();
        EXPECT_TRUE(descriptors_ < 0 || memory.blocks() == 0) << memory.blocks() << " blocks are held still";
        EXPECT_FALSE(unit.port.isOpen());
        EXPECT_EQ(unit.shell.openStreams(), 0u);
        EXPECT_TRUE(descriptors_ < 0 || openDescriptors() == descriptors_) << "descriptors are held still";
        for (std::size_t i = 0; i < unit.threads.count(); ++i)
            EXPECT_TRUE(unit.threads.at(i).joined) << i;
        unit.forget();
    }
    void noteFigures(const std::string& row, std::size_t requests) {
        faultFigure(row, "longest_s", std::chrono::duration<double>(longest_).count());
        faultFigure(row, "refused", static_cast<double>(requests));
        faultFigure(row, "leaked_kib", static_cast<double>(leakedBytes_) / 1024);
        faultFigure(row, "leaked_descriptors", openDescriptors() - descriptors_);
    }

    RecordingCallback callback;
    std::unique_ptr<GPSAdapter> adapter;
    bool wasRefused = false; ///< a request of the operation's, in this life

private:
    VirtualClock::Duration longest_{};
    int descriptors_ = -1; ///< what the process has open between two lives; not known yet in the first
    std::size_t leakedBytes_ = 0;
};

// --- Construction, with a database to be restored -------------------------------------------------------

class ExhaustedRestore : public Exhaustion {
protected:
    /// Nothing is constructed yet; afterwards the next construction succeeds.
    Trial trial() {
        return {[this] {
                    constructed();
                    destroy();
                    const GroundMemory ground;
                    unit.port.setDumpFile(kOld);
                },
                [this] { tryToConstruct(); }, [this] { expectNextOne(); },
                // two cycles of two tries, three tries more; the port's frame, all others, the database's
                kGpsdEnds + 2 * (kReset + 2 * kLineFailed) + 3 * kLineFailed + 3 * kUnanswered};
    }
    void tryToConstruct() {
        try {
            construct();
        } catch (const std::bad_alloc&) {
            ++thrown;
        }
    }
    void expectNextOne() {
        // Where only the worker found no memory, the driver was destroyed again, which saves the receiver's.
        EXPECT_THAT(unit.port.dumpFile(), adapter == nullptr ? kWholeOrNone : Optional(kOld));
        if (adapter == nullptr) {
            EXPECT_GE(thrown, 1);
            construct();
        }
        expectUsable();
        expectService();
        expectWholeDump();
    }
    int thrown = 0; ///< in all lives
};

TEST_F(ExhaustedRestore, ThrowsOrGoesOnWithoutItsNthMemoryAndLeavesNothing) {
    const std::size_t requests = withoutEach(Resource::Memory, trial());
    EXPECT_GE(requests, 3u * (kConfiguration + 1)); // each frame's text, command and record
    noteFigures("exhaustion.restore-memory", requests);
}

TEST_F(ExhaustedRestore, GoesOnWithoutItsNthOpenFile) {
    const std::size_t requests = withoutEach(Resource::Opens, trial());
    EXPECT_EQ(requests, 2u); // the port and the database
    EXPECT_EQ(thrown, 0);
    noteFigures("exhaustion.restore-open", requests);
}

/// The four commands up to the line's set-up, five frames, the line's set-up again, one frame of the
/// database.
constexpr std::size_t kConstructionsProcesses = 11;
constexpr std::size_t kFirstStty = 4;

TEST_F(ExhaustedRestore, GoesOnWithoutItsNthProcess) {
    std::size_t n = 1;
    while (life(trial(), Resource::Processes, n, 1))
        ++n;
    EXPECT_EQ(n - 1, kConstructionsProcesses);
    for (n = kFirstStty + 1; life(trial(), Resource::Processes, n, kForever);)
        ++n;
    EXPECT_EQ(n - 1, kConstructionsProcesses);
    EXPECT_EQ(thrown, 0);
    noteFigures("exhaustion.restore-process", n - 1);
}

TEST_F(ExhaustedRestore, EndsTheProcessWithoutAnyLine) {
    for (std::size_t n = 1; n <= kFirstStty; ++n)
        EXPECT_EXIT(life(trial(), Resource::Processes, n, kForever), ::testing::ExitedWithCode(255),
                    "system .*stty")
            << n;
}

TEST_F(ExhaustedRestore, WritesNothing) { EXPECT_EQ(withoutEach(Resource::Writes, trial()), 0u); }

// --- Start ----------------------------------------------------------------------------------------------

class ExhaustedStart : public Exhaustion {
protected:
    Trial trial() {
        return {[this] { constructed(); }, [this] { start(); }, [this] { expectRestart(); },
                kGpsdEnds + kGpsdComes + kGpsdIsLeftTo};
    }
};

TEST_F(ExhaustedStart, GoesOnWithoutItsNthMemory) {
    const std::size_t requests = withoutEach(Resource::Memory, trial());
    EXPECT_GE(requests, 1u); // the line of the start delay
    noteFigures("exhaustion.start-memory", requests);
}

TEST_F(ExhaustedStart, GoesOnWithoutItsNthProcess) {
    const std::size_t requests = withoutEach(Resource::Processes, trial());
    EXPECT_EQ(requests, 4u); // two looks for gpsd, its start, a look for it
    noteFigures("exhaustion.start-process", requests);
}

TEST_F(ExhaustedStart, OpensAndWritesNothing) {
    for (const Resource resource : {Resource::Opens, Resource::Writes})
        EXPECT_EQ(withoutEach(resource, trial()), 0u);
}

// --- A cycle of the updates -----------------------------------------------------------------------------

class ExhaustedUpdate : public Exhaustion {
protected:
    Trial trial() {
        return {[this] { started(); }, [this] { update(); }, [this] { expectNextCycle(); }, 0s};
    }
    void expectNextCycle() {
        expectUsable();
        update();
        GPSReadings readings;
        adapter->GetReadings(readings);
        EXPECT_TRUE(readings.available);
        EXPECT_EQ(readings.antennaState, GPS_ANTENNA_OK);
        EXPECT_EQ(readings.satelliteCount, 12u);
        expectRestart();
    }
};

TEST_F(ExhaustedUpdate, GoesOnWithoutItsNthMemory) {
    const std::size_t requests = withoutEach(Resource::Memory, trial());
    EXPECT_GE(requests, 1u); // the antenna's text; under a sanitizer no more than operator new is refused
    noteFigures("exhaustion.update-memory", requests);
}

TEST_F(ExhaustedUpdate, OpensStartsAndWritesNothing) {
    for (const Resource resource : {Resource::Opens, Resource::Processes, Resource::Writes})
        EXPECT_EQ(withoutEach(resource, trial()), 0u);
}

class ExhaustedRestart : public Exhaustion {
protected:
    Trial trial() {
        const auto reload = kLineFailed + kReset + 3 * kLineFailed + (kConfiguration + 1) * kUnanswered;
        return {[this] { silent(); }, [this] { update(); }, [this] { expectRestart(); },
                kGpsdEnds + reload + kAfterReload + kGpsdEnds + kGpsdComes + kGpsdIsLeftTo};
    }
};

TEST_F(ExhaustedRestart, GoesOnWithoutItsNthMemory) {
    const std::size_t requests = withoutEach(Resource::Memory, trial());
    EXPECT_GE(requests, 2u * (kConfiguration + 1)); // each frame's command and line
    noteFigures("exhaustion.update-restart-memory", requests);
}

TEST_F(ExhaustedRestart, GoesOnWithoutItsNthProcess) {
    const std::size_t requests = withoutEach(Resource::Processes, trial());
    EXPECT_EQ(requests,
              17u); // gpsd ended, line and receiver reset, five frames and the restored one, gpsd started
    noteFigures("exhaustion.update-restart-process", requests);
}

TEST_F(ExhaustedRestart, GoesOnWithoutThePort) {
    const std::size_t requests = withoutEach(Resource::Opens, trial());
    EXPECT_EQ(requests, 1u);
    noteFigures("exhaustion.update-restart-open", requests);
}

// --- Stop -----------------------------------------------------------------------------------------------

class ExhaustedStop : public Exhaustion {
protected:
    Trial trial() {
        return {[this] { started(); }, [this] { stop(); }, [this] { expectRestart(); }, kGpsdEnds};
    }
};

TEST_F(ExhaustedStop, GoesOnWithoutItsNthProcess) {
    const std::size_t requests = withoutEach(Resource::Processes, trial());
    EXPECT_EQ(requests, 3u); // a look for gpsd, its end, a look for it
    noteFigures("exhaustion.stop-process", requests);
}

TEST_F(ExhaustedStop, NeedsNoMemoryOpensAndWritesNothing) {
    for (const Resource resource : {Resource::Memory, Resource::Opens, Resource::Writes})
        EXPECT_EQ(withoutEach(resource, trial()), 0u);
}

// --- Destruction, which saves the database --------------------------------------------------------------

class ExhaustedDump : public Exhaustion {
protected:
    using File = ::testing::Matcher<std::optional<Bytes>>;

    Trial trial(const File& file) {
        return {[this] { constructed(); }, [this] { destroy(); }, [this, file] { expectNextDump(file); },
                kGpsdEnds + kUnanswered};
    }
    /// `file` where something was refused, never half of a database. The next service saves a whole one.
    void expectNextDump(const File& file) {
        EXPECT_THAT(unit.port.dumpFile(), wasRefused ? file : Optional(kWhole));
        construct();
        expectUsable();
        expectWholeDump();
    }
};

TEST_F(ExhaustedDump, LeavesAWholeFileOrNoneWithoutItsNthMemory) {
    const std::size_t requests = withoutEach(Resource::Memory, trial(kWholeOrNone));
    EXPECT_GE(requests, 3u); // the poll's record, its command, the frames
    noteFigures("exhaustion.dump-memory", requests);
}

/// Without the port nobody waits for an answer, and the file isn't touched; one that can't be emptied is
/// appended to.
TEST_F(ExhaustedDump, LeavesAWholeFileOrNoneWithoutItsNthOpenFile) {
    const std::size_t requests =
        withoutEach(Resource::Opens, trial(AnyOf(Optional(kOld), Optional(kOld + kWhole))));
    EXPECT_EQ(requests, 2u); // the port and the file; a second try at the file alone
    noteFigures("exhaustion.dump-open", requests);
}

/// A trailer alone where the receiver couldn't be asked.
TEST_F(ExhaustedDump, LeavesAWholeFileOrNoneWithoutItsNthProcess) {
    const std::size_t requests =
        withoutEach(Resource::Processes, trial(AnyOf(Optional(Bytes("000000")), Optional(kWhole))));
    EXPECT_EQ(requests, 4u); // two looks for gpsd, the poll, the line's speed
    noteFigures("exhaustion.dump-process", requests);
}

TEST_F(ExhaustedDump, LeavesAWholeFileOrAnEmptyOneWithoutItsNthWrite) {
    const std::size_t requests = withoutEach(Resource::Writes, trial(Optional(Bytes())));
    EXPECT_EQ(requests, 6u); // the trailer's place, the trailer, its flush, the begin, the frames, their rest
    noteFigures("exhaustion.dump-write", requests);
}

} // namespace
