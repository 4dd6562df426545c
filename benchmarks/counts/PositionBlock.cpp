#include "PositionBlock.h"

#include <array>
#include <cmath>

#include "AdapterMembers.h"
#include "Stubs.h"

namespace positionblock {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr int32_t kCentreLatitude = 48137154;
constexpr int32_t kCentreLongitude = 11576124;
constexpr double kRadiusMicrodegrees = 4800; // 534 m north, and as much east
constexpr double kShrink = 0.667;            // of a meridian's distance there
constexpr uint32_t kMargin = 150;

// --- What both are given --------------------------------------------------------------------------------

using Lap = std::array<Plain::Fix, kLap>;

Plain::Fix fixAt(uint32_t second) {
    const double angle = 2 * kPi * second / kLap;
    Plain::Fix fix = {};
    fix.valid = true;
    fix.latitude = static_cast<int32_t>(kCentreLatitude + kRadiusMicrodegrees * std::sin(angle));
    fix.longitude = static_cast<int32_t>(kCentreLongitude + kRadiusMicrodegrees / kShrink * std::cos(angle));
    fix.altitude = 519000;
    fix.time = static_cast<int32_t>(1767225600 + second);
    fix.speed = 14000;
    fix.course = 1000 * second;
    fix.hdop = fix.tdop = fix.pdop = fix.gdop = 1.5f;
    return fix;
}

const Lap& lap() {
    static const Lap fixes = [] {
        Lap made;
        for (uint32_t i = 0; i < kLap; ++i)
            made[i] = fixAt(i);
        return made;
    }();
    return fixes;
}

/// The first is the lap's eastern end; of the others every second holds the whole lap, the rest none of it.
Plain::Fence fence(uint32_t index) {
    if (index == 0)
        return {kCentreLongitude + 7197, kCentreLatitude + 1400, 3000, 2000, kMargin};
    if (index % 2 == 0)
        return {kCentreLongitude, kCentreLatitude, 40000 + index, 30000, kMargin};
    return {kCentreLongitude + 100000 * static_cast<int32_t>(index), kCentreLatitude, 20000, 20000, kMargin};
}

// --- The receiver and the application -------------------------------------------------------------------

class Receiver final : public GPSHAL {
public:
    Receiver() : GPSHAL("scripted") {
        for (uint32_t i = 0; i < kLap; ++i)
            set(fixes_[i], lap()[i]);
    }

    bool IsActive() override { return true; }
    unsigned int Initialize() override { return 0; }
    unsigned int Finalize() override { return 0; }
    bool IsRunning() override { return true; }
    unsigned int Start() override { return 0; }
    unsigned int Stop() override { return 0; }
    unsigned int GetData(GPSData& data) override {
        data = fixes_[at];
        at = at + 1 == kLap ? 0 : at + 1;
        return 0;
    }
    unsigned int GetCurrentTime(long&) override { return 0; }
    unsigned int GetAntennaStatus(GPSAntennaState&) override { return 0; }
    unsigned int GetStatus(bool&) override { return 0; }
    unsigned int GetSatellites(unsigned int&, unsigned int&) override { return 0; }
    unsigned int GetErrorEstimates(unsigned int&, int&) override { return 0; }

    uint32_t at = 0; ///< of the lap's fixes, the next

private:
    static void set(GPSData& data, const Plain::Fix& fix) {
        data.valid = fix.valid;
        data.latitude = fix.latitude;
        data.longitude = fix.longitude;
        data.altitude = fix.altitude;
        data.time = fix.time;
        data.speed = fix.speed;
        data.course = fix.course;
        data.hdop = fix.hdop;
        data.tdop = fix.tdop;
        data.pdop = fix.pdop;
        data.gdop = fix.gdop;
    }

    GPSData fixes_[kLap];
};

class Application final : public IGPSCallback {
public:
    unsigned int OnGeofenceLeft(const GPSGeofence&) override { return count(); }
    unsigned int OnGeofenceEntered(const GPSGeofence&) override { return count(); }
    unsigned int OnAntennaStateChanged(GPSAntennaState, RuxoString&, bool&) override { return count(); }
    unsigned int OnAvailabilityChanged(bool) override { return count(); }
    unsigned int OnPositionUpdate() override { return count(); }
    unsigned int OnTracking(const GPSData&) override { return count(); }

