#ifndef GPSADAPTER_H
#define GPSADAPTER_H

#include <semaphore.h>

#include <cstdint>

#include "GPSErrors.h"
#include "GPSExport.h"
#include "GPSGeofence.h"
#include "GPSHAL.h"
#include "GPSParams.h"
#include "GPSPlatform.h"
#include "GPSReadings.h"
#include "IGPSCallback.h"

class GPSTimedWorker;

/// The GPS service, as an application uses it.
///
/// Usual order: construct -> `SetParams` -> `Initialize` -> `Start` -> ... -> `Stop` -> `Finalize` ->
/// destroy. The lifecycle operations (`Initialize`, `Start`, `Stop`, `Finalize`, `setInitialPosition`,
/// destruction) belong to one thread, and never to a callback. Settings and readings (`SetParams`,
/// `GetParams`, `ResetParams`, `GetReadings`, the NTP flag) may be used from any thread but, for want of a
/// recursive lock, not from the callbacks that run with the lock held (see `IGPSCallback`). The update cycle
/// belongs to the worker.
///
/// What threads share is guarded by the adapter's lock, with three exceptions: the NTP flag, `Start`'s look
/// at `GPSParams::enabled`, and the odometer's points and warm-up, which the worker touches without it. Where
/// `ResetParams` meets a cycle that is just running, one stretch from before may still be counted, or the
/// warm-up go on from its old count.
///
/// Operations that return `unsigned int` return 0 or one of the codes in GPSErrors.h; codes of the driver,
/// the platform and the callback are handed on unchanged. Nothing is thrown but by the constructor: without
/// memory an operation does what its comment says, and a line for the log is lost.
class RUXOGPS_API GPSAdapter {
public:
    /// Creates the driver (see `GPSHAL::GetNewInstance`: it blocks for several seconds and has the receiver
    /// reset and configured) and the worker, and sets the defaults of `GPSParams`.
    ///
    /// `callback` stays the application's and must live until the adapter is destroyed; null is allowed:
    /// events are then dropped and the operations that would call it return `GPS_ERR_NOT_AVAILABLE`.
    ///
    /// Passes on what the creation of driver or worker throws, and `std::bad_alloc` where there is no memory
    /// for the geofences' names (before the receiver is touched, and without a log line). Ends the process
    /// (`std::terminate`) when its lock can't be created, and with status 255 when the serial line can't be
    /// set up.
    explicit GPSAdapter(IGPSCallback* callback);

    /// Stops and finalises what still runs, then destroys the worker and the driver, whose destruction saves
    /// the receiver's navigation database. Blocks as `Finalize` does, and for several seconds more.
    virtual ~GPSAdapter();

    GPSAdapter(const GPSAdapter&) = delete;
    GPSAdapter& operator=(const GPSAdapter&) = delete;

    /// Takes the adapter's lock. It is not recursive. An interrupted wait is retried; any other failure is
    /// logged and returns `GPS_ERR_FAILED` without the lock (the adapter's own operations go on regardless).
    unsigned int lock();

    /// Gives the adapter's lock back. A failure is logged and returns `GPS_ERR_FAILED`.
    unsigned int unlock();

    /// Puts settings and readings back to their defaults, the odometer and the time deviation included.
    /// `GPSParams::resetTimeDeviation`, the geofences' names, the NTP flag, the flag of
    /// `OnAntennaStateChanged` and the count of fixes towards the next `OnPositionUpdate` stay as they are.
    /// Returns 0.
    unsigned int ResetParams();

    /// Takes the settings; returns 0. Effects besides copying: the state of each geofence that differs (name
    /// or number) becomes Unknown; with `resetTimeDeviation` the time deviation is forgotten; with
    /// `setOdometer` the odometer becomes `odometerValue`. A running worker follows from its next cycle on.
    ///
    /// Without memory for a geofence's name that geofence stays whole as it was, with its state Unknown;
    /// everything else is taken, and the result is 0 all the same. A name that doesn't change needs none.
    unsigned int SetParams(const GPSParams& p);

    /// Copies the settings; returns 0. Without memory for a geofence's name that geofence of `p` stays whole
    /// as it was; everything else is copied.
    unsigned int GetParams(GPSParams& p);

