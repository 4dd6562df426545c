// Rows of the fault matrix about the fix, against interposed calls: the adapter with its driver and its
// worker's real cycles, and a gpsd that says what the receiver should never say, or what takes minutes on a
// unit.

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "FaultFigures.h"
#include "GpsRecord.h"
#include "ServedAdapter.h"

using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

constexpr double kMetresPerDegree = 111132.86; // as the odometer reckons
constexpr int kWarmUp = 190;                   // s, and some more

class FixFaults : public ServedAdapter {
protected:
    FixFaults() {
        setPdop(1.5);
        setErrors(3.75);
    }

    /// A vehicle that stands there for so many seconds.
    void standAt(double latitude, double longitude, int seconds) {
        serve(seconds, [&](int) {
            fixComes(latitude, longitude);
            unit.forget();
        });
    }
    /// The same, and what the callback is told.
    Lines toldAt(double latitude, double longitude, int seconds) {
        unit.forget();
        serve(seconds, [&](int) { fixComes(latitude, longitude); });
        return unit.journal.only({"callback "});
    }
    /// Metres counted of a jump north by so much, once the warm-up is over.
    uint32_t countedOfAJump(double metres) {
        standAt(47, 8, kWarmUp);
        standAt(47 + metres / kMetresPerDegree, 8, 90);
        return odometer();
    }
    /// A service that has a fix, and how many of its cycles bring one with this PDOP.
    long fixesWithPdop(double pdop) {
        standAt(47, 8, 3);
        const uint32_t before = readings().fixTick;
        setPdop(pdop);
        standAt(47, 8, 10);
        return static_cast<long>(readings().fixTick) - static_cast<long>(before);
    }
};

// --- Dilutions ------------------------------------------------------------------------------------------

TEST_F(FixFaults, PdopOfNoughtLeavesTheLastFix) {
    EXPECT_LE(fixesWithPdop(0), 1);
    EXPECT_TRUE(readings().available) << "from before";
}

TEST_F(FixFaults, PdopJustBelowTenIsTaken) { EXPECT_GE(fixesWithPdop(9.99), 9); }

TEST_F(FixFaults, PdopOfTenLeavesTheLastFix) { EXPECT_LE(fixesWithPdop(10), 1); }

TEST_F(FixFaults, PdopThatIsNoNumberLeavesTheLastFix) {
    EXPECT_LE(fixesWithPdop(std::numeric_limits<double>::quiet_NaN()), 1);
    EXPECT_TRUE(readings().data.valid);
}

TEST_F(FixFaults, PdopOutOfRangeFromTheStartRepeatsAvailabilityEachSecond) {
    setPdop(10);
    const Lines told = toldAt(47, 8, 20);
    const auto repeated = std::count(told.begin(), told.end(), "callback OnAvailabilityChanged 1");
    EXPECT_GE(repeated, 19);
    EXPECT_LE(repeated, 21);
    EXPECT_FALSE(readings().available);
    EXPECT_EQ(readings().fixTick, 0u);
    setPdop(9.99);
    standAt(47, 8, 2);
    EXPECT_TRUE(readings().available);
    faultFigure("fix.pdop-from-start", "events_a_minute", 3.0 * static_cast<double>(repeated));
}

// --- Jumps ----------------------------------------------------------------------------------------------

TEST_F(FixFaults, JumpOf900MetresIsCountedAsDriven) {
    const uint32_t counted = countedOfAJump(900);
    EXPECT_NEAR(counted, 900, 20) << "all but what is left below a step of 15 m, each step rounded";
    faultFigure("fix.jump-900", "metres_counted", counted);
}

TEST_F(FixFaults, JumpOf1100MetresIsCountedAsDrivenToo) {
    const uint32_t counted = countedOfAJump(1100);
    EXPECT_NEAR(counted, 1100, 20);
    faultFigure("fix.jump-1100", "metres_counted", counted);
}

// --- Places ---------------------------------------------------------------------------------------------

TEST_F(FixFaults, DateLineCostsAWarmUpAndCountsNoJourneyAroundTheWorld) {
    standAt(-17, 179.9999, kWarmUp);
    standAt(-17, -179.9999, 20);
    EXPECT_EQ(odometer(), 0u);
    EXPECT_EQ(readings().data.longitude, -179999900);
    standAt(-17, -179.9999, kWarmUp);
    for (int second = 0; second < 60; ++second)
        standAt(-17, -179.9999 + 20.0 * second / kMetresPerDegree / std::cos(-17 * M_PI / 180), 1);
    EXPECT_NEAR(odometer(), 20 * 59 - 9 * 20, 40) << "nine seconds behind, as ever";
}

TEST_F(FixFaults, PoleCountsNoMetreOfItsMeridians) {
    standAt(90, 0, kWarmUp);
    for (int second = 0; second < 60; ++second)
        standAt(90, 6.0 * second - 180, 1);
    EXPECT_EQ(odometer(), 0u) << "meridians are one point there";
    EXPECT_EQ(readings().data.latitude, 90000000);
    EXPECT_TRUE(readings().available);
}

// --- One coordinate alone
// -----------------------------------------------------------------------------------

constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();

/// An older libgps marks the place as there when either coordinate has come; the other one is no number.
class HalfAPlace : public FixFaults {
protected:
    /// A report with both coordinates, and five seconds later one with these; what is there five seconds on.
    GPSReadings after(double latitude, double longitude) {
        reportComes(47, 8);
        serve(5, [](int) {});
        before = readings();
        unit.forget();
        reportComes(latitude, longitude);
        serve(5, [](int) {});
        return readings();
    }

