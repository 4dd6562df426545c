#ifndef EVENTQUEUE_H
#define EVENTQUEUE_H

#include <ctime>
#include <mutex>
#include <string>
#include <vector>

#include "IGPSCallback.h"

/// One call of the service, as it is handed from the service's thread to the application's.
struct Event {
    enum class Kind { GeofenceLeft, GeofenceEntered, Antenna, Availability, Position, Tracking };

    Kind kind;
    std::time_t utc; ///< the unit's time of the call
    std::string geofence{};
    GPSAntennaState antenna{};
    bool available = false;
    GPSData data{};
};

/// The application's side of the service. Most of these calls come while the service holds its lock, so none
/// asks the service anything: each leaves a note and returns.
class EventQueue final : public IGPSCallback {
public:
    unsigned int OnGeofenceLeft(const GPSGeofence& geofence) override;
    unsigned int OnGeofenceEntered(const GPSGeofence& geofence) override;
    unsigned int OnAntennaStateChanged(GPSAntennaState state, RuxoString& text, bool& flag) override;
    unsigned int OnAvailabilityChanged(bool available) override;
    unsigned int OnPositionUpdate() override;
    unsigned int OnTracking(const GPSData& data) override;

    /// Everything that has come since the last call, in order.
    std::vector<Event> takeAll();

private:
    unsigned int put(const Event& event);

    std::mutex mutex_;
    std::vector<Event> events_; ///< guarded by the mutex
};

#endif
