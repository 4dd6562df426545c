// The adapter's background thread.
//
// The thread sleeps for a fixed time, a quarter of the position interval that it found when it started, and
// runs in each cycle what is due: position, tracking, status, log, in that order. It reads the settings anew
// in every cycle. Time stamps are ticks in whole seconds, compared unsigned and 32 bits wide.

#include "GPSTimedWorker.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <new>
#include <optional>

#include "GPSAdapter.h"
#include "LibraryThread.h"
#include "Log.h"

// --- Constants ------------------------------------------------------------------------------------------

namespace {

constexpr char kLogSource[] = "src/GPSTimedWorker.cpp";

constexpr time_t kTokenWaitSeconds = 1;
constexpr long kTokenWaitNanoseconds = 250;
constexpr uint32_t kMicrosPerSecond = 1000000;
constexpr uint32_t kCyclesPerInterval = 4;
constexpr useconds_t kNoMemoryPauseMicros = 250000;
constexpr uint32_t kTrackingLockoutSeconds = 5;
constexpr uint32_t kLogIntervalMask = 0xFFF;

// Log texts.
constexpr char kSemInitFailed[] = "GPSTimedWorker failed to create semaphore (errno %d)";
// KEEP: "semaphoire". Pinned by WorkerDestruction.LogsATokenThatCanNotBeDestroyed
constexpr char kSemDestroyFailed[] = "GPSTimedWorker failed to destroy semaphoire (errno is %d)";
constexpr char kStopFailed[] = "GPSTimedWorker failed to stop worker thread (error code 0x%08X)";
constexpr char kAlreadyRunning[] = "GPSTimedWorker already running";
constexpr char kTokenFailed[] = "GPS worker failed to wait for semaphore (errno %d)!";
constexpr char kCreateFailed[] = "GPSTimedWorker failed to start worker thread (result is %d)";
constexpr char kPostFailed[] = "GPSTimedWorker failed to signal worker thread (result is %d)";
constexpr char kJoinFailed[] = "GPSTimedWorker failed to join worker thread (result is %d)";
constexpr char kCancelFailed[] = "GPSTimedWorker failed to cancel worker thread (result is %d)";
constexpr char kStarts[] = "GPS worker starts and should %s immediately, usleep %d.";
constexpr char kParamsFailed[] = "GPS worker failed to get setting parameters (error code 0x%08X)!";
constexpr char kGeofenceFailed[] = "GPS worker failed to check geofence (error code 0x%08X)!";
constexpr char kStopped[] = "GPS worker stopped.";

// --- Settings -------------------------------------------------------------------------------------------

/// Settings to be filled in. They hold names; false, which is logged, where there is no memory for those.
bool makeParams(std::optional<GPSParams>& params) {
    try {
        params.emplace();
    } catch (const std::bad_alloc&) {
        LOG(kLogError, kParamsFailed, GPS_ERR_FAILED);
        return false;
    }
    return true;
}

// --- Schedule -------------------------------------------------------------------------------------------

// KEEP: the sum may wrap; a block then runs in every cycle until the tick wraps as well.
// Pinned by WorkerSchedule.ComparesUnsignedWhereTheTickWraps
bool isDue(uint32_t now, uint32_t last, uint32_t interval) { return now >= last + interval; }

/// Whether the shifted UTC time is within a second of a multiple of the tracking period.
bool isTrackingBoundary(long utc, const GPSParams& params) {
    const int32_t period = params.trackingPeriod;
    if (period == 0)
        return false; // there is no remainder by 0
    const auto shifted =
        static_cast<int32_t>(static_cast<uint32_t>(utc) - static_cast<uint32_t>(params.trackingBase) +
                             static_cast<uint32_t>(params.trackingOffset));
    const int32_t remainder = period == -1 ? 0 : shifted % period; // INT32_MIN % -1 would trap
    // KEEP: a time before the base has a negative remainder and is always a boundary.
    // Pinned by TrackingBlock.ReportsEveryFiveSecondsWhileTheBaseLiesAhead
    return remainder <= 1 || remainder >= static_cast<int64_t>(period) - 1;
}

void* runWorker(void* worker) {
    if (worker == nullptr)
        return nullptr;
    runsOnLibraryThread = true;
    static_cast<GPSTimedWorker*>(worker)->Run();
    runsOnLibraryThread = false;
    return nullptr;
}

} // namespace

