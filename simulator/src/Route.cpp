#include "simulator/Route.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "simulator/Geometry.h"
#include "simulator/Numbers.h"

namespace simulator {

namespace {

constexpr double kAccelerationMps2 = 2;
constexpr double kTurnAroundMps = 3; // speed at a corner that leads back
constexpr double kBendMps = 27;      // what a straight line adds to it

// --- Text -----------------------------------------------------------------------------------------------

std::string trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t\r");
    const std::size_t end = text.find_last_not_of(" \t\r");
    return begin == std::string_view::npos ? "" : std::string(text.substr(begin, end - begin + 1));
}

std::vector<std::string> split(std::string_view text, std::string_view separators) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t end = 0; end != std::string_view::npos; begin = end + 1) {
        end = text.find_first_of(separators, begin);
        parts.push_back(trimmed(text.substr(begin, end == std::string_view::npos ? end : end - begin)));
    }
    return parts;
}

double number(const std::string& text, const std::string& what, double lowest, double highest) {
    const std::optional<double> value = parseNumber(text, lowest, highest);
    if (!value)
        throw RouteError("'" + text + "' is no " + what);
    return *value;
}

void setCoordinates(GeoPosition& position, const std::vector<std::string>& words) {
    position.latitudeDeg = number(words[0], "latitude (-90 to 90)", -90, 90);
    position.longitudeDeg = number(words[1], "longitude (-180 to 180)", -180, 180);
}

void setExtra(Waypoint& waypoint, const std::string& word) {
    if (word == "tunnel")
        waypoint.tunnel = true;
    else if (word.rfind("alt=", 0) == 0)
        waypoint.position.altitudeMslM = number(word.substr(4), "altitude", -1000, 100'000);
    else
        waypoint.pauseS = number(word, "pause in seconds, 'tunnel' or 'alt=METRES'", 0, 1e6);
}

Waypoint parseWaypoint(const std::string& line, const GeoPosition& base) {
    const std::vector<std::string> words = split(line, ",");
    if (words.size() < 3)
        throw RouteError("'" + line + "' is not LATITUDE,LONGITUDE,SPEED");
    Waypoint waypoint;
    waypoint.position = base;
    setCoordinates(waypoint.position, words);
    waypoint.speedMps = number(words[2], "speed in m/s (0.1 to 500)", 0.1, 500);
    std::for_each(words.begin() + 3, words.end(), [&](const std::string& word) { setExtra(waypoint, word); });
    return waypoint;
}

// --- Speeds ---------------------------------------------------------------------------------------------

double cornerSpeed(double turnDeg) {
    const double straightness = 1 - std::fabs(std::remainder(turnDeg, 360)) / 180;
    return kTurnAroundMps + kBendMps * straightness * straightness;
}

double reachableSpeed(double fromMps, double distanceM) {
    return std::sqrt(fromMps * fromMps + 2 * kAccelerationMps2 * distanceM);
}

} // namespace

std::vector<Waypoint> parseWaypoints(std::string_view text, const GeoPosition& base) {
    std::vector<Waypoint> waypoints;
    int lineNumber = 0;
    for (const std::string& line : split(text, "\n;")) {
        ++lineNumber;
        if (line.empty() || line.front() == '#')
            continue;
        try {
            waypoints.push_back(parseWaypoint(line, base));
        } catch (const RouteError& error) {
            throw RouteError("route, line " + std::to_string(lineNumber) + ": " + error.what());
        }
    }
    if (waypoints.empty())
        throw RouteError("the route has no waypoint");
    return waypoints;
}

