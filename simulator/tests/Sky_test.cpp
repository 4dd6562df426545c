#include "simulator/Sky.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <map>

#include "simulator/Geometry.h"
#include "simulator/Nmea.h"

using namespace simulator;
using namespace std::chrono_literals;

class SkyTest : public ::testing::Test {
protected:
    std::vector<Satellite> above(Duration later = 0s) const { return sky.above(zurich, noon + later, all); }
    static long countOf(const std::vector<Satellite>& satellites, Constellation constellation) {
        return std::count_if(satellites.begin(), satellites.end(),
                             [&](const Satellite& s) { return s.constellation == constellation; });
    }

    const GeoPosition zurich{47.2852, 8.5653, 450, 47};
    const UtcTime noon = utcOf({2024, 5, 17, 12, 0, 0, 0});
    const std::set<Constellation> all{Constellation::Gps, Constellation::Glonass, Constellation::Galileo,
                                      Constellation::Sbas};
    const Sky sky{1};
};

TEST_F(SkyTest, AtAnyHourThereAreAsManySatellitesAsInReality) {
    for (Duration later = 0h; later < 24h; later += 30min) {
        const auto satellites = above(later);
        EXPECT_LE(6, countOf(satellites, Constellation::Gps));
        EXPECT_GE(17, countOf(satellites, Constellation::Gps));
        EXPECT_LE(5, countOf(satellites, Constellation::Glonass));
        EXPECT_LE(5, countOf(satellites, Constellation::Galileo));
        EXPECT_LE(2, countOf(satellites, Constellation::Sbas));
    }
}

TEST_F(SkyTest, AnglesAndSignalsArePlausible) {
    for (const Satellite& satellite : above()) {
        EXPECT_LE(0, satellite.elevationDeg);
        EXPECT_GE(90, satellite.elevationDeg);
        EXPECT_LE(0, satellite.azimuthDeg);
        EXPECT_GT(360, satellite.azimuthDeg);
        EXPECT_LT(5, satellite.carrierToNoiseDbHz);
        EXPECT_GT(56, satellite.carrierToNoiseDbHz);
        EXPECT_FALSE(satellite.used);
    }
}

TEST_F(SkyTest, SatellitesRiseAndSet) {
    std::map<int, bool> wasUp;
    int rises = 0;
    int sets = 0;
    for (Duration later = 0h; later < 24h; later += 10min) {
        std::map<int, bool> isUp;
        for (const Satellite& s : above(later))
            isUp[static_cast<int>(s.constellation) * 1000 + s.number] = true;
        for (const auto& entry : isUp)
            rises += wasUp.count(entry.first) == 0 ? 1 : 0;
        for (const auto& entry : wasUp)
            sets += isUp.count(entry.first) == 0 ? 1 : 0;
        wasUp = isUp;
    }
    EXPECT_LT(60, rises);
    EXPECT_LT(60, sets);
}

TEST_F(SkyTest, SatellitesMoveSlowly) {
    const auto before = above();
    const auto after = above(1s);
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < before.size(); ++i)
        EXPECT_NEAR(before[i].elevationDeg, after[i].elevationDeg, 0.02);
}

TEST_F(SkyTest, GeostationarySatellitesStandWhereTheyAre) {
    const auto sbas120 = [](const std::vector<Satellite>& satellites) {
        return *std::find_if(satellites.begin(), satellites.end(),
                             [](const Satellite& s) { return s.number == 120; });
    };
    EXPECT_NEAR(211.4, sbas120(above()).azimuthDeg, 0.5);
    EXPECT_NEAR(31.0, sbas120(above()).elevationDeg, 0.5);
    EXPECT_NEAR(sbas120(above()).azimuthDeg, sbas120(above(7h)).azimuthDeg, 0.01);
}

TEST_F(SkyTest, SameSeedBringsTheSameSkyAndAnotherSeedAnotherOne) {
    const auto numbers = [&](uint64_t seed) {
        std::vector<int> list;
        for (const Satellite& s : Sky(seed).above(zurich, noon, all))
            list.push_back(s.number);
        return list;
    };
    EXPECT_EQ(numbers(1), numbers(1));
    EXPECT_NE(numbers(1), numbers(2));
}

TEST_F(SkyTest, OnlyEnabledSystemsAreListed) {
    for (const Satellite& satellite : sky.above(zurich, noon, {Constellation::Galileo}))
        EXPECT_EQ(Constellation::Galileo, satellite.constellation);
}

TEST_F(SkyTest, SignalsFadeAndComeBack) {
    double weakest = 99;
    double strongest = 0;
    const Satellite first = above().front();
    for (Duration later = 0s; later < 6min; later += 5s)
        for (const Satellite& s : above(later))
            if (s.number == first.number && s.constellation == first.constellation) {
                weakest = std::min(weakest, s.carrierToNoiseDbHz);
                strongest = std::max(strongest, s.carrierToNoiseDbHz);
            }
    EXPECT_LT(1, strongest - weakest);
}

TEST(Geometry, DirectionsAreThoseOfTheCompass) {
    const GeoPosition here{0, 0, 0, 0};
    const Vector3 self = earthFixed(here);
    EXPECT_NEAR(90, directionTo(here, {self.x + 1e6, 0, 0}).elevationDeg, 1e-6);
    EXPECT_NEAR(90, directionTo(here, {self.x, 1e6, 0}).azimuthDeg, 1e-6);
    EXPECT_NEAR(0, directionTo(here, {self.x, 0, 1e6}).azimuthDeg, 1e-6);
    EXPECT_NEAR(270, directionTo(here, {self.x, -1e6, 0}).azimuthDeg, 1e-6);
}
