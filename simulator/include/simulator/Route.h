#ifndef ROUTE_H
#define ROUTE_H

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Epoch.h"

/// Where the antenna is: standing at a point, or on its way along waypoints.
///
/// A drive speeds up and slows down with a bounded acceleration, takes sharp corners slowly and stands at the
/// end. Its positions lie exactly on the great circles between the waypoints, so its length is known exactly.

namespace simulator {

/// One point of a drive.
struct Waypoint {
    GeoPosition position;
    double speedMps = 0; ///< wanted on the leg that starts here
    double pauseS = 0;   ///< stands here for so long
    bool tunnel = false; ///< no sky on the leg that starts here
};

/// Where the antenna is at a moment, and how it moves.
struct MotionState {
    GeoPosition position;
    double speedMps = 0;
    double courseDeg = 0;    ///< 0 to 360
    double climbMps = 0;     ///< upwards positive
    double travelledM = 0;   ///< along the route since departure
    bool skyBlocked = false; ///< inside a tunnel
    bool arrived = false;    ///< at the end of a route that does not repeat
};

/// A text that is no route; what() names line and reason.
class RouteError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Waypoints from text: one per line (or separated by ';') as
///     LATITUDE,LONGITUDE,SPEED[,PAUSE][,alt=METRES][,tunnel]
/// in decimal degrees, m/s, seconds. Empty lines and lines that start with '#' are skipped. `base` gives the
/// altitude and the geoid separation where a line names none. Throws RouteError.
std::vector<Waypoint> parseWaypoints(std::string_view text, const GeoPosition& base);

/// "LAT,LON[,ALT]" in decimal degrees and metres; throws RouteError.
GeoPosition parsePosition(std::string_view text, const GeoPosition& base);

class Route {
public:
    /// Stands at this point for ever.
    explicit Route(const GeoPosition& position);
    /// At least one waypoint. With `repeat` the last one leads back to the first and the drive begins again.
    Route(std::vector<Waypoint> waypoints, bool repeat);

    /// Metres along all legs (of one round, where it repeats).
    double lengthM() const { return lengthM_; }
    /// From departure to arrival, pauses included (of one round).
    Duration duration() const;
    /// `sinceDeparture` below zero stands at the first waypoint.
    MotionState at(Duration sinceDeparture) const;

private:
    /// One leg: a pause at its start, then speeding up, driving evenly, slowing down.
    struct Leg {
        Waypoint from;
        GeoPosition to;
        double lengthM = 0;
        double startS = 0; ///< since departure, pause included in the leg
        double startM = 0;
        double entryMps = 0;
        double cruiseMps = 0;
        double exitMps = 0;

        double durationS() const;
        /// Distance and speed at a time after the pause.
        void progress(double seconds, double& distanceM, double& speedMps) const;
    };

    void addLegs(const std::vector<Waypoint>& waypoints);
    void planSpeeds();
    MotionState onLeg(const Leg& leg, double seconds) const;

    std::vector<Leg> legs_;
    GeoPosition end_;
    bool repeat_ = false;
    double lengthM_ = 0;
    double durationS_ = 0;
};

} // namespace simulator

#endif
