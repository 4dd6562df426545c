// The second behind 2038-01-19 03:14:07 UTC, the last that 32 bits hold: with a `time_t` of 64 bits the clock
// goes on, with one of 32 bits it stands in 1901, or the C library refuses to tell the time (-1). Each test
// judges the width that it is built with.

#include <cstdint>
#include <limits>

#include "AdapterFixture.h"
#include "DriverFixture.h"
#include "FaultFigures.h"
#include "GpsRecord.h"

using namespace std::chrono_literals;

namespace {

constexpr int64_t kLast = std::numeric_limits<int32_t>::max();
constexpr bool kWraps = sizeof(time_t) == sizeof(int32_t);

/// The clock so many seconds behind the last one that 32 bits hold.
constexpr time_t behindTheLast(int64_t seconds) {
    return kWraps ? static_cast<time_t>(std::numeric_limits<int32_t>::min() + seconds - 1)
                  : static_cast<time_t>(kLast + seconds);
}

class ClockBehind2038 : public DriverFixture {
protected:
    ClockBehind2038() { start(); }

    unsigned int get() { return driver->GetData(data); }
    void everythingArrivedAt(time_t time) {
        reader().tsStatus = reader().tsTime = reader().tsLatLon = reader().tsDop = time;
        reader().latitude = 48.5;
    }

    GPSData data;
};

TEST_F(ClockBehind2038, TakesWhatArrivesThereForCurrentInEachOfItsFirstSeconds) {
    int without = 0;
    for (int64_t second = 1; second <= 15; ++second) {
        unit.clock.setUtc(behindTheLast(second));
        everythingArrivedAt(behindTheLast(second));
        EXPECT_EQ(get(), 0u) << second;
        EXPECT_EQ(data.latitude, 48500000);
        without += data.valid ? 0 : 1;
    }
    EXPECT_EQ(without, 0);
    faultFigure("system.clock-behind-2038", "cycles_without_a_fix", without);
}

// With 64 bits they age as at any other time. In 1901 they lie ahead, and stay until the reader gives gpsd
// up.
TEST_F(ClockBehind2038, AgesWhatArrivedBeforeWhereItHasTheBits) {
    everythingArrivedAt(static_cast<time_t>(kLast - 3));
    int64_t lastCurrent = 0;
    for (int64_t second = 1; second <= 15; ++second) {
        unit.clock.setUtc(behindTheLast(second));
        const bool current = get() == 0;
        EXPECT_EQ(current, kWraps || second <= 7) << second;
        lastCurrent = current ? second : lastCurrent;
    }
    faultFigure("system.clock-behind-2038-without-reports", "current_s",
                static_cast<double>(3 + lastCurrent));
}

TEST_F(ClockBehind2038, KeepsTheFixesTimeAtTheLastSecond) {
    unit.clock.setUtc(behindTheLast(5));
    unit.gpsd.reports([](gps_data_t& r) {
        fillNorthbound(r);
        setTime(r, kLast + 5, 0L);
        r.set |= TIME_SET;
    });
    read();
    EXPECT_EQ(get(), 0u);
    EXPECT_EQ(data.time, kLast);
    long utc = 0;
    EXPECT_EQ(driver->GetCurrentTime(utc), 0u);
    EXPECT_EQ(utc, kLast);
    faultFigure("system.fix-behind-2038", "time_behind_s", static_cast<double>(kLast + 5 - data.time));
}

TEST_F(ClockBehind2038, RestartsASilentGpsdAlsoWithoutAClock) {
    unit.clock.setUtc(-1);
    everythingArrivedAt(-1);
    noDataReadCounter() = 11;
    get();
    EXPECT_LOGGED(3, "GPSD does not provide any data - restarting GPSD");
    EXPECT_EQ(noDataReadCounter(), 0u);
    faultFigure("system.no-clock", "restarts",
                unit.log.count(3, "GPSD does not provide any data - restarting GPSD"));
}

class DeviationBehind2038 : public AdapterFixture {};

TEST_F(DeviationBehind2038, IsMeasuredInBothWidths) {
    adapter->UpdateSystemTimeDeviation();
    unit.clock.setUtc(behindTheLast(7));
    hal->utc = static_cast<long>(kLast); // where the driver's time stands
    EXPECT_EQ(adapter->UpdateSystemTimeDeviation(), 0u);
    EXPECT_TRUE(readings().timeDeviationValid);
    EXPECT_EQ(readings().timeDelta, kWraps ? static_cast<int32_t>(kLast) : -7);
    faultFigure("system.deviation-behind-2038", "delta_s", readings().timeDelta);
}

} // namespace
