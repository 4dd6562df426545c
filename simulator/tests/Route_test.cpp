#include "simulator/Route.h"

#include <cmath>
#include <gtest/gtest.h>

#include "simulator/Geometry.h"

using namespace simulator;
using namespace std::chrono_literals;

namespace {

const GeoPosition kBase{47, 8, 400, 47};
constexpr double kMetresPerDegree = 111'195.0797; // on the sphere of the routes

Route routeOf(const std::string& text, bool repeat = false) {
    return Route(parseWaypoints(text, kBase), repeat);
}

Duration seconds(double value) {
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(value));
}

std::string errorOf(const std::string& text) {
    try {
        parseWaypoints(text, kBase);
    } catch (const RouteError& error) {
        return error.what();
    }
    return "";
}

} // namespace

// --- Text -----------------------------------------------------------------------------------------------

TEST(RouteText, LinesBecomeWaypoints) {
    const auto waypoints =
        parseWaypoints("# a drive\n\n47.1, 8.2, 13.9\n47.2,8.3,5,30,tunnel,alt=612.5\n", kBase);
    ASSERT_EQ(2u, waypoints.size());
    EXPECT_DOUBLE_EQ(47.1, waypoints[0].position.latitudeDeg);
    EXPECT_DOUBLE_EQ(400, waypoints[0].position.altitudeMslM);
    EXPECT_DOUBLE_EQ(30, waypoints[1].pauseS);
    EXPECT_DOUBLE_EQ(612.5, waypoints[1].position.altitudeMslM);
    EXPECT_TRUE(waypoints[1].tunnel);
    EXPECT_FALSE(waypoints[0].tunnel);
}

TEST(RouteText, ErrorsNameLineAndReason) {
    EXPECT_EQ("route, line 2: '91' is no latitude (-90 to 90)", errorOf("47,8,10\n91,8,10\n"));
    EXPECT_EQ("route, line 1: '47,8' is not LATITUDE,LONGITUDE,SPEED", errorOf("47,8"));
    EXPECT_EQ("route, line 1: '0' is no speed in m/s (0.1 to 500)", errorOf("47,8,0"));
    EXPECT_EQ("route, line 1: 'nan' is no latitude (-90 to 90)", errorOf("nan,8,10"));
    EXPECT_EQ("route, line 1: 'bridge' is no pause in seconds, 'tunnel' or 'alt=METRES'",
              errorOf("47,8,10,bridge"));
    EXPECT_EQ("the route has no waypoint", errorOf("# nothing\n"));
}

// --- Length and way -------------------------------------------------------------------------------------

TEST(Route, LengthIsTheSumOfItsGreatCircles) {
    EXPECT_NEAR(kMetresPerDegree / 100, routeOf("47,8,10;47.01,8,10").lengthM(), 1e-3);
    const double eastward = kMetresPerDegree / 100 * std::cos(radians(47.01));
    EXPECT_NEAR(kMetresPerDegree / 100 + eastward, routeOf("47,8,10;47.01,8,10;47.01,8.01,10").lengthM(),
                0.01);
}

TEST(Route, DriveStartsAndEndsStanding) {
    const Route route = routeOf("47,8,10;47.01,8,10");
    EXPECT_DOUBLE_EQ(0, route.at(0s).speedMps);
    EXPECT_FALSE(route.at(0s).arrived);
    const MotionState end = route.at(route.duration() + 1s);
    EXPECT_TRUE(end.arrived);
    EXPECT_DOUBLE_EQ(0, end.speedMps);
    EXPECT_DOUBLE_EQ(47.01, end.position.latitudeDeg);
    EXPECT_DOUBLE_EQ(route.lengthM(), end.travelledM);
}

TEST(Route, DurationHoldsSpeedingUpAndSlowingDown) {
    // 1111.951 m at 10 m/s and 2 m/s2: 5 s and 25 m at either end, 1061.951 m evenly.
    EXPECT_NEAR(116.195, std::chrono::duration<double>(routeOf("47,8,10;47.01,8,10").duration()).count(),
                1e-3);
}

