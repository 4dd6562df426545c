// Every extreme value in every setting, changed ten thousand times while the worker runs. Whatever is set, it
// comes back as it was given, the lock is free in each of the worker's sleeps, and no event comes that the
// settings forbid.

#include <limits>
#include <random>

#include "FaultFigures.h"
#include "WorkerFixture.h"

using namespace std::chrono_literals;

namespace {

constexpr int kChanges = 10000;
constexpr uint32_t kMax = std::numeric_limits<uint32_t>::max();
constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();
constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();

constexpr uint32_t kUnsigned[] = {0,    1,    2,    3,          15,         180,        181,      4095,
                                  4096, 4294, 4295, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, kMax - 5, kMax};
constexpr int32_t kSigned[] = {kLowest, kLowest + 1, -90000001, -90000000, -2,        -1,
                               0,       1,           2,         5,         180000000, kHighest};

class ExtremeSettings : public WorkerFixture {
protected:
    template <typename T, std::size_t N>
    T any(const T (&values)[N]) {
        return values[chance_() % N];
    }
    bool anyFlag() { return chance_() % 2 == 0; }

    void makeExtreme(GPSGeofence& geofence) {
        static const std::string names[] = {"", "yard", std::string(10000, 'n'), "%s%n\n\xff"};
        geofence.name.setStr(names[chance_() % 4].c_str());
        geofence.latitude = any(kSigned);
        geofence.longitude = any(kSigned);
        geofence.width = any(kUnsigned);
        geofence.height = any(kUnsigned);
        geofence.margin = any(kUnsigned);
    }
    GPSParams extremeParams() {
        GPSParams p = given_;
        p.enabled = true; // or the worker ends
        p.positionInterval = any(kUnsigned);
        p.statusInterval = any(kUnsigned);
        p.trackingEnabled = anyFlag();
        p.trackingPeriod = any(kSigned);
        p.trackingBase = any(kSigned);
        p.trackingOffset = any(kSigned);
        p.geofencesEnabled = anyFlag();
        if (chance_() % 4 == 0) // a new one's first position makes no event of entering
            for (GPSGeofence& geofence : p.geofences)
                makeExtreme(geofence);
        p.resetTimeDeviation = anyFlag();
        p.odometerValue = any(kUnsigned);
        p.setOdometer = anyFlag();
        p.logInterval = any(kUnsigned);
        return p;
    }
    void makeExtremeFix() {
        hal->fix = fixAt(any(kSigned), any(kSigned), chance_() % 8 == 0 ? 0.0f : 1.5f);
        hal->fix.valid = chance_() % 8 != 0;
        hal->utc = any(kSigned);
        hal->antenna = GPSAntennaState(chance_() % 3);
        hal->snr = hal->visible = any(kUnsigned);
        hal->horizontalError = any(kUnsigned);
        hal->timeError = any(kSigned);
    }

    // --- What holds in each of the worker's sleeps ------------------------------------------------------

    void look() {
        EXPECT_FALSE(VirtualSemaphores::isTaken(lock()));
        expectSettings();
        expectTracking();
        const GPSReadings now = readings();
        EXPECT_LE(now.odometer - odometer_, 1000u) << "a cycle counts no more than the least jump";
        odometer_ = now.odometer;
        for (const GPSGeofenceState state : now.geofenceStates)
            EXPECT_LE(state, GPSGeofenceState::Left);
    }
    void expectSettings() {
        const GPSParams p = params();
        EXPECT_EQ(p.positionInterval, given_.positionInterval);
        EXPECT_EQ(p.statusInterval, given_.statusInterval);
        EXPECT_EQ(p.trackingPeriod, given_.trackingPeriod);
        EXPECT_EQ(p.odometerValue, given_.odometerValue);
        for (std::size_t i = 0; i < kGPSMaxGeofences; ++i) {
            EXPECT_TRUE(p.geofences[i].name.equals(given_.geofences[i].name));
            EXPECT_EQ(p.geofences[i].width, given_.geofences[i].width);
        }
    }
    void expectTracking() {
        const Ticks reports = ticks["OnTracking"];
        for (const auto& [name, calls] : ticks)
            calls_[name] += calls.size();
        ticks.clear();
        if (!given_.trackingEnabled || given_.trackingPeriod == 0) {
            EXPECT_TRUE(reports.empty());
        }
        for (const uint32_t report : reports) {
            EXPECT_GE(report - lastReport_, 5u);
            lastReport_ = report;
        }
    }
    /// The changes didn't pass the worker by: every event came.
    void expectEveryEvent() {
        for (const char* name : {"OnGeofenceLeft", "OnGeofenceEntered", "OnAntennaStateChanged",
                                 "OnAvailabilityChanged", "OnPositionUpdate", "OnTracking"})
            EXPECT_GE(calls_[name], 100u) << name;
    }
    void change() {
        given_ = extremeParams();
        EXPECT_EQ(adapter->SetParams(given_), 0u);
        odometer_ = given_.setOdometer ? given_.odometerValue : odometer_;
        makeExtremeFix();
        unit.forget();
    }

private:
    std::mt19937 chance_{20240101};
    GPSParams given_ = params();
    uint32_t odometer_ = 0;
    uint32_t lastReport_ = 0;
    std::map<std::string, std::size_t> calls_;
};

TEST_F(ExtremeSettings, AreChangedTenThousandTimesUnderTheWorker) {
    int changes = 0;
    inSleep = [this] {
        look();
        change();
    };
    runUntil([&changes] { return ++changes >= kChanges || HasFailure(); });
    EXPECT_EQ(changes, kChanges);
    expectEveryEvent();
    faultFigure("use.extreme-settings", "changes", changes);
}

/// The worker's sleep is a quarter of the interval, of which only the product's lower 32 bits count.
TEST_F(ExtremeSettings, OfThePositionIntervalGiveTheWorkerItsSleep) {
    for (const uint32_t interval : kUnsigned) {
        set([interval](GPSParams& p) { p.positionInterval = interval; });
        runCycles(3);
        const uint32_t sleep = interval * 1000000u / 4;
        EXPECT_EQ(unit.journal.count("usleep " + std::to_string(sleep)), 3u) << interval;
        EXPECT_FALSE(worker().IsActive());
    }
}

} // namespace
