#ifndef GPSRECORD_H
#define GPSRECORD_H

#include <gps.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <limits>
#include <type_traits>
#include <utility>

/// How tests fill a report of libgps without naming what moved between its generations: the fix's status and
/// time, its altitudes, the sky's angles. Everything else has one name and one type in all of them and is
/// written into the record as it is.
///
/// It shares nothing with the library's own way to read them. A `Report` is the libgps's `gps_data_t`, or a
/// stand-in of another generation's shape; its members decide, never a version number.
namespace gpsrecord {

template <typename T, typename = void>
struct HasStatus : std::false_type {};
template <typename T>
struct HasStatus<T, std::void_t<decltype(T::status)>> : std::true_type {};

template <typename T, typename = void>
struct HasAltMsl : std::false_type {};
template <typename T>
struct HasAltMsl<T, std::void_t<decltype(T::altMSL)>> : std::true_type {};

inline void assign(double& time, int64_t seconds, long ns) {
    time = static_cast<double>(seconds) + static_cast<double>(ns) / 1e9;
}
/// A second that the libgps at hand has no room for, with 32 bits, is its last or first.
inline void assign(timespec& time, int64_t seconds, long ns) {
    using Limits = std::numeric_limits<time_t>;
    const int64_t notBefore = seconds < Limits::min() ? Limits::min() : seconds;
    time.tv_sec = static_cast<time_t>(notBefore > Limits::max() ? Limits::max() : notBefore);
    time.tv_nsec = ns;
}

template <typename Angle>
Angle asAngle(double degrees) {
    if constexpr (std::is_floating_point_v<Angle>)
        return static_cast<Angle>(degrees);
    else if (std::isnan(degrees))
        return 0;
    else
        return static_cast<Angle>(std::clamp(degrees, -32768.0, 32767.0));
}

/// The type of a function's third argument.
template <typename Result, typename First, typename Second, typename Third>
Third thirdArgument(Result (*)(First, Second, Third));

} // namespace gpsrecord

// --- What a generation can say --------------------------------------------------------------------------

/// Its altitudes above the sea and above the ellipsoid are two.
template <typename Report>
constexpr bool kTellsAltitudesApart = gpsrecord::HasAltMsl<decltype(Report::fix)>::value;

/// Its times may be no numbers, or infinite.
template <typename Report>
constexpr bool kTimeIsADouble = std::is_floating_point_v<decltype(decltype(Report::fix)::time)>;

/// Its angles may be no numbers, infinite, or fractions of a degree; otherwise they have 16 bits.
template <typename Report>
constexpr bool kAnglesAreDoubles =
    std::is_floating_point_v<std::decay_t<decltype(std::declval<Report&>().skyview[0].elevation)>>;

/// A SKY with dilutions alone, without a number of satellites, is no view of the sky: since 3.25, as far as
/// it was tried (3.22, 3.25, 3.27.5). No member changed with it, but the type of a device's name.
constexpr bool kTellsDilutionsFromASky =
    std::is_same_v<decltype(gpsrecord::thirdArgument(gps_stream)), const char*>;

// --- Setters --------------------------------------------------------------------------------------------

template <typename Report>
void setStatus(Report& r, int status) {
    if constexpr (gpsrecord::HasStatus<Report>::value)
        r.status = status;
    else
        r.fix.status = status;
}

/// `ns` counts upwards from the second, also before 1970: -0.5 s is second -1 and 500,000,000 ns.
template <typename Report>
void setTime(Report& r, int64_t seconds, long ns) {
    gpsrecord::assign(r.fix.time, seconds, ns);
}

/// A time that is no number, or infinite, only where kTimeIsADouble.
template <typename Report>
void setTime(Report& r, double seconds) {
    if constexpr (kTimeIsADouble<Report>)
        r.fix.time = seconds;
    else
        setTime(r, static_cast<int64_t>(std::floor(seconds)),
                static_cast<long>((seconds - std::floor(seconds)) * 1e9));
}

/// The altitude above the sea, or the one that there is.
template <typename Report>
void setAltitude(Report& r, double metres) {
    if constexpr (kTellsAltitudesApart<Report>)
        r.fix.altMSL = metres;
    else
        r.fix.altitude = metres;
}

/// Every altitude that there is. Where there are two, an older one may stand beside them that tells nothing:
/// it gets a value that nobody may take.
template <typename Report>
void setAltitudes(Report& r, double aboveSea, double aboveEllipsoid) {
    if constexpr (kTellsAltitudesApart<Report>)
        r.fix.altHAE = aboveEllipsoid, r.fix.altitude = -9999;
    setAltitude(r, aboveSea);
}

/// A whole report of a receiver that drives north, by 0.0002 degrees from the one before.
inline void fillNorthbound(gps_data_t& r) {
    r.set = ~gps_mask_t{0};
    r.fix.mode = 3;
    r.fix.latitude = r.fix.latitude == 0 ? 48.0 : r.fix.latitude + 0.0002;
    r.fix.longitude = 11.5;
    setAltitude(r, 500);
    setTime(r, 1700000000, 0);
    r.satellites_visible = 12;
    r.satellites_used = 8;
    r.dop.pdop = 1.5;
}

/// A satellite's place in the sky, degrees; limited to what the generation's angles can hold.
template <typename Satellite>
void setAngles(Satellite& satellite, double elevation, double azimuth) {
    satellite.elevation = gpsrecord::asAngle<decltype(satellite.elevation)>(elevation);
    satellite.azimuth = gpsrecord::asAngle<decltype(satellite.azimuth)>(azimuth);
}

#endif
