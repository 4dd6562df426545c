// Adapter, worker, driver and reader for thirty days on a clock that is a number, with a gpsd that dies every
// few hours: everything that is told, counted and logged is what the models make of it, and the memory is
// that of the first minute.

#include <dirent.h>
#include <gtest/gtest.h>

#include <iostream>
#include <memory>

#include "DaysGround.h"
#include "DaysModel.h"
#include "GPSAdapter.h"

namespace {

class Application : public IGPSCallback {
public:
    unsigned int OnGeofenceLeft(const GPSGeofence&) override { return count(days::Left); }
    unsigned int OnGeofenceEntered(const GPSGeofence&) override { return count(days::Entered); }
    unsigned int OnAntennaStateChanged(GPSAntennaState, RuxoString&, bool&) override {
        return count(days::AntennaChanges);
    }
    unsigned int OnAvailabilityChanged(bool available) override {
        return count(available ? days::Available : days::NotAvailable);
    }
    unsigned int OnPositionUpdate() override { return count(days::PositionUpdates); }
    unsigned int OnTracking(const GPSData&) override { return count(days::Trackings); }

private:
    static unsigned int count(days::Count what) {
        ++days::tally()[what];
        return 0;
    }
};

int openDescriptors() {
    int count = 0;
    DIR* const folder = opendir("/proc/self/fd");
    while (readdir(folder) != nullptr)
        ++count;
    closedir(folder);
    return count;
}

Timetable timetable() {
    Timetable t;
    t.trackingEnabled = true;
    t.trackingPeriod = 60;
    t.geofencesEnabled = true;
    return t;
}

/// Two corners of the road.
GeofenceModel::Areas areas() {
    GeofenceModel::Areas areas;
    areas[0] = {"north", 11000000, 48050000, 20000, 20000, 1500};
    areas[11] = {"south", 11050000, 48000000, 10000, 30000, 300};
    return areas;
}

GPSParams settings() {
    const Timetable t = timetable();
    GPSParams p;
    p.enabled = t.enabled;
    p.positionInterval = t.positionInterval;
    p.statusInterval = t.statusInterval;
    p.trackingEnabled = t.trackingEnabled;
    p.trackingPeriod = t.trackingPeriod;
    p.geofencesEnabled = t.geofencesEnabled;
    p.logInterval = t.logInterval;
    for (std::size_t i = 0; i < GeofenceModel::kAreas; ++i) {
        const Area area = areas()[i];
        GPSGeofence& fence = p.geofences[i];
        fence.name.setStr(area.name.c_str());
        fence.longitude = area.longitude;
        fence.latitude = area.latitude;
        fence.width = area.width;
        fence.height = area.height;
        fence.margin = area.margin;
    }
    return p;
}

/// What stays the same.
struct Footprint {
    days::Memory memory;
    int descriptors;
    int threads;
};

class LongRun : public ::testing::Test {
protected:
    static constexpr int64_t kDays = RUXOGPS_DAYS;

    LongRun() {
        days::setUp();
        adapter_ = std::make_unique<GPSAdapter>(&application_);
        adapter_->SetParams(settings());
        days::tally() = {};
        model = std::make_unique<DaysModel>(days::now());
        model->timetable = timetable();
        model->areas.change(areas());
    }
    ~LongRun() override {
        adapter_.reset();
        days::tearDown();
    }

    void start() {
        adapter_->Initialize();
        adapter_->Start();
        model->start();
        begin_ = days::now();
        EXPECT_EQ(model->now(), begin_);
    }
    /// Until just before a cycle of the worker.
    Footprint goOnUntil(int64_t time) {
        days::sleepUntil(begin_ + time - 1);
        return {days::memory(), openDescriptors(), days::threads()};
    }
    void stop() {
        adapter_->GetReadings(readings);
        adapter_->Stop();
        model->run(begin_ + kDays * 24 * days::kHour);
        model->stop();
        model->tally[days::Readers] += 1; // the worker, a thread as well
    }
    void tell() const {
        std::cout << kDays << " days: " << readings.odometer << " m";
        for (std::size_t i = 0; i < days::Counts; ++i)
            std::cout << ", " << days::tally()[i] << " " << days::kNames[i];
        std::cout << "\n";
    }

    std::unique_ptr<DaysModel> model;
    GPSReadings readings;

private:
    Application application_;
    std::unique_ptr<GPSAdapter> adapter_;
    int64_t begin_ = 0;
};

TEST_F(LongRun, OfThirtyDaysIsWhatTheModelsMakeOfItAndLeavesNothingBehind) {
    start();
    const Footprint first = goOnUntil(60 * days::kSecond);
    const Footprint last = goOnUntil(kDays * 24 * days::kHour);
    stop();
    tell();
    EXPECT_EQ(readings.odometer, model->odometer.metres);
    for (std::size_t i = 0; i < days::Counts; ++i)
        EXPECT_EQ(days::tally()[i], model->tally[i]) << days::kNames[i];
    EXPECT_EQ(last.memory.blocks, first.memory.blocks);
    EXPECT_EQ(last.memory.bytes, first.memory.bytes);
    EXPECT_EQ(last.descriptors, first.descriptors);
    EXPECT_EQ(first.threads, 2);
    EXPECT_EQ(last.threads, 2);
}

} // namespace
