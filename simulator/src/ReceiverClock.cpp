#include "simulator/ReceiverClock.h"

#include "simulator/Constants.h"

namespace simulator {

namespace {

constexpr int64_t kFirstRestNs = 4206; // as in the recording that the drift is from
constexpr int64_t kNanosecondsPerMs = 1'000'000;

// The first day of GPS week 1867: what an M8 counts from until satellites tell it better, and the week that
// it puts the time of week into until it has heard the right one.
constexpr UtcTime kFirmwareDay{std::chrono::seconds(1'445'126'400)}; // 2015-10-18 00:00:00
constexpr Duration kWeek = std::chrono::seconds(kSecondsPerWeek);

// An assumption: those in force when the firmware was made. Since 2017 there is one more.
constexpr int32_t kFirmwareLeapSeconds = kGpsMinusUtcSeconds - 1;

// The week begins with GPS time, which is the leap seconds ahead of UTC.
UtcTime inFirmwareWeek(UtcTime utc, Duration leapSeconds) {
    const Duration ofWeek = (utc + leapSeconds - kFirmwareDay) % kWeek;
    return kFirmwareDay + (ofWeek + kWeek) % kWeek - leapSeconds;
}

} // namespace

Duration clockRest(Duration sincePowerUp) {
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(sincePowerUp).count();
    const int64_t run = kFirstRestNs + kClockDriftNsPerS * milliseconds / 1000;
    return Duration((run + kNanosecondsPerMs / 2) % kNanosecondsPerMs - kNanosecondsPerMs / 2);
}

int32_t reportedLeapSeconds(const Epoch& epoch) {
    return isUtcResolved(epoch) ? kGpsMinusUtcSeconds : kFirmwareLeapSeconds;
}

UtcTime reportedUtc(const Epoch& epoch) {
    if (!epoch.timeKnown)
        return kFirmwareDay + epoch.sinceStart;
    const std::chrono::seconds leapSeconds(reportedLeapSeconds(epoch));
    const UtcTime utc = epoch.utc + std::chrono::seconds(kGpsMinusUtcSeconds) - leapSeconds;
    return epoch.weekKnown ? utc : inFirmwareWeek(utc, leapSeconds);
}

bool isDateKnown(const Epoch& epoch) { return epoch.timeKnown && epoch.weekKnown; }

bool isUtcResolved(const Epoch& epoch) { return epoch.timeKnown && epoch.leapSource != LeapSource::Firmware; }

} // namespace simulator
