#ifndef IDLEAPPLICATION_H
#define IDLEAPPLICATION_H

#include <unistd.h>

#include "GPSAdapter.h"

/// An application that makes nothing of what it is told.
class IdleApplication : public IGPSCallback {
public:
    unsigned int OnGeofenceLeft(const GPSGeofence&) override { return 0; }
    unsigned int OnGeofenceEntered(const GPSGeofence&) override { return 0; }
    unsigned int OnAntennaStateChanged(GPSAntennaState, RuxoString&, bool&) override { return 0; }
    unsigned int OnAvailabilityChanged(bool) override { return 0; }
    unsigned int OnPositionUpdate() override { return 0; }
    unsigned int OnTracking(const GPSData&) override { return 0; }
};

/// Returns once the readings have a fix; looks ten times a second.
inline void awaitFixes(GPSAdapter& adapter) {
    constexpr useconds_t lookPeriodUs = 100000;
    GPSReadings readings;
    do {
        usleep(lookPeriodUs);
        adapter.GetReadings(readings);
    } while (!readings.available);
}

#endif
