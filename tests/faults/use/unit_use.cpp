// unit_use threads SECONDS | rounds COUNT | two-at-once SECONDS | serve SECONDS
//
// An application that uses the library hard, on the unit. It prints lines as unit_probe does, with the unit's
// time.
//
//   threads SECONDS       four threads: one lives the service's life and calls every operation that the
//                         headers allow it, two change settings and look at readings, one kills gpsd every
//                         few seconds
//   rounds COUNT          starts and stops the service so often, in every tenth round from initialising to
//                         finalising; "held" lines tell what the process holds after the first rounds and
//                         in the end
//   two-at-once SECONDS   two adapters that serve at once for so long; then the second one is destroyed
//   serve SECONDS         serves for so long, and then waits for a new fix
//
// By hand, for minutes, under ThreadSanitizer (times are the unit's):
//
//   export TSAN_OPTIONS="suppressions=$PWD/tests/tsan.supp:halt_on_error=1"
//   use=build/tsan/tests/faults/use/unit_use
//   tools/virtual-unit --speed 10 --receiver '--ttff 2 --burst' -- $use threads 3000
//
// Exit status: 0; 1 when the service didn't come back to a fix; 2 for wrong arguments.

#include <dirent.h>
#include <malloc.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "GPSAdapter.h"

namespace {

constexpr int kExitMissed = 1;
constexpr int kExitUsage = 2;
constexpr double kFixWithinSeconds = 60;
constexpr double kRecoveryWithinSeconds = 200; // a restart under way, eleven waits of 5 s, another restart
constexpr useconds_t kLookPeriodUs = 50000;
constexpr double kKillPeriodSeconds = 9;

bool missed = false;

double unitTime() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

void print(const char* format, ...) __attribute__((format(printf, 1, 2)));
void print(const char* format, ...) {
    static std::mutex mutex;
    const std::lock_guard<std::mutex> hold(mutex);
    va_list arguments;
    va_start(arguments, format);
    vprintf(format, arguments);
    va_end(arguments);
    printf(" t=%.3f\n", unitTime());
    fflush(stdout);
}

// --- The application's callback -------------------------------------------------------------------------

/// Counts, on the worker's thread.
class Counts : public IGPSCallback {
public:
    unsigned int OnGeofenceLeft(const GPSGeofence&) override { return count(); }
    unsigned int OnGeofenceEntered(const GPSGeofence&) override { return count(); }
    unsigned int OnAntennaStateChanged(GPSAntennaState, RuxoString&, bool&) override { return count(); }
    unsigned int OnAvailabilityChanged(bool) override { return count(); }
    unsigned int OnPositionUpdate() override { return count(); }
    unsigned int OnTracking(const GPSData&) override { return count(); }

