#ifndef GPSHAL_RUXO_3_H
#define GPSHAL_RUXO_3_H

#include <pthread.h>
#include <semaphore.h>

#include <ctime>

#include "GPSExport.h"
#include "GPSHAL.h"
#include "ReaderBlock.h"
#include "UbxConfigHandler.h"

/// Held by a reader thread while it copies one report, and given back however the copy ends. Initialised by
/// every `Start`, so one driver a process; the queries read the snapshot without taking it and may see a
/// report half copied.
///
/// Beware of the name: it is exported, and the linker merges it with any global `semaphore` of an
/// application, or of another library. Both then use the application's: `Start` initialises it to 1 whatever
/// it held, and the reader takes and gives it. Nothing warns. An application makes its own static, or names
/// it otherwise.
extern RUXOGPS_API sem_t semaphore;

/// The platform's HAL, asked for once when the library is loaded; null when it was missing then.
extern RuxoHAL* ruxoHal;

/// The u-blox receiver on /dev/ttymxc1, read through gpsd.
///
/// Keeps gpsd running, reads its reports on a thread of its own into a snapshot, each value with the time at
/// which it last arrived, and answers queries from there. The contracts of the virtual operations are those
/// of `GPSHAL`: units, result codes, how long each may block.
///
/// All operations are called by the driver's owner, on one thread at a time. Only `ReadData` runs beside
/// them, and `IsRunning`, which the adapter's `Start` asks beside its worker: seen late, the driver counts as
/// it was. Members and their order, and the order of the virtual operations, are part of the library's binary
/// interface.
class RUXOGPS_API GPSHAL_RUXO_3 : public GPSHAL {
public:
    /// Configures the receiver (see `UbxConfigHandler`), which blocks for seconds. Throws `std::bad_alloc`
    /// for want of memory.
    GPSHAL_RUXO_3();
    /// Finalises what still runs, then has the receiver's navigation database saved, which blocks for up to
    /// about 6 s more. Throws nothing.
    ~GPSHAL_RUXO_3() override;

    bool IsActive() override;
    unsigned int Initialize() override;
    unsigned int Finalize() override;
    bool IsRunning() override;
    unsigned int Start() override;
    unsigned int Stop() override;
    unsigned int GetData(GPSData& data) override;
    unsigned int GetCurrentTime(long& utcSeconds) override;
    unsigned int GetAntennaStatus(GPSAntennaState& state) override;
    unsigned int GetStatus(bool& receiving) override;
    unsigned int GetSatellites(unsigned int& snr, unsigned int& visible) override;
    unsigned int GetErrorEstimates(unsigned int& horizontalError, int& timeError) override;
    unsigned int setInitialPosition(unsigned int latitude, unsigned int longitude,
                                    unsigned int altitude) override;

    /// Looks for a gpsd process and keeps the finding in `gpsdRunning`. Returns 0.
    unsigned int checkgpsd();
    /// Ends every gpsd process, waits for that up to 10 s, and removes gpsd's pid file, which stays where no
    /// gpsd runs. Returns 0.
    unsigned int killgpsd();
    /// Starts gpsd on the receiver's port when none runs, and waits for it up to 9 s. Returns 0.
    unsigned int startgpsd();
    /// Does nothing. Returns 0.
    unsigned int getgnss();

    /// Makes every value of the snapshot count as stale: sets the arrival times to 0, without `semaphore`.
    /// Not to be called while a reader runs.
    void SetTimesToZero();

    /// Body of the reader thread; `readerBlock` is a `ReaderBlock*`. Returns null, once `stopRequested` is
    /// set there, by `Stop` or by itself after too many waits without data. Throws nothing. A connection that
    /// fails, or a session that gets no memory, is logged with a negative errno and then counts its cycles as
    /// empty. `Start` runs it on a thread that has all signals blocked; on another, a signal cuts its waits
    /// and pauses short.
    static void* ReadData(void* readerBlock);

    /// Reader cycles without data since the last restart by `GetData`, which comes above 10. Successful reads
    /// don't reset it, nor do `Stop` and `Start`. Incremented by the reader thread, read and reset by
    /// `GetData`, without a lock. One for the whole process.
    static unsigned int noDataReadCounter;

private:
    bool active;      ///< between Initialize and Finalize
    bool running;     ///< between Start and Stop
    bool gpsdRunning; ///< finding of the last checkgpsd

    // The only memory of the object that the reader thread writes: the values and their arrival times, and
    // the flag when it gives up. Start zeroes the times before there is a thread; Start and Stop write the
    // flag.
    ReaderBlock reader;

    // Of the owner's thread alone.
    pthread_t readerThread;  ///< 0 when there is none to join
    time_t lastQueryTime;    ///< when the last query came; freshness is measured against it
    time_t lastSatelliteLog; ///< when the satellites were last logged in detail
    uint32_t initializeTick; ///< seconds of ruxo_systemtick() when Initialize had started gpsd
    UbxConfigHandler ubxConfig;
};

#endif
