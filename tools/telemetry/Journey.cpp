#include "Journey.h"

#include <algorithm>
#include <cmath>

#include "Area.h"

namespace telemetry {

namespace {

constexpr std::int64_t kMsPerSecond = 1000;
constexpr std::uint32_t kStandingMmPerS = 500;
constexpr double kStandingM = 5; // a standing receiver's positions wander by less
constexpr double kMetresPerMicrodegree = 0.111133;
constexpr double kRadiansPerMicrodegree = 3.14159265358979 / 180 * 1e-6;

/// Near enough for a few metres, also across the date line.
double metresBetween(const Position& a, const Position& b) {
    const double north = (static_cast<double>(a.latitude) - b.latitude) * kMetresPerMicrodegree;
    const double turns = (static_cast<double>(a.longitude) - b.longitude) / 360e6;
    const double east = (turns - std::round(turns)) * 360e6 * kMetresPerMicrodegree *
                        std::cos(a.latitude * kRadiansPerMicrodegree);
    return std::hypot(north, east);
}

TrackPoint pointOf(const Readings& readings) {
    const Fix& fix = *readings.fix;
    TrackPoint point;
    point.position = onEarth(fix.position);
    point.altitudeMm = fix.altitudeMm;
    point.utcS = fix.utcS;
    point.speedMmPerS = fix.speedMmPerS;
    point.courseMdeg = fix.courseMdeg;
    point.satellites = readings.satellites;
    point.hdop = static_cast<float>(fix.hdop);
    point.pdop = static_cast<float>(fix.pdop);
    return point;
}

bool isSame(const Geofence& a, const Geofence& b) {
    return a.name == b.name && a.centre.latitude == b.centre.latitude &&
           a.centre.longitude == b.centre.longitude && a.width == b.width && a.height == b.height &&
           a.margin == b.margin;
}

} // namespace

// --- What the lines tell --------------------------------------------------------------------------------

/// Each kind of line leads to its step; most kinds are nothing that a map shows.
struct Journey::Taker {
    Journey& journey;
    const Moment& at;

    template <class Other>
    void operator()(const Other& /*unused*/) const {}
    void operator()(const Start& start) const { journey.begin(start); }
    void operator()(const SettingsTaken& taken) const { journey.keepGeofences(taken.settings); }
    void operator()(const ReadingsTaken& taken) const { journey.takeFix(taken.readings); }
    void operator()(const GeofenceCrossed& event) const {
        journey.mark(at, event.where, event.entered ? "geofence_entered" : "geofence_left",
                     (event.entered ? "entered " : "left ") + event.name, event.name);
    }
    void operator()(const AntennaChanged& event) const {
        journey.mark(at, event.where, "antenna", "antenna " + antennaInWords(event.state));
    }
    void operator()(const AvailabilityChanged& event) const {
        if (journey.available_ == event.available)
            return;
        journey.available_ = event.available;
        journey.mark(at, event.where, "availability", event.available ? "available" : "not available");
    }
    void operator()(const Tracked& event) const {
        const auto where = event.fix ? std::optional(event.fix->position) : std::nullopt;
        journey.mark(at, where, "tracking", "tracking");
    }
};

void Journey::take(const Line& line) { std::visit(Taker{*this, line.at}, line.content); }

void Journey::begin(const Start& start) {
    if (program_.empty())
        program_ = start.program;
    last_.reset();
    available_.reset();
    early_ = marks_.size();
}

void Journey::keepGeofences(const Settings& settings) {
    positionIntervalS_ = settings.positionIntervalS;
    for (const Geofence& geofence : settings.geofences) {
        const auto isIt = [&](const Geofence& other) { return isSame(geofence, other); };
        if (!geofence.isConfigured() || std::any_of(geofences_.begin(), geofences_.end(), isIt))
            continue;
        if (geofences_.size() < limits_.geofences)
            geofences_.push_back(geofence);
        else
            ++geofencesLeftOut_;
    }
}

// --- The track ------------------------------------------------------------------------------------------

void Journey::takeFix(const Readings& readings) {
    if (!readings.fix || (last_ && last_->fixTickS == readings.fixTickS))
        return;
    TrackPoint point = pointOf(readings);
    const std::uint64_t longest = 2 * std::max<std::uint64_t>(positionIntervalS_, 1);
    point.begins = !last_ || readings.fixTickS - last_->fixTickS > longest;
    const bool isFirst = !last_;
    last_ = readings;
    ++fixes_;
    if (isFirst)
        setEarlyTimes();
    keep(point);
    if (points_.size() > limits_.points)
        halve();
}

bool Journey::stands(const TrackPoint& point) const {
    return point.speedMmPerS < kStandingMmPerS && metresBetween(point.position, firm_.position) < kStandingM;
}

void Journey::keep(const TrackPoint& point) {
    const bool stood = standing_;
    standing_ = !point.begins && stands(point);
    // The last fix at a stop stays, as the first one does: what lies between them is the time of the stop.
    const bool replaces = loose_ && !point.begins && stood == standing_;
    if (replaces)
        points_.back() = point;
    else
        points_.push_back(point);
    loose_ = !point.begins && (standing_ || ++sinceFirm_ < stride_);
    if (loose_)
        return;
    sinceFirm_ = 0;
    firm_ = point;
}

void Journey::halve() {
    std::size_t kept = 0;
    bool begins = false; // a segment whose first point went
    for (std::size_t i = 0; i < points_.size(); ++i) {
        begins = begins || points_[i].begins;
        if (i % 2 != 0 && i + 1 < points_.size())
            continue;
        points_[kept] = points_[i];
        points_[kept++].begins = begins;
        begins = false;
    }
    points_.resize(kept);
    stride_ *= 2;
}

// --- The marks ------------------------------------------------------------------------------------------

std::int64_t Journey::timeOf(std::uint32_t tickS) const {
    const auto sinceFixS = static_cast<std::int32_t>(tickS - last_->fixTickS);
    return (last_->fix->utcS + sinceFixS) * kMsPerSecond;
}

/// The marks before the first fix were given the system's time, which may be anything.
void Journey::setEarlyTimes() {
    for (std::size_t i = early_; i < marks_.size(); ++i)
        marks_[i].utcMs = timeOf(marks_[i].tickS);
}

void Journey::mark(const Moment& at, const std::optional<Position>& where, const char* type,
                   const std::string& name, const std::string& geofence) {
    if (marks_.size() >= limits_.marks) {
        ++marksLeftOut_;
        return;
    }
    const auto place = where ? std::optional(onEarth(*where)) : std::nullopt;
    const std::int64_t utcMs = last_ ? timeOf(at.tickS) : at.utcMs;
    marks_.push_back({utcMs, at.tickS, place, type, name, geofence});
}

} // namespace telemetry
