// What ruxogps-report makes of a recording, beside what the adapter did while it was recorded.

#include <algorithm>
#include <cmath>
#include <random>
#include <sstream>

#include "Conversions.h"
#include "InstanceNames.h"
#include "Json.h"
#include "Replay.h"
#include "WorkerFixture.h"

namespace {

using namespace telemetry;

/// A vehicle that drives, stands, loses its fix and is towed away.
class Vehicle {
public:
    explicit Vehicle(std::mt19937& random) : random_(random) {}

    GPSData second() {
        change();
        constexpr double kMetresPerMicrodegree = 0.11113;
        latitude_ += speed_ * std::cos(course_) / kMetresPerMicrodegree;
        longitude_ += speed_ * std::sin(course_) / kMetresPerMicrodegree;
        GPSData data;
        data.valid = lostFor_ == 0;
        data.latitude = data.valid ? static_cast<int32_t>(latitude_) : 0;
        data.longitude = data.valid ? static_cast<int32_t>(longitude_) : 0;
        data.pdop = data.valid ? pdop_ : 0.0f;
        return data;
    }

    int oneTo(int most) { return std::uniform_int_distribution<int>(1, most)(random_); }

private:
    void change() {
        if (oneTo(20) == 1)
            speed_ = oneTo(3) == 1 ? 0 : oneTo(45);
        course_ += (oneTo(101) - 51) / 200.0;
        lostFor_ = lostFor_ > 0 ? lostFor_ - 1 : oneTo(150) == 1 ? oneTo(60) : 0;
        pdop_ = oneTo(60) == 1 ? 11.0f : 1.5f;
        if (oneTo(400) == 1)
            latitude_ += oneTo(300000) - 150000;
    }

    std::mt19937& random_;
    double latitude_ = 50000000;
    double longitude_ = 10000000;
    double speed_ = 0;
    double course_ = 0;
    float pdop_ = 1.5f;
    int lostFor_ = 0;
};

/// Records an adapter as the monitor does: an event as it comes, readings four times a second where they have
/// changed.
class RecordedAdapter : public WorkerFixture {
public:
    RecordedAdapter(unsigned int seed, unsigned int interval) : random(seed), vehicle(random) {
        write(Start{1, "test"});
        callback.atCall = [this](const std::string& call) { noteEvent(call); };
        hal->atCall = [](const std::string&) {};
        GPSParams given = params();
        given.positionInterval = interval;
        given.geofencesEnabled = true;
        hand(given);
        for (int i = 0; i < 6; ++i)
            changeGeofence();
    }

    void TestBody() override {}

    /// Runs the worker, and everything around it four times a second.
    report::Drive drive(int seconds) {
        write(ServiceStep{ServiceStep::Step::Running, 0, 0, 0u});
        unit.clock.in(kPoll / 2, [this] { poll(); });
        runFor(seconds * kSecond);
        std::istringstream input(text.str());
        return report::readDrive(input, "drive.jsonl");
    }

private:
    static constexpr VirtualClock::Duration kPoll{250000};

    void poll() {
        if (vehicle.oneTo(300) == 1)
            setOdometer();
        if (vehicle.oneTo(300) == 1)
            changeSettings();
        record();
        if (vehicle.oneTo(300) == 1)
            setOdometer();
        if (polls++ % 4 == 2) // in the middle of a second: a cycle at its begin meets what holds for long
            receive();
        unit.forget();
        unit.clock.in(kPoll, [this] { poll(); });
    }

    void receive() {
        hal->fix = vehicle.second();
        if (vehicle.oneTo(5) == 1)
            hal->horizontalError = static_cast<unsigned int>(vehicle.oneTo(16));
        hal->errorsResult = vehicle.oneTo(10) == 1 ? GPS_ERR_NO_CURRENT_DATA : 0;
    }

    void record() {
        const std::string readings = toJson({{}, ReadingsTaken{monitor::readingsOf(this->readings())}});
        if (readings == lastReadings && unit.clock.tick() < lastTick + params().positionInterval)
            return;
        lastReadings = readings;
        lastTick = unit.clock.tick();
        write(ReadingsTaken{monitor::readingsOf(this->readings())});
    }

    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(random() % limit); }

    // --- What a person at the keys does -----------------------------------------------------------------

    void setOdometer() {
        GPSParams given = params();
        given.setOdometer = true;
        given.odometerValue = below(1000000);
        adapter->SetParams(given);
        write(Command{Command::Kind::SetOdometer, given.odometerValue, false});
        given.setOdometer = false;
        hand(given);
    }

    void changeSettings() {
        if (vehicle.oneTo(2) == 1)
            return changeGeofence();
        GPSParams given = params();
        given.geofencesEnabled = !given.geofencesEnabled;
        hand(given);
    }

    void changeGeofence() {
        GPSParams given = params();
        const std::size_t slot = below(kGPSMaxGeofences);
        GPSGeofence& geofence = given.geofences[slot];
        geofence.name.setStr(("area " + std::to_string(slot)).c_str());
        geofence.latitude = hal->fix.latitude != 0 ? hal->fix.latitude : 50000000;
        geofence.longitude = hal->fix.longitude != 0 ? hal->fix.longitude : 10000000;
        geofence.latitude += vehicle.oneTo(4000) - 2000;
        geofence.width = below(8000);
        geofence.height = below(8000);
        geofence.margin = below(1500);
        hand(given);
    }

