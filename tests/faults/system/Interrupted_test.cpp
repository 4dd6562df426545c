// Calls that a signal interrupts. The library's threads have all signals blocked, and the C libraries go on
// by themselves in most of these calls; what comes of an interruption all the same stands here.

#include "AdapterFixture.h"
#include "DriverFixture.h"
#include "FaultFigures.h"
#include "GpsRecord.h"
#include "HandlerTest.h"

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

namespace {

using std::chrono::microseconds;

// --- fread: the receiver's answers ----------------------------------------------------------------------

constexpr microseconds kPassPause{21701};

class InterruptedRead : public HandlerTest {
protected:
    InterruptedRead() {
        openPort();
        nothingIsAcknowledged();
        unit.forget();
    }
    /// How long the wait for the second command's acknowledgement takes, which is there from the begin.
    microseconds wait() {
        unit.port.arrives(ackAck(0x06, 0x17));
        const auto begin = unit.clock.elapsed();
        handler->waitForAck(1, false);
        return unit.clock.elapsed() - begin;
    }
};

TEST_F(InterruptedRead, CostsAPauseAndLosesNoAnswer) {
    unit.port.interruptsReading(3);
    const microseconds waited = wait();
    EXPECT_EQ(waited.count(), 3 * kPassPause.count());
    EXPECT_THAT(acknowledged(), ElementsAre(1));
    faultFigure("system.signals-in-a-read-of-the-port", "reads", unit.port.reads);
}

TEST_F(InterruptedRead, InTheMiddleOfAnAnswerLosesItAsTwoReadsDo) {
    unit.port.interruptsReading(1, 7);
    const microseconds waited = wait();
    EXPECT_THAT(acknowledged(), Not(Contains(1)));
    expectTimeOut();
    faultFigure("system.signals-within-an-answer", "wait_s", static_cast<double>(waited.count()) / 1e6);
}

// --- gps_waiting: the reader ----------------------------------------------------------------------------

class InterruptedWait : public DriverFixture {
protected:
    InterruptedWait() {
        start();
        block().stopRequested = false;
    }
    ReaderBlock& block() { return reader(); }
    /// Reports with interrupted waits between them, to the script's end.
    void readReportsAndInterruptions(int interruptions) {
        unit.gpsd.reports(fillNorthbound);
        for (int i = 0; i < interruptions; ++i) {
            unit.gpsd.isInterrupted();
            unit.gpsd.reports(fillNorthbound);
        }
        read();
    }
};

TEST_F(InterruptedWait, CountsAsEmptyAndCostsNoReport) {
    readReportsAndInterruptions(10);
    EXPECT_NEAR(block().latitude, 48 + 10 * 0.0002, 1e-9) << "of the eleventh report";
    EXPECT_EQ(noDataReadCounter(), 10u);
    EXPECT_LOGGED(3, "10 cycles without any data reception have been detected");
    EXPECT_NOT_LOGGED(3, "Close GPS socket");
    faultFigure("system.signals-in-the-readers-wait", "empty_cycles", noDataReadCounter());
}

TEST_F(InterruptedWait, OfTheEleventhTimeEndsTheSessionAndBringsARestart) {
    readReportsAndInterruptions(11);
    EXPECT_LOGGED(3, "Close GPS socket");
    EXPECT_EQ(unit.gpsd.closes(), 1);
    GPSData data;
    driver->GetData(data);
    EXPECT_LOGGED(3, "GPSD does not provide any data - restarting GPSD");
    EXPECT_EQ(noDataReadCounter(), 0u);
    faultFigure("system.signals-in-eleven-waits", "threads_joined",
                static_cast<double>(unit.journal.count("pthread_join")));
}

// --- pclose: gpsd's commands ----------------------------------------------------------------------------

class InterruptedClose : public DriverFixture {
protected:
    /// Looks, kills, looks again, starts and looks until it is there.
    Lines restartOfGpsd() {
        unit.shell.daemon.running = true;
        unit.forget();
        driver->Finalize();
        driver->Initialize();
        return unit.journal.lines();
    }
};

// What a command said counts, not how it ended; and a second `pclose` would be a use after free.
TEST_F(InterruptedClose, ChangesNoStepAndClosesNoStreamTwice) {
    const Lines undisturbed = restartOfGpsd();
    const auto commands = unit.journal.count("pclose");
    unit.shell.interruptsClosing(static_cast<int>(commands));
    EXPECT_EQ(restartOfGpsd(), undisturbed);
    EXPECT_EQ(unit.journal.count("pclose"), commands);
    EXPECT_EQ(unit.shell.openStreams(), 0u);
    EXPECT_TRUE(unit.shell.daemon.running);
    faultFigure("system.signals-at-a-commands-end", "interrupted", static_cast<double>(commands));
}

// --- pthread_join: reader and worker --------------------------------------------------------------------

class InterruptedReadersJoin : public DriverFixture {};

TEST_F(InterruptedReadersJoin, LetsTheNextStartMakeAnotherReader) {
    start();
    unit.threads.joinFails(EINTR);
    EXPECT_EQ(driver->Stop(), 0u);
    EXPECT_TRUE(reader().stopRequested) << "the thread ends by itself";
    EXPECT_EQ(driver->Start(), 0u);
    EXPECT_EQ(driver->Stop(), 0u);
    EXPECT_THAT(
        unit.journal.only({"pthread_"}),
        ElementsAre("pthread_join thread 1 failed", "pthread_create thread 2", "pthread_join thread 2"));
    faultFigure("system.signals-in-the-readers-join", "readers", static_cast<double>(unit.threads.count()));
}

class InterruptedWorkersJoin : public AdapterFixture {};

TEST_F(InterruptedWorkersJoin, CancelsTheWorkerAndTheNextStartMakesAnother) {
    EXPECT_EQ(worker().Start(), 0u);
    unit.forget();
    unit.threads.joinFails(EINTR);
    EXPECT_EQ(worker().Stop(), 0u);
    EXPECT_LOGGED(3, "GPSTimedWorker failed to join worker thread (result is 4)");
    EXPECT_EQ(worker().Start(), 0u);
    EXPECT_THAT(unit.journal.only({"pthread_"}),
                ElementsAre("pthread_join thread 1 failed", "pthread_cancel thread 1",
                            "pthread_join thread 1", "pthread_create thread 2"));
    faultFigure("system.signals-in-the-workers-join", "workers", static_cast<double>(unit.threads.count()));
}

} // namespace
