#ifndef VIRTUALUNIT_H
#define VIRTUALUNIT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "Abort.h"
#include "GPSPlatform.h"
#include "Journal.h"
#include "VirtualClock.h"
#include "VirtualGpsd.h"
#include "VirtualPort.h"
#include "VirtualShell.h"
#include "VirtualThreads.h"

/// The platform's HAL: one antenna.
struct VirtualHal {
    /// Whether `RuxoHAL::Instance()` gives an object from now on (the library asks as it is loaded, too).
    bool present = true;
    GPSAntennaState antennaState = GPS_ANTENNA_OK;
    /// What the antenna query returns.
    unsigned int antennaResult = 0;
    /// Whether a query that succeeds fills in the state, and one that fails.
    bool fillsState = true;
    bool fillsStateOnError = false;
    /// Antenna queries so far.
    int queries = 0;
    /// Runs at each query, before it is answered.
    std::function<void()> atQuery;
};

/// What the library asks the system for: a process to be started, one of the unit's files to be opened,
/// something to be written to one. What leads to a write is one: a flush, a change of the place in a file
/// that is written, its close.
enum class Want { Process, Open, Write };

/// A telematics unit for one test: everything that the library reaches outside itself is answered from here
/// while the object lives. One at a time; the functions in Interpose.cpp find it through `current`.
class VirtualUnit {
public:
    VirtualUnit();
    ~VirtualUnit();
    VirtualUnit(const VirtualUnit&) = delete;
    VirtualUnit& operator=(const VirtualUnit&) = delete;

    static VirtualUnit* current();

    /// Before the library creates one: threads are real from here on, on the virtual clock (see
    /// `VirtualClock`). Hooks and scheduled actions are for captured threads; leave them alone.
    void useRealThreads() { clock.useRealThreads(); }

    /// Forgets what was recorded so far: journal, log lines and frames sent.
    void forget();

    Journal journal;
    LogLines log;
    VirtualClock clock;
    VirtualShell shell;
    VirtualPort port;
    VirtualGpsd gpsd;
    VirtualThreads threads;
    VirtualSemaphores semaphores;
    VirtualHal hal;

    /// Asked at each such wish of the library's; true refuses it, as a system does that has no more of them.
    /// A write that is refused leaves nothing in the file.
    std::function<bool(Want)> refuses;

    /// Runs as the platform is asked to remove a file, before it does.
    std::function<void()> atRemoval;

    /// `gettimeofday` fails with this errno while it is not 0.
    int timeOfDayError = 0;
};

/// Base of the fixtures.
class UnitTest : public ::testing::Test {
protected:
    VirtualUnit unit;
};

/// A line of exactly this level and text was logged, or wasn't.
#define EXPECT_LOGGED(level, text)                                                                           \
    EXPECT_GT(VirtualUnit::current()->log.count(level, text), 0)                                             \
        << "logged: " << ::testing::PrintToString(VirtualUnit::current()->log.texts())
#define EXPECT_NOT_LOGGED(level, text) EXPECT_EQ(VirtualUnit::current()->log.count(level, text), 0)

#endif
