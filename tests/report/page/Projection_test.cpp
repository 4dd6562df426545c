#include "Projection.h"

#include <gmock/gmock.h>

#include <cmath>

namespace {

using namespace report;

constexpr double kMetresPerMicrodegree = 0.11113286273635781;

TEST(Projection, IsAsLongAsTheOdometersStretches) {
    const Projection projection({50000000, 8000000});
    EXPECT_NEAR(projection.on({50010000, 8000000}).north, 10000 * kMetresPerMicrodegree, 0.01);
    EXPECT_NEAR(projection.on({50000000, 8010000}).east,
                10000 * kMetresPerMicrodegree * std::cos(50 * 3.141592653589793 / 180), 0.01);
}

TEST(Projection, HasItsMiddleOnTheDateLineForPlacesOnBothSides) {
    const Projection projection = Projection::around({{0, 179990000}, {0, -179990000}});
    EXPECT_EQ(std::abs(projection.centre().longitude), 180000000);
    EXPECT_NEAR(projection.on({0, 179990000}).east, -10000 * kMetresPerMicrodegree, 0.01);
    EXPECT_NEAR(projection.on({0, -179990000}).east, 10000 * kMetresPerMicrodegree, 0.01);
}

TEST(Projection, KeepsDistancesAcrossThePole) {
    const Projection projection({89999000, 20000000});
    const Ground across = projection.on({89999000, -160000000}); // 2,000 microdegrees further on
    EXPECT_NEAR(across.north, 2000 * kMetresPerMicrodegree, 0.01);
    EXPECT_NEAR(across.east, 0, 0.01);
}

TEST(Projection, AroundNothingIsSomewhere) {
    EXPECT_EQ(Projection::around({}).centre().latitude, 0);
    EXPECT_EQ(Projection::around({{90000000, 0}}).centre().latitude, 90000000);
}

TEST(Projection, OfTheOtherSideOfTheEarthIsFinite) {
    const Projection projection({0, 0});
    EXPECT_TRUE(std::isfinite(projection.on(0, 180).east));
    EXPECT_TRUE(std::isfinite(projection.on(90, 0).north));
}

} // namespace
