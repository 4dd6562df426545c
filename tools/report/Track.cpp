#include "Track.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Markup.h"
#include "OdometerArithmetic.h"
#include "Projection.h"

namespace report {

namespace {

constexpr double kKmhPerMmPerS = 0.0036;

/// The steps are as many as there are colours, or fewer: the narrowest of these that does.
constexpr double kWidths[] = {1, 2, 5, 10, 20, 25, 50, 100, 200, 500, 1000, 2000};

TrackPoint pointOf(const Drive& drive, std::size_t sample) {
    TrackPoint point;
    point.sample = sample;
    point.timeS = drive.samples[sample].timeS;
    point.at = drive.samples[sample].readings.fix->position;
    point.speedKmh = drive.samples[sample].readings.fix->speedMmPerS * kKmhPerMmPerS;
    return point;
}

/// Too far to have been driven. The date line, where the odometer takes a step for a jump, is none.
bool isFar(telemetry::Position from, telemetry::Position to) {
    const Ground ground = Projection(from).on(to);
    return odometry::isJump(std::hypot(ground.east, ground.north));
}

double distanceToLine(const Place& place, const Place& from, const Place& to) {
    const double x = to.x - from.x;
    const double y = to.y - from.y;
    const double squared = x * x + y * y;
    const double along = squared > 0 ? ((place.x - from.x) * x + (place.y - from.y) * y) / squared : 0;
    const double clipped = std::clamp(along, 0.0, 1.0);
    return std::hypot(place.x - from.x - clipped * x, place.y - from.y - clipped * y);
}

/// The place between two others that is furthest from the line between them, and how far.
std::pair<std::size_t, double> furthest(const std::vector<Place>& line, std::size_t from, std::size_t to) {
    std::pair<std::size_t, double> found{from, 0};
    for (std::size_t i = from + 1; i < to; ++i) {
        const double distance = distanceToLine(line[i], line[from], line[to]);
        if (distance > found.second)
            found = {i, distance};
    }
    return found;
}

/// Marks what is kept between two places that are.
void keepBetween(const std::vector<Place>& line, std::pair<std::size_t, std::size_t> ends, double tolerance,
                 std::vector<bool>& keep) {
    std::vector<std::pair<std::size_t, std::size_t>> open{ends};
    while (!open.empty()) {
        const auto [from, to] = open.back();
        open.pop_back();
        const auto [place, distance] = furthest(line, from, to);
        if (distance <= tolerance)
            continue;
        keep[place] = true;
        open.emplace_back(from, place);
        open.emplace_back(place, to);
    }
}

} // namespace

Breaks::Breaks(const Drive& drive, Of what) {
    for (const Stretch& stretch : drive.stretches) {
        const bool ofReadings =
            stretch.kind == Stretch::Kind::Restart || stretch.kind == Stretch::Kind::NoReadings;
        const bool ofFixes = stretch.kind == Stretch::Kind::NoFix || stretch.kind == Stretch::Kind::Watchdog;
        if (ofReadings || (ofFixes && what == Of::Fixes))
            spans_.emplace_back(stretch.fromS, stretch.toS);
    }
    std::sort(spans_.begin(), spans_.end());
    std::size_t last = 0;
    for (std::size_t i = 1; i < spans_.size(); ++i)
        if (spans_[i].first <= spans_[last].second)
            spans_[last].second = std::max(spans_[last].second, spans_[i].second);
        else
            spans_[++last] = spans_[i];
    spans_.resize(std::min(spans_.size(), last + 1));
}

bool Breaks::between(double fromS, double toS) const {
    const auto endsBefore = [](const std::pair<double, double>& span, double timeS) {
        return span.second <= timeS;
    };
    const auto span = std::lower_bound(spans_.begin(), spans_.end(), fromS, endsBefore);
    return span != spans_.end() && span->first < toS;
}

std::vector<TrackPoint> trackOf(const Drive& drive) {
    std::vector<TrackPoint> track;
    const Breaks breaks(drive, Breaks::Of::Fixes);
    std::uint32_t fixTick = 0;
    auto run = drive.runs.begin();
    for (std::size_t i = 0; i < drive.samples.size(); ++i) {
        const telemetry::Readings& readings = drive.samples[i].readings;
        while (run != drive.runs.end() && run->sample <= i) {
            fixTick = 0; // a service that was started anew has had none
            ++run;
        }
        if (!readings.fix || readings.fixTickS == 0 || readings.fixTickS == fixTick)
            continue;
        fixTick = readings.fixTickS;
        TrackPoint point = pointOf(drive, i);
        point.begins = track.empty() || breaks.between(track.back().timeS, point.timeS) ||
                       isFar(track.back().at, point.at);
        track.push_back(point);
    }
    return track;
}

SpeedScale::SpeedScale(const std::vector<TrackPoint>& track) {
    double fastest = 0;
    for (const TrackPoint& point : track)
        fastest = std::max(fastest, point.speedKmh);
    for (const double width : kWidths) {
        width_ = width;
        if (fastest < width * kColours)
            break;
    }
    steps_ = std::min(kColours, static_cast<std::size_t>(fastest / width_) + 1);
}

std::size_t SpeedScale::stepOf(double speedKmh) const {
    return std::min(steps_ - 1, static_cast<std::size_t>(speedKmh / width_));
}

std::size_t SpeedScale::colour(std::size_t step) const {
    return steps_ == 1 ? 0 : step * (kColours - 1) / (steps_ - 1);
}

std::string SpeedScale::words(std::size_t step) const {
    const auto from = static_cast<double>(step) * width_;
    return number(from) + " to " + number(from + width_);
}

std::vector<Place> thinned(const std::vector<Place>& line, double tolerance) {
    constexpr std::size_t kAtOnce = 1000; // so that the time stays in proportion to the length
    std::vector<bool> keep(line.size(), false);
    std::vector<Place> kept;
    for (std::size_t from = 0; from + 1 < line.size(); from += kAtOnce) {
        const std::size_t to = std::min(from + kAtOnce, line.size() - 1);
        keep[from] = keep[to] = true;
        keepBetween(line, {from, to}, tolerance, keep);
    }
    for (std::size_t i = 0; i < line.size(); ++i)
        if (keep[i] || line.size() == 1)
            kept.push_back(line[i]);
    return kept;
}

} // namespace report