struct GPSTimedWorker::TimeStamps {
    uint32_t position = 0;
    uint32_t tracking = 0;
    uint32_t status = 0;
    uint32_t log = 0;
};

// --- Life cycle -----------------------------------------------------------------------------------------

GPSTimedWorker::GPSTimedWorker(GPSAdapter& owner)
    : adapter(owner), running(false), stopRequested(false), thread(0) {
    if (sem_init(&startSemaphore, 0, 1) != 0)
        LOG(kLogCritical, kSemInitFailed, errno);
}

GPSTimedWorker::~GPSTimedWorker() {
    const uint32_t rc = Stop();
    if (rc != 0)
        LOG(kLogError, kStopFailed, rc);
    if (!running)
        joinEndedThread(); // one that could be neither joined nor cancelled is left alone
    if (sem_destroy(&startSemaphore) != 0)
        LOG(kLogError, kSemDestroyFailed, errno);
}

uint32_t GPSTimedWorker::Start() {
    if (running) {
        LOG(kLogInfo, kAlreadyRunning);
        // KEEP: a thread that was told to stop carries on.
        // Pinned by WorkerStart.OnlyTakesBackAStopWhileTheThreadRuns
        stopRequested = false;
        return 0;
    }
    const timespec deadline = {time(nullptr) + kTokenWaitSeconds, kTokenWaitNanoseconds};
    // KEEP: a token that doesn't come in time is done without: a thread that ended by itself never gave it
    // back. Pinned by WorkerStart.GoesOnWhenTheTokenDoesNotComeInTime
    if (sem_timedwait(&startSemaphore, &deadline) != 0 && errno != ETIMEDOUT) {
        LOG(kLogCritical, kTokenFailed, errno);
        return GPS_ERR_NOT_AVAILABLE;
    }
    joinEndedThread();
    stopRequested = false;
    const int rc = createLibraryThread(thread, runWorker, this);
    if (rc != 0) {
        LOG(kLogError, kCreateFailed, rc);
        return GPS_ERR_THREAD;
    }
    running = true;
    return 0;
}

uint32_t GPSTimedWorker::Stop() {
    if (!IsActive())
        return 0;
    stopRequested = true;
    int rc = sem_post(&startSemaphore);
    if (rc != 0)
        LOG(kLogError, kPostFailed, rc);
    else if ((rc = pthread_join(thread, nullptr)) != 0)
        LOG(kLogError, kJoinFailed, rc);
    if (rc != 0)
        return cancelThread();
    thread = 0;
    running = false;
    return 0;
}

uint32_t GPSTimedWorker::cancelThread() {
    const int rc = pthread_cancel(thread);
    if (rc != 0) {
        LOG(kLogError, kCancelFailed, rc);
        return GPS_ERR_THREAD;
    }
    running = false;
    return 0;
}

void GPSTimedWorker::joinEndedThread() {
    if (thread != 0)
        pthread_join(thread, nullptr);
    thread = 0;
}

/// Whoever finds that a thread has ended by itself also finds all that it did with the driver, without a
/// join.
bool GPSTimedWorker::IsActive() const { return __atomic_load_n(&running, __ATOMIC_ACQUIRE); }

// --- The thread -----------------------------------------------------------------------------------------

