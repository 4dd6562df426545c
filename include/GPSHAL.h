#ifndef GPSHAL_H
#define GPSHAL_H

#include "GPSErrors.h"
#include "GPSExport.h"
#include "GPSPlatform.h"

/// A satellite receiver, as the adapter drives it.
///
/// Order of use: `GetNewInstance` -> `Initialize` -> `Start` -> queries, any number in any order -> `Stop` ->
/// `Finalize` -> delete. An object has no lock of its own for its callers: don't call it from two threads at
/// once. The order of the virtual operations is part of the library's binary interface.
///
/// Queries set their arguments to an empty value first (0, false, antenna state 1) and return a result code.
/// A value counts as current when it arrived within the last 10 seconds; one exactly 10 s old still does.
///
/// Only construction throws, for want of memory. Without memory everything below goes on, with the same
/// results but where `GPS_ERR_FAILED` is named: log lines are lost, and what finds none for the receiver is
/// left out.
class RUXOGPS_API GPSHAL {
public:
    /// Keeps a copy of `name`; nothing reads it back.
    explicit GPSHAL(const char* name);
    virtual ~GPSHAL();

    GPSHAL(const GPSHAL&) = delete;
    GPSHAL& operator=(const GPSHAL&) = delete;

    /// True between a successful `Initialize` and `Finalize`.
    virtual bool IsActive() = 0;

    /// Brings the receiver's service up: a running gpsd is killed and a new one started on the receiver's
    /// port. Blocks as long as the old daemon takes to go (up to 10 s) and the new one to come (up to 9 s).
    /// 0 in every case: a daemon that doesn't come up shows later as missing data. No effect when active
    /// already.
    virtual unsigned int Initialize() = 0;

    /// Stops the data acquisition if it runs and kills gpsd. Returns the result of the stop, or 0. Blocks as
    /// `Stop` does and up to 10 s more, as long as gpsd takes to go.
    virtual unsigned int Finalize() = 0;

    /// True between `Start` and `Stop`, also when the acquisition has ended by itself for want of data, or
    /// its thread could not be created.
    virtual bool IsRunning() = 0;

    /// Starts the data acquisition; every value is stale until it arrives anew. Blocks until 3 s have passed
    /// since `Initialize`, counted in whole seconds of `ruxo_systemtick()` (so up to a second less), or until
    /// a signal interrupts that. `GPS_ERR_NOT_RUNNING` when not initialised,
    /// else 0, also when it runs already or its thread could not be created (which is only logged).
    virtual unsigned int Start() = 0;

    /// Ends the data acquisition and returns 0. Blocks up to about 5 s, one wait for a report. Where
    /// something listens on gpsd's port and never accepts, a reader that is still connecting is waited for:
    /// about 135 s for each address of "localhost", as long as the system repeats the attempt (with the
    /// usual 6 of `sysctl net.ipv4.tcp_syn_retries`).
    virtual unsigned int Stop() = 0;

    /// The current fix. `data` is cleared first and then filled with every value that is current; `valid` is
    /// true exactly when gpsd's fix status is current and the antenna is in order.
    ///
    /// Latitude and longitude come from gpsd's TPV report in degrees, altitude in metres, speed in m/s, track
    /// in degrees and the time in seconds. They are truncated toward zero after scaling (see `GPSData`) and
    /// end at their type's limits; NaN gives 0. The dilutions come from the SKY report and are only rounded
    /// to single precision: NaN stays NaN, and a value beyond the range becomes infinite.
    ///
    /// `GPS_ERR_NOT_RUNNING` before `Start`; `GPS_ERR_NO_CURRENT_DATA` when the status is stale (other fields
    /// may still be filled); else the result of the platform's antenna query, 0 when it succeeded;
    /// `GPS_ERR_NOT_AVAILABLE` when the platform's HAL is missing, `GPS_ERR_FAILED` when it had no memory.
    ///
    /// When more than 10 cycles of the acquisition brought no data since the last such restart, this call
    /// first stops everything, configures the receiver again and restarts gpsd, also of a driver that was
    /// stopped meanwhile. It then blocks for about 10 s (and up to about 6 s more for each configuration
    /// command that the receiver leaves unanswered, frames of a restored database included) and reports stale
    /// data.
    virtual unsigned int GetData(GPSData& data) = 0;

    /// The fix's time (TPV `time`), whole seconds since the Unix epoch, UTC. `GPS_ERR_NOT_RUNNING`,
    /// `GPS_ERR_NO_CURRENT_DATA`, or 0.
    virtual unsigned int GetCurrentTime(long& utcSeconds) = 0;

    /// The antenna's state from the platform, whose result code is handed on. `state` is 1 (in order) unless
    /// the platform fills in another: also when it wasn't asked, and when it fails and fills in nothing.
    /// `GPS_ERR_NOT_RUNNING`; `GPS_ERR_NOT_AVAILABLE` when the platform's HAL is missing, `GPS_ERR_FAILED`
    /// when it had no memory.
    virtual unsigned int GetAntennaStatus(GPSAntennaState& state) = 0;

    /// Whether gpsd delivered a fix status within the last 10 s. `GPS_ERR_NOT_RUNNING`, or 0.
    virtual unsigned int GetStatus(bool& receiving) = 0;

    /// Figures of the sky view (SKY `satellites`): how many satellites are visible, as gpsd counts them, and
    /// the mean signal-to-noise ratio, in whole dB-Hz, of those in use: the sum over the entries marked used
    /// (of the first 235), each truncated, divided by gpsd's own count of used satellites (0 when that is 0).
    /// `GPS_ERR_NOT_RUNNING`, `GPS_ERR_NO_CURRENT_DATA`, or 0. Writes the details to the log at most once in
    /// 30 minutes, for the first time 30 minutes after construction.
    virtual unsigned int GetSatellites(unsigned int& snr, unsigned int& visible) = 0;

    /// gpsd's error estimates: `horizontalError` in whole metres (root of the sum of squares of TPV `epx` and
    /// `epy`, which is rounded to single precision first) and `timeError` in milliseconds (TPV `ept`), both
    /// truncated. A value that is not current is 0 with result 0. `GPS_ERR_NOT_RUNNING`, or 0.
    virtual unsigned int GetErrorEstimates(unsigned int& horizontalError, int& timeError) = 0;

    /// Hands the receiver a position to start from: latitude and longitude in degrees x 1,000,000 and
    /// altitude in millimetres, negative ones in two's complement. A negative altitude doesn't come out
    /// right.
    ///
    /// Here: not supported, writes a log line and returns 0. A driver that supports it does nothing at all,
    /// and returns 0, when one of the three values is 0. Otherwise it stops and finalises, hands the position
    /// over, initialises and starts, also when it didn't run before, and returns the result of the start. It
    /// blocks as these do, and up to about 6 s for the receiver's answer.
    virtual unsigned int setInitialPosition(unsigned int latitude, unsigned int longitude,
                                            unsigned int altitude);

    /// `snr` of `GetSatellites`, with its result.
    unsigned int GetSNR(unsigned int& snr);

    /// `visible` of `GetSatellites`, with its result.
    unsigned int GetSatCount(unsigned int& count);

    /// A new driver for this platform's receiver. The caller owns it and deletes it.
    ///
    /// Its construction kills gpsd, resets and configures the receiver and restores its navigation database:
    /// it blocks for several seconds, and ends the process with status 255 when the serial line can't be set
    /// up. Throws `std::bad_alloc` for want of memory, and then leaves nothing behind.
    static GPSHAL* GetNewInstance();

private:
    RuxoString halName; ///< constant after construction
};

#endif
