#ifndef DRIVERFIXTURE_H
#define DRIVERFIXTURE_H

#include <memory>
#include <vector>

#include "Arrivals.h"
#include "DriverMembers.h"
#include "FailingMemory.h"
#include "VirtualUnit.h"

/// Tries `operation` without each of its allocations: first the n-th alone fails, then all from the n-th on,
/// for every n. `before` and `after` each such run have their memory.
template <typename Before, typename Operation, typename After>
void withEachAllocationFailing(Before before, Operation operation, After after) {
    for (const std::size_t count : {std::size_t{1}, FailingMemory::kForever}) {
        bool hasFailed = true;
        for (std::size_t n = 1; hasFailed; ++n) {
            before();
            {
                const FailingMemory memory(n, count);
                operation();
                hasFailed = memory.hasFailed();
            }
            after();
        }
    }
}

/// A driver on a virtual unit, with what its construction did forgotten.
template <typename Driver = GPSHAL_RUXO_3>
class DriverFixtureOf : public UnitTest {
protected:
    DriverFixtureOf() {
        noDataReadCounter() = 0;
        driver = std::make_unique<Driver>();
        unit.semaphores.journalAs(&reportSemaphore(), "semaphore");
        unit.forget();
    }
    ~DriverFixtureOf() override { unit.clock.afterEachSleep = nullptr; } // the driver's end pauses too

    ReaderBlock& reader() { return (*driver).*memberOf(DriverReader()); }

    /// Initialised and started, the start-up time over, nothing of it in the journal. Its thread is captured.
    void start() {
        driver->Initialize();
        unit.clock.advance(std::chrono::seconds(3));
        driver->Start();
        unit.forget();
    }

    /// Lets the reader thread run until gpsd's script is over.
    void* read() {
        unit.gpsd.whenLastCycleBegins = [this] { reader().stopRequested = true; };
        return unit.threads.run();
    }

    void expectJournal(const Lines& lines) { EXPECT_EQ(unit.journal.lines(), lines); }

    std::unique_ptr<Driver> driver;
};

using DriverFixture = DriverFixtureOf<>;

/// Records the calls that come through the virtual table.
class WatchedDriver : public GPSHAL_RUXO_3 {
public:
    unsigned int Initialize() override { return called("Initialize", GPSHAL_RUXO_3::Initialize()); }
    unsigned int Finalize() override { return called("Finalize", GPSHAL_RUXO_3::Finalize()); }
    unsigned int Start() override { return called("Start", startResult | GPSHAL_RUXO_3::Start()); }
    unsigned int Stop() override { return called("Stop", stopResult | GPSHAL_RUXO_3::Stop()); }
    bool IsActive() override { return pretendsToBeActive || GPSHAL_RUXO_3::IsActive(); }
    bool IsRunning() override { return pretendsToRun || GPSHAL_RUXO_3::IsRunning(); }

    Lines calls;
    std::vector<unsigned int> counters; ///< the counter of empty cycles at each call
    unsigned int stopResult = 0;
    unsigned int startResult = 0;
    bool pretendsToBeActive = false;
    bool pretendsToRun = false;

private:
    unsigned int called(const char* name, unsigned int result) {
        const GroundMemory memory;
        calls.push_back(name);
        counters.push_back(::noDataReadCounter());
        return result;
    }
};

#endif