    /// Copies the latest readings; returns 0. They are not emptied for want of a fix: see `available` and
    /// `fixTick`. Needs no memory.
    unsigned int GetReadings(GPSReadings& r);

    /// How many geofences are watched: 12.
    unsigned int GetMaxGeoFences();

    /// Tells whether an NTP service keeps the system clock. While it does, the time deviation is not
    /// measured and the last one stays. False at first. Written and read without the lock.
    void SetNTPServiceAvailable(bool available);

    /// What `SetNTPServiceAvailable` was told last.
    bool GetNTPServiceAvailable();

    /// Hands the receiver a position to start from and returns the driver's result: latitude and longitude in
    /// degrees x 1,000,000, altitude in millimetres (see `GPSHAL::setInitialPosition`). Blocks for several
    /// seconds while gpsd is restarted. Never while the worker runs, and from one thread: the worker's
    /// restart of gpsd would meet this one.
    unsigned int setInitialPosition(unsigned int latitude, unsigned int longitude, unsigned int altitude);

    /// Brings the receiver's service up, blocking as `GPSHAL::Initialize` does. `GPS_ERR_FAILED` when that
    /// fails or the driver isn't active afterwards.
    unsigned int Initialize();

    /// Starts the driver and, when `GPSParams::enabled` is set, the worker. `GPS_ERR_NOT_RUNNING` before
    /// `Initialize`; the driver's code when its start fails; `GPS_ERR_FAILED` when it doesn't run afterwards
    /// (the worker is started all the same); else the result of the worker's start: `GPS_ERR_NOT_AVAILABLE`
    /// or `GPS_ERR_THREAD`, or 0.
    ///
    /// Blocks until 3 s have passed since `Initialize`, and a second more after a worker that ended by itself
    /// or whose thread could not be created. `enabled` is read without the lock: where another thread sets it
    /// meanwhile, either value may count.
    ///
    /// Where driver and worker run already, it only takes a stop of the worker back. Don't call it then while
    /// gpsd may be silent: the worker's restart of gpsd would meet it.
    unsigned int Start();

    /// Stops the worker and the driver. The driver's error code, or else the worker's, or 0.
    ///
    /// Blocks until the worker's current sleep (a quarter of the position interval) and cycle are over, and
    /// then the reader's wait for a report (5 s at most). Two things last longer: a cycle that is just
    /// restarting gpsd (see `GPSHAL::GetData`), and a reader that is still connecting to a server that
    /// listens on gpsd's port and never accepts. It can't be interrupted and takes what the system allows,
    /// about 135 s for each address of `localhost` with 6 as net.ipv4.tcp_syn_retries.
    unsigned int Stop();

    /// `Stop`, and then brings the receiver's service down (gpsd is killed). The driver's error code, or else
    /// that of the stop, or 0.
    unsigned int Finalize();

    // --- The update cycle: called by the worker on its schedule; an application needs none of it -----------
    //
    // Never call these while the worker runs, and all of them from one thread: a silent gpsd is restarted
    // from within, and two such restarts at once crash.

    /// Fetches the fix and, when it is good (PDOP above 0 and below 10; a position of exactly 0, 0 counts as
    /// no fix), stores it. May call `OnAvailabilityChanged` and, after every 11th accepted valid fix,
    /// `OnPositionUpdate`. The driver's code (nothing changes then), or the last callback's, or 0. Blocks as
    /// `GPSHAL::GetData` does, which may restart gpsd.
    unsigned int UpdateCurrentPosition();

    /// Stores the number of visible satellites that the query left, also when it fails: the shipped driver
    /// leaves 0 then. The driver's code or 0.
    unsigned int UpdateSatelliteCount();

    /// Stores the mean signal-to-noise ratio that the query left, also when it fails: the shipped driver
    /// leaves 0 then. The driver's code or 0.
    unsigned int UpdateSNR();

    /// Stores the error estimates, unless the query fails. The driver's code or 0.
    unsigned int UpdateErrorEstimates();

    /// Stores the antenna's state that the query left, also when it fails (0 when it filled in none; the
    /// shipped driver presets 1), clears `available` unless it is 1, and calls `OnAntennaStateChanged` when
    /// it differs from the one before. The driver's code; on a change the callback's, or
    /// `GPS_ERR_NOT_AVAILABLE` without a callback.
    ///
    /// `GPS_ERR_FAILED` without memory for the callback's text: a changed state is then not stored, and the
    /// next update finds it once more.
    unsigned int UpdateAntennaStatus();

