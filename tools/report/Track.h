#ifndef REPORT_TRACK_H
#define REPORT_TRACK_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "Drive.h"

namespace report {

/// An accepted fix.
struct TrackPoint {
    std::size_t sample = 0; ///< the first that had it
    double timeS = 0;
    telemetry::Position at;
    double speedKmh = 0;
    bool begins = false; ///< nothing is known of the way from the one before
};

/// Each accepted fix of the drive, in order.
std::vector<TrackPoint> trackOf(const Drive& drive);

/// Where a line over time would hide that something was missing in between.
class Breaks {
public:
    enum class Of {
        Readings, ///< nothing was read
        Fixes,    ///< or what was read had no fix
    };

    Breaks(const Drive& drive, Of what);

    bool between(double fromS, double toS) const;

private:
    std::vector<std::pair<double, double>> spans_; ///< in order, none touches another
};

/// Speeds in steps of a round number, each with a colour of its own.
class SpeedScale {
public:
    static constexpr std::size_t kColours = 8;

    explicit SpeedScale(const std::vector<TrackPoint>& track);

    std::size_t steps() const { return steps_; }
    std::size_t stepOf(double speedKmh) const;

    /// The style's number of a step's colour: few steps use the whole range as well.
    std::size_t colour(std::size_t step) const;

    /// "20 to 40"
    std::string words(std::size_t step) const;

private:
    double width_ = 1; ///< of a step, km/h
    std::size_t steps_ = 1;
};

/// A place on a drawing, y downwards.
struct Place {
    double x = 0;
    double y = 0;
};

/// The places that a line needs so that none of the others is further from it than `tolerance`; first and
/// last are kept.
std::vector<Place> thinned(const std::vector<Place>& line, double tolerance);

} // namespace report

#endif
