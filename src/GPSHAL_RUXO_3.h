#ifndef GPSHAL_RUXO_3_H
#define GPSHAL_RUXO_3_H

#include <pthread.h>
#include <semaphore.h>

#include <ctime>

#include "GPSExport.h"
#include "GPSHAL.h"
#include "ReaderBlock.h"
#include "UbxConfigHandler.h"

/// Held by a reader thread while it copies one report. Initialised by every `Start`; the queries read the
/// snapshot without taking it and may see a report half copied.
extern RUXOGPS_API sem_t semaphore;

/// The platform's HAL, asked for once when the library is loaded; null when it was missing then.
extern RuxoHAL* ruxoHal;

/// The u-blox receiver on /dev/ttymxc1, read through gpsd.
///
/// Keeps gpsd running, reads its reports on a thread of its own into a snapshot, each value with the time at
/// which it last arrived, and answers queries from there. The contracts are those of `GPSHAL`.
class RUXOGPS_API GPSHAL_RUXO_3 : public GPSHAL {
public:
    /// Configures the receiver (see `UbxConfigHandler`).
    GPSHAL_RUXO_3();
    /// Finalises what still runs, then has the receiver's navigation database saved.
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
    /// Ends every gpsd process, waits for that up to 10 s, and removes gpsd's pid file. Returns 0.
    unsigned int killgpsd();
    /// Starts gpsd on the receiver's port when none runs, and waits for it up to 9 s. Returns 0.
    unsigned int startgpsd();
    /// Does nothing. Returns 0.
    unsigned int getgnss();

    /// Makes every value of the snapshot count as stale.
    void SetTimesToZero();

    /// Body of the reader thread; `readerBlock` is a `ReaderBlock*`. Returns null.
    static void* ReadData(void* readerBlock);

    /// Reader cycles without data since the last restart by `GetData`. Successful reads don't reset it.
    /// Incremented by the reader thread, read and reset by `GetData`, without a lock.
    static unsigned int noDataReadCounter;

private:
    bool active;      ///< between Initialize and Finalize
    bool running;     ///< between Start and Stop
    bool gpsdRunning; ///< finding of the last checkgpsd

    ReaderBlock reader; ///< the only memory that the reader thread writes

    pthread_t readerThread;  ///< 0 when there is none to join
    time_t lastQueryTime;    ///< when the last query came; freshness is measured against it
    time_t lastSatelliteLog; ///< when the satellites were last logged in detail
    uint32_t initializeTick; ///< seconds of ruxo_systemtick() when Initialize had started gpsd
    UbxConfigHandler ubxConfig;
};

#endif
