// The adapter with its real driver: what gpsd says, on its way to readings and callbacks. Above all, what
// gpsd should never say.

#include <cmath>
#include <limits>

#include "AdapterMembers.h"
#include "DriverMembers.h"
#include "GpsRecord.h"
#include "RecordingCallback.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int32_t kIntMax = std::numeric_limits<int32_t>::max();
constexpr uint32_t kUnsignedMax = std::numeric_limits<uint32_t>::max();

/// A whole report, every number of it `value`.
VirtualGpsd::Fill everyNumberIs(double value) {
    return [value](gps_data_t& r) {
        r.set = ~gps_mask_t{0};
        for (double* number : {&r.fix.latitude, &r.fix.longitude, &r.fix.track, &r.fix.speed, &r.fix.climb,
                               &r.fix.ept, &r.fix.epx, &r.fix.epy, &r.fix.epv, &r.fix.eps, &r.dop.xdop,
                               &r.dop.ydop, &r.dop.pdop, &r.dop.hdop, &r.dop.vdop, &r.dop.tdop, &r.dop.gdop})
            *number = value;
        setAltitudes(r, value, value);
        r.fix.mode = 3;
        r.satellites_visible = r.satellites_used = 2;
        for (auto& satellite : r.skyview) {
            satellite.used = true;
            satellite.ss = value;
            setAngles(satellite, value, value);
        }
    };
}

void fillGoodReport(gps_data_t& r) {
    everyNumberIs(4)(r);
    r.fix.latitude = 48.137154;
    r.fix.longitude = 11.576124;
    setTime(r, 1700000000, 0);
    r.dop.pdop = 1.5;
}

class AdapterOnItsDriver : public UnitTest {
protected:
    explicit AdapterOnItsDriver(bool withCallback = true)
        : adapter(std::make_unique<GPSAdapter>(withCallback ? &callback : nullptr)) {
        noDataReadCounter() = 0;
        unit.clock.advance(10s);
        EXPECT_EQ(adapter->Initialize(), 0u);
        EXPECT_EQ(adapter->Start(), 0u);
        callback.lock = &((*adapter).*memberOf(AdapterLock()));
        unit.forget();
    }

    ReaderBlock& reader() {
        auto* const driver = static_cast<GPSHAL_RUXO_3*>((*adapter).*memberOf(AdapterHal()));
        return (*driver).*memberOf(DriverReader());
    }
    /// Lets the reader thread take one report.
    void receive(VirtualGpsd::Fill fill) {
        unit.gpsd.reports(std::move(fill));
        unit.gpsd.whenLastCycleBegins = [this] { reader().stopRequested = true; };
        reader().stopRequested = false;
        unit.threads.run(0);
        unit.forget();
    }
    /// Lets the worker thread run for so long, all of its blocks at work; gpsd's last report counts as new.
    void work(VirtualClock::Duration duration) {
        const VirtualClock::Duration end = unit.clock.elapsed() + duration;
        GPSTimedWorker& worker = *((*adapter).*memberOf(AdapterWorker()));
        unit.clock.afterEachSleep = [this, end, &worker](VirtualClock::Duration) {
            refresh();
            worker.*memberOf(WorkerStopRequested()) = unit.clock.elapsed() >= end;
        };
        worker.*memberOf(WorkerStopRequested()) = false;
        worker.Run();
        unit.clock.afterEachSleep = nullptr;
    }
    void refresh() {
        ReaderBlock& block = reader();
        for (time_t ReaderBlock::*arrival :
             {&ReaderBlock::tsStatus, &ReaderBlock::tsTime, &ReaderBlock::tsLatLon, &ReaderBlock::tsAltitude,
              &ReaderBlock::tsTrack, &ReaderBlock::tsSpeed, &ReaderBlock::tsSatellites,
              &ReaderBlock::tsTimeError, &ReaderBlock::tsHorizontalError, &ReaderBlock::tsDop})
            block.*arrival = unit.clock.utc();
    }
    void haveAllEnabled() {
        GPSParams p;
        adapter->GetParams(p);
        p.trackingEnabled = p.geofencesEnabled = true;
        p.trackingPeriod = 1;
        p.logInterval = 10;
        for (GPSGeofence& geofence : p.geofences)
            geofence.width = geofence.height = kUnsignedMax;
        adapter->SetParams(p);
    }
    GPSReadings readings() {
        GPSReadings r;
        adapter->GetReadings(r);
        return r;
    }