    std::atomic<int> events{0};

private:
    unsigned int count() {
        events.fetch_add(1, std::memory_order_relaxed); // puts no order between threads
        return 0;
    }
};

GPSReadings readingsOf(GPSAdapter& adapter) {
    GPSReadings readings;
    adapter.GetReadings(readings);
    return readings;
}

/// Waits for a fix that the receiver made later than the one that is there. The tick doesn't tell: while gpsd
/// is gone, the last report counts as a new one, again and again.
void awaitFix(GPSAdapter& adapter, const char* name, double seconds = kFixWithinSeconds) {
    const double begin = unitTime();
    const int32_t before = readingsOf(adapter).data.time;
    for (;;) {
        const GPSReadings readings = readingsOf(adapter);
        if (readings.available && readings.data.time > before)
            break;
        if (unitTime() > begin + seconds) {
            missed = true;
            print("missed %s", name);
            return;
        }
        usleep(kLookPeriodUs);
    }
    print("fix %s seconds=%.3f", name, unitTime() - begin);
}

// --- Four threads ---------------------------------------------------------------------------------------

std::atomic<bool> isOver{false};
std::atomic<bool> gpsdIsLeftAlone{false};

constexpr uint32_t kUnsigned[] = {0, 1, 15, 4095, 4096, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
constexpr int32_t kSigned[] = {std::numeric_limits<int32_t>::min(), -1, 0, 1, 10, 47285200, 8565300,
                               std::numeric_limits<int32_t>::max()};

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

/// One of the operations that any thread may call.
void useSettings(GPSAdapter& adapter, GPSParams& params, std::mt19937& chance) {
    switch (chance() % 8) {
    case 0:
        adapter.ResetParams();
        break;
    case 1:
        adapter.SetNTPServiceAvailable(chance() % 2 == 0);
        break;
    case 2:
        adapter.GetParams(params);
        break;
    case 3:
        adapter.GetMaxGeoFences();
        adapter.GetNTPServiceAvailable();
        break;
    case 4:
    case 5:
        readingsOf(adapter);
        break;
    default:
        makeExtreme(params, chance);
        adapter.SetParams(params);
    }
}

void keepUsingSettings(GPSAdapter& adapter, unsigned int seed, std::atomic<int>& calls) {
    std::mt19937 chance(seed);
    GPSParams params;
    for (; !isOver; usleep(static_cast<useconds_t>(1000 * (chance() % 50)))) {
        calls.fetch_add(1, std::memory_order_relaxed); // puts no order between threads
        useSettings(adapter, params, chance);
    }
}

void killGpsd() {
    for (double next = unitTime(); !isOver; usleep(kLookPeriodUs)) {
        if (unitTime() < next || gpsdIsLeftAlone)
            continue;
        next = unitTime() + kKillPeriodSeconds;
        print("kill gpsd status=%d", system("kill -9 $(pidof gpsd) 2>/dev/null"));
    }
}

/// The update cycle by hand, as the worker rests.
void update(GPSAdapter& adapter) {
    for (auto step :
         {&GPSAdapter::UpdateCurrentPosition, &GPSAdapter::UpdateOdometer, &GPSAdapter::UpdateGeofence,
          &GPSAdapter::SendTracking, &GPSAdapter::UpdateSatelliteCount, &GPSAdapter::UpdateSNR,
          &GPSAdapter::UpdateAntennaStatus, &GPSAdapter::UpdateSystemTimeDeviation,
          &GPSAdapter::UpdateErrorEstimates, &GPSAdapter::LogDetails})
        (adapter.*step)();
}

void runFor(double seconds) {
    for (const double end = unitTime() + seconds; unitTime() < end;)
        usleep(kLookPeriodUs);
}

/// What belongs to one thread.
void live(GPSAdapter& adapter, double seconds) {
    const double end = unitTime() + seconds;
    for (int life = 0; unitTime() < end; ++life) {
        adapter.Initialize();
        adapter.Start();
        print("life number=%d", life);
        runFor(25); // long enough for gpsd's restart
        adapter.Stop();
        update(adapter);
        if (life % 3 == 1)
            adapter.setInitialPosition(47285200, 8565300, 450000); // starts the driver, with no worker
        update(adapter);
        adapter.Finalize();
    }
}

void useFromThreads(double seconds) {
    Counts counts;
    GPSAdapter adapter(&counts);
    std::atomic<int> calls{0};
    std::vector<std::thread> others;
    for (const unsigned int seed : {1u, 2u})
        others.emplace_back([&adapter, seed, &calls] { keepUsingSettings(adapter, seed, calls); });
    others.emplace_back(killGpsd);
    live(adapter, seconds);
    gpsdIsLeftAlone = true;
    adapter.Initialize();
    adapter.Start();
    awaitFix(adapter, "after-all", kRecoveryWithinSeconds); // gpsd may be there and silent
    isOver = true;
    for (std::thread& other : others)
        other.join();
    print("used calls=%d events=%d", calls.load(), counts.events.load());
}

// --- Fifty times ----------------------------------------------------------------------------------------

int entriesOf(const char* folder, bool numbersAlone = false) {
    DIR* const entries = opendir(folder);
    int count = 0;
    while (const dirent* const entry = readdir(entries))
        count += !numbersAlone || isdigit(static_cast<unsigned char>(entry->d_name[0])) ? 1 : 0;
    closedir(entries);
    return count;
}

long residentKib() {
    long size = 0;
    long resident = 0;
    FILE* const file = fopen("/proc/self/statm", "r");
    if (file == nullptr || fscanf(file, "%ld %ld", &size, &resident) != 2)
        resident = -1;
    if (file != nullptr)
        fclose(file);
    return resident * sysconf(_SC_PAGESIZE) / 1024;
}

void printHeld(const char* when) {
    runFor(1); // a thread that was joined may be listed for a moment still
    const auto memory = mallinfo2();
    print("held %s bytes=%zu resident_kib=%ld descriptors=%d threads=%d processes=%d", when,
          memory.uordblks + memory.hblkhd, residentKib(), entriesOf("/proc/self/fd"),
          entriesOf("/proc/self/task"), entriesOf("/proc", true));
}

void startAndStop(int rounds) {
    GPSAdapter adapter(nullptr);
    adapter.Initialize();
    for (int round = 1; round <= rounds; ++round) {
        if (round % 10 == 0) {
            adapter.Finalize();
            adapter.Initialize();
        }
        const unsigned int started = adapter.Start();
        if (round == 1 || round == rounds)
            awaitFix(adapter, "in-round");
        const unsigned int stopped = adapter.Stop();
        if (started != 0 || stopped != 0)
            print("failed round=%d start=0x%08X stop=0x%08X", round, started, stopped);
        if (round == 2 || round == rounds)
            printHeld(round == 2 ? "first" : "last");
    }
    adapter.Finalize();
}

// --- Two at once ----------------------------------------------------------------------------------------

void serveTwice(double seconds) {
    Counts counts;
    GPSAdapter first(&counts);
    first.Initialize();
    first.Start();
    awaitFix(first, "alone");
    auto second = std::make_unique<GPSAdapter>(&counts);
    print("second initialize=0x%08X", second->Initialize());
    print("second start=0x%08X", second->Start());
    runFor(seconds);
    second.reset();
    print("second destroyed=1");
    awaitFix(first, "alone-again", kRecoveryWithinSeconds);
    print("first stop=0x%08X", first.Stop());
}

/// Meanwhile another process serves as well.
void serve(double seconds) {
    GPSAdapter adapter(nullptr);
    adapter.Initialize();
    adapter.Start();
    awaitFix(adapter, "alone");
    runFor(seconds);
    awaitFix(adapter, "alone-again", kRecoveryWithinSeconds);
}

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc == 3 ? argv[1] : "";
    const double number = argc == 3 ? strtod(argv[2], nullptr) : 0;
    if (mode == "threads")
        useFromThreads(number);
    else if (mode == "rounds")
        startAndStop(static_cast<int>(number));
    else if (mode == "serve")
        serve(number);
    else if (mode == "two-at-once")
        serveTwice(number);
    else
        return kExitUsage;
    return missed ? kExitMissed : 0;
}