TEST(Route, SpeedAndCourseFollowTheLeg) {
    const MotionState middle = routeOf("47,8,10;47.01,8,10").at(60s);
    EXPECT_DOUBLE_EQ(10, middle.speedMps);
    EXPECT_NEAR(0, std::remainder(middle.courseDeg, 360), 1e-6);
    EXPECT_NEAR(575, middle.travelledM, 1e-6);
    EXPECT_NEAR(47 + 575 / kMetresPerDegree, middle.position.latitudeDeg, 1e-8);
}

TEST(Route, NeverJumpsAndNeverAcceleratesHard) {
    const Route route = routeOf("47,8,30;47.01,8,10;47.01,8.01,25,5;47.002,8.003,30;47.002,8.003,3;47,8,8");
    MotionState before = route.at(0s);
    double drivenM = 0;
    for (double t = 0.1; seconds(t) < route.duration() + 2s; t += 0.1) {
        const MotionState now = route.at(seconds(t));
        drivenM += distanceM(before.position, now.position);
        EXPECT_LE(distanceM(before.position, now.position), 3.01) << t;
        EXPECT_LE(std::fabs(now.speedMps - before.speedMps), 0.2001) << t;
        before = now;
    }
    EXPECT_NEAR(route.lengthM(), drivenM, 0.01 * route.lengthM());
}

TEST(Route, StandsThroughAPause) {
    const Route route = routeOf("47,8,10,30;47.01,8,10");
    EXPECT_DOUBLE_EQ(0, route.at(29s).travelledM);
    EXPECT_LT(0, route.at(31s).travelledM);
}

TEST(Route, SharpCornersAreTakenSlowly) {
    const Route route = routeOf("47,8,25;47.01,8,25;47,8.0001,25");
    double slowest = 25;
    for (double t = 20; t < 100; t += 0.1)
        slowest = std::min(slowest, route.at(seconds(t)).speedMps);
    EXPECT_GT(5, slowest);
    EXPECT_LT(2, slowest);
}

TEST(Route, TunnelBlocksTheSkyOnItsLegOnly) {
    const Route route = routeOf("47,8,10;47.01,8,10,tunnel;47.02,8,10;47.03,8,10");
    EXPECT_FALSE(route.at(60s).skyBlocked);
    EXPECT_TRUE(route.at(160s).skyBlocked);
    EXPECT_FALSE(route.at(270s).skyBlocked);
}

TEST(Route, RepeatingLeadsBackToTheStart) {
    const Route route = routeOf("47,8,10;47.01,8,10", true);
    EXPECT_NEAR(2 * kMetresPerDegree / 100, route.lengthM(), 1e-3);
    const MotionState second = route.at(route.duration() + 60s);
    EXPECT_FALSE(second.arrived);
    EXPECT_NEAR(route.lengthM() + 575, second.travelledM, 0.1);
}

TEST(Route, CrossesTheDateLine) {
    const Route route = routeOf("0,179.99,20;0,-179.99,20");
    EXPECT_NEAR(0.02 * kMetresPerDegree, route.lengthM(), 1e-3);
    EXPECT_LT(179.98, std::fabs(route.at(60s).position.longitudeDeg));
}

TEST(Route, ClimbFollowsTheAltitudes) {
    const Route route = routeOf("47,8,10;47.01,8,10,alt=511.1951");
    EXPECT_NEAR(1.0, route.at(60s).climbMps, 1e-3);
}

TEST(Route, StandingRouteStandsForEver) {
    const MotionState state = Route(kBase).at(24h);
    EXPECT_DOUBLE_EQ(47, state.position.latitudeDeg);
    EXPECT_DOUBLE_EQ(0, state.travelledM);
}

TEST(Route, RepeatedWaypointIsNoObstacle) {
    const Route route = routeOf("47,8,10;47,8,10;47.01,8,10");
    EXPECT_NEAR(kMetresPerDegree / 100, route.lengthM(), 1e-3);
    EXPECT_TRUE(route.at(route.duration() + 1s).arrived);
}