    RecordingCallback callback;
    std::unique_ptr<GPSAdapter> adapter;
};

TEST_F(AdapterOnItsDriver, BringsAReportToTheReadings) {
    receive(fillGoodReport);
    work(1s);
    const GPSReadings r = readings();
    EXPECT_TRUE(r.data.valid);
    EXPECT_EQ(r.data.latitude, 48137154);
    EXPECT_EQ(r.data.longitude, 11576124);
    EXPECT_EQ(r.data.time, 1700000000);
    EXPECT_EQ(r.satelliteCount, 2u);
    EXPECT_EQ(r.snr, 4u);
    EXPECT_EQ(r.horizontalError, 5u);
    EXPECT_EQ(r.timeError, 4000);
    EXPECT_TRUE(r.timeDeviationValid);
}

TEST_F(AdapterOnItsDriver, TellsWhatHappensAsItHappens) {
    receive(fillGoodReport);
    work(11s);
    EXPECT_THAT(unit.journal.only({"callback "}),
                ElementsAre("callback OnAvailabilityChanged 1", "callback OnAntennaStateChanged 1",
                            "callback OnPositionUpdate"));
}

TEST_F(AdapterOnItsDriver, TakesNoFixFromNumbersThatAreNone) {
    receive(everyNumberIs(kNan));
    haveAllEnabled();
    work(60s);
    const GPSReadings r = readings();
    EXPECT_FALSE(r.available);
    EXPECT_FALSE(r.data.valid);
    EXPECT_EQ(r.horizontalError, 0u);
    EXPECT_EQ(r.timeError, 0);
    EXPECT_EQ(r.snr, 0u);
    EXPECT_EQ(r.odometer, 0u);
}

TEST_F(AdapterOnItsDriver, TakesNoFixFromInfiniteNumbers) {
    for (const double infinity : {kInfinity, -kInfinity}) {
        receive(everyNumberIs(infinity));
        haveAllEnabled();
        work(60s);
        EXPECT_FALSE(readings().available) << "the PDOP is out of range";
        EXPECT_FALSE(readings().data.valid);
    }
}

TEST_F(AdapterOnItsDriver, SaturatesAnInfinitePositionWithAGoodPdop) {
    receive([](gps_data_t& r) {
        everyNumberIs(kInfinity)(r);
        r.fix.latitude = -kInfinity;
        r.dop.pdop = 1;
    });
    haveAllEnabled();
    work(400s);
    const GPSReadings r = readings();
    EXPECT_EQ(r.data.latitude, std::numeric_limits<int32_t>::min());
    EXPECT_EQ(r.data.longitude, kIntMax);
    EXPECT_EQ(r.data.altitude, kIntMax);
    EXPECT_EQ(r.data.speed, kUnsignedMax);
    EXPECT_EQ(r.horizontalError, kUnsignedMax);
    EXPECT_EQ(r.timeError, kIntMax);
    EXPECT_EQ(r.odometer, 0u);
}

TEST_F(AdapterOnItsDriver, KeepsACountOfSatellitesBeyondItsRoom) {
    for (const int count : {236, 1000, kIntMax, -1}) {
        receive([count](gps_data_t& r) {
            fillGoodReport(r);
            r.satellites_visible = count;
        });
        adapter->UpdateSatelliteCount();
        adapter->UpdateSNR();
        EXPECT_EQ(readings().satelliteCount, static_cast<uint32_t>(count));
    }
}

