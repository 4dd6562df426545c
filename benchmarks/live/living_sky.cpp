// living_sky SATELLITES SECONDS
//
// Options for receiver-simulator that let it stand where, from now on and for so long, just so many
// satellites are above the horizon of the systems that the library has the receiver use: "--start 12,34,100
// --seed 3". Status 1 when there is no such place.

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "simulator/Sky.h"

namespace {

using simulator::Constellation;

constexpr double kLookEveryS = 15;
constexpr double kAltitudeM = 100;

const std::set<Constellation> kSystems = {Constellation::Gps, Constellation::Sbas, Constellation::Galileo,
                                          Constellation::Qzss, Constellation::Glonass};

bool hasSky(const simulator::Sky& sky, double latitude, double longitude, std::size_t satellites,
            double seconds) {
    const simulator::GeoPosition place = {latitude, longitude, kAltitudeM, 0};
    const auto now = std::chrono::system_clock::now();
    for (double later = 0; later <= seconds; later += kLookEveryS)
        if (sky.above(place, now + simulator::fromSeconds(later), kSystems).size() != satellites)
            return false;
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    const auto satellites = static_cast<std::size_t>(atoi(argv[1]));
    for (unsigned int seed = 1; seed < 20; ++seed)
        for (double latitude = -55; latitude <= 65; latitude += 5)
            for (double longitude = -175; longitude < 180; longitude += 5)
                if (hasSky(simulator::Sky(seed), latitude, longitude, satellites, atof(argv[2]))) {
                    std::printf("--start %g,%g,%g --seed %u\n", latitude, longitude, kAltitudeM, seed);
                    return 0;
                }
    return 1;
}
