#include "ReaderCycle.h"

#include <unistd.h>

#include <ctime>

#include "GPSHAL_RUXO_3.h"
#include "GpsReport.h"
#include "Log.h"

namespace {

constexpr char kLogSource[] = "src/GPSHAL_RUXO_3.cpp"; // log readers know the driver by it

constexpr useconds_t kReaderPauseUs = 50000;

// Log texts.
constexpr char kCloseSocket[] = "Close GPS socket";
constexpr char kCyclesWithoutData[] = "%d cycles without any data reception have been detected";

// KEEP: good reads don't reset it: it counts since the last restart. Pinned by
// ReaderThread.CountsAcrossGoodReports
unsigned int countEmptyCycle() { return ++GPSHAL_RUXO_3::noDataReadCounter; }

void logEmptyCycles(unsigned int count) { LOG(kLogError, kCyclesWithoutData, static_cast<int>(count)); }

/// A wait that brought nothing; enough of them end the thread.
void endIfSilent(GpsdSession& session, ReaderBlock& block) {
    const unsigned int count = countEmptyCycle();
    if (count > kEmptyCyclesAllowed) {
        LOG(kLogError, kCloseSocket);
        session.close();
        block.stopRequested = true;
    }
    logEmptyCycles(count);
}

/// Holds `semaphore` for one copy, and gives it back however the copy ends. Nothing that is copied today can
/// throw, nor is it a place where a thread is cancelled; the day that a row of the copy can, no later copy
/// waits for ever. A thread that is cancelled while it waits here has nothing to give back.
class CopyLock {
public:
    CopyLock() { sem_wait(&semaphore); }
    ~CopyLock() { sem_post(&semaphore); }
    CopyLock(const CopyLock&) = delete;
    CopyLock& operator=(const CopyLock&) = delete;
};

void copyReport(const GpsdSession& session, time_t cycleTime, ReaderBlock& block) {
    const CopyLock lock;
    if (session.record() != nullptr)
        gpsreport::copy(*session.record(), cycleTime, block);
}

} // namespace

void readOneReport(GpsdSession& session, ReaderBlock& block) {
    // KEEP: taken before the wait: the age counts from here. Pinned by
    // ReaderThread.StampsWithTheTimeBeforeTheWait
    const time_t cycleTime = time(nullptr);
    if (!session.wait()) {
        endIfSilent(session, block);
        return;
    }
    // KEEP: counted, but only an empty wait tests the limit.
    // Pinned by ReaderThread.EndsAtNoFailedReadButAtTheNextEmptyWait
    if (!session.read())
        logEmptyCycles(countEmptyCycle());
    // KEEP: a failed read is copied all the same, with the mask that the record still holds, so old values
    // stay fresh. Pinned by ReaderThread.RefreshesArrivalTimesAfterAFailedRead
    copyReport(session, cycleTime, block);
    usleep(kReaderPauseUs); // its thread has all signals blocked: nothing to hold off, 20 times a second
}
