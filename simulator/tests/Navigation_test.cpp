#include "simulator/Navigation.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "simulator/Geometry.h"
#include "simulator/Nmea.h"
#include "simulator/Sky.h"

using namespace simulator;
using namespace std::chrono_literals;

namespace {

Satellite used(double elevationDeg, double azimuthDeg, Constellation system = Constellation::Gps) {
    return {system, 1, elevationDeg, azimuthDeg, 40, true};
}

} // namespace

// --- Dilution of precision ------------------------------------------------------------------------------

TEST(Dops, ZenithAndThreeAroundTheHorizonGiveTheTextbookValues) {
    const DopResult result = computeDops({used(90, 0), used(0, 0), used(0, 120), used(0, 240)}, false);
    ASSERT_TRUE(result.solvable);
    EXPECT_NEAR(std::sqrt(4.0 / 3), result.dops.horizontal, 1e-9);
    EXPECT_NEAR(std::sqrt(4.0 / 3), result.dops.vertical, 1e-9);
    EXPECT_NEAR(std::sqrt(1.0 / 3), result.dops.time, 1e-9);
    EXPECT_NEAR(std::sqrt(8.0 / 3), result.dops.position, 1e-9);
    EXPECT_NEAR(std::sqrt(3.0), result.dops.geometric, 1e-9);
}

TEST(Dops, MoreSatellitesAreNeverWorse) {
    std::vector<Satellite> satellites{used(80, 10), used(10, 0), used(15, 120), used(20, 240)};
    double before = computeDops(satellites, false).dops.position;
    for (const double azimuth : {60.0, 180.0, 300.0}) {
        satellites.push_back(used(35, azimuth));
        const double now = computeDops(satellites, false).dops.position;
        EXPECT_LT(now, before);
        before = now;
    }
}

TEST(Dops, SecondSystemCostsASatellite) {
    EXPECT_TRUE(computeDops({used(90, 0), used(0, 0), used(0, 120), used(0, 240)}, false).solvable);
    EXPECT_FALSE(
        computeDops({used(90, 0), used(0, 0), used(0, 120), used(0, 240, Constellation::Glonass)}, false)
            .solvable);
    EXPECT_TRUE(computeDops({used(90, 0), used(0, 0), used(0, 120), used(0, 240, Constellation::Sbas)}, false)
                    .solvable);
}

TEST(Dops, SatellitesInOnePlaneGiveNone) {
    EXPECT_FALSE(computeDops({used(45, 0), used(45, 0), used(45, 0), used(45, 0)}, false).solvable);
    EXPECT_FALSE(
        computeDops({used(10, 0), used(50, 0), used(80, 0), used(30, 180), used(70, 180)}, false).solvable);
}

TEST(Dops, ThreeSatellitesSufficeWhereTheHeightIsHeld) {
    const std::vector<Satellite> three{used(30, 0), used(30, 120), used(30, 240)};
    EXPECT_FALSE(computeDops(three, false).solvable);
    const DopResult flat = computeDops(three, true);
    ASSERT_TRUE(flat.solvable);
    EXPECT_DOUBLE_EQ(0, flat.dops.vertical);
    EXPECT_LT(0, flat.dops.horizontal);
}

// --- Fix ------------------------------------------------------------------------------------------------

class NavigationTest : public ::testing::Test {
protected:
    NavigationTest() {
        truth.position = {47.2852, 8.5653, 450, 47};
        reception.sinceStart = 60s;
        reception.timeToFirstFix = 26s;
    }
    Epoch navigated() const {
        const auto satellites = Sky(1).above(truth.position, noon, systems);
        return navigate(truth, satellites, noon, reception, 1);
    }
    /// A cold start: leap seconds come with the satellites' pages, not sooner than this.
    void tellsNoLeapSecondsBefore(Duration time) {
        reception.leapSource = LeapSource::Firmware;
        reception.timeToLeapSeconds = time;
    }
    static long tracked(const Epoch& epoch) {
        return std::count_if(epoch.satellites.begin(), epoch.satellites.end(),
                             [](const Satellite& s) { return s.carrierToNoiseDbHz > 0; });
    }

    static long withOrbit(const Epoch& epoch) {
        return std::count_if(epoch.satellites.begin(), epoch.satellites.end(),
                             [](const Satellite& s) { return s.orbitKnown; });
    }

