#ifndef IDLEAPPLICATION_H
#define IDLEAPPLICATION_H

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

#endif
