// Adapter, worker and reader on threads of their own, on the virtual clock: what ThreadSanitizer looks at.
// The ground adds no order of its own between the threads (tests/support/Unobserved.h). Which of two threads
// that are due at the same moment comes first is open, so the tests look at what must come, not at exact
// counts.

#include <atomic>

#include "DriverMembers.h"
#include "GPSAdapter.h"
#include "GpsRecord.h"
#include "VirtualUnit.h"

using namespace std::chrono_literals;

namespace {

/// Counts events on the worker's thread, in a way that puts no order between threads.
class CountingCallback : public IGPSCallback {
public:
    unsigned int OnGeofenceLeft(const GPSGeofence&) override { return count(geofences); }
    unsigned int OnGeofenceEntered(const GPSGeofence&) override { return count(geofences); }
    unsigned int OnAntennaStateChanged(GPSAntennaState, RuxoString&, bool&) override {
        return count(antennaChanges);
    }
    unsigned int OnAvailabilityChanged(bool) override { return count(availabilityChanges); }
    unsigned int OnPositionUpdate() override { return count(positions); }
    unsigned int OnTracking(const GPSData&) override { return count(trackings); }

    std::atomic<int> geofences{0};
    std::atomic<int> antennaChanges{0};
    std::atomic<int> availabilityChanges{0};
    std::atomic<int> positions{0};
    std::atomic<int> trackings{0};

private:
    static unsigned int count(std::atomic<int>& counter) {
        counter.fetch_add(1, std::memory_order_relaxed);
        return 0;
    }
};

class RealThreads : public UnitTest {
protected:
    RealThreads() {
        unit.useRealThreads();
        noDataReadCounter() = 0; // the process's, and other tests leave it where it is
    }

    void startService() {
        ASSERT_EQ(adapter.Initialize(), 0u);
        ASSERT_EQ(adapter.Start(), 0u);
    }
    GPSReadings readings() {
        GPSReadings r;
        adapter.GetReadings(r);
        return r;
    }

    CountingCallback callback;
    GPSAdapter adapter{&callback};
};

TEST_F(RealThreads, BringFixesToTheApplication) {
    unit.gpsd.reportsEvery(1s, fillNorthbound);
    startService();
    unit.clock.advance(600s);
    EXPECT_TRUE(readings().available);
    EXPECT_EQ(readings().satelliteCount, 12u);
    EXPECT_GT(readings().odometer, 1000u);
    EXPECT_EQ(adapter.Stop(), 0u);
    EXPECT_GT(callback.positions, 50);
}

/// An application thread that reads and changes settings all the time.
void* useTheAdapter(void* argument) {
    GPSAdapter& adapter = *static_cast<GPSAdapter*>(argument);
    for (int i = 0; i < 500; ++i) {
        GPSParams params;
        GPSReadings readings;
        adapter.GetParams(params);
        params.geofencesEnabled = i % 2 == 0;
        params.trackingEnabled = true;
        params.trackingPeriod = 10;
        params.geofences[0].latitude = 48000000 + i;
        params.geofences[0].longitude = 11500000;
        params.geofences[0].width = params.geofences[0].height = 20000;
        adapter.SetParams(params);
        adapter.GetReadings(readings);
        usleep(100000);
    }
    return nullptr;
}

TEST_F(RealThreads, ShareSettingsAndReadingsWithTwoThreadsOfTheApplication) {
    unit.gpsd.reportsEvery(200ms, fillNorthbound);
    startService();
    pthread_t other{};
    pthread_create(&other, nullptr, useTheAdapter, &adapter);
    useTheAdapter(&adapter);
    pthread_join(other, nullptr);
    EXPECT_EQ(adapter.Stop(), 0u);
    EXPECT_GT(callback.trackings, 0);
}

/// An application thread that takes the service's clock for kept and not kept in turn, as its NTP client may.
void* changeTheNtpFlag(void* argument) {
    GPSAdapter& adapter = *static_cast<GPSAdapter*>(argument);
    for (int i = 0; i < 100; ++i) {
        adapter.SetNTPServiceAvailable(i % 2 == 0);
        usleep(100000);
    }
    return nullptr;
}

TEST_F(RealThreads, MeasureTheTimeWhileTheApplicationChangesTheNtpFlag) {
    unit.gpsd.reportsEvery(1s, fillNorthbound);
    startService();
    changeTheNtpFlag(&adapter);
    EXPECT_EQ(adapter.Stop(), 0u);
    EXPECT_FALSE(adapter.GetNTPServiceAvailable());
}

TEST_F(RealThreads, StartWhileAnotherThreadOfTheApplicationChangesTheSettings) {
    unit.gpsd.reportsEvery(1s, fillNorthbound);
    ASSERT_EQ(adapter.Initialize(), 0u);
    pthread_t other{};
    pthread_create(&other, nullptr, useTheAdapter, &adapter);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(adapter.Start(), 0u);
        usleep(100000);
    }
    pthread_join(other, nullptr);
    EXPECT_EQ(adapter.Stop(), 0u);
}

