// What docs/semantics.md draws of the worker's schedule: on which seconds tracking reports go out, and what
// becomes of a fix that is not renewed.

#include "Drawn.h"
#include "DriverMembers.h"
#include "GpsRecord.h"
#include "WorkerFixture.h"

using namespace std::chrono_literals;

namespace {

constexpr time_t kMinute = 1699999980; // a multiple of 60

class DrawnTracking : public WorkerFixture {
protected:
    /// A row for each report of the first 130 seconds of a full minute.
    void draw(Drawn& drawn, int32_t period, int32_t base, int32_t offset, const char* schedule) {
        set([=](GPSParams& p) {
            p.trackingEnabled = true;
            p.trackingPeriod = period;
            p.trackingBase = base;
            p.trackingOffset = offset;
        });
        unit.clock.setUtc(kMinute);
        unit.clock.setTick(VirtualClock::kStartTick);
        ticks.clear();
        runFor(130s);
        for (const uint32_t tick : ticks["OnTracking"])
            drawn.row(schedule, tick - VirtualClock::kStartTick);
    }
};

TEST_F(DrawnTracking, ReportsOnTheseSeconds) {
    Drawn drawn(
        "Tracking reports from the first second of a minute on: the schedule, and the seconds on which a "
        "report goes out.",
        {"schedule", "second"});
    draw(drawn, 60, 0, 0, "period 60");
    draw(drawn, 60, 0, 10, "period 60, offset 10");
    draw(drawn, 60, 20, 0, "period 60, base 20");
    draw(drawn, 15, 0, 0, "period 15");
    draw(drawn, 3, 0, 0, "period 3");
    draw(drawn, 60, 1800000000, 0, "period 60, base still to come");
    draw(drawn, 0, 0, 0, "period 0");
    drawn.expectCommitted("tracking");
}

class TrackingOfALongInterval : public WorkerFixture {
protected:
    /// The reports of an hour with a period of 60 s, by the second of the minute, where the worker begins at
    /// this one and each query of the fix takes so long.
    Ticks reports(uint32_t positionInterval, time_t beginS, VirtualClock::Duration query) {
        set([=](GPSParams& p) {
            p.positionInterval = positionInterval;
            p.trackingEnabled = true;
            p.trackingPeriod = 60;
        });
        unit.clock.setUtc(kMinute + beginS);
        const auto first = static_cast<uint32_t>(VirtualClock::kStartTick - beginS);
        unit.clock.setTick(VirtualClock::kStartTick);
        ticks.clear();
        hal->atCall = [this, query](const std::string& name) {
            if (name == "GetData")
                unit.clock.advance(query);
        };
        runFor(1h);
        Ticks seconds;
        for (const uint32_t tick : ticks["OnTracking"])
            seconds.push_back((tick - first) % 60);
        return seconds;
    }
};

TEST_F(TrackingOfALongInterval, HasOneForEachMultipleBelowTwelveSeconds) {
    EXPECT_EQ(reports(11, 5, 50ms).size(), 60u);
}

TEST_F(TrackingOfALongInterval, MissesOneForSomeMultiplesFromTwelveSecondsOn) {
    EXPECT_LT(reports(12, 5, 50ms).size(), 60u);
}

TEST_F(TrackingOfALongInterval, ComesLateOrNeverAsTheWorkersCyclesFall) {
    EXPECT_THAT(reports(60, 1, 0ms), ::testing::AllOf(::testing::SizeIs(60), ::testing::Each(1u)));
    EXPECT_THAT(reports(60, 5, 0ms), ::testing::IsEmpty()) << "at 5, 20, 35 and 50, again and again";
}

// --- A fix that is not renewed --------------------------------------------------------------------------

class DrawnFreshness : public UnitTest {
protected:
    DrawnFreshness() : adapter(std::make_unique<GPSAdapter>(&callback)) {
        noDataReadCounter() = 0;
        unit.clock.advance(10s);
        adapter->Initialize();
        adapter->Start();
        received = unit.clock.elapsed();
        receive(fillFix);
        adapter->UpdateCurrentPosition();
        unit.forget();
    }