GeoPosition parsePosition(std::string_view text, const GeoPosition& base) {
    const std::vector<std::string> words = split(text, ",");
    if (words.size() != 2 && words.size() != 3)
        throw RouteError("'" + std::string(text) + "' is not LAT,LON[,ALT]");
    GeoPosition position = base;
    setCoordinates(position, words);
    if (words.size() == 3)
        position.altitudeMslM = number(words[2], "altitude", -1000, 100'000);
    return position;
}

// --- Legs -----------------------------------------------------------------------------------------------

double Route::Leg::durationS() const {
    const double rampM =
        (2 * cruiseMps * cruiseMps - entryMps * entryMps - exitMps * exitMps) / 2 / kAccelerationMps2;
    const double rampS = (2 * cruiseMps - entryMps - exitMps) / kAccelerationMps2;
    const double cruiseS = lengthM > 0 ? std::max(0.0, lengthM - rampM) / cruiseMps : 0;
    return from.pauseS + rampS + cruiseS;
}

void Route::Leg::progress(double seconds, double& distanceM, double& speedMps) const {
    const double upS = (cruiseMps - entryMps) / kAccelerationMps2;
    const double downS = (cruiseMps - exitMps) / kAccelerationMps2;
    const double cruiseS = durationS() - from.pauseS - upS - downS;
    const double up = std::clamp(seconds, 0.0, upS);
    const double even = std::clamp(seconds - upS, 0.0, cruiseS);
    const double down = std::clamp(seconds - upS - cruiseS, 0.0, downS);
    distanceM = entryMps * up + kAccelerationMps2 * up * up / 2 + cruiseMps * (even + down) -
                kAccelerationMps2 * down * down / 2;
    speedMps = entryMps + kAccelerationMps2 * (up - down);
}

Route::Route(const GeoPosition& position) : end_(position) {}

Route::Route(std::vector<Waypoint> waypoints, bool repeat) : repeat_(repeat) {
    if (repeat)
        waypoints.push_back(waypoints.front());
    end_ = waypoints.back().position;
    addLegs(waypoints);
    planSpeeds();
    for (Leg& leg : legs_) {
        leg.startS = durationS_;
        leg.startM = lengthM_;
        durationS_ += leg.durationS();
        lengthM_ += leg.lengthM;
    }
}

void Route::addLegs(const std::vector<Waypoint>& waypoints) {
    for (std::size_t i = 0; i + 1 < waypoints.size(); ++i) {
        Leg leg;
        leg.from = waypoints[i];
        leg.to = waypoints[i + 1].position;
        leg.lengthM = distanceM(leg.from.position, leg.to);
        legs_.push_back(leg);
    }
}

// Each leg starts as fast as the corner allows, and no faster than the acceleration reaches from either side.
void Route::planSpeeds() {
    for (std::size_t i = 1; i < legs_.size(); ++i) {
        const Leg& before = legs_[i - 1];
        const double turn = bearingDeg(legs_[i].from.position, legs_[i].to) -
                            normalizedCourse(bearingDeg(before.to, before.from.position) + 180);
        const bool bends = before.lengthM > 0 && legs_[i].lengthM > 0;
        const double corner = legs_[i].from.pauseS > 0 ? 0 : bends ? cornerSpeed(turn) : kBendMps;
        const double wanted = std::min({corner, before.from.speedMps, legs_[i].from.speedMps});
        legs_[i].entryMps = std::min(wanted, reachableSpeed(before.entryMps, before.lengthM));
    }
    double exit = 0;
    for (auto leg = legs_.rbegin(); leg != legs_.rend(); ++leg) {
        leg->exitMps = exit;
        leg->entryMps = std::min(leg->entryMps, reachableSpeed(exit, leg->lengthM));
        const double peak = std::sqrt((2 * kAccelerationMps2 * leg->lengthM + leg->entryMps * leg->entryMps +
                                       leg->exitMps * leg->exitMps) /
                                      2);
        leg->cruiseMps = std::max({std::min(leg->from.speedMps, peak), leg->entryMps, leg->exitMps});
        exit = leg->entryMps;
    }
}

Duration Route::duration() const { return fromSeconds(durationS_); }

// --- Position -------------------------------------------------------------------------------------------

MotionState Route::onLeg(const Leg& leg, double seconds) const {
    double drivenM = 0;
    MotionState state;
    leg.progress(seconds - leg.startS - leg.from.pauseS, drivenM, state.speedMps);
    const double fraction = leg.lengthM > 0 ? std::clamp(drivenM / leg.lengthM, 0.0, 1.0) : 0;
    state.position = interpolated(leg.from.position, leg.to, fraction);
    const bool nearStart = fraction < 0.5; // measured towards the far end, where the bearing is well defined
    state.courseDeg = nearStart ? bearingDeg(state.position, leg.to)
                                : normalizedCourse(bearingDeg(state.position, leg.from.position) + 180);
    if (leg.lengthM > 0)
        state.climbMps =
            state.speedMps * (leg.to.altitudeMslM - leg.from.position.altitudeMslM) / leg.lengthM;
    state.travelledM = leg.startM + drivenM;
    state.skyBlocked = leg.from.tunnel;
    return state;
}

MotionState Route::at(Duration sinceDeparture) const {
    double seconds = std::max(0.0, inSeconds(sinceDeparture));
    MotionState standing;
    standing.position = end_;
    standing.arrived = !repeat_;
    if (legs_.empty())
        return standing;
    double rounds = 0;
    if (repeat_ && durationS_ > 0) {
        rounds = std::floor(seconds / durationS_);
        seconds -= rounds * durationS_;
    }
    const auto next = std::upper_bound(legs_.begin(), legs_.end(), seconds,
                                       [](double s, const Leg& leg) { return s < leg.startS; });
    MotionState state = onLeg(*std::prev(next), seconds);
    state.travelledM += rounds * lengthM_;
    state.arrived = !repeat_ && seconds >= durationS_;
    if (state.arrived) {
        standing.courseDeg = state.courseDeg;
        standing.travelledM = lengthM_;
        return standing;
    }
    return state;
}

} // namespace simulator
