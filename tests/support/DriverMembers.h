#ifndef DRIVERMEMBERS_H
#define DRIVERMEMBERS_H

#include <dlfcn.h>

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

/// Exported data is looked up: naming it would make a copy of it in the program.
inline unsigned int& noDataReadCounter() {
    return *static_cast<unsigned int*>(dlsym(RTLD_DEFAULT, "_ZN13GPSHAL_RUXO_317noDataReadCounterE"));
}
inline sem_t& reportSemaphore() { return *static_cast<sem_t*>(dlsym(RTLD_DEFAULT, "semaphore")); }

#endif