void GPSTimedWorker::Run() {
    running = true;
    std::optional<GPSParams> params;
    while (!makeParams(params) && !stopRequested)
        usleep(kNoMemoryPauseMicros);
    if (params)
        runLoop(*params);
    LOG(kLogInfo, kStopped);
    __atomic_store_n(&running, false, __ATOMIC_RELEASE);
}

void GPSTimedWorker::runLoop(GPSParams& params) {
    adapter.GetParams(params);
    // KEEP: fixed for the life of the thread, and the product wraps. Pinned by
    // WorkerSchedule.KeepsItsSleepForTheLifeOfTheThread and
    // WorkerSleep.IsAQuarterOfThePositionIntervalIn32Bits
    const uint32_t sleepMicros = params.positionInterval * kMicrosPerSecond / kCyclesPerInterval;
    LOG(kLogInfo, kStarts, stopRequested ? "exit" : "not exit", static_cast<int>(sleepMicros));
    TimeStamps last;
    while (!stopRequested && fetchParams(params)) {
        runCycle(params, last);
        // KEEP: no "break": the thread sleeps once more before it ends.
        // Pinned by WorkerLoop.SleepsOnceMoreAndEndsWhenDisabled
        if (!params.enabled)
            stopRequested = true;
        usleep(sleepMicros);
    }
}

bool GPSTimedWorker::fetchParams(GPSParams& params) {
    // KEEP: asked again at once, without a sleep. Pinned by WorkerSettings.AreReadAgainAtOnceUntilItSucceeds
    for (;;) {
        const unsigned int rc = adapter.GetParams(params);
        if (rc == 0)
            return true;
        LOG(kLogError, kParamsFailed, rc);
        if (stopRequested)
            return false;
    }
}

void GPSTimedWorker::runCycle(const GPSParams& params, TimeStamps& last) {
    const uint32_t now = ruxo_systemtick();
    if (isDue(now, last.position, params.positionInterval)) {
        runPositionBlock(params);
        last.position = now;
    }
    if (params.trackingEnabled)
        runTrackingBlock(params, now, last.tracking);
    if (isDue(now, last.status, params.statusInterval)) {
        runStatusBlock();
        // KEEP: taken anew, not `now`: the interval counts from the block's end.
        // Pinned by WorkerSchedule.CountsTheStatusFromTheEndOfItsBlock
        last.status = ruxo_systemtick();
    }
    // KEEP: only the low 12 bits count. Pinned by WorkerLogInterval.CountsOnlyItsLowTwelveBits
    const uint32_t logInterval = params.logInterval & kLogIntervalMask;
    if (logInterval != 0 && isDue(now, last.log, logInterval)) {
        adapter.LogDetails();
        last.log = now;
    }
}

void GPSTimedWorker::runPositionBlock(const GPSParams& params) {
    adapter.UpdateCurrentPosition();
    adapter.UpdateOdometer();
    const unsigned int rc = params.geofencesEnabled ? adapter.UpdateGeofence() : 0;
    if (rc != 0)
        LOG(kLogError, kGeofenceFailed, rc);
}

void GPSTimedWorker::runTrackingBlock(const GPSParams& params, uint32_t now, uint32_t& lastTracking) {
    long utc = 0;
    Util::Time::GetGmTime(&utc);
    // KEEP: unsigned, so ticks 0 to 4 have no lock-out. Pinned by
    // TrackingBlock.HasNoLockOutInTheFirstFiveTicks
    if (lastTracking > now - kTrackingLockoutSeconds || !isTrackingBoundary(utc, params))
        return;
    // KEEP: the lock-out counts from a report that failed as well.
    // Pinned by TrackingBlock.CountsTheLockOutFromAReportThatFailed
    adapter.SendTracking();
    lastTracking = now;
}

void GPSTimedWorker::runStatusBlock() {
    adapter.UpdateSatelliteCount();
    adapter.UpdateSNR();
    adapter.UpdateAntennaStatus();
    adapter.UpdateSystemTimeDeviation();
    adapter.UpdateErrorEstimates();
}