    uint32_t told = 0;

private:
    unsigned int count() {
        ++told;
        return 0;
    }
};

} // namespace

// --- Ours -----------------------------------------------------------------------------------------------

struct Ours::Parts {
    explicit Parts(Watch watched)
        : watch(watched), adapter(&application),
          receiver(static_cast<Receiver*>(adapter.*memberOf(AdapterHal()))) {}

    Watch watch;
    Application application;
    GPSAdapter adapter;
    Receiver* receiver; // the adapter's
    GPSParams params;   // not made anew with each drive: how much that takes depends on the heap
};

Ours::Ours(Watch watch) : parts_(std::make_unique<Parts>(watch)) { restart(); }

Ours::~Ours() = default;

void Ours::restart() {
    parts_->adapter.ResetParams();
    GPSParams& params = parts_->params;
    parts_->adapter.GetParams(params);
    params.geofencesEnabled = parts_->watch.geofences;
    for (uint32_t i = 0; i < parts_->watch.set; ++i) {
        const Plain::Fence wanted = fence(i);
        params.geofences[i].longitude = wanted.longitude;
        params.geofences[i].latitude = wanted.latitude;
        params.geofences[i].width = wanted.width;
        params.geofences[i].height = wanted.height;
        params.geofences[i].margin = wanted.margin;
    }
    parts_->adapter.SetParams(params);
    parts_->adapter.*memberOf(AdapterOdometerWarmup()) = 0;
    parts_->adapter.*memberOf(AdapterValidFixCounter()) = 0;
    parts_->receiver->at = 0;
    runBlock(); // takes the reference
    parts_->application.told = 0;
}

void Ours::runBlock() {
    parts_->adapter.UpdateCurrentPosition();
    parts_->adapter.UpdateOdometer();
    if (parts_->watch.geofences)
        parts_->adapter.UpdateGeofence();
}

GPSReadings Ours::readings() {
    GPSReadings readings;
    parts_->adapter.GetReadings(readings);
    return readings;
}

uint32_t Ours::told() const { return parts_->application.told; }

// --- The arithmetic alone -------------------------------------------------------------------------------

namespace {

constexpr double kKeep = 0.9;
constexpr double kTake = 1.0 - kKeep;
constexpr double kMetresPerMicrodegree = 0.11113286273635781;

/// Whether the reference moved.
bool measure(Plain& all) {
    const Plain::Fix& fix = *all.current;
    all.filteredLatitude =
        static_cast<int32_t>(std::round(fix.latitude * kTake + all.filteredLatitude * kKeep));
    all.filteredLongitude =
        static_cast<int32_t>(std::round(fix.longitude * kTake + all.filteredLongitude * kKeep));
    const double dLat =
        (static_cast<double>(all.referenceLatitude) - all.filteredLatitude) * kMetresPerMicrodegree;
    const double c = std::cos(all.filteredLatitude * kPi / 180 * 1e-6);
    const double dLon =
        (static_cast<double>(all.referenceLongitude) - all.filteredLongitude) * kMetresPerMicrodegree * c;
    const double distance = std::sqrt(dLat * dLat + dLon * dLon);
    if (distance <= 15.0 || distance > 1000.0)
        return false;
    if (distance > 2.0 * all.horizontalError)
        all.odometer += static_cast<uint32_t>(std::round(distance));
    all.referenceLatitude = all.filteredLatitude;
    all.referenceLongitude = all.filteredLongitude;
    return true;
}

bool within(int32_t position, int32_t centre, uint32_t half) {
    return static_cast<int32_t>(static_cast<uint32_t>(centre) - half) <= position &&
           position <= static_cast<int32_t>(static_cast<uint32_t>(centre) + half);
}

uint32_t nextState(const Plain::Fence& fence, const Plain::Fix& fix, uint32_t state) {
    const bool wasOutside = state == 2 || state == 4;
    const uint32_t margin = wasOutside ? 0 : fence.margin;
    const bool inside = within(fix.longitude, fence.longitude, margin + (fence.width >> 1)) &&
                        within(fix.latitude, fence.latitude, margin + (fence.height >> 1));
    if (wasOutside)
        return inside ? 3 : 2;
    return inside ? 1 : 4;
}

void check(Plain& all) {
    for (uint32_t i = 0; i < kGPSMaxGeofences; ++i) {
        const Plain::Fence& fence = all.fences[i];
        const bool decides = fence.width != 0 && fence.height != 0 && all.current->valid;
        const uint32_t state = decides ? nextState(fence, *all.current, all.states[i]) : 0;
        all.states[i] = state;
        if (state == 3 || state == 4)
            ++all.crossings;
    }
}

uint32_t next(uint32_t at) { return at + 1 == kLap ? 0 : at + 1; }

} // namespace

