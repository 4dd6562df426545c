#ifndef DRIVERMEMBERS_H
#define DRIVERMEMBERS_H

#include "GPSHAL_RUXO_3.h"
#include "MemberAccess.h"

/// The driver's private members, for `driver.*memberOf(DriverReader())`.
EXPOSE_MEMBER(DriverActive, GPSHAL_RUXO_3, active);
EXPOSE_MEMBER(DriverRunning, GPSHAL_RUXO_3, running);
EXPOSE_MEMBER(DriverGpsdRunning, GPSHAL_RUXO_3, gpsdRunning);
EXPOSE_MEMBER(DriverReader, GPSHAL_RUXO_3, reader);
EXPOSE_MEMBER(DriverReaderThread, GPSHAL_RUXO_3, readerThread);
EXPOSE_MEMBER(DriverLastQueryTime, GPSHAL_RUXO_3, lastQueryTime);
EXPOSE_MEMBER(DriverLastSatelliteLog, GPSHAL_RUXO_3, lastSatelliteLog);
EXPOSE_MEMBER(DriverInitializeTick, GPSHAL_RUXO_3, initializeTick);
EXPOSE_MEMBER(DriverUbxConfig, GPSHAL_RUXO_3, ubxConfig);

#endif
