// unit_threads SECONDS | list
//
// Every public operation of the adapter and of the driver, from four threads, as the headers allow it, on the
// unit, while a fifth kills gpsd every nine seconds. Of the adapter one of the four lives the service's life,
// with what belongs to one thread, and all four call whatever any thread may call, the lock included. A
// driver has no lock for its callers, so of a driver without an adapter the four call every operation in
// turn.
//
// SECONDS of the unit's go to the adapter, in two lives at least, and half as many to the driver, in one at
// least. Then, with gpsd left alone, an adapter must come to a fix. `list` prints the operations; a run
// prints for each how often it was called, and by how many threads.
//
// Exit status: 0; 1 when the service didn't come back to a fix, or the lock let two threads in; 2 for wrong
// arguments.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "UnitLines.h"

namespace {

constexpr int kExitMissed = 1;
constexpr int kExitUsage = 2;
constexpr double kKillPeriodSeconds = 9;
constexpr double kLifeSeconds = 25; // of service: gpsd killed twice or more, and its restart
constexpr int kLeastLives = 2;      // each second one is given a position to start from
constexpr unsigned int kCallers = 4;
constexpr double kTurnSeconds = 2; // of queries to the driver, between two steps of its life

// --- What is called -------------------------------------------------------------------------------------

enum class Who {
    Anyone,     ///< any thread at any time
    HoldsLock,  ///< the thread that has just taken the adapter's lock
    Owner,      ///< the one thread that lives the adapter's life
    RestsOwner, ///< that one, while the worker doesn't run
    InTurn,     ///< a driver's query: any of the four, one at a time
    InTurnLife, ///< a step of a driver's life, likewise
};

/// What one of the calling threads has.
struct Caller {
    explicit Caller(unsigned int number) : thread(number), chance(number) {}
    unsigned int any(unsigned int below) { return static_cast<unsigned int>(chance() % below); }