    const UtcTime noon = utcOf({2024, 5, 17, 12, 0, 0, 0});
    std::set<Constellation> systems{Constellation::Gps, Constellation::Sbas};
    MotionState truth;
    Reception reception;
};

TEST_F(NavigationTest, OpenSkyBringsAGoodCorrectedFix) {
    const Epoch epoch = navigated();
    EXPECT_EQ(FixType::ThreeD, epoch.fix);
    EXPECT_EQ(2, epoch.quality);
    EXPECT_LT(0.5, epoch.dops.position);
    EXPECT_GT(4, epoch.dops.position);
    EXPECT_LT(0.3, epoch.horizontalAccuracyM);
    EXPECT_GT(5, epoch.horizontalAccuracyM);
    EXPECT_DOUBLE_EQ(47.2852, epoch.position.latitudeDeg);
}

TEST_F(NavigationTest, WithoutCorrectionsTheFixIsAutonomousAndLessAccurate) {
    const double corrected = navigated().horizontalAccuracyM;
    reception.corrected = false;
    EXPECT_EQ(1, navigated().quality);
    EXPECT_LT(corrected, navigated().horizontalAccuracyM);
}

TEST_F(NavigationTest, SatellitesAreFoundOneAfterTheOtherBeforeTheFirstFix) {
    long before = 0;
    for (reception.sinceStart = 0s; reception.sinceStart < 26s; reception.sinceStart += 1s) {
        EXPECT_EQ(FixType::None, navigated().fix);
        EXPECT_LE(before, tracked(navigated()));
        before = tracked(navigated());
    }
    EXPECT_LT(4, before);
    EXPECT_EQ(FixType::ThreeD, navigated().fix);
}

TEST_F(NavigationTest, TimeIsKnownWithTheFirstSatellite) {
    reception.sinceStart = 1s;
    EXPECT_FALSE(navigated().timeKnown);
    reception.sinceStart = 25s;
    EXPECT_TRUE(navigated().timeKnown);
}

TEST_F(NavigationTest, WeekIsKnownAWhileAfterTheTime) {
    reception.sinceStart = 15s;
    EXPECT_TRUE(navigated().timeKnown);
    EXPECT_FALSE(navigated().weekKnown);
    reception.sinceStart = 26s;
    EXPECT_TRUE(navigated().weekKnown);
}

TEST_F(NavigationTest, LeapSecondsComeMinutesAfterAColdStartWithoutGlonass) {
    tellsNoLeapSecondsBefore(750s);
    EXPECT_EQ(LeapSource::Firmware, navigated().leapSource);
    reception.sinceStart = 749s;
    EXPECT_EQ(LeapSource::Firmware, navigated().leapSource);
    reception.sinceStart = 750s;
    EXPECT_EQ(LeapSource::Gps, navigated().leapSource);
}

TEST_F(NavigationTest, GlonassTellsTheLeapSecondsAtOnceUntilGpsDoes) {
    tellsNoLeapSecondsBefore(750s);
    systems.insert(Constellation::Glonass);
    EXPECT_EQ(LeapSource::Glonass, navigated().leapSource);
    reception.leapSource = LeapSource::Glonass;
    reception.sinceStart = 750s;
    EXPECT_EQ(LeapSource::Gps, navigated().leapSource);
}

TEST_F(NavigationTest, LeapSecondsAreThoseOfASystemThatIsHeard) {
    tellsNoLeapSecondsBefore(0s);
    systems = {Constellation::Galileo};
    EXPECT_EQ(LeapSource::Galileo, navigated().leapSource);
    systems = {Constellation::BeiDou};
    EXPECT_EQ(LeapSource::BeiDou, navigated().leapSource);
    reception.skyBlocked = true;
    EXPECT_EQ(LeapSource::Firmware, navigated().leapSource);
    reception.leapSource = LeapSource::Host;
    EXPECT_EQ(LeapSource::Host, navigated().leapSource) << "told before";
}

TEST_F(NavigationTest, BlockedSkyMeansNoSatelliteAndNoFix) {
    reception.skyBlocked = true;
    EXPECT_EQ(0, tracked(navigated()));
    EXPECT_EQ(FixType::None, navigated().fix);
    EXPECT_EQ(0, navigated().quality);
    EXPECT_DOUBLE_EQ(99.99, navigated().dops.position);
}

TEST_F(NavigationTest, FixComesBackWithinSecondsOfTheSky) {
    reception.sinceSkyBack = 0s;
    EXPECT_EQ(FixType::None, navigated().fix);
    reception.sinceSkyBack = 3s;
    EXPECT_EQ(FixType::ThreeD, navigated().fix);
}

