#include "simulator/Drift.h"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

using namespace simulator;
using namespace std::chrono_literals;

namespace {

constexpr DriftSettings kUsual{3, 300s};

std::vector<DriftOffset> drifted(const DriftSettings& settings, uint64_t seed, std::size_t seconds) {
    PositionDrift drift(settings, seed);
    std::vector<DriftOffset> offsets;
    for (std::size_t second = 0; second < seconds; ++second)
        offsets.push_back(drift.at(TimePoint(std::chrono::seconds(second))));
    return offsets;
}

// Mean of the products of north with what north is so many seconds later.
double covariance(const std::vector<DriftOffset>& offsets, std::size_t later) {
    double sum = 0;
    for (std::size_t i = 0; i + later < offsets.size(); ++i)
        sum += offsets[i].northM * offsets[i + later].northM;
    return sum / static_cast<double>(offsets.size() - later);
}

} // namespace

// Half a million seconds are more than a thousand correlation times, so deviations are right within some per
// cent.
TEST(Drift, HasItsDeviationOnEachAxis) {
    const auto offsets = drifted(kUsual, 1, 500'000);
    double east = 0;
    double up = 0;
    for (const DriftOffset& offset : offsets) {
        east += offset.eastM * offset.eastM / 500'000;
        up += offset.upM * offset.upM / 500'000;
    }
    EXPECT_NEAR(3, std::sqrt(covariance(offsets, 0)), 0.3);
    EXPECT_NEAR(3, std::sqrt(east), 0.3);
    EXPECT_NEAR(4.5, std::sqrt(up), 0.45);
}

TEST(Drift, KeepsAThirdOfAnErrorForItsCorrelationTime) {
    const auto offsets = drifted(kUsual, 1, 500'000);
    EXPECT_NEAR(std::exp(-1), covariance(offsets, 300) / covariance(offsets, 0), 0.1);
    EXPECT_NEAR(0, covariance(offsets, 3000) / covariance(offsets, 0), 0.1);
}

TEST(Drift, IsTheSameForASeedAndAnotherForTheNext) {
    const auto first = drifted(kUsual, 1, 100);
    EXPECT_DOUBLE_EQ(first[99].northM, drifted(kUsual, 1, 100)[99].northM);
    EXPECT_NE(first[99].northM, drifted(kUsual, 2, 100)[99].northM);
    EXPECT_NE(first[99].northM, first[99].eastM);
}

TEST(Drift, GoesInStepsThatAreSmallBesideIt) {
    const auto offsets = drifted(kUsual, 1, 10'000);
    for (std::size_t i = 1; i < offsets.size(); ++i)
        ASSERT_GT(1.5, std::fabs(offsets[i].northM - offsets[i - 1].northM)) << i;
}

TEST(Drift, ThatStandsStillStaysWhereItIs) {
    PositionDrift drift(kUsual, 1);
    const double first = drift.at(TimePoint(5s)).northM;
    EXPECT_NE(0, first);
    EXPECT_DOUBLE_EQ(first, drift.at(TimePoint(5s)).northM);
}
