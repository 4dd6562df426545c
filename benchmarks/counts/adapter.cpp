// What an application pays for a query, and the worker for one of its cycles.
//
// The driver and the adapter are made once, with nothing behind them, and never destroyed.

#include <string>

#include "AdapterMembers.h"
#include "Counting.h"
#include "DriverMembers.h"
#include "PositionBlock.h"
#include "Stubs.h"

namespace {

// --- A driver with a snapshot ---------------------------------------------------------------------------

constexpr int32_t kSatellites = 30;
constexpr int32_t kUsedSatellites = 20;

void fillSnapshot(ReaderBlock& reader) {
    reader.status = 1;
    reader.fixTime = static_cast<int32_t>(stubs::now);
    reader.mode = 3;
    reader.latitude = 48.137154;
    reader.longitude = 11.576124;
    reader.altitude = 519.4;
    reader.track = 271.5;
    reader.speed = 13.9;
    reader.ept = 0.005;
    reader.epx = 3.1;
    reader.epy = 4.2;
    reader.satellitesVisible = kSatellites;
    reader.satellitesUsed = kUsedSatellites;
    for (int32_t i = 0; i < kSatellites; ++i) {
        reader.ss[i] = 20 + i;
        reader.used[i] = i < kUsedSatellites;
        reader.PRN[i] = static_cast<int16_t>(i + 1);
    }
    reader.hdop = reader.tdop = reader.pdop = reader.gdop = 1.5;
    for (time_t* arrival = &reader.tsStatus; arrival <= &reader.tsDop; ++arrival)
        *arrival = stubs::now;
}

/// By the interface that the adapter calls.
GPSHAL& driver() {
    static GPSHAL_RUXO_3* const made = [] {
        auto* const fresh = new GPSHAL_RUXO_3;
        fresh->*memberOf(DriverRunning()) = true;
        fillSnapshot(fresh->*memberOf(DriverReader()));
        return fresh;
    }();
    return *made;
}

/// An adapter on that driver, with what the driver says in its readings and 12 named geofences.
GPSAdapter& adapter() {
    static GPSAdapter* const made = [] {
        auto* const fresh = new GPSAdapter(nullptr);
        delete (fresh->*memberOf(AdapterHal())); // see PositionBlock.cpp
        fresh->*memberOf(AdapterHal()) = &driver();
        GPSParams params;
        fresh->GetParams(params);
        for (GPSGeofence& geofence : params.geofences)
            geofence.name.setStr(("geofence " + std::to_string(&geofence - params.geofences)).c_str());
        fresh->SetParams(params);
        fresh->*memberOf(AdapterOdometerWarmup()) = 0;
        return fresh;
    }();
    return *made;
}

// --- Queries, beside copies of the same values ----------------------------------------------------------

__attribute__((noinline)) void copyFix(const GPSData& from, GPSData& to) {
    to.valid = from.valid;
    to.latitude = from.latitude;
    to.longitude = from.longitude;
    to.altitude = from.altitude;
    to.time = from.time;
    to.speed = from.speed;
    to.course = from.course;
    to.hdop = from.hdop;
    to.tdop = from.tdop;
    to.pdop = from.pdop;
    to.gdop = from.gdop;
}

template <typename A>
__attribute__((noinline)) void copyOne(const A& from, A& to) {
    to = from;
}

template <typename A, typename B>
__attribute__((noinline)) void copyTwo(const A& fromA, const B& fromB, A& toA, B& toB) {
    toA = fromA;
    toB = fromB;
}

__attribute__((noinline)) void copyReadings(const GPSReadings& from, GPSReadings& to) {
    to.available = from.available;
    to.antennaState = from.antennaState;
    to.satelliteCount = from.satelliteCount;
    to.snr = from.snr;
    to.fixTick = from.fixTick;
    to.odometer = from.odometer;
    copyFix(from.data, to.data);
    for (std::size_t i = 0; i < kGPSMaxGeofences; ++i)
        to.geofenceStates[i] = from.geofenceStates[i];
    to.timeDeviationValid = from.timeDeviationValid;
    to.timeDelta = from.timeDelta;
    to.horizontalError = from.horizontalError;
    to.timeError = from.timeError;
}

void mustBe(bool right, const char* what) {
    if (!right)
        notTheSame(what);
}

template <typename Query>
Counted::Repeat repeated(Query query) {
    return [query](int n) {
        GPSHAL& asked = driver();
        unsigned int result = 0;
        for (int i = 0; i < n; ++i)
            result |= query(asked);
        mustBe(result == 0, "a query's result");
    };
}

// What the queries fill in, and what is copied beside them.
GPSData fix, copiedFix;
unsigned int snr, visible, horizontalError, copiedNumber, copiedVisible;
int timeError, copiedTimeError;
long utc, copiedUtc;
bool receiving, copiedReceiving;
GPSAntennaState antenna, copiedAntenna;
GPSReadings readings, copiedReadings;

const Counted getData("query-fix", "ours", repeated([](GPSHAL& hal) { return hal.GetData(fix); }));
const Counted fixCopied("query-fix", "copies", [](int n) {
    mustBe(fix.valid && fix.latitude == 48137154 && fix.gdop == 1.5f, "the fix");
    for (int i = 0; i < n; ++i)
        copyFix(fix, copiedFix);
});

const Counted getSatellites("query-satellites", "ours",
                            repeated([](GPSHAL& hal) { return hal.GetSatellites(snr, visible); }));
const Counted satellitesCopied("query-satellites", "copies", [](int n) {
    mustBe(visible == kSatellites && snr == 29, "the satellites");
    for (int i = 0; i < n; ++i)
        copyTwo(snr, visible, copiedNumber, copiedVisible);
});

const Counted getErrors("query-errors", "ours", repeated([](GPSHAL& hal) {
                            return hal.GetErrorEstimates(horizontalError, timeError);
                        }));
const Counted errorsCopied("query-errors", "copies", [](int n) {
    mustBe(horizontalError == 5 && timeError == 5, "the errors");
    for (int i = 0; i < n; ++i)
        copyTwo(horizontalError, timeError, copiedNumber, copiedTimeError);
});

const Counted getTime("query-time", "ours", repeated([](GPSHAL& hal) { return hal.GetCurrentTime(utc); }));
const Counted timeCopied("query-time", "copies", [](int n) {
    mustBe(utc == stubs::now, "the time");
    for (int i = 0; i < n; ++i)
        copyOne(utc, copiedUtc);
});

const Counted getStatus("query-status", "ours",
                        repeated([](GPSHAL& hal) { return hal.GetStatus(receiving); }));
const Counted statusCopied("query-status", "copies", [](int n) {
    mustBe(receiving, "the status");
    for (int i = 0; i < n; ++i)
        copyOne(receiving, copiedReceiving);
});

const Counted getAntenna("query-antenna", "ours",
                         repeated([](GPSHAL& hal) { return hal.GetAntennaStatus(antenna); }));
const Counted antennaCopied("query-antenna", "copies", [](int n) {
    mustBe(antenna == GPS_ANTENNA_OK, "the antenna");
    for (int i = 0; i < n; ++i)
        copyOne(antenna, copiedAntenna);
});

const Counted getReadings("query-readings", "ours", [](int n) {
    GPSAdapter& asked = adapter();
    for (int i = 0; i < n; ++i)
        asked.GetReadings(readings);
});
const Counted readingsCopied("query-readings", "copies", [](int n) {
    mustBe(readings.antennaState == 2, "the readings");
    for (int i = 0; i < n; ++i)
        copyReadings(readings, copiedReadings);
});

// --- The worker's cycle ---------------------------------------------------------------------------------

constexpr uint32_t kNever = 0x7FFFFFFF;

int cyclesLeft = 0;
uint32_t ticksACycle = 0;

GPSTimedWorker& worker() { return *(adapter().*memberOf(AdapterWorker())); }

void endCycle() {
    stubs::tick += ticksACycle;
    if (--cyclesLeft == 0)
        worker().*memberOf(WorkerStopRequested()) = true;
}

/// The worker's thread's body for so many cycles. All is due in the first of them.
void runCycles(int n, uint32_t ticks, uint32_t statusInterval = 2) {
    static GPSParams params; // not made anew each time: how much that takes depends on the heap
    adapter().GetParams(params);
    params.statusInterval = statusInterval;
    adapter().SetParams(params);
    cyclesLeft = n + 1;
    ticksACycle = ticks;
    stubs::atPause = endCycle;
    worker().*memberOf(WorkerStopRequested()) = false;
    worker().Run();
    stubs::atPause = nullptr;
}

const Counted idleCycle("worker-cycle", "ours", [](int n) { runCycles(n, 0); });
const Counted positionCycle("worker-cycle.position", "ours", [](int n) { runCycles(n, 1, kNever); });
const Counted statusCycle("worker-cycle.position-and-status", "ours", [](int n) { runCycles(n, 2); });

// --- The position block ---------------------------------------------------------------------------------

/// Ours beside the arithmetic alone.
class Block {
public:
    Block(const char* key, positionblock::Watch watched)
        : watch_(watched), ours_(key, "ours", [this](int n) { runOurs(n); }),
          plain_(key, "arithmetic", [this](int n) { runPlain<positionblock::Plain>(n); }),
          floor_(key, "floor", [this](int n) { runPlain<positionblock::Floor>(n); }) {}

