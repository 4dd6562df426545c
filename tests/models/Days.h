#ifndef DAYS_H
#define DAYS_H

#include <array>
#include <cstdint>

/// The world of a long run: a vehicle on a ring road, an antenna that is off now and then, and a gpsd that
/// dies every few hours. Numbers of the world alone: the ground shows them to the library, the model reckons
/// with them. All times are microseconds since the begin.
namespace days {

constexpr int64_t kSecond = 1000000;
constexpr int64_t kHour = 3600 * kSecond;
constexpr int64_t kStartUtc = 1700000000;
constexpr uint32_t kStartTick = 5000;
constexpr double kErrorMetres = 3;
constexpr float kPdop = 1.5f;

struct Place {
    int32_t latitude;
    int32_t longitude;
};

/// Round a square of 0.05 degrees, 14 m a second on its northward sides.
inline Place placeOf(int64_t fix) {
    constexpr int32_t kSide = 50000;
    constexpr int32_t kStep = 125; // microdegrees a second
    const auto way = static_cast<int32_t>(fix * kStep % (4 * kSide));
    const int32_t along = way % kSide;
    switch (way / kSide) {
    case 0:
        return {48000000 + along, 11000000};
    case 1:
        return {48000000 + kSide, 11000000 + along};
    case 2:
        return {48000000 + kSide - along, 11000000 + kSide};
    default:
        return {48000000, 11000000 + kSide - along};
    }
}

/// Off for two minutes every seven hours.
inline uint32_t antennaAt(int64_t now) { return now % (7 * kHour) < 7 * kHour - 120 * kSecond ? 1u : 3u; }

/// gpsd as a program that is started and dies.
class Gpsd {
public:
    void start(int64_t now) {
        startedAt_ = now;
        random_ = random_ * 6364136223846793005u + 1442695040888963407u;
        const auto seconds = static_cast<int64_t>(7200 + (random_ >> 33) % 28800); // two to ten hours
        diesAt_ = now - now % kSecond + seconds * kSecond + 500003;
    }
    bool livesAt(int64_t now) const { return now < diesAt_; }
    int64_t diesAt() const { return diesAt_; }

    /// The next report comes at this time, and says so many seconds later where the vehicle is.
    static int64_t nextReport(int64_t now) { return (now - kPhase + kSecond) / kSecond * kSecond + kPhase; }
    bool hasAFixAt(int64_t now) const { return now >= startedAt_ + 30 * kSecond; }
    static int64_t fixOf(int64_t report) { return report / kSecond; }

private:
    static constexpr int64_t kPhase = 137; // no report comes in the same moment as anything else

    uint64_t random_ = 20261122;
    int64_t startedAt_ = 0;
    int64_t diesAt_ = 0;
};

/// What is counted, on both sides.
enum Count {
    PositionUpdates,
    Entered,
    Left,
    Trackings,
    Available,
    NotAvailable,
    AntennaChanges,
    Restarts,
    EmptyCycleLines,
    StartDelayLines,
    DetailLines,
    SatelliteLines,
    ConfigurationLines,
    OtherLines,
    Readers,
    Sessions,
    Counts
};
using Tally = std::array<int64_t, Counts>;
constexpr const char* kNames[Counts] = {
    "position updates",      "areas entered",         "areas left",      "tracking reports",
    "availability found",    "availability lost",     "antenna changes", "restarts",
    "lines of empty cycles", "lines of start delays", "detail lines",    "satellite lines",
    "configuration lines",   "other lines",           "reader threads",  "gpsd sessions"};

} // namespace days

#endif
