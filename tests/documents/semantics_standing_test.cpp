// What docs/semantics.md draws of a vehicle that stands: a day of the worker's real cycles on the adapter
// with its driver, with positions that drift as the simulated receiver's do, and what the odometer counts of
// it.

#include <algorithm>
#include <array>
#include <numeric>

#include "Drawn.h"
#include "FaultFigures.h"
#include "ServedAdapter.h"
#include "simulator/Drift.h"

namespace {

constexpr int32_t kHour = 3600;
constexpr int32_t kDay = 24 * kHour;
constexpr double kMetresPerDegree = 111194.93; // of latitude
constexpr double kLatitude = 47.2852;
constexpr double kLongitude = 8.5653;
constexpr double kShrink = 0.67835; // its cosine

// gpsd's estimates on each axis where the satellites' geometry is 1, and no GBS tells better ones.
constexpr double kCorrected = 3.75;
constexpr double kUncorrected = 15;

struct Standing {
    double sigma;
    int correlation; // s
    double error;    // of each axis, m
    uint64_t seed = 1;
};

class DrawnStanding : public ServedAdapter {
protected:
    using Hours = std::array<uint32_t, 25>;
    using Days = std::array<uint32_t, 4>;

    /// The odometer at each full hour of a day.
    Hours stands(const Standing& standing) {
        adapter->ResetParams();
        simulator::PositionDrift drift({standing.sigma, std::chrono::seconds(standing.correlation)},
                                       standing.seed);
        setErrors(standing.error);
        setPdop(1.5);
        Hours hours{};
        serve(kDay, [&](int second) {
            const auto now = simulator::TimePoint(std::chrono::seconds(second));
            const simulator::DriftOffset offset = drift.at(now);
            fixComes(kLatitude + offset.northM / kMetresPerDegree,
                     kLongitude + offset.eastM / kMetresPerDegree / kShrink);
            if (second % kHour == 0)
                hours.at(static_cast<std::size_t>(second / kHour)) = odometer();
            unit.forget();
        });
        hours.back() = odometer();
        return hours;
    }
    /// The metres of a day with each of the seeds 1 to 4.
    Days fourDays(Standing standing) {
        Days days{};
        for (std::size_t i = 0; i < days.size(); ++i) {
            standing.seed = i + 1;
            days.at(i) = stands(standing).back();
        }
        return days;
    }
    static uint32_t meanOf(const Days& days) {
        const uint32_t sum = std::accumulate(days.begin(), days.end(), 0u);
        return (sum + static_cast<uint32_t>(days.size()) / 2) / static_cast<uint32_t>(days.size());
    }
    static void tellFigures(const Days& days) {
        const auto [least, most] = std::minmax_element(days.begin(), days.end());
        faultFigure("fix.standing-a-day", "mean_metres_sigma_3", meanOf(days));
        faultFigure("fix.standing-a-day", "least_metres_sigma_3", *least);
        faultFigure("fix.standing-a-day", "most_metres_sigma_3", *most);
    }
};

TEST_F(DrawnStanding, GainsMetresByTheHourWhereThePositionDrifts) {
    Drawn drawn(
        "A vehicle stands for a day; its positions drift by a Gauss-Markov process of a correlation time of "
        "300 s and so many metres' deviation to the north and to the east, and gpsd estimates 3.75 m on each "
        "axis (the last column: 15 m, without corrections): hour, metres counted.",
        {"hour", "sigma-2", "sigma-3", "sigma-4", "sigma-5", "sigma-5-uncorrected"});
    std::array<Hours, 5> days;
    for (std::size_t i = 0; i < 4; ++i)
        days.at(i) = stands({2.0 + static_cast<double>(i), 300, kCorrected});
    days[4] = stands({5, 300, kUncorrected});
    for (std::size_t hour = 0; hour <= 24; ++hour)
        drawn.row(hour, days[0].at(hour), days[1].at(hour), days[2].at(hour), days[3].at(hour),
                  days[4].at(hour));
    drawn.expectCommitted("odometer-standing");
}

const std::array<double, 4> kSigmas{2, 3, 4, 5};
const std::array<int, 3> kCorrelations{60, 300, 1800};

TEST_F(DrawnStanding, GainsMetresByTheDriftsDeviationAndTime) {
    Drawn drawn("Metres counted in a day that a vehicle stands, by the drift's deviation in metres and its "
                "correlation time in seconds, with corrections: four seeds, and their mean.",
                {"sigma", "correlation", "seed-1", "seed-2", "seed-3", "seed-4", "mean"});
    unit.clock.allowSleeps(20'000'000);
    for (const double sigma : kSigmas)
        for (const int correlation : kCorrelations) {
            const Days days = fourDays({sigma, correlation, kCorrected});
            drawn.row(sigma, correlation, days[0], days[1], days[2], days[3], meanOf(days));
            if (sigma == 3 && correlation == 300)
                tellFigures(days);
        }
    drawn.expectCommitted("odometer-standing-day");
}

// A seed's drift of less deviation is the same one made smaller: what doesn't leave the error's circle at 5 m
// doesn't at 2 m either.
TEST_F(DrawnStanding, GainsNoMetreWithoutCorrections) {
    for (const int correlation : kCorrelations)
        EXPECT_EQ(fourDays({5, correlation, kUncorrected}), Days{}) << correlation << " s";
    faultFigure("fix.standing-a-day-uncorrected", "metres_counted", odometer());
}

} // namespace