    void runOurs(int n) {
        if (block_ == nullptr)
            block_ = std::make_unique<positionblock::Ours>(watch_);
        block_->restart();
        for (int i = 0; i < n; ++i)
            block_->runBlock();
    }

private:
    template <typename Plain>
    void runPlain(int n) {
        if (!agreed_)
            mustBe(agreed_ = agreeOverTwoLaps(watch_), "the position block");
        Plain plain(watch_);
        for (int i = 0; i < n; ++i)
            plain.runBlock();
        keep(plain);
    }

    positionblock::Watch watch_;
    bool agreed_ = false;
    std::unique_ptr<positionblock::Ours> block_;
    Counted ours_;
    Counted plain_;
    Counted floor_;
};

Block withoutGeofences("position-block.off", {false, 0});
Block geofences[] = {
    {"position-block.0", {true, 0}},   {"position-block.1", {true, 1}},   {"position-block.2", {true, 2}},
    {"position-block.3", {true, 3}},   {"position-block.4", {true, 4}},   {"position-block.5", {true, 5}},
    {"position-block.6", {true, 6}},   {"position-block.7", {true, 7}},   {"position-block.8", {true, 8}},
    {"position-block.9", {true, 9}},   {"position-block.10", {true, 10}}, {"position-block.11", {true, 11}},
    {"position-block.12", {true, 12}},
};

const Counted allOfOne("position-block.12-to-1", "ours", [](int n) { geofences[12].runOurs(n); });
const Counted oneOfOne("position-block.12-to-1", "one", [](int n) { geofences[1].runOurs(n); });

} // namespace