TEST_F(NavigationTest, DeniedFixStillHearsSatellites) {
    reception.fixDenied = true;
    EXPECT_LT(4, tracked(navigated()));
    EXPECT_EQ(FixType::None, navigated().fix);
    for (const Satellite& satellite : navigated().satellites)
        EXPECT_FALSE(satellite.used);
}

TEST_F(NavigationTest, SbasSatellitesAndLowOnesAreNotUsed) {
    for (const Satellite& satellite : navigated().satellites)
        if (satellite.used) {
            EXPECT_EQ(Constellation::Gps, satellite.constellation);
            EXPECT_LE(5, satellite.elevationDeg);
        }
}

// --- Satellites -----------------------------------------------------------------------------------------

TEST_F(NavigationTest, NoSatelliteHasAnOrbitBeforeTheFirstFixOfAColdStart) {
    reception.orbitsKnown = false;
    reception.sinceStart = 25s;
    EXPECT_LT(4, tracked(navigated()));
    EXPECT_EQ(0, withOrbit(navigated()));
    for (const Satellite& satellite : navigated().satellites)
        EXPECT_EQ(Health::Unknown, satellite.health);
}

TEST_F(NavigationTest, OrbitsFollowWithinTwelveAndAHalfMinutes) {
    reception.orbitsKnown = false;
    systems.insert(Constellation::Glonass);
    const auto all = static_cast<long>(navigated().satellites.size());
    reception.sinceStart = 26s;
    EXPECT_LT(withOrbit(navigated()), all);
    for (const Satellite& satellite : navigated().satellites)
        EXPECT_TRUE(satellite.orbitKnown || !satellite.used);
    const long atFirstFix = withOrbit(navigated());
    reception.sinceStart = 60s;
    EXPECT_GT(withOrbit(navigated()), atFirstFix);
    reception.sinceStart = 750s;
    EXPECT_EQ(all, withOrbit(navigated()));
}

TEST_F(NavigationTest, OrbitsThatWereKeptAreKnownAtOnce) {
    reception.sinceStart = 1s;
    EXPECT_EQ(static_cast<long>(navigated().satellites.size()), withOrbit(navigated()));
}

TEST_F(NavigationTest, UnhealthySatellitesAreTrackedButNotUsed) {
    const auto usedBefore = usedSatellites(navigated());
    reception.unhealthySatellites = 4;
    const Epoch epoch = navigated();
    EXPECT_LT(usedSatellites(epoch), usedBefore);
    long unhealthy = 0;
    for (const Satellite& satellite : epoch.satellites) {
        unhealthy += satellite.health == Health::Unhealthy ? 1 : 0;
        EXPECT_FALSE(satellite.used && satellite.health == Health::Unhealthy);
    }
    EXPECT_EQ(4, unhealthy);
}

TEST_F(NavigationTest, SignalsPassThroughAllTheQualities) {
    std::set<SignalQuality> seen;
    for (reception.sinceStart = 0s; reception.sinceStart < 60s; reception.sinceStart += 1s)
        for (const Satellite& satellite : navigated().satellites) {
            seen.insert(satellite.quality);
            EXPECT_EQ(satellite.carrierToNoiseDbHz > 0, satellite.quality >= SignalQuality::Acquired);
            EXPECT_TRUE(!satellite.used || satellite.quality >= SignalQuality::CodeLocked);
        }
    EXPECT_EQ(8u, seen.size());
}

// --- Noise ----------------------------------------------------------------------------------------------

TEST_F(NavigationTest, DriftMovesThePositionByItsMetres) {
    reception.drift = {3, -4, 7};
    const GeoPosition drifted = navigated().position;
    EXPECT_NEAR(5, distanceM(truth.position, drifted), 1e-4);
    EXPECT_LT(truth.position.latitudeDeg, drifted.latitudeDeg);
    EXPECT_GT(truth.position.longitudeDeg, drifted.longitudeDeg);
    EXPECT_DOUBLE_EQ(truth.position.altitudeMslM + 7, drifted.altitudeMslM);
}

TEST_F(NavigationTest, NoiseStaysWithinItsAmplitude) {
    reception.noiseM = 3;
    const double offset = distanceM(truth.position, navigated().position);
    EXPECT_LT(0, offset);
    EXPECT_GT(3 * std::sqrt(2.0), offset);
}