TEST_F(AdapterOnItsDriver, StoresAnAntennaInOrderWhenTheDriverIsStopped) {
    adapter->Stop();
    EXPECT_EQ(adapter->UpdateAntennaStatus(), 0u) << "the callback's: 1 differs from 2";
    EXPECT_EQ(readings().antennaState, GPS_ANTENNA_OK);
    EXPECT_EQ(adapter->UpdateAntennaStatus(), 0x17000002u);
}

TEST_F(AdapterOnItsDriver, HandsOnThatTheDriverIsStopped) {
    adapter->Stop();
    EXPECT_EQ(adapter->UpdateCurrentPosition(), 0x17000002u);
    EXPECT_EQ(adapter->UpdateSatelliteCount(), 0x17000002u);
    EXPECT_EQ(adapter->UpdateSNR(), 0x17000002u);
    EXPECT_EQ(adapter->UpdateErrorEstimates(), 0x17000002u);
    EXPECT_EQ(adapter->UpdateSystemTimeDeviation(), 0x17000002u);
}

TEST_F(AdapterOnItsDriver, HandsOnThatNothingIsCurrent) {
    EXPECT_EQ(adapter->UpdateCurrentPosition(), 0x17000205u);
    EXPECT_EQ(adapter->UpdateSatelliteCount(), 0x17000205u);
    EXPECT_EQ(adapter->UpdateSystemTimeDeviation(), 0x17000205u);
    EXPECT_EQ(adapter->UpdateErrorEstimates(), 0u);
}

TEST_F(AdapterOnItsDriver, StoresTheStateThatAFailingHalFilledInFirst) {
    unit.hal.antennaResult = 0x99;
    adapter->UpdateAntennaStatus();
    EXPECT_EQ(readings().antennaState, GPS_ANTENNA_OK) << "the driver fills it in before it asks";
    EXPECT_EQ(adapter->UpdateAntennaStatus(), 0x99u);
}

TEST_F(AdapterOnItsDriver, ClearsAvailabilityWithTheAntennaAndFindsItAgain) {
    receive(fillGoodReport);
    work(3s);
    unit.hal.antennaState = GPS_ANTENNA_SHORT;
    work(3s);
    EXPECT_FALSE(readings().available);
    EXPECT_EQ(readings().antennaState, GPS_ANTENNA_SHORT);
    unit.hal.antennaState = GPS_ANTENNA_OK;
    work(3s);
    EXPECT_TRUE(readings().available);
}

TEST_F(AdapterOnItsDriver, RestartsTheReceiverFromTheUpdateOfTheFix) {
    noDataReadCounter() = 11;
    EXPECT_EQ(adapter->UpdateCurrentPosition(), 0x17000205u);
    EXPECT_LOGGED(3, "GPSD does not provide any data - restarting GPSD");
    EXPECT_FALSE(VirtualSemaphores::isTaken(*callback.lock));
    EXPECT_EQ(unit.threads.count(), 3u) << "a new reader, the worker stays";
}

TEST_F(AdapterOnItsDriver, HandsTheInitialPositionToTheReceiverAndStartsAgain) {
    EXPECT_EQ(adapter->setInitialPosition(48137154, 11576124, 519000), 0u);
    EXPECT_EQ(unit.port.sent.size(), 1u);
    EXPECT_EQ(unit.threads.count(), 3u);
}

class AdapterOnItsDriverWithoutCallback : public AdapterOnItsDriver {
protected:
    AdapterOnItsDriverWithoutCallback() : AdapterOnItsDriver(false) {}
};

TEST_F(AdapterOnItsDriverWithoutCallback, WorksAllTheSame) {
    receive(fillGoodReport);
    haveAllEnabled();
    work(300s);
    EXPECT_TRUE(readings().available);
    EXPECT_EQ(readings().data.latitude, 48137154);
    EXPECT_EQ(readings().antennaState, GPS_ANTENNA_OK);
    EXPECT_THAT(unit.journal.only({"callback "}), IsEmpty());
}

} // namespace
