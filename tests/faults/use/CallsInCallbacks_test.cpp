// What comes of each of the adapter's operations that an application calls from a callback, on interposed
// calls: a wait for the lock that its own thread holds is seen as what it is, without a clock. The operations
// of the service's life, which need real threads, are SystemCallbacks_test's.

#include <functional>

#include "AdapterFixture.h"
#include "FaultFigures.h"

namespace {

struct Call {
    const char* name;
    std::function<void(GPSAdapter&)> make;
};

const std::vector<Call> kSettings = {
    {"lock",
     [](GPSAdapter& a) {
         a.lock();
         a.unlock();
     }},
    {"SetParams", [](GPSAdapter& a) { a.SetParams(GPSParams()); }},
    {"GetParams",
     [](GPSAdapter& a) {
         GPSParams params;
         a.GetParams(params);
     }},
    {"ResetParams", [](GPSAdapter& a) { a.ResetParams(); }},
    {"GetReadings",
     [](GPSAdapter& a) {
         GPSReadings readings;
         a.GetReadings(readings);
     }},
    {"LogDetails", [](GPSAdapter& a) { a.LogDetails(); }},
};

const std::vector<Call> kUpdates = {
    {"UpdateCurrentPosition", [](GPSAdapter& a) { a.UpdateCurrentPosition(); }},
    {"UpdateSatelliteCount", [](GPSAdapter& a) { a.UpdateSatelliteCount(); }},
    {"UpdateSNR", [](GPSAdapter& a) { a.UpdateSNR(); }},
    {"UpdateErrorEstimates", [](GPSAdapter& a) { a.UpdateErrorEstimates(); }},
    {"UpdateAntennaStatus", [](GPSAdapter& a) { a.UpdateAntennaStatus(); }},
    {"UpdateSystemTimeDeviation", [](GPSAdapter& a) { a.UpdateSystemTimeDeviation(); }},
    {"UpdateOdometer", [](GPSAdapter& a) { a.UpdateOdometer(); }},
    {"UpdateGeofence", [](GPSAdapter& a) { a.UpdateGeofence(); }},
    {"SendTracking", [](GPSAdapter& a) { a.SendTracking(); }},
};

const std::vector<Call> kWithoutTheLock = {
    {"GetMaxGeoFences", [](GPSAdapter& a) { a.GetMaxGeoFences(); }},
    {"SetNTPServiceAvailable", [](GPSAdapter& a) { a.SetNTPServiceAvailable(true); }},
    {"GetNTPServiceAvailable", [](GPSAdapter& a) { a.GetNTPServiceAvailable(); }},
};

constexpr char kAntennasEvent[] = "OnAntennaStateChanged";
const std::vector<std::string> kEventsUnderTheLock = {
    "OnGeofenceLeft", "OnGeofenceEntered", "OnAvailabilityChanged", "OnPositionUpdate", "OnTracking"};

class CallsInCallbacks : public AdapterFixture {
protected:
    const GPSData kInside = fixAt(0, 0); ///< where the geofence lies
    const GPSData kOutside = fixAt(48137154, 11576124);

    CallsInCallbacks() {
        hal->lock = nullptr; // it is asked with the lock held here, which is the fault
        hal->fix = kOutside;
        hal->utc = unit.clock.utc();
        member(AdapterOdometerWarmup()) = 0; // so that it takes the lock at once
        set([](GPSParams& p) { p.geofences[0].width = p.geofences[0].height = 2000; });
    }

    /// Brings about all six events and makes this call in the first one of this name; whether it came back.
    bool comesBack(const std::string& event, const Call& call) {
        bool isMade = false;
        bool isBack = false;
        callback.atCall = [&](const std::string& text) {
            if (isMade || text.find(event) != 0)
                return;
            isMade = true;
            call.make(*adapter);
            isBack = true;
        };
        bringAboutEvents();
        callback.atCall = nullptr; // it knows this call's variables
        return isBack;
    }
    void bringAboutEvents() {
        for (int fix = 0; fix <= 11; ++fix)
            adapter->UpdateCurrentPosition();
        for (const GPSData& fix : {kOutside, kInside, kOutside}) {
            member(AdapterCurrentData()) = fix;
            adapter->UpdateGeofence();
        }
        adapter->SendTracking();
        hal->antenna = GPS_ANTENNA_SHORT;
        adapter->UpdateAntennaStatus();
    }

    void expectDeadLock(const std::vector<Call>& calls) {
        for (const std::string& event : kEventsUnderTheLock)
            for (const Call& call : calls)
                EXPECT_DEATH(comesBack(event, call), "waited for that nobody can give back: a deadlock")
                    << call.name << " in " << event;
    }
    void expectToComeBack(const std::string& event, const std::vector<Call>& calls) {
        for (const Call& call : calls) {
            hal->antenna = GPS_ANTENNA_OK;
            adapter->UpdateAntennaStatus();
            EXPECT_TRUE(comesBack(event, call)) << call.name << " in " << event;
            EXPECT_FALSE(VirtualSemaphores::isTaken(lock())) << call.name << " in " << event;
        }
    }
    static void note(const std::string& row, std::size_t events, std::size_t calls) {
        faultFigure(row, "combinations", static_cast<double>(events * calls));
    }
};

TEST_F(CallsInCallbacks, OfSettingsAndReadingsUnderTheLockWaitForEver) {
    expectDeadLock(kSettings);
    note("system.callback-settings-under-the-lock", kEventsUnderTheLock.size(), kSettings.size());
}

TEST_F(CallsInCallbacks, OfTheUpdateCycleUnderTheLockWaitForEver) {
    expectDeadLock(kUpdates);
    note("system.callback-updates-under-the-lock", kEventsUnderTheLock.size(), kUpdates.size());
}

TEST_F(CallsInCallbacks, ThatNeedNoLockComeBackFromEach) {
    for (const std::string& event : kEventsUnderTheLock)
        expectToComeBack(event, kWithoutTheLock);
    expectToComeBack(kAntennasEvent, kWithoutTheLock);
    note("system.callback-needs-no-lock", kEventsUnderTheLock.size() + 1, kWithoutTheLock.size());
}

TEST_F(CallsInCallbacks, OfSettingsAndUpdatesComeBackFromTheAntennas) {
    expectToComeBack(kAntennasEvent, kSettings);
    expectToComeBack(kAntennasEvent, kUpdates);
    note("system.callback-of-the-antenna-settings", 1, kSettings.size() + kUpdates.size());
}

} // namespace