    unsigned int thread;
    std::mt19937 chance;
    GPSParams params;
    GPSReadings readings;
};

Counts counts;
std::unique_ptr<GPSAdapter> adapter;
std::unique_ptr<GPSHAL> driver;
long inLock = 0; // plain on purpose: guarded by the adapter's lock alone
std::atomic<bool> isOver{false};
std::atomic<bool> gpsdIsLeftAlone{false};

constexpr uint32_t kUnsigned[] = {0, 1, 15, 4095, 4096, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
constexpr int32_t kSigned[] = {std::numeric_limits<int32_t>::min(), -1, 0, 1, 10, 47285200, 8565300,
                               std::numeric_limits<int32_t>::max()};
constexpr unsigned int kLatitude = 47285200;
constexpr unsigned int kLongitude = 8565300;
constexpr unsigned int kAltitude = 450000;

/// Every value but those that would let the worker sleep for minutes, or not at all.
void makeExtreme(GPSParams& p, std::mt19937& chance) {
    const auto any = [&chance](const auto& values) { return values[chance() % std::size(values)]; };
    p.enabled = true;
    p.positionInterval = 1;
    p.statusInterval = any(kUnsigned);
    p.trackingEnabled = chance() % 2 == 0;
    p.trackingPeriod = any(kSigned);
    p.trackingBase = any(kSigned);
    p.trackingOffset = any(kSigned);
    p.geofencesEnabled = chance() % 2 == 0;
    for (GPSGeofence& geofence : p.geofences) {
        geofence.name.setStr(std::string(chance() % 100, 'n').c_str());
        geofence.latitude = any(kSigned);
        geofence.longitude = any(kSigned);
        geofence.width = any(kUnsigned);
        geofence.height = any(kUnsigned);
        geofence.margin = any(kUnsigned);
    }
    p.resetTimeDeviation = chance() % 2 == 0;
    p.odometerValue = any(kUnsigned);
    p.setOdometer = chance() % 2 == 0;
    p.logInterval = any(kUnsigned);
}

struct Operation {
    const char* name; ///< as the public headers have it
    Who who;
    void (*call)(Caller& caller);
};

/// Every public operation; UseFromThreads_test holds it against the headers.
constexpr Operation kOperations[] = {
    {"GPSAdapter::GPSAdapter", Who::Owner, [](Caller&) { adapter = std::make_unique<GPSAdapter>(&counts); }},
    {"GPSAdapter::~GPSAdapter", Who::Owner, [](Caller&) { adapter.reset(); }},
    {"GPSAdapter::Initialize", Who::Owner, [](Caller&) { adapter->Initialize(); }},
    {"GPSAdapter::Start", Who::Owner, [](Caller&) { adapter->Start(); }},
    {"GPSAdapter::Stop", Who::Owner, [](Caller&) { adapter->Stop(); }},
    {"GPSAdapter::Finalize", Who::Owner, [](Caller&) { adapter->Finalize(); }},
    {"GPSAdapter::setInitialPosition", Who::Owner,
     [](Caller&) { adapter->setInitialPosition(kLatitude, kLongitude, kAltitude); }},
    {"GPSAdapter::lock", Who::Anyone,
     [](Caller& c) {
         adapter->lock();
         const long entered = inLock;
         usleep(1000 * c.any(20)); // another thread that comes in meanwhile is not counted
         inLock = entered + 1;
     }},
    {"GPSAdapter::unlock", Who::HoldsLock, [](Caller&) { adapter->unlock(); }},
    {"GPSAdapter::ResetParams", Who::Anyone, [](Caller&) { adapter->ResetParams(); }},
    {"GPSAdapter::SetParams", Who::Anyone,
     [](Caller& c) {
         makeExtreme(c.params, c.chance);
         adapter->SetParams(c.params);
     }},
    {"GPSAdapter::GetParams", Who::Anyone, [](Caller& c) { adapter->GetParams(c.params); }},
    {"GPSAdapter::GetReadings", Who::Anyone, [](Caller& c) { adapter->GetReadings(c.readings); }},
    {"GPSAdapter::GetMaxGeoFences", Who::Anyone, [](Caller&) { adapter->GetMaxGeoFences(); }},
    {"GPSAdapter::SetNTPServiceAvailable", Who::Anyone,
     [](Caller& c) { adapter->SetNTPServiceAvailable(c.any(2) == 0); }},
    {"GPSAdapter::GetNTPServiceAvailable", Who::Anyone, [](Caller&) { adapter->GetNTPServiceAvailable(); }},
    {"GPSAdapter::UpdateCurrentPosition", Who::RestsOwner, [](Caller&) { adapter->UpdateCurrentPosition(); }},
    {"GPSAdapter::UpdateOdometer", Who::RestsOwner, [](Caller&) { adapter->UpdateOdometer(); }},
    {"GPSAdapter::UpdateGeofence", Who::RestsOwner, [](Caller&) { adapter->UpdateGeofence(); }},
    {"GPSAdapter::SendTracking", Who::RestsOwner, [](Caller&) { adapter->SendTracking(); }},
    {"GPSAdapter::UpdateSatelliteCount", Who::RestsOwner, [](Caller&) { adapter->UpdateSatelliteCount(); }},
    {"GPSAdapter::UpdateSNR", Who::RestsOwner, [](Caller&) { adapter->UpdateSNR(); }},
    {"GPSAdapter::UpdateAntennaStatus", Who::RestsOwner, [](Caller&) { adapter->UpdateAntennaStatus(); }},
    {"GPSAdapter::UpdateSystemTimeDeviation", Who::RestsOwner,
     [](Caller&) { adapter->UpdateSystemTimeDeviation(); }},
    {"GPSAdapter::UpdateErrorEstimates", Who::RestsOwner, [](Caller&) { adapter->UpdateErrorEstimates(); }},
    {"GPSAdapter::LogDetails", Who::RestsOwner, [](Caller&) { adapter->LogDetails(); }},
    {"GPSHAL::GetNewInstance", Who::Owner, [](Caller&) { driver.reset(GPSHAL::GetNewInstance()); }},
    {"GPSHAL::~GPSHAL", Who::Owner, [](Caller&) { driver.reset(); }},
    {"GPSHAL::Initialize", Who::InTurnLife, [](Caller&) { driver->Initialize(); }},
    {"GPSHAL::Start", Who::InTurnLife, [](Caller&) { driver->Start(); }},
    {"GPSHAL::setInitialPosition", Who::InTurnLife,
     [](Caller&) { driver->setInitialPosition(kLatitude, kLongitude, kAltitude); }},
    {"GPSHAL::Stop", Who::InTurnLife, [](Caller&) { driver->Stop(); }},
    {"GPSHAL::Finalize", Who::InTurnLife, [](Caller&) { driver->Finalize(); }},
    {"GPSHAL::IsActive", Who::InTurn, [](Caller&) { driver->IsActive(); }},
    {"GPSHAL::IsRunning", Who::InTurn, [](Caller&) { driver->IsRunning(); }},
    {"GPSHAL::GetData", Who::InTurn,
     [](Caller&) {
         GPSData data;
         driver->GetData(data);
     }},
    {"GPSHAL::GetCurrentTime", Who::InTurn,
     [](Caller&) {
         long seconds = 0;
         driver->GetCurrentTime(seconds);
     }},
    {"GPSHAL::GetAntennaStatus", Who::InTurn,
     [](Caller&) {
         GPSAntennaState state = GPS_ANTENNA_OK;
         driver->GetAntennaStatus(state);
     }},
    {"GPSHAL::GetStatus", Who::InTurn,
     [](Caller&) {
         bool receiving = false;
         driver->GetStatus(receiving);
     }},
    {"GPSHAL::GetSatellites", Who::InTurn,
     [](Caller&) {
         unsigned int snr = 0;
         unsigned int visible = 0;
         driver->GetSatellites(snr, visible);
     }},
    {"GPSHAL::GetErrorEstimates", Who::InTurn,
     [](Caller&) {
         unsigned int metres = 0;
         int milliseconds = 0;
         driver->GetErrorEstimates(metres, milliseconds);
     }},
    {"GPSHAL::GetSNR", Who::InTurn,
     [](Caller&) {
         unsigned int snr = 0;
         driver->GetSNR(snr);
     }},
    {"GPSHAL::GetSatCount", Who::InTurn,
     [](Caller&) {
         unsigned int count = 0;
         driver->GetSatCount(count);
     }},
};

// --- Counted calls --------------------------------------------------------------------------------------

/// How often each was called, and by which threads. Relaxed: puts no order between threads.
std::array<std::atomic<long>, std::size(kOperations)> calls;
std::array<std::atomic<unsigned int>, std::size(kOperations)> callers;

void use(std::size_t index, Caller& caller) {
    calls[index].fetch_add(1, std::memory_order_relaxed);
    callers[index].fetch_or(1u << caller.thread, std::memory_order_relaxed);
    kOperations[index].call(caller);
}

std::size_t indexOf(const std::string& name) {
    return static_cast<std::size_t>(
        std::find_if(std::begin(kOperations), std::end(kOperations),
                     [&name](const Operation& operation) { return operation.name == name; }) -
        std::begin(kOperations));
}

void use(const char* name, Caller& caller) { use(indexOf(name), caller); }

/// In another order each time.
std::vector<std::size_t> allOf(Who who, Caller& caller) {
    std::vector<std::size_t> found(std::size(kOperations));
    std::iota(found.begin(), found.end(), 0u);
    found.erase(std::remove_if(found.begin(), found.end(),
                               [who](std::size_t i) { return kOperations[i].who != who; }),
                found.end());
    std::shuffle(found.begin(), found.end(), caller.chance);
    return found;
}

void pause(Caller& caller) { usleep(1000 * caller.any(50)); }

void printCalls() {
    for (std::size_t i = 0; i < std::size(kOperations); ++i)
        print("called %s calls=%ld threads=%d", kOperations[i].name, calls[i].load(),
              __builtin_popcount(callers[i].load()));
}

// --- The adapter, from four threads ---------------------------------------------------------------------

/// Each operation that any thread may call, once.
void useAll(Caller& caller) {
    for (const std::size_t index : allOf(Who::Anyone, caller)) {
        use(index, caller);
        if (index == indexOf("GPSAdapter::lock"))
            use("GPSAdapter::unlock", caller);
        pause(caller);
    }
}

void updateAll(Caller& caller) {
    for (const std::size_t index : allOf(Who::RestsOwner, caller))
        use(index, caller);
}

void live(int life, Caller& caller) {
    use("GPSAdapter::Initialize", caller);
    use("GPSAdapter::Start", caller);
    print("life number=%d", life);
    for (const double end = unitTime() + kLifeSeconds; unitTime() < end;)
        useAll(caller);
    use("GPSAdapter::Stop", caller);
    updateAll(caller);
    if (life % kLeastLives == 1)
        use("GPSAdapter::setInitialPosition", caller); // starts the driver, with no worker
    updateAll(caller);
    use("GPSAdapter::Finalize", caller);
}

std::vector<std::thread> startOthers(void (*body)(Caller&)) {
    std::vector<std::thread> others;
    for (unsigned int i = 1; i < kCallers; ++i)
        others.emplace_back([i, body] {
            Caller caller(i);
            body(caller);
        });
    return others;
}

void joinAll(std::vector<std::thread>& threads) {
    isOver = true;
    for (std::thread& thread : threads)
        thread.join();
    isOver = false;
}

void useAdapter(double seconds) {
    Caller owner(0);
    use("GPSAdapter::GPSAdapter", owner);
    std::vector<std::thread> others = startOthers([](Caller& caller) {
        while (!isOver)
            useAll(caller);
    });
    const double end = unitTime() + seconds;
    for (int life = 0; life < kLeastLives || unitTime() < end; ++life)
        live(life, owner);
    joinAll(others);
    print("locked times=%ld counted=%ld", calls[indexOf("GPSAdapter::lock")].load(), inLock);
    missed = missed || inLock != calls[indexOf("GPSAdapter::lock")];
    use("GPSAdapter::~GPSAdapter", owner);
}

// --- The driver, from four threads in turn --------------------------------------------------------------

std::mutex turn; // the application's, as the driver has none
double nextStep = 0;
std::size_t step = 0;

/// In an order that meets a service that runs as well as one that doesn't.
constexpr const char* kDriversLife[] = {"GPSHAL::Initialize", "GPSHAL::Start",   "GPSHAL::setInitialPosition",
                                        "GPSHAL::Stop",       "GPSHAL::Start",   "GPSHAL::Finalize",
                                        "GPSHAL::Initialize", "GPSHAL::Finalize"};

void useDriver(Caller& caller, std::size_t query) {
    const std::lock_guard<std::mutex> hold(turn);
    if (unitTime() >= nextStep) {
        use(kDriversLife[step++ % std::size(kDriversLife)], caller);
        nextStep = unitTime() + kTurnSeconds;
    }
    use(query, caller);
}

void keepUsingDriver(Caller& caller) {
    while (!isOver)
        for (const std::size_t query : allOf(Who::InTurn, caller)) {
            useDriver(caller, query);
            pause(caller);
        }
}

std::size_t stepsDone() {
    const std::lock_guard<std::mutex> hold(turn);
    return step;
}

void useDriver(double seconds) {
    Caller owner(0);
    use("GPSHAL::GetNewInstance", owner);
    std::vector<std::thread> others = startOthers(keepUsingDriver);
    const double end = unitTime() + seconds;
    while (stepsDone() < std::size(kDriversLife) || unitTime() < end)
        for (const std::size_t query : allOf(Who::InTurn, owner)) {
            useDriver(owner, query);
            pause(owner);
        }
    joinAll(others);
    use("GPSHAL::~GPSHAL", owner);
}

// --- gpsd's death ---------------------------------------------------------------------------------------

void killGpsd() {
    for (double next = unitTime(); !gpsdIsLeftAlone; usleep(kLookPeriodUs)) {
        if (unitTime() < next)
            continue;
        next += kKillPeriodSeconds;
        print("kill gpsd status=%d", system("kill -9 $(pidof gpsd) 2>/dev/null"));
    }
}

// --- The whole ------------------------------------------------------------------------------------------

void comeBack() {
    adapter = std::make_unique<GPSAdapter>(&counts);
    adapter->Initialize();
    adapter->Start();
    awaitFix(*adapter, "after-all", kRecoveryWithinSeconds);
    adapter.reset();
}

void useFromThreads(double seconds) {
    std::thread killer(killGpsd);
    useAdapter(seconds);
    useDriver(seconds / 2);
    gpsdIsLeftAlone = true;
    killer.join();
    comeBack();
    printCalls();
    print("used events=%d", counts.events.load());
}

} // namespace

int main(int argc, char** argv) {
    const std::string argument = argc == 2 ? argv[1] : "";
    const double seconds = strtod(argument.c_str(), nullptr);
    if (argument == "list")
        printCalls();
    else if (seconds > 0)
        useFromThreads(seconds);
    else
        return kExitUsage;
    return missed ? kExitMissed : 0;
}
