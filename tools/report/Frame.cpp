#include "Frame.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "GeofenceArithmetic.h"

namespace report {

namespace {

constexpr double kLowest = 420;  // a drive that goes straight east
constexpr double kHighest = 800; // one that goes straight north
constexpr double kLeastMetres = 60;
constexpr double kFree = 0.07; // of the width, beside what is shown
constexpr double kMicrodegrees = 1e6;

bool operator==(const telemetry::Geofence& a, const telemetry::Geofence& b) {
    return a.name == b.name && a.centre.latitude == b.centre.latitude &&
           a.centre.longitude == b.centre.longitude && a.width == b.width && a.height == b.height &&
           a.margin == b.margin;
}

/// The area that goes on with these settings, or null.
Area* sameBefore(std::vector<Area>& areas, std::size_t slot, const telemetry::Geofence& geofence,
                 double timeS) {
    for (Area& area : areas)
        if (area.slot == slot && area.geofence == geofence && area.toS >= timeS)
            return &area;
    return nullptr;
}

void take(std::vector<Area>& areas, const telemetry::Settings& settings, double fromS, double toS) {
    for (std::size_t slot = 0; slot < settings.geofences.size(); ++slot) {
        const telemetry::Geofence& geofence = settings.geofences[slot];
        if (!geofence.isConfigured())
            continue;
        if (Area* before = sameBefore(areas, slot, geofence, fromS)) {
            before->toS = toS;
            before->watched = before->watched || settings.geofencesEnabled;
        } else {
            areas.push_back({slot, geofence, settings.geofencesEnabled, fromS, toS});
        }
    }
}

/// From where to where an extent reaches, degrees.
struct Span {
    double low;
    double high;
};

Span spanOf(std::int32_t centre, std::uint32_t extent, std::uint32_t margin, double limitDeg) {
    // The library's sums wrap at 32 bits, and so do these.
    const std::uint32_t half = geofencing::halfWithMargin(extent, margin);
    const auto low = static_cast<std::int32_t>(static_cast<std::uint32_t>(centre) - half);
    const auto high = static_cast<std::int32_t>(static_cast<std::uint32_t>(centre) + half);
    return {std::max(low / kMicrodegrees, -limitDeg), std::min(high / kMicrodegrees, limitDeg)};
}

} // namespace

std::vector<Area> areasOf(const Drive& drive) {
    std::vector<Area> areas;
    for (std::size_t i = 0; i < drive.settings.size(); ++i) {
        const bool last = i + 1 == drive.settings.size();
        take(areas, drive.settings[i].settings, drive.settings[i].timeS,
             last ? drive.durationS : drive.settings[i + 1].timeS);
    }
    return areas;
}

std::vector<Ground> outline(const Projection& projection, const telemetry::Geofence& geofence,
                            std::uint32_t margin) {
    constexpr int kParts = 16; // of each side: a long one is no straight line on the drawing
    const Span east = spanOf(geofence.centre.longitude, geofence.width, margin, 180);
    const Span north = spanOf(geofence.centre.latitude, geofence.height, margin, 90);
    if (east.low > east.high || north.low > north.high)
        return {};
    const double corners[][2] = {{east.low, north.low},
                                 {east.high, north.low},
                                 {east.high, north.high},
                                 {east.low, north.high},
                                 {east.low, north.low}};
    std::vector<Ground> points;
    for (std::size_t side = 0; side < 4; ++side)
        for (int part = 0; part < kParts; ++part) {
            const double share = static_cast<double>(part) / kParts;
            const auto between = [&](int i) {
                return corners[side][i] + share * (corners[side + 1][i] - corners[side][i]);
            };
            points.push_back(projection.on(between(1), between(0)));
        }
    return points;
}

// --- Frame ----------------------------------------------------------------------------------------------

struct Frame::Box {
    double west = std::numeric_limits<double>::max();
    double east = std::numeric_limits<double>::lowest();
    double south = std::numeric_limits<double>::max();
    double north = std::numeric_limits<double>::lowest();

    bool isEmpty() const { return west > east; }
    double size() const { return std::max(east - west, north - south); }

    void take(const Ground& ground) {
        west = std::min(west, ground.east);
        east = std::max(east, ground.east);
        south = std::min(south, ground.north);
        north = std::max(north, ground.north);
    }

    /// What of another one lies so near; nothing where none of it does.
    void takeNear(const Box& other, double metres) {
        if (other.isEmpty() || other.west > east + metres || other.east < west - metres ||
            other.south > north + metres || other.north < south - metres)
            return;
        const Box limit{west - metres, east + metres, south - metres, north + metres};
        take({std::max(other.west, limit.west), std::max(other.south, limit.south)});
        take({std::min(other.east, limit.east), std::min(other.north, limit.north)});
    }
};

namespace {

Projection projectionOf(const std::vector<TrackPoint>& track, const std::vector<Area>& areas) {
    std::vector<telemetry::Position> positions;
    for (const TrackPoint& point : track)
        positions.push_back(point.at);
    if (track.empty())
        for (const Area& area : areas)
            positions.push_back(area.geofence.centre);
    return Projection::around(positions);
}

} // namespace

Frame::Frame(const std::vector<TrackPoint>& track, const std::vector<Area>& areas)
    : projection_(projectionOf(track, areas)), height_(kLowest) {
    constexpr double kNear = 0.5; // of the track's size
    constexpr double kLeastNearMetres = 300;
    Box box;
    for (const TrackPoint& point : track)
        box.take(projection_.on(point.at));
    const double near = std::max(kNear * box.size(), kLeastNearMetres);
    for (const Area& area : areas) {
        Box own;
        for (const Ground& ground : outline(projection_, area.geofence, area.geofence.margin))
            own.take(ground);
        if (track.empty() && !own.isEmpty()) {
            box.take({own.west, own.south});
            box.take({own.east, own.north});
        } else if (!track.empty()) {
            box.takeNear(own, near);
        }
    }
    empty_ = box.isEmpty();
    if (!empty_)
        show(box);
}

void Frame::show(const Box& box) {
    const double width = std::max(box.east - box.west, kLeastMetres);
    const double height = std::max(box.north - box.south, kLeastMetres);
    const double room = kWidth * (1 - 2 * kFree);
    height_ = std::clamp(room * height / width + 2 * kFree * kWidth, kLowest, kHighest);
    scale_ = std::min(room / width, (height_ - 2 * kFree * kWidth) / height);
    middle_ = {(box.west + box.east) / 2, (box.south + box.north) / 2};
}

Place Frame::on(const Ground& ground) const {
    return {kWidth / 2 + (ground.east - middle_.east) * scale_,
            height_ / 2 - (ground.north - middle_.north) * scale_};
}

double Frame::gridM() const {
    constexpr double kLeastUnits = 110; // between two lines
    const double least = kLeastUnits / scale_;
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0})
        if (factor * power >= least)
            return factor * power;
    return 10 * power;
}

} // namespace report