    void hand(const GPSParams& given) {
        adapter->SetParams(given);
        Settings settings;
        settings.positionIntervalS = given.positionInterval;
        settings.geofencesEnabled = given.geofencesEnabled;
        for (std::size_t slot = 0; slot < kGeofences; ++slot) {
            const GPSGeofence& from = given.geofences[slot];
            settings.geofences[slot] = {
                from.name.getStr(), {from.latitude, from.longitude}, from.width, from.height, from.margin};
        }
        write(SettingsTaken{settings});
    }

    // --- Lines ------------------------------------------------------------------------------------------

    void noteEvent(const std::string& call) {
        std::istringstream words(call);
        std::string kind;
        std::string name;
        words >> kind >> std::ws;
        std::getline(words, name);
        if (kind == "OnGeofenceEntered" || kind == "OnGeofenceLeft")
            write(GeofenceCrossed{kind == "OnGeofenceEntered", std::nullopt, name, std::nullopt});
        else if (kind == "OnAvailabilityChanged")
            write(AvailabilityChanged{name == "1", std::nullopt});
    }

    void write(Content content) {
        const std::int64_t ms = unit.clock.elapsed().count() / 1000;
        text << toJson({{ms, ms, unit.clock.tick()}, std::move(content)}) << '\n';
    }

    std::mt19937 random;
    Vehicle vehicle;
    std::ostringstream text;
    std::string lastReadings;
    uint32_t lastTick = 0;
    int polls = 0;
};

/// The drive of this number, the same one with each interval.
report::Drive driven(unsigned int seed, unsigned int interval) {
    return RecordedAdapter(seed, interval).drive(2400);
}

struct Crossing {
    double timeS;
    std::string what;
};

std::vector<Crossing> recordedCrossings(const report::Drive& drive) {
    std::vector<Crossing> crossings;
    for (const report::Event& event : drive.events)
        if (const auto* const crossed = std::get_if<GeofenceCrossed>(&event.content))
            crossings.push_back({event.timeS, (crossed->entered ? "entered " : "left ") + crossed->name});
    return crossings;
}

std::vector<Crossing> replayedCrossings(const report::Replay& replay) {
    std::vector<Crossing> crossings;
    for (const report::Crossing& each : replay.crossings)
        crossings.push_back({each.timeS, (each.entered ? "entered " : "left ") + each.name});
    return crossings;
}

/// The odometer as it is replayed, at the time of a sample.
std::uint32_t odometerAt(const report::Replay& replay, double timeS) {
    const auto behind = std::upper_bound(replay.odometer.begin(), replay.odometer.end(), timeS,
                                         [](double time, const auto& entry) { return time < entry.first; });
    return behind == replay.odometer.begin() ? 0 : std::prev(behind)->second;
}

void expectSame(const std::vector<Crossing>& replayed, const std::vector<Crossing>& recorded) {
    for (std::size_t i = 0; i < std::min(recorded.size(), replayed.size()); ++i) {
        ASSERT_EQ(replayed[i].what, recorded[i].what) << i << ". at " << recorded[i].timeS;
        ASSERT_NEAR(replayed[i].timeS, recorded[i].timeS, 1) << i << ". " << recorded[i].what;
    }
    EXPECT_EQ(replayed.size(), recorded.size());
}

class RecordedDrive : public ::testing::TestWithParam<unsigned int> {
protected:
    /// Every second drive has the usual interval.
    unsigned int interval() const { return GetParam() % 2 == 1 ? 1 : GetParam() / 2 % 6 + 1; }
};

TEST_P(RecordedDrive, IsReplayedToTheMetre) {
    const report::Drive drive = driven(GetParam(), interval());
    const report::Replay replay = report::replay(drive);
    for (const report::Sample& sample : drive.samples)
        ASSERT_EQ(odometerAt(replay, sample.timeS), sample.readings.odometerM) << "at " << sample.timeS;
}

TEST_P(RecordedDrive, IsReplayedToTheEvent) {
    const report::Drive drive = driven(GetParam(), interval());
    expectSame(replayedCrossings(report::replay(drive)), recordedCrossings(drive));
}

/// Up to four seconds: the thread then sleeps for one at most, and looks at the status in the same seconds.
TEST_P(RecordedDrive, IsReplayedWithAnotherIntervalAsTheAdapterRunsWithThatOne) {
    report::WhatIf whatIf;
    whatIf.positionIntervalS = 2 + GetParam() % 3;
    const report::Replay replay = report::replay(driven(GetParam(), 1), &whatIf);
    const report::Drive other = driven(GetParam(), *whatIf.positionIntervalS);
    expectSame(replayedCrossings(replay), recordedCrossings(other));
    EXPECT_EQ(replay.odometerM, other.samples.back().readings.odometerM);
}

INSTANTIATE_TEST_SUITE_P(Random, RecordedDrive, ::testing::Range(1u, 1 + RANDOM_DRIVES),
                         [](const auto& made) { return instanceName(made.param); });

} // namespace
