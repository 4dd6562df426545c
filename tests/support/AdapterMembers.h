#ifndef ADAPTERMEMBERS_H
#define ADAPTERMEMBERS_H

#include "GPSAdapter.h"
#include "GPSTimedWorker.h"
#include "MemberAccess.h"

/// The adapter's and the worker's private members, for `adapter.*memberOf(AdapterHal())`.
EXPOSE_MEMBER(AdapterCallback, GPSAdapter, callback);
EXPOSE_MEMBER(AdapterHal, GPSAdapter, hal);
EXPOSE_MEMBER(AdapterWorker, GPSAdapter, worker);
EXPOSE_MEMBER(AdapterOdometerFiltered, GPSAdapter, odometerFiltered);
EXPOSE_MEMBER(AdapterOdometerReference, GPSAdapter, odometerReference);
EXPOSE_MEMBER(AdapterOdometerWarmup, GPSAdapter, odometerWarmup);
EXPOSE_MEMBER(AdapterPreviousAntennaState, GPSAdapter, previousAntennaState);
EXPOSE_MEMBER(AdapterParams, GPSAdapter, params);
EXPOSE_MEMBER(AdapterAvailable, GPSAdapter, available);
EXPOSE_MEMBER(AdapterAntennaState, GPSAdapter, antennaState);
EXPOSE_MEMBER(AdapterSatelliteCount, GPSAdapter, satelliteCount);
EXPOSE_MEMBER(AdapterSnr, GPSAdapter, snr);
EXPOSE_MEMBER(AdapterFixTick, GPSAdapter, fixTick);
EXPOSE_MEMBER(AdapterOdometer, GPSAdapter, odometer);
EXPOSE_MEMBER(AdapterCurrentData, GPSAdapter, currentData);
EXPOSE_MEMBER(AdapterGeofenceStates, GPSAdapter, geofenceStates);
EXPOSE_MEMBER(AdapterTimeDeviationValid, GPSAdapter, timeDeviationValid);
EXPOSE_MEMBER(AdapterTimeDelta, GPSAdapter, timeDelta);
EXPOSE_MEMBER(AdapterHorizontalError, GPSAdapter, horizontalError);
EXPOSE_MEMBER(AdapterTimeError, GPSAdapter, timeError);
EXPOSE_MEMBER(AdapterLock, GPSAdapter, lockSemaphore);
EXPOSE_MEMBER(AdapterMaxGeofences, GPSAdapter, maxGeofences);
EXPOSE_MEMBER(AdapterNtpServiceAvailable, GPSAdapter, ntpServiceAvailable);
EXPOSE_MEMBER(AdapterAntennaCallbackFlag, GPSAdapter, antennaCallbackFlag);
EXPOSE_MEMBER(AdapterValidFixCounter, GPSAdapter, validFixCounter);

EXPOSE_MEMBER(WorkerRunning, GPSTimedWorker, running);
EXPOSE_MEMBER(WorkerStopRequested, GPSTimedWorker, stopRequested);
EXPOSE_MEMBER(WorkerThread, GPSTimedWorker, thread);
EXPOSE_MEMBER(WorkerStartSemaphore, GPSTimedWorker, startSemaphore);

#endif