TEST_F(RealThreads, RunTheOdometerWhileTheApplicationResetsIt) {
    unit.gpsd.reportsEvery(200ms, fillNorthbound);
    startService();
    // In its warm-up and while it counts, each time at another moment between two of the worker's cycles.
    for (const auto counting : {0s, 300s, 0s, 300s}) {
        unit.clock.advance(counting + 1100ms);
        EXPECT_EQ(adapter.ResetParams(), 0u);
    }
    EXPECT_EQ(adapter.Stop(), 0u);
    EXPECT_EQ(readings().odometer, 0u);
}

TEST_F(RealThreads, StopAndStartAgain) {
    unit.gpsd.reportsEvery(1s, fillNorthbound);
    for (int round = 0; round < 5; ++round) {
        startService();
        unit.clock.advance(20s);
        EXPECT_EQ(adapter.Finalize(), 0u);
    }
    EXPECT_EQ(unit.gpsd.opens(), 5);
    EXPECT_EQ(unit.gpsd.closes(), 5);
}

TEST_F(RealThreads, RestartGpsdAfterItsSilence) {
    unit.gpsd.isSilent(11);
    unit.gpsd.reportsEvery(1s, fillNorthbound);
    startService();
    unit.clock.advance(300s);
    EXPECT_EQ(unit.log.count(3, "GPSD does not provide any data - restarting GPSD"), 1);
    EXPECT_EQ(unit.gpsd.opens(), 2);
    EXPECT_TRUE(readings().available);
    EXPECT_EQ(adapter.Stop(), 0u);
}

TEST_F(RealThreads, StopAReaderThatHasGivenUp) {
    GPSParams params;
    adapter.SetParams(params); // disabled: no worker that would restart it
    startService();
    unit.clock.advance(60s); // eleven waits of 5 s brought nothing
    EXPECT_EQ(unit.gpsd.closes(), 1);
    EXPECT_EQ(adapter.Stop(), 0u);
}

TEST_F(RealThreads, RestartGpsdWhileTheApplicationIsStillStartingThem) {
    unit.gpsd.isSilent(11);
    unit.gpsd.reportsEvery(1s, fillNorthbound);
    GPSParams params;
    adapter.GetParams(params);
    params.enabled = false;
    adapter.SetParams(params); // no worker yet
    startService();
    unit.clock.advance(60s); // the reader has given up
    params.enabled = true;
    adapter.SetParams(params);
    adapter.Start(); // fails where the worker is the faster one, which first of all stops the driver
    unit.clock.advance(60s);
    EXPECT_EQ(unit.gpsd.opens(), 2);
    EXPECT_TRUE(readings().available);
    EXPECT_EQ(adapter.Stop(), 0u);
}

TEST_F(RealThreads, EndTheWorkerThatWasDisabledAndStartItAgain) {
    unit.gpsd.reportsEvery(1s, fillNorthbound);
    startService();
    GPSParams params;
    adapter.GetParams(params);
    params.enabled = false;
    adapter.SetParams(params);
    unit.clock.advance(10s);
    EXPECT_EQ(unit.log.count(6, "GPS worker stopped."), 1);
    params.enabled = true;
    adapter.SetParams(params);
    EXPECT_EQ(adapter.Start(), 0u);
    unit.clock.advance(10s);
    EXPECT_TRUE(readings().available);
}

TEST_F(RealThreads, AreAllJoinedWhenTheRunningServiceIsDestroyed) {
    unit.gpsd.reportsEvery(1s, fillNorthbound);
    {
        GPSAdapter running(&callback);
        ASSERT_EQ(running.Initialize(), 0u);
        ASSERT_EQ(running.Start(), 0u);
        unit.clock.advance(30s);
    }
    ASSERT_EQ(unit.threads.count(), 2u);
    EXPECT_TRUE(unit.threads.at(0).joined);
    EXPECT_TRUE(unit.threads.at(1).joined);
}

} // namespace