    GPSReadings before;

private:
    /// Through the library's own reader.
    void reportComes(double latitude, double longitude) {
        unit.gpsd.reports([latitude, longitude](gps_data_t& r) {
            fillNorthbound(r);
            r.fix.latitude = latitude;
            r.fix.longitude = longitude;
        });
        block().stopRequested = false;
        unit.gpsd.whenLastCycleBegins = [this] { block().stopRequested = true; };
        GPSHAL_RUXO_3::ReadData(&block());
    }
};

TEST_F(HalfAPlace, WithoutItsLongitudeIsOnTheMeridianOfGreenwich) {
    const GPSReadings half = after(48, kMissing);
    EXPECT_GT(half.fixTick, before.fixTick) << "a fix like others";
    EXPECT_EQ(half.data.latitude, 48000000);
    EXPECT_EQ(half.data.longitude, 0);
    EXPECT_TRUE(half.available);
    EXPECT_THAT(unit.journal.only({"callback OnAvailabilityChanged"}), IsEmpty());
    faultFigure("fix.latitude-alone", "longitude_microdegrees", half.data.longitude);
}

TEST_F(HalfAPlace, WithoutItsLatitudeIsOnTheEquator) {
    const GPSReadings half = after(kMissing, 9);
    EXPECT_GT(half.fixTick, before.fixTick);
    EXPECT_EQ(half.data.latitude, 0);
    EXPECT_EQ(half.data.longitude, 9000000);
    EXPECT_TRUE(half.available);
    faultFigure("fix.longitude-alone", "latitude_microdegrees", half.data.latitude);
}

TEST_F(HalfAPlace, OnTheEquatorWithoutItsLongitudeIsNoFix) {
    const GPSReadings half = after(0, kMissing);
    EXPECT_LE(half.fixTick, before.fixTick + 1) << "of the cycle that ran before the report";
    EXPECT_EQ(half.data.latitude, 47000000) << "of the last fix";
    EXPECT_EQ(half.data.longitude, 8000000);
    EXPECT_FALSE(half.available);
    EXPECT_THAT(unit.journal.only({"callback OnAvailabilityChanged"}),
                Contains("callback OnAvailabilityChanged 0"));
    faultFigure("fix.latitude-0-alone", "availability_told",
                static_cast<double>(unit.journal.count("callback OnAvailabilityChanged 0")));
}

// --- Turns ----------------------------------------------------------------------------------------------

TEST_F(FixFaults, TurnsOfASecondLoseNothing) {
    standAt(47, 8, 5);
    unit.forget();
    serve(60, [&](int second) { second % 2 == 0 ? fixComes(47, 8) : noFixComes(); });
    const Lines told = unit.journal.only({"callback OnAvailabilityChanged"});
    EXPECT_THAT(told, IsEmpty());
    EXPECT_TRUE(readings().available);
    EXPECT_GE(unit.journal.count("callback OnPositionUpdate"), 5u) << "each eleventh second";
}

TEST_F(FixFaults, LossOfMoreThanTenSecondsRepeatsUntilAFixComes) {
    standAt(47, 8, 5);
    unit.forget();
    serve(30, [&](int) { noFixComes(); });
    const auto repeated = unit.journal.count("callback OnAvailabilityChanged 0");
    EXPECT_GE(repeated, 18u);
    EXPECT_LE(repeated, 21u);
    EXPECT_TRUE(readings().available) << "it follows only fixes with a PDOP";
    const uint32_t lost = readings().fixTick;
    int seconds = 0;
    for (; readings().fixTick == lost && seconds < 10; ++seconds)
        EXPECT_THAT(toldAt(47, 8, 1), Not(Contains("callback OnAvailabilityChanged 0")));
    EXPECT_LE(seconds, 2);
    faultFigure("fix.lost-for-30-s", "recovery_s", seconds);
}

// --- Antenna --------------------------------------------------------------------------------------------

class FixFaultsAntenna : public FixFaults, public ::testing::WithParamInterface<GPSAntennaState> {};

TEST_P(FixFaultsAntenna, OutOfOrderIsToldOnceAndTakesNoFix) {
    standAt(47, 8, 5);
    unit.hal.antennaState = GetParam();
    unit.forget();
    serve(20, [&](int) { fixComes(47, 8); });
    const std::string name = "callback OnAntennaStateChanged " + std::to_string(GetParam());
    EXPECT_EQ(unit.journal.count(name), 1u);
    EXPECT_FALSE(readings().available);
    EXPECT_EQ(readings().antennaState, GetParam());
    const uint32_t before = readings().fixTick;
    unit.hal.antennaState = GPS_ANTENNA_OK;
    standAt(47, 8, 3);
    EXPECT_TRUE(readings().available);
    EXPECT_GT(readings().fixTick, before);
}

// Open, short, and what no HAL should say; the tests' names end with it.
INSTANTIATE_TEST_SUITE_P(Antenna, FixFaultsAntenna,
                         ::testing::Values(static_cast<GPSAntennaState>(2), static_cast<GPSAntennaState>(3),
                                           static_cast<GPSAntennaState>(0), static_cast<GPSAntennaState>(77)),
                         [](const auto& state) { return std::to_string(static_cast<int>(state.param)); });

TEST_F(FixFaults, AntennaCodesAreTakenForNoFixAndRecover) {
    standAt(47, 8, 5);
    unit.hal.fillsStateOnError = true; // in order, it says, and fails
    for (const unsigned int code : {1u, 0x16000002u, 0x17000205u, 0xFFFFFFFFu}) {
        unit.hal.antennaResult = code;
        const uint32_t before = readings().fixTick;
        standAt(47, 8, 5);
        EXPECT_LE(readings().fixTick, before + 1) << code;
        unit.hal.antennaResult = 0;
        standAt(47, 8, 2);
        EXPECT_GT(readings().fixTick, before + 4) << code;
    }
}

} // namespace
