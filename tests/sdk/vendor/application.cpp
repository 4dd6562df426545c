// An application on the unit of another vendor: the adapter with the vendor's records, texts, levels and
// antenna states. The receiver is its own, put in the place of the shipped driver, so that nothing of the
// host is touched.

#include <cstdio>
#include <cstdlib>

#include "GPSAdapter.h"

namespace {

class OwnReceiver : public GPSHAL {
public:
    OwnReceiver() : GPSHAL("own") {}

    bool IsActive() override { return true; }
    unsigned int Initialize() override { return 0; }
    unsigned int Finalize() override { return 0; }
    bool IsRunning() override { return false; }
    unsigned int Start() override { return 0; }
    unsigned int Stop() override { return 0; }

    unsigned int GetData(GPSData& data) override {
        data.valid = true;
        data.latitude = 48100000;
        data.longitude = 11500000;
        data.pdop = 2;
        data.source = 7;
        return 0;
    }
    unsigned int GetCurrentTime(long& utcSeconds) override { return utcSeconds = 0, 0; }
    unsigned int GetAntennaStatus(GPSAntennaState& state) override {
        return state = GPSAntennaState::TooHot, 0;
    }
    unsigned int GetStatus(bool& receiving) override { return receiving = true, 0; }
    unsigned int GetErrorEstimates(unsigned int& horizontalError, int& timeError) override {
        horizontalError = 3;
        timeError = 0;
        return 0;
    }
    unsigned int GetSatellites(unsigned int& count, unsigned int& snr) override {
        return count = 9, snr = 40, 0;
    }
};

class Listener : public IGPSCallback {
public:
    unsigned int OnGeofenceLeft(const GPSGeofence&) override { return 0; }
    unsigned int OnGeofenceEntered(const GPSGeofence&) override { return 0; }
    unsigned int OnAntennaStateChanged(GPSAntennaState state, RuxoString& text, bool&) override {
        std::printf("antenna %d '%s'\n", static_cast<int>(state), text.getStr());
        return 0;
    }
    unsigned int OnAvailabilityChanged(bool available) override {
        std::printf("available %d\n", available);
        return 0;
    }
    unsigned int OnPositionUpdate() override { return 0; }
    unsigned int OnTracking(const GPSData& data) override {
        std::printf("tracking %d %d source %u\n", data.latitude, data.longitude, data.source);
        return 0;
    }
};

} // namespace

// Exported names can be replaced by an application's own: the driver is never made.
GPSHAL* GPSHAL::GetNewInstance() { return new OwnReceiver; }

// And nothing would be killed if it were.
int system(const char*) { std::abort(); }
FILE* popen(const char*, const char*) { std::abort(); }

int main() {
    Listener listener;
    GPSAdapter adapter(&listener);
    GPSParams params;
    params.geofences[0].name.setStr("a name that is longer than any text's own room");
    adapter.SetParams(params);
    GPSParams given;
    adapter.GetParams(given);
    std::printf("geofence '%s'\n", given.geofences[0].name.getStr());
    adapter.UpdateCurrentPosition();
    adapter.SendTracking();
    adapter.UpdateAntennaStatus();
    adapter.setInitialPosition(1, 2, 3); // this receiver takes none, which is a failed operation
    adapter.LogDetails();
    GPSReadings readings;
    adapter.GetReadings(readings);
    std::printf("readings %d, antenna too hot: %d\n", readings.data.latitude,
                readings.antennaState == GPSAntennaState::TooHot);
}
