#ifndef RECORDINGCALLBACK_H
#define RECORDINGCALLBACK_H

#include <functional>
#include <string>

#include "FailingMemory.h"
#include "IGPSCallback.h"
#include "VirtualUnit.h"

/// An application's callback. Each call stands in the journal: "callback OnGeofenceLeft yard",
/// "callback OnGeofenceEntered yard", "callback OnAntennaStateChanged 3", "callback OnAvailabilityChanged 1",
/// "callback OnPositionUpdate", "callback OnTracking 48137154 11576124".
///
/// Keeps an eye on what holds for every call: the adapter's lock is held, for the antenna it is free.
class RecordingCallback final : public IGPSCallback {
public:
    /// What every call returns.
    unsigned int result = 0;
    /// Runs in each call, with the line's text from the operation's name on.
    std::function<void(const std::string& call)> atCall;
    /// The adapter's lock, once known.
    sem_t* lock = nullptr;

    // The arguments of the last call that had them.
    const GPSGeofence* geofence = nullptr;
    const GPSData* data = nullptr;
    std::string antennaText = "untouched";
    bool* antennaFlag = nullptr;

    unsigned int OnGeofenceLeft(const GPSGeofence& left) override {
        const GroundMemory memory;
        geofence = &left;
        return called(std::string("OnGeofenceLeft ") + left.name.getStr());
    }
    unsigned int OnGeofenceEntered(const GPSGeofence& entered) override {
        const GroundMemory memory;
        geofence = &entered;
        return called(std::string("OnGeofenceEntered ") + entered.name.getStr());
    }
    unsigned int OnAntennaStateChanged(GPSAntennaState state, RuxoString& text, bool& flag) override {
        const GroundMemory memory;
        antennaText = text.getStr();
        antennaFlag = &flag;
        text.setStr("the application's");
        return called("OnAntennaStateChanged " + std::to_string(state), false);
    }
    unsigned int OnAvailabilityChanged(bool available) override {
        const GroundMemory memory;
        return called("OnAvailabilityChanged " + std::to_string(available));
    }
    unsigned int OnPositionUpdate() override {
        const GroundMemory memory;
        return called("OnPositionUpdate");
    }
    unsigned int OnTracking(const GPSData& tracked) override {
        const GroundMemory memory;
        data = &tracked;
        return called("OnTracking " + std::to_string(tracked.latitude) + " " +
                      std::to_string(tracked.longitude));
    }

private:
    unsigned int called(const std::string& call, bool withLock = true) {
        VirtualUnit::current()->journal.add("callback " + call);
        if (lock != nullptr) {
            EXPECT_EQ(VirtualSemaphores::isTaken(*lock), withLock) << call;
        }
        if (atCall)
            atCall(call);
        return result;
    }
};

#endif
