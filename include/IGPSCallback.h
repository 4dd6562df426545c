#ifndef IGPSCALLBACK_H
#define IGPSCALLBACK_H

#include "GPSExport.h"
#include "GPSGeofence.h"
#include "GPSPlatform.h"

/// What an application implements to be told of events.
///
/// The application owns its object and keeps it alive until the `GPSAdapter` is destroyed; the adapter never
/// destroys it. There is no virtual destructor on purpose: it would take the first slots of the virtual table
/// and shift all six operations for applications that are already built. Don't delete through this type.
///
/// All operations run on the adapter's worker thread (or on the thread that calls one of the adapter's
/// update operations itself). Five of the six, all but `OnAntennaStateChanged`, run with the adapter's lock
/// held: they must not call `SetParams`, `GetParams`, `GetReadings`, `ResetParams`, `LogDetails` or any
/// update operation, or they wait for themselves for ever. None of them may stop or destroy the adapter. They
/// should return soon: the next cycle waits for them. They must not throw: what they throw on the worker's
/// thread ends the process (on a thread of the application's it comes back there, with the lock free again).
///
/// The worker's thread has all signals blocked, and a process that a callback starts inherits that: it could
/// not even be ended by SIGTERM. Start processes on a thread of the application's, or set the mask first.
///
/// Each returns 0 or an error code of the application's own, which the adapter hands on as its own result.
class RUXOGPS_API IGPSCallback {
public:
    /// A position has left `geofence`, its margin included: its state became `GPSGeofenceState::Left`. It
    /// also comes when the first position checked against a new or changed geofence lies outside. The
    /// reference is to the adapter's own copy and holds during the call. Lock held.
    virtual unsigned int OnGeofenceLeft(const GPSGeofence& geofence) = 0;

    /// A position has entered `geofence`: its state became `GPSGeofenceState::Entered`. It doesn't come when
    /// the first position checked against a new or changed geofence lies inside. Lock held.
    virtual unsigned int OnGeofenceEntered(const GPSGeofence& geofence) = 0;

    /// The antenna's state differs from the one before. `text` is empty and discarded after the call; `flag`
    /// is a switch that the adapter keeps for the application (false at first) and never reads itself.
    /// Without memory for `text` the call comes with the next update that has some. Called without the lock.
    virtual unsigned int OnAntennaStateChanged(GPSAntennaState state, RuxoString& text, bool& flag) = 0;

    /// The validity of the fix just fetched differs from `GPSReadings::available`. While fixes are valid but
    /// their PDOP is out of range (not above 0 and below 10), and while a lost fix brings no PDOP, the
    /// readings don't follow and the call is repeated with every position update. It doesn't come when gpsd
    /// falls silent, as no fix is fetched then, nor when the antenna clears `available`. Lock held.
    virtual unsigned int OnAvailabilityChanged(bool available) = 0;

    /// Eleven valid fixes have been accepted since the last call. Read them with `GPSAdapter::GetReadings`,
    /// on another thread or after returning. Lock held.
    virtual unsigned int OnPositionUpdate() = 0;

    /// The tracking schedule is due. `data` is the last accepted fix, which may be old or still cleared: look
    /// at `data.valid` and `data.time`. The reference holds during the call. Lock held.
    virtual unsigned int OnTracking(const GPSData& data) = 0;

protected:
    ~IGPSCallback() = default;
};

#endif
