// Antenna and clocks: what the platform's own libraries and the kernel tell.

#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <new>

#include "AntennaValues.h"
#include "Checks.h"
#include "Clock.h"
#include "GPSPlatform.h"

namespace check {

namespace {

constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kTicksApart = 1; // each clock may have been read just before its next second

std::string hexCode(unsigned int code) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", code);
    return text.data();
}

std::string dateOf(time_t second) {
    tm utc = {};
    gmtime_r(&second, &utc);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M UTC", &utc);
    return text.data();
}

/// When this program's file was written; 0 where that can't be told.
time_t ownAge() {
    struct stat status = {};
    return stat("/proc/self/exe", &status) == 0 ? status.st_mtime : 0;
}

Finding antennaFinding(unsigned int code, GPSAntennaState state) {
    if (code != 0)
        return fault("the antenna's state can't be read (" + hexCode(code) + "): no fix counts as valid",
                     "look what the platform's HAL says about this code");
    if (state == kAntennaInOrder)
        return ok("the antenna is in order");
    return warning("the antenna's state is " + std::to_string(static_cast<int64_t>(state)) +
                       ", not 1 (in order): until it is, no fix counts as valid",
                   "look at the antenna and its cable");
}

} // namespace

uint32_t platformSeconds() { return ruxo_systemtick(); }

int64_t kernelSeconds() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

Findings checkAntenna(const Unit&) {
    RuxoHAL* const ruxoHal = RuxoHAL::Instance();
    if (ruxoHal == nullptr)
        return {fault("the platform's HAL can't be reached: no fix counts as valid",
                      "make the platform's HAL usable for this user")};
    try {
        GPSAntennaState state = kAntennaNotInOrder;
        const unsigned int code = ruxoHal->GetGNSSAntennaState(state);
        return {antennaFinding(code, state)};
    } catch (const std::bad_alloc&) {
        return {warning("there was no memory to ask for the antenna's state", "run this again")};
    }
}

Findings checkDate(const Unit&) {
    const time_t now = time(nullptr);
    const time_t written = ownAge();
    if (now < written - kSecondsPerDay)
        return {warning(
            "the clock stands at " + dateOf(now) + ", before this program's file was written (" +
                dateOf(written) + ")",
            "set the clock before the service starts: from an RTC, NTP, or at least the last shutdown")};
    return {ok("the clock stands at " + dateOf(now))};
}

Findings checkTicks(const Unit& unit) {
    const auto ticks = static_cast<int64_t>(platformSeconds() - unit.startTick);
    const int64_t seconds = kernelSeconds() - unit.startSecond;
    const std::string what = "the platform counted " + std::to_string(ticks) + " s while " +
                             std::to_string(seconds) + " s went by";
    if (ticks - seconds > kTicksApart || seconds - ticks > kTicksApart)
        return {fault(what + ": all of the service's periods are wrong",
                      "look at the platform's base library and at what sets the clock")};
    return {ok(what)};
}

} // namespace check
