#include "EventQueue.h"

namespace {

Event eventNow(Event::Kind kind) { return Event{kind, std::time(nullptr)}; }

} // namespace

unsigned int EventQueue::OnGeofenceLeft(const GPSGeofence& geofence) {
    Event event = eventNow(Event::Kind::GeofenceLeft);
    event.geofence = geofence.name.getStr();
    return put(event);
}

unsigned int EventQueue::OnGeofenceEntered(const GPSGeofence& geofence) {
    Event event = eventNow(Event::Kind::GeofenceEntered);
    event.geofence = geofence.name.getStr();
    return put(event);
}

unsigned int EventQueue::OnAntennaStateChanged(GPSAntennaState state, RuxoString&, bool&) {
    Event event = eventNow(Event::Kind::Antenna);
    event.antenna = state;
    return put(event);
}

unsigned int EventQueue::OnAvailabilityChanged(bool available) {
    Event event = eventNow(Event::Kind::Availability);
    event.available = available;
    return put(event);
}

unsigned int EventQueue::OnPositionUpdate() { return put(eventNow(Event::Kind::Position)); }

unsigned int EventQueue::OnTracking(const GPSData& data) {
    Event event = eventNow(Event::Kind::Tracking);
    event.data = data;
    return put(event);
}

unsigned int EventQueue::put(const Event& event) {
    const std::lock_guard<std::mutex> hold(mutex_);
    events_.push_back(event);
    return 0;
}

std::vector<Event> EventQueue::takeAll() {
    const std::lock_guard<std::mutex> hold(mutex_);
    std::vector<Event> taken;
    taken.swap(events_);
    return taken;
}
