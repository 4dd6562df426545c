#ifndef EVENTQUEUE_H
#define EVENTQUEUE_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "IGPSCallback.h"
#include "Moments.h"
#include "Telemetry.h"

namespace monitor {

/// The monitor's side of the service. Most of these calls come while the service holds its lock, so each
/// leaves a note and returns: nothing is asked, written or drawn here. There is room for so many notes; what
/// comes while it is full, or while there is no memory, is counted and dropped.
class EventQueue final : public IGPSCallback {
public:
    static constexpr std::size_t kRoom = 1000;

    explicit EventQueue(const Moments& moments) : moments_(moments) {}

    unsigned int OnGeofenceLeft(const GPSGeofence& geofence) override;
    unsigned int OnGeofenceEntered(const GPSGeofence& geofence) override;
    unsigned int OnAntennaStateChanged(GPSAntennaState state, RuxoString& text, bool& flag) override;
    unsigned int OnAvailabilityChanged(bool available) override;
    unsigned int OnPositionUpdate() override;
    unsigned int OnTracking(const GPSData& data) override;

    struct Taken {
        std::vector<telemetry::Line>
            events; ///< without `where` and `slot`, which nobody can ask for in a callback
        std::uint64_t lost = 0;
    };

    /// Everything that has come since the last call, in order.
    Taken takeAll();

private:
    template <class MakeContent>
    unsigned int note(MakeContent makeContent) noexcept;

    const Moments& moments_;
    std::mutex mutex_;
    Taken waiting_; ///< guarded by the mutex
};

} // namespace monitor

#endif
