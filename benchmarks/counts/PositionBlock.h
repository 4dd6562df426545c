#ifndef POSITIONBLOCK_H
#define POSITIONBLOCK_H

#include <semaphore.h>

#include <cstdint>
#include <memory>

#include "GPSAdapter.h"

/// The worker's position block, and its limit: the same arithmetic alone.
///
/// All are driven around one circle of some 3.4 km at 14 m/s, a fix a second: every second stretch counts
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

/// The limit: the odometer's and the geofences' arithmetic in plain records. No fix is fetched, judged or
/// kept, nobody is told, and there is no lock.
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
    const Fix* current = nullptr;
    int32_t filteredLatitude = 0, filteredLongitude = 0;
    int32_t referenceLatitude = 0, referenceLongitude = 0;
    uint32_t odometer = 0;
    uint32_t horizontalError = 0;
    bool checksFences;
    Fence fences[kGPSMaxGeofences];
    uint32_t states[kGPSMaxGeofences] = {};
    uint32_t crossings = 0;
};

/// The floor: that arithmetic, with the fix fetched, judged and kept, the application told, and a lock taken
/// and given back, all as often as described. What is left above it are calls.
struct Floor : Plain {
    explicit Floor(Watch watch);
    ~Floor();
    Floor(const Floor&) = delete;
    Floor& operator=(const Floor&) = delete;

    void restart();
    void runBlock();

    Fix kept{};
    bool available = false;
    uint32_t fixTick = 0;
    uint32_t counter = 0;
    uint32_t notices = 0;
    sem_t lock;
};

/// Whether all three come to the same figures at each fix.
bool agreeOverTwoLaps(Watch watch);

} // namespace positionblock

#endif
