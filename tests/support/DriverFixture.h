#ifndef DRIVERFIXTURE_H
#define DRIVERFIXTURE_H

#include <memory>

#include "DriverMembers.h"
#include "VirtualUnit.h"

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

    std::unique_ptr<Driver> driver;
};

using DriverFixture = DriverFixtureOf<>;

#endif
