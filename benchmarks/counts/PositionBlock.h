#ifndef POSITIONBLOCK_H
#define POSITIONBLOCK_H

#include <semaphore.h>

#include <cstdint>
#include <memory>

#include "GPSAdapter.h"

/// The worker's position block, and its limit: the same arithmetic alone.
///
/// Both are driven around one circle of some 3.4 km at 14 m/s, a fix a second: every second stretch counts
/// for the odometer, and one of the geofences is entered and left in each lap. The clock, the receiver and
/// the platform's tick cost next to nothing here, so what is left is the adapter's own.
///
/// In a program with this piece no adapter makes a driver of its own.
namespace positionblock {

constexpr uint32_t kLap = 240; ///< fixes to a lap

/// What is watched: nothing, or the adapter's 12 geofences with the first `set` of them set.
struct Watch {
    bool geofences;
    uint32_t set;
};

/// An adapter with a scripted receiver in its driver's place, past its warm-up.
class Ours {
public:
    explicit Ours(Watch watch);
    ~Ours();

    /// Begins the drive anew.
    void restart();
    /// What the worker does in each of its position blocks.
    void runBlock();

    GPSReadings readings();
    uint32_t told() const; ///< calls of the application's callback

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

/// The same figures in plain records: no lock, no class, no call but the C library's.
struct Plain {
    struct Fix {
        bool valid;
        int32_t latitude, longitude, altitude, time;
        uint32_t speed, course;
        float hdop, tdop, pdop, gdop;
    };
    struct Fence {
        int32_t longitude, latitude;
        uint32_t width, height, margin;
    };

    explicit Plain(Watch watch);

    void restart();
    void runBlock();

    uint32_t at = 0; ///< of the lap's fixes, the next
    Fix current{};
    bool available = false;
    uint32_t fixTick = 0;
    uint32_t counter = 0;
    int32_t filteredLatitude = 0, filteredLongitude = 0;
    int32_t referenceLatitude = 0, referenceLongitude = 0;
    uint32_t odometer = 0;
    uint32_t horizontalError = 0;
    bool checksFences;
    Fence fences[kGPSMaxGeofences];
    uint32_t states[kGPSMaxGeofences] = {};
    uint32_t told = 0;
};

/// The same with a lock taken and given back as often as described: what cannot be saved.
struct Locked : Plain {
    explicit Locked(Watch watch);
    ~Locked();
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

    void runBlock();

    sem_t lock;
};

/// Whether both come to the same figures at each fix.
bool agreeOverTwoLaps(Watch watch);

} // namespace positionblock

#endif
