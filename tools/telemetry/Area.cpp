#include "Area.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace telemetry {

namespace {

constexpr std::int64_t kPole = 90000000;
constexpr std::int64_t kDateLine = 180000000;
constexpr std::int64_t kTurn = 2 * kDateLine;

struct Range {
    std::int64_t low;
    std::int64_t high;
};

/// As the library reckons: half the extent, rounded down, and the margin, in 32 bits. A bound beyond 32 bits
/// makes a range that holds no position of this planet.
std::optional<Range> rangeOf(std::int32_t centre, std::uint32_t extent, std::uint32_t margin) {
    const std::uint32_t half = margin + (extent >> 1);
    const Range range = {std::int64_t{centre} - half, std::int64_t{centre} + half};
    if (range.low < std::numeric_limits<std::int32_t>::min() ||
        range.high > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    return range;
}

std::optional<Range> within(const Range& range, std::int64_t bound) {
    const Range cut = {std::max(range.low, -bound), std::min(range.high, bound)};
    return cut.low <= cut.high ? std::optional(cut) : std::nullopt;
}

/// What of the longitudes lies behind the date line, without what is in front of it anyway.
std::optional<Range> behindDateLine(const Range& range) {
    const bool east = range.high > kDateLine;
    const bool west = range.low < -kDateLine;
    if (east == west) // none, or all around
        return std::nullopt;
    if (east)
        return Range{-kDateLine, std::min(range.high - kTurn, range.low)};
    return Range{std::max(range.low + kTurn, range.high), kDateLine};
}

Position positionAt(std::int64_t latitude, std::int64_t longitude) {
    return {static_cast<std::int32_t>(latitude), static_cast<std::int32_t>(longitude)};
}

Box boxOf(const Range& latitudes, const Range& longitudes) {
    return {positionAt(latitudes.low, longitudes.low), positionAt(latitudes.high, longitudes.high)};
}

} // namespace

Area areaOf(const Geofence& geofence, std::uint32_t marginMicrodegrees) {
    const auto height = rangeOf(geofence.centre.latitude, geofence.height, marginMicrodegrees);
    const auto width = rangeOf(geofence.centre.longitude, geofence.width, marginMicrodegrees);
    if (!geofence.isConfigured() || !height || !width)
        return {};
    const auto latitudes = within(*height, kPole);
    const auto longitudes = within(*width, kDateLine);
    if (!latitudes || !longitudes)
        return {};
    Area area;
    area.counted = boxOf(*latitudes, *longitudes);
    if (const auto behind = behindDateLine(*width))
        area.beyond = boxOf(*latitudes, *behind);
    return area;
}

Position onEarth(const Position& position) {
    const std::int64_t latitude = std::clamp<std::int64_t>(position.latitude, -kPole, kPole);
    std::int64_t longitude = position.longitude;
    if (std::abs(longitude) > kDateLine)
        longitude -= kTurn * ((longitude + (longitude > 0 ? kDateLine : -kDateLine)) / kTurn);
    return positionAt(latitude, longitude);
}

bool crossesDateLine(const Position& from, const Position& to) {
    return std::abs(std::int64_t{from.longitude} - to.longitude) > kDateLine;
}

} // namespace telemetry
