#ifndef GPSTIMEDWORKER_H
#define GPSTIMEDWORKER_H

#include <pthread.h>
#include <semaphore.h>

#include <cstdint>

#include "GPSExport.h"

class GPSAdapter;
struct GPSParams;

/// The adapter's background thread: wakes at a fixed pace, reads the settings anew and runs those of the
/// adapter's update operations that are due.
///
/// `Start`, `Stop` and destruction belong to one thread. The worker holds no lock across a cycle. Nothing is
/// thrown: a thread that finds no memory for its copy of the settings logs that, pauses and tries again.
class RUXOGPS_API GPSTimedWorker {
public:
    /// `adapter` must outlive the worker.
    explicit GPSTimedWorker(GPSAdapter& adapter);

    /// Stops the thread and waits for it, also for one that has ended by itself.
    ~GPSTimedWorker();

    GPSTimedWorker(const GPSTimedWorker&) = delete;
    GPSTimedWorker& operator=(const GPSTimedWorker&) = delete;

    /// Starts the thread; with a thread that runs, only takes back a request to stop. Where the start token
    /// was not given back, after a thread that ended by itself or could not be created, it blocks for up to a
    /// second. 0, `GPS_ERR_NOT_AVAILABLE` when the start token can't be taken, `GPS_ERR_THREAD` when the
    /// thread can't be created.
    uint32_t Start();

    /// Ends the thread and waits for it: up to its current sleep and cycle. Returns 0 at once when none runs;
    /// `GPS_ERR_THREAD` when the thread could be neither joined nor cancelled.
    uint32_t Stop();

    /// Whether the thread runs: from `Start` until it has ended, by itself or stopped. Read without a lock.
    bool IsActive() const;

    /// The thread's body; called by the thread alone.
    void Run();

private:
    struct TimeStamps;

    uint32_t cancelThread();
    void joinEndedThread();

    void runLoop(GPSParams& params);
    bool fetchParams(GPSParams& params); ///< false when they can't be read and a stop is requested
    void runCycle(const GPSParams& params, TimeStamps& last);
    void runPositionBlock(const GPSParams& params);
    void runTrackingBlock(const GPSParams& params, uint32_t now, uint32_t& lastTracking); ///< ticks, in s
    void runStatusBlock();

    GPSAdapter& adapter;
    bool running;         ///< written by both threads without a lock: a stale read costs a cycle at most
    bool stopRequested;   ///< likewise
    pthread_t thread;     ///< 0 when there is none to join
    sem_t startSemaphore; ///< a start token: taken by Start, given back by Stop; wakes nobody
};

#endif
