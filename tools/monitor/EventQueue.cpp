#include "EventQueue.h"

#include <new>
#include <utility>

#include "Conversions.h"

namespace monitor {

namespace {

telemetry::GeofenceCrossed crossing(const GPSGeofence& geofence, bool entered) {
    telemetry::GeofenceCrossed event;
    event.entered = entered;
    event.name = geofence.name.getStr();
    return event;
}

} // namespace

unsigned int EventQueue::OnGeofenceLeft(const GPSGeofence& geofence) {
    return note([&] { return crossing(geofence, false); });
}

unsigned int EventQueue::OnGeofenceEntered(const GPSGeofence& geofence) {
    return note([&] { return crossing(geofence, true); });
}

unsigned int EventQueue::OnAntennaStateChanged(GPSAntennaState state, RuxoString&, bool&) {
    return note([&] { return telemetry::AntennaChanged{static_cast<std::uint32_t>(state), {}}; });
}

unsigned int EventQueue::OnAvailabilityChanged(bool available) {
    return note([&] { return telemetry::AvailabilityChanged{available, {}}; });
}

unsigned int EventQueue::OnPositionUpdate() {
    return note([] { return telemetry::PositionUpdated{}; });
}

unsigned int EventQueue::OnTracking(const GPSData& data) {
    return note([&] { return telemetry::Tracked{data.valid ? std::optional(fixOf(data)) : std::nullopt}; });
}

EventQueue::Taken EventQueue::takeAll() {
    const std::lock_guard<std::mutex> hold(mutex_);
    return std::exchange(waiting_, {});
}

// Nothing may be thrown into the service.
template <class MakeContent>
unsigned int EventQueue::note(MakeContent makeContent) noexcept {
    const std::lock_guard<std::mutex> hold(mutex_);
    try {
        if (waiting_.events.size() < kRoom) {
            waiting_.events.push_back({moments_.now(), makeContent()});
            return 0;
        }
    } catch (const std::bad_alloc&) { // counts as no room
    }
    ++waiting_.lost;
    return 0;
}

} // namespace monitor