Plain::Plain(Watch watch) : checksFences(watch.geofences), fences() {
    for (uint32_t i = 0; i < watch.set; ++i)
        fences[i] = fence(i);
    restart();
}

void Plain::restart() {
    at = 1;
    current = &lap()[0];
    filteredLatitude = referenceLatitude = current->latitude;
    filteredLongitude = referenceLongitude = current->longitude;
    odometer = 0;
    for (uint32_t& state : states)
        state = 0;
    if (checksFences)
        check(*this);
    crossings = 0;
}

void Plain::runBlock() {
    current = &lap()[at];
    at = next(at);
    measure(*this);
    if (checksFences)
        check(*this);
}

// --- The floor ------------------------------------------------------------------------------------------

namespace {

void keep(Floor& all, const Plain::Fix& delivered) {
    Plain::Fix fix = delivered;
    if (fix.latitude == 0 && fix.longitude == 0)
        fix.valid = false;
    if (all.available != fix.valid)
        ++all.notices;
    if (!(fix.pdop > 0.0f && fix.pdop < 10.0f))
        return;
    all.available = fix.valid;
    if (fix.valid) {
        all.kept = fix;
        all.fixTick = ruxo_systemtick();
        ++all.counter;
    }
    if (all.counter > 10) {
        ++all.notices;
        all.counter = 0;
    }
}

} // namespace

Floor::Floor(Watch watch) : Plain(watch) {
    sem_init(&lock, 0, 1);
    restart();
}

Floor::~Floor() { sem_destroy(&lock); }

void Floor::restart() {
    Plain::restart();
    kept = *current;
    current = &kept;
    available = true;
    fixTick = ruxo_systemtick();
    counter = 1;
    notices = 0;
}

void Floor::runBlock() {
    sem_wait(&lock);
    keep(*this, lap()[at]);
    sem_post(&lock);
    at = next(at);
    sem_wait(&lock);
    const bool moved = measure(*this);
    sem_post(&lock);
    if (moved) {
        sem_wait(&lock);
        sem_post(&lock);
    }
    if (!checksFences)
        return;
    sem_wait(&lock);
    check(*this);
    sem_post(&lock);
}

// --- The same figures -----------------------------------------------------------------------------------

namespace {

bool agree(const GPSReadings& readings, const Plain& plain) {
    for (uint32_t i = 0; i < kGPSMaxGeofences; ++i)
        if (static_cast<uint32_t>(readings.geofenceStates[i]) != plain.states[i])
            return false;
    return readings.odometer == plain.odometer && readings.data.latitude == plain.current->latitude &&
           readings.data.time == plain.current->time;
}

bool agree(Ours& ours, const Plain& plain, const Floor& floor) {
    const GPSReadings readings = ours.readings();
    return agree(readings, plain) && agree(readings, floor) && readings.available == floor.available &&
           readings.fixTick == floor.fixTick && ours.told() == floor.notices + floor.crossings;
}

} // namespace

bool agreeOverTwoLaps(Watch watch) {
    Ours ours(watch);
    Plain plain(watch);
    Floor floor(watch);
    bool agreed = agree(ours, plain, floor);
    for (uint32_t i = 0; agreed && i < 2 * kLap; ++i) {
        ours.runBlock();
        plain.runBlock();
        floor.runBlock();
        agreed = agree(ours, plain, floor);
    }
    return agreed;
}

} // namespace positionblock

/// Found before the library's own, so that no receiver is configured.
GPSHAL* GPSHAL::GetNewInstance() { return new positionblock::Receiver; }
