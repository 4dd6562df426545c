#ifndef UNITLINES_H
#define UNITLINES_H

#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "GPSAdapter.h"

/// What the applications of these rows have in common: lines as unit_probe prints them, with the unit's time,
/// a callback that counts, and the wait for a fix.

inline bool missed = false; ///< a fix was waited for in vain

constexpr useconds_t kLookPeriodUs = 50000;
constexpr double kFixWithinSeconds = 60;

// --- The longest that a service which has its gpsd to itself again may go without a fix ------------------

/// A restart of gpsd: the worker's cycle, the reader joined, the kill looked after, the reset settled (1 s
/// each), the pauses before and after gpsd's start (5 and 3 s), and gpsd that recognises the receiver.
constexpr double kRestartSeconds = 18;
/// Its commands that the receiver leaves unanswered, 6 s each: five frames of the configuration, and one of
/// a restored database.
constexpr double kUnansweredSeconds = 6 * 6;
/// The reader's eleven waits for a report, 5 s each.
constexpr double kSilenceSeconds = 11 * 5;
/// A restart that was under way and met the other's, a gpsd that is there and silent, and its restart.
constexpr double kRecoveryWithinSeconds =
    kRestartSeconds + kUnansweredSeconds + kSilenceSeconds + kRestartSeconds;

inline double unitTime() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

inline void print(const char* format, ...) __attribute__((format(printf, 1, 2)));
inline void print(const char* format, ...) {
    static std::mutex mutex;
    const std::lock_guard<std::mutex> hold(mutex);
    va_list arguments;
    va_start(arguments, format);
    vprintf(format, arguments);
    va_end(arguments);
    printf(" t=%.3f\n", unitTime());
    fflush(stdout);
}

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

inline GPSReadings readingsOf(GPSAdapter& adapter) {
    GPSReadings readings;
    adapter.GetReadings(readings);
    return readings;
}

/// Waits for a fix that the receiver made later than the one that is there. The tick doesn't tell: while gpsd
/// is gone, the last report counts as a new one, again and again.
inline void awaitFix(GPSAdapter& adapter, const char* name, double seconds = kFixWithinSeconds) {
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

#endif