    /// Measures GPS time minus system time, unless an NTP service keeps the clock. A deviation of more than
    /// 30 days is taken as implausible and dropped with result 0, unless the system clock stands before 1990.
    /// The driver's code, `GPS_ERR_FAILED` when the system time can't be read, or 0.
    unsigned int UpdateSystemTimeDeviation();

    /// Advances the odometer from the last accepted fix; returns 0. The position is smoothed (a tenth of the
    /// new, nine tenths of the old); each straight stretch of more than 15 m and more than twice the
    /// horizontal error estimate counts, a stretch within twice the estimate is dropped. It starts after a
    /// warm-up: 180 updates after construction or `ResetParams` (which set the interval to 1 s; a `SetParams`
    /// afterwards changes the interval but not the 180), and 180 s after a jump of more than 1000 m.
    unsigned int UpdateOdometer();

    /// Checks all geofences against the last accepted fix and calls `OnGeofenceEntered` and `OnGeofenceLeft`.
    /// Returns, and logs when not 0, the result for the last geofence alone: `GPS_ERR_INVALID_POSITION`, the
    /// callback's code, `GPS_ERR_NOT_AVAILABLE` without a callback, or 0.
    unsigned int UpdateGeofence();

    /// Calls `OnTracking` with the last accepted fix. The callback's code, or `GPS_ERR_NOT_AVAILABLE`.
    unsigned int SendTracking();

    /// Writes the readings to the log, the fix's date in the time zone of the moment. Returns the result of
    /// giving the lock back.
    unsigned int LogDetails();

private:
    // Steps of the operations above; those that touch guarded members are called with the lock held.
    void createDriverAndWorker();
    void resetSettings();
    void resetReadings();
    void resetOdometer(int32_t warmup); // meets what the worker touches without the lock
    unsigned int acceptFix(GPSData& d);
    unsigned int checkGeofences(); // takes the lock itself
    unsigned int checkGeofence(const GPSGeofence& geofence, GPSGeofenceState& state);
    void warmUpOdometer();               // takes the lock itself
    void trackOdometer();                // takes the lock itself
    void smoothPosition();               // takes the lock itself
    void restartOdometer();              // takes the lock itself
    void countDistance(double distance); // takes the lock itself
    void logStatus();
    void logFix();

    // Owners. Constant after construction.
    IGPSCallback* callback; ///< the application's; may be null
    GPSHAL* hal;            ///< owned
    GPSTimedWorker* worker; ///< owned

    // Odometer. Only `valid`, `latitude` and `longitude` of the two points are used. Touched by the worker
    // thread alone, partly without the lock, but for `ResetParams` (`resetOdometer`) under the lock.
    GPSData odometerFiltered;  ///< the smoothed position
    GPSData odometerReference; ///< the last point from which distance was counted
    int32_t odometerWarmup;    ///< position cycles until the first reference point is taken

    // Guarded by the lock.
    GPSAntennaState previousAntennaState; ///< the antenna's state before the last update
    GPSParams params;                     ///< `enabled` is read by `Start` without the lock

    // Guarded by the lock: laid out as the first part of GPSReadings.
    bool available;
    GPSAntennaState antennaState;
    uint32_t satelliteCount;
    uint32_t snr;      ///< dB-Hz
    uint32_t fixTick;  ///< seconds of ruxo_systemtick(); 0 means no fix yet
    uint32_t odometer; ///< metres

    // Guarded by the lock.
    GPSData currentData; ///< the last accepted valid fix
    GPSGeofenceState geofenceStates[kGPSMaxGeofences];
    bool timeDeviationValid;
    int32_t timeDelta;        ///< seconds, GPS time minus system time
    uint32_t horizontalError; ///< metres
    int32_t timeError;        ///< milliseconds

    sem_t lockSemaphore;      ///< the lock
    uint32_t maxGeofences;    ///< always 12; constant after construction
    bool ntpServiceAvailable; ///< written and read without the lock
    bool antennaCallbackFlag; ///< the application's, through OnAntennaStateChanged
    uint32_t validFixCounter; ///< guarded by the lock: accepted fixes since the last OnPositionUpdate
};

#endif
