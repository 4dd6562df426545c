#include "TrackGeofences.h"

#include <algorithm>
#include <string>

namespace {

using Track = std::vector<TrackPoint>;

constexpr std::size_t kStretchesPerTrack = 24; ///< how finely stretches are tried
constexpr std::size_t kFewestPoints = 2;       ///< before, inside and after; one alone may slip through

struct Area {
    int32_t south;
    int32_t north;
    int32_t west;
    int32_t east;

    bool holds(const TrackPoint& p) const {
        return south <= p.latitude && p.latitude <= north && west <= p.longitude && p.longitude <= east;
    }
};

struct Candidate {
    Area area;
    std::size_t first;
    std::size_t last;
    std::size_t clarity;
};

/// The smallest area around a stretch whose half extents are whole microdegrees, as the service halves them.
Area around(const Track& track, std::size_t first, std::size_t last) {
    Area area = {track[first].latitude, track[first].latitude, track[first].longitude,
                 track[first].longitude};
    for (std::size_t i = first; i <= last; ++i) {
        area.south = std::min(area.south, track[i].latitude);
        area.north = std::max(area.north, track[i].latitude);
        area.west = std::min(area.west, track[i].longitude);
        area.east = std::max(area.east, track[i].longitude);
    }
    area.north += (area.north - area.south) % 2;
    area.east += (area.east - area.west) % 2;
    return area;
}

/// Points in a row, from `index` on and in steps of `step`, that lie inside or not.
std::size_t run(const Track& track, const Area& area, std::size_t index, int step, bool inside) {
    std::size_t length = 0;
    while (index < track.size() && area.holds(track[index]) == inside) {
        ++length;
        index += static_cast<std::size_t>(step); // wraps below 0, which ends the loop
    }
    return length;
}

/// How clearly the track comes into the area and leaves it again around a stretch; 0 when it doesn't.
std::size_t clarityOf(const Track& track, const Area& area, std::size_t first, std::size_t last) {
    const std::size_t insideBefore = run(track, area, first, -1, true);
    const std::size_t insideAfter = run(track, area, last, 1, true);
    const std::size_t before = run(track, area, first - insideBefore, -1, false);
    const std::size_t after = run(track, area, last + insideAfter, 1, false);
    const std::size_t inside = insideBefore + insideAfter - 1 + (last - first);
    return std::min({before, inside, after});
}

std::vector<Candidate> candidates(const Track& track) {
    const std::size_t step = std::max<std::size_t>(1, track.size() / kStretchesPerTrack);
    std::vector<Candidate> found;
    for (std::size_t first = 1; first < track.size(); first += step)
        for (std::size_t last = first; last + 1 < track.size(); last += step) {
            const Area area = around(track, first, last);
            const std::size_t clarity = clarityOf(track, area, first, last);
            if (clarity >= kFewestPoints)
                found.push_back({area, first, last, clarity});
        }
    return found;
}

GPSGeofence geofence(const Area& area, std::size_t number) {
    GPSGeofence result;
    result.name.setStr(("learned " + std::to_string(number)).c_str());
    result.height = std::max(1u, static_cast<uint32_t>(area.north - area.south));
    result.width = std::max(1u, static_cast<uint32_t>(area.east - area.west));
    result.latitude = area.south + (area.north - area.south) / 2;
    result.longitude = area.west + (area.east - area.west) / 2;
    result.margin = 0;
    return result;
}

bool sameArea(const Area& a, const Area& b) {
    return a.south == b.south && a.north == b.north && a.west == b.west && a.east == b.east;
}

bool overlap(const Candidate& a, const Candidate& b) {
    return (a.first <= b.last && b.first <= a.last) || sameArea(a.area, b.area);
}

} // namespace

std::vector<GPSGeofence> geofencesOnTrack(const Track& track, std::size_t count) {
    std::vector<Candidate> found = candidates(track);
    std::stable_sort(found.begin(), found.end(),
                     [](const Candidate& a, const Candidate& b) { return a.clarity > b.clarity; });
    std::vector<Candidate> chosen;
    std::vector<GPSGeofence> result;
    for (const Candidate& candidate : found) {
        const auto clashes = [&](const Candidate& other) { return overlap(candidate, other); };
        if (chosen.size() == count || std::any_of(chosen.begin(), chosen.end(), clashes))
            continue;
        chosen.push_back(candidate);
        result.push_back(geofence(candidate.area, chosen.size()));
    }
    return result;
}
