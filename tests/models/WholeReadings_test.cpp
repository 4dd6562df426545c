// Readings are those of one moment, whoever changes them meanwhile; a fix is what the reports of ten seconds
// make of it.

#include <atomic>
#include <thread>

#include "AdapterFixture.h"
#include "DriverFixture.h"
#include "GpsRecord.h"

using namespace std::chrono_literals;

namespace {

/// The adapter's states are numbered: in state n all that an operation brings is made of n.
class NumberedStates : public AdapterFixture {
protected:
    static constexpr int kRounds = 4000;

    NumberedStates() {
        unit.useRealThreads();
        hal->lock = nullptr; // the reading thread may hold it at any time
        hal->fix = fixNumber(0);
        set([](GPSParams& p) {
            for (GPSGeofence& fence : p.geofences)
                fence.latitude = fence.longitude = 1000, fence.width = fence.height = 2;
        });
        write(0);
    }

    static GPSData fixNumber(int n) {
        // Even ones are in all of the areas, odd ones in none.
        GPSData data = fixAt(1000 + n % 2 * 5000, 1000 + n % 2 * 5000);
        data.altitude = data.time = n;
        data.speed = data.course = static_cast<uint32_t>(n);
        return data;
    }

    /// From state n - 1 to state n, an operation of the worker after the other.
    void write(int n) {
        hal->fix = fixNumber(n);
        hal->horizontalError = hal->visible = hal->snr = static_cast<unsigned int>(n);
        hal->timeError = n;
        adapter->UpdateCurrentPosition();
        adapter->UpdateGeofence();
        adapter->UpdateSatelliteCount();
        adapter->UpdateSNR();
        adapter->UpdateErrorEstimates();
        GPSParams params = adapterParams();
        params.odometerValue = static_cast<uint32_t>(n);
        params.setOdometer = true;
        adapter->SetParams(params);
        unit.forget();
    }

    GPSParams adapterParams() {
        GPSParams p;
        adapter->GetParams(p);
        return p;
    }

    /// What is wrong with these readings, or nothing.
    static std::string faultIn(const GPSReadings& r) {
        const int n = r.data.time;
        const GPSData whole = fixNumber(n);
        if (r.data.latitude != whole.latitude || r.data.longitude != whole.longitude ||
            r.data.altitude != n || r.data.speed != whole.speed || r.data.course != whole.course)
            return "a fix of two";
        for (const GPSGeofenceState state : r.geofenceStates)
            if (state != r.geofenceStates[0])
                return "areas of two fixes";
        if (r.timeError != static_cast<int>(r.horizontalError))
            return "errors of two queries";
        // The operations follow each other: what comes later is of the same state or of the one before.
        const int stages[] = {n,           static_cast<int>(r.satelliteCount), static_cast<int>(r.snr),
                              r.timeError, static_cast<int>(r.odometer),       n - 1};
        return std::is_sorted(std::rbegin(stages), std::rend(stages)) ? "" : "operations out of their order";
    }
};

TEST_F(NumberedStates, AreNeverMixedInOneReading) {
    std::atomic<bool> isOver{false};
    std::atomic<bool> hasFailed{false};
    std::atomic<int> readings{0};
    std::string fault;
    std::thread reader([&] {
        while (!isOver && !hasFailed) {
            GPSReadings r;
            adapter->GetReadings(r);
            fault = faultIn(r);
            hasFailed = !fault.empty();
            ++readings;
        }
    });
    for (int n = 1; !hasFailed && (n <= kRounds || readings < kRounds); ++n)
        write(n);
    isOver = true;
    reader.join();
    EXPECT_EQ(fault, "");
}

class HalfReports : public DriverFixture {
protected:
    HalfReports() { start(); }

    static void position(gps_data_t& record) {
        record.set = LATLON_SET | MODE_SET;
        record.fix.latitude = 48.5;
        record.fix.longitude = 11.25;
    }
    static void status(gps_data_t& record) {
        record.set = STATUS_SET | TIME_SET;
        setTime(record, 1700000777, 0);
        record.fix.latitude = record.fix.longitude = -1;
    }
    GPSData fix() {
        GPSData data;
        result = driver->GetData(data);
        return data;
    }

    unsigned int result = 1;
};

TEST_F(HalfReports, MakeAFixTogether) {
    unit.gpsd.reports(position);
    unit.gpsd.reports(status, 4s);
    read();
    const GPSData data = fix();
    EXPECT_EQ(result, 0u);
    EXPECT_TRUE(data.valid);
    EXPECT_EQ(data.time, 1700000777);
    EXPECT_EQ(data.latitude, 48500000);
    EXPECT_EQ(data.longitude, 11250000);
}

TEST_F(HalfReports, EachGrowOldByThemselves) {
    const time_t began = unit.clock.utc();
    unit.gpsd.reports(position);
    unit.gpsd.reports(status, 4s); // its wait begins in the same second
    unit.gpsd.reports(status, 4s);
    read();
    unit.clock.setUtc(began + 11);
    const GPSData data = fix();
    EXPECT_TRUE(data.valid) << "with the status of the third";
    EXPECT_EQ(data.latitude, 0) << "and the position of none";
    EXPECT_EQ(data.longitude, 0);
}

TEST_F(HalfReports, BringNoDilutionsWithoutTheOtherHalf) {
    unit.gpsd.sendsAFix(48, 11);
    unit.gpsd.sendsTheSky(5); // there was no time and no altitude in the fix's report
    read();
    reader().pdop = 3; // what stands there is nobody's
    EXPECT_EQ(fix().pdop, 0);
}

// The copy is not guarded from a query: it neither waits nor sees a whole report.
TEST_F(HalfReports, AreSeenWhileTheyAreCopied) {
    unit.gpsd.reports([](gps_data_t& record) { position(record), record.set |= STATUS_SET; });
    read();
    sem_wait(&reportSemaphore()); // the reader is in the middle of the next one
    reader().latitude = 49;
    const GPSData data = fix();
    EXPECT_TRUE(data.valid);
    EXPECT_EQ(data.latitude, 49000000);
    EXPECT_EQ(data.longitude, 11250000);
    sem_post(&reportSemaphore());
}

} // namespace