    static void fillFix(gps_data_t& r) {
        r.set = ~gps_mask_t{0};
        r.fix.mode = 3;
        r.fix.latitude = 48;
        r.fix.longitude = 11;
        setAltitude(r, 500);
        setTime(r, VirtualClock::kStartUtc, 0);
        r.dop.pdop = 1.5;
    }
    static void fillLoss(gps_data_t& r) {
        r.set = STATUS_SET | MODE_SET | TIME_SET;
        r.fix.mode = 1;
    }

    GPSHAL_RUXO_3& driver() { return static_cast<GPSHAL_RUXO_3&>(*((*adapter).*memberOf(AdapterHal()))); }
    ReaderBlock& reader() { return driver().*memberOf(DriverReader()); }
    void receive(VirtualGpsd::Fill fill) {
        unit.gpsd.reports(std::move(fill));
        unit.gpsd.whenLastCycleBegins = [this] { reader().stopRequested = true; };
        reader().stopRequested = false;
        unit.threads.run(0);
    }

    /// A row a second: what the driver says, what the readings say, and what the callback is told.
    void draw(Drawn& drawn, const char* what, bool reportsGoOn) {
        for (int age = 1; age <= 14; ++age) {
            unit.clock.advanceTo(received + std::chrono::seconds(age));
            if (reportsGoOn)
                receive(fillLoss);
            unit.forget();
            GPSData data;
            const unsigned int result = driver().GetData(data);
            adapter->UpdateCurrentPosition();
            GPSReadings readings;
            adapter->GetReadings(readings);
            drawn.row(what, age, result == 0 ? "0" : "0x17000205", data.valid, data.latitude != 0,
                      data.pdop > 0, readings.available, unit.clock.tick() - readings.fixTick, told());
        }
    }
    std::string told() const {
        const Lines lines = unit.journal.only({"callback "});
        return lines.empty() ? "-" : lines.front().substr(9);
    }

    RecordingCallback callback;
    std::unique_ptr<GPSAdapter> adapter;
    VirtualClock::Duration received{0};
};

const std::vector<std::string> kFreshness = {"gpsd", "age",       "result",  "valid", "position",
                                             "pdop", "available", "fix-age", "told"};

TEST_F(DrawnFreshness, EndsAfterTenSecondsOfSilence) {
    Drawn drawn(
        "Seconds after the last report, while gpsd says nothing more: what the driver answers (result, "
        "valid, "
        "whether it has a position and a PDOP), what the readings show, and what the callback is told.",
        kFreshness);
    draw(drawn, "silent", false);
    drawn.expectCommitted("freshness-silence");
}

TEST_F(DrawnFreshness, EndsAfterTenSecondsWithoutAPosition) {
    Drawn drawn(
        "Seconds after the last position, while gpsd goes on with reports that have none: what the driver "
        "answers, what the readings show, and what the callback is told.",
        kFreshness);
    draw(drawn, "no position", true);
    drawn.expectCommitted("freshness-loss");
}

TEST_F(DrawnFreshness, LeavesTheServiceAvailableAndTellsNobodyWhenGpsdFallsSilent) {
    unit.clock.advance(60s);
    EXPECT_EQ(adapter->UpdateCurrentPosition(), 0x17000205u);
    GPSReadings readings;
    adapter->GetReadings(readings);
    EXPECT_TRUE(readings.available);
    EXPECT_TRUE(readings.data.valid);
    EXPECT_EQ(unit.clock.tick() - readings.fixTick, 60u);
    EXPECT_EQ(told(), "-");
}

TEST_F(DrawnFreshness, AcceptsAFixAnewInEachCycleWhileItIsFresh) {
    unit.clock.advance(9s);
    EXPECT_EQ(adapter->UpdateCurrentPosition(), 0u);
    GPSReadings readings;
    adapter->GetReadings(readings);
    EXPECT_EQ(readings.fixTick, unit.clock.tick()) << "of a report that is nine seconds old";
}

} // namespace
