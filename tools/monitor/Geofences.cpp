#include "Geofences.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "Words.h"

namespace monitor {

namespace {

constexpr double kMicrodegrees = 1e6;
constexpr double kRadiansPerDegree = 3.141592653589793 / 180;
constexpr double kHighestLatitudeForMetres = 89;
constexpr std::uint32_t kUsualMargin = 1500; // microdegrees, as a fresh GPSGeofence has

[[noreturn]] void refuse(const Given& given, const std::string& mustBe) {
    throw SettingError(given.place + " is " + given.text + "; it must be " + mustBe);
}

std::int32_t microdegrees(double degrees) {
    return static_cast<std::int32_t>(std::lround(degrees * kMicrodegrees));
}

/// What a length of so many metres is in degrees, northwards or, at a latitude, eastwards.
double degreesOf(const GivenLength& length, double metresPerDegree) {
    return length.inMetres ? length.given.value / metresPerDegree : length.given.value;
}

std::uint32_t inMicrodegrees(const GivenLength& length, double metresPerDegree, const Extent& extent) {
    const double unit = length.inMetres ? metresPerDegree : 1;
    const double degrees = degreesOf(length, metresPerDegree);
    if (!(degrees >= extent.low && degrees <= extent.high))
        refuse(length.given, rangeText(extent, unit) + (length.inMetres ? " metres" : " degrees"));
    return static_cast<std::uint32_t>(std::lround(degrees * kMicrodegrees));
}

double eastwards(const GivenGeofence& given) {
    const double metresPerDegree = metresPerDegreeEastwards(given.latitude.value);
    if (given.width.inMetres && metresPerDegree <= 0)
        refuse(given.width.given, "given in degrees within a degree of a pole");
    return metresPerDegree;
}

/// The service compares longitudes as they are.
void checkDateLine(const GivenGeofence& given, const telemetry::Geofence& geofence) {
    const std::uint32_t half = geofence.width / 2; // rounded down, as the service does it
    if (std::fabs(geofence.centre.longitude / kMicrodegrees) + half / kMicrodegrees > kDateLine)
        throw SettingError(
            given.longitude.place + " is " + given.longitude.text + " with a width of " +
            format("%.6f", geofence.width / kMicrodegrees) +
            " degrees; it must be so that the area ends at 180 degrees, as the service doesn't go "
            "on across the date line (two geofences do)");
}

bool isPrintable(const std::string& name) { return !name.empty() && printable(name) == name; }

} // namespace

double metresPerDegreeEastwards(double latitude) {
    const bool isAtAPole = std::fabs(latitude) > kHighestLatitudeForMetres;
    return isAtAPole ? 0 : kMetresPerDegree * std::cos(latitude * kRadiansPerDegree);
}

std::string rangeText(const Extent& extent, double unit) {
    return format("from %.7g to %.7g", extent.low * unit, extent.high * unit);
}

std::string inRange(const char* what, double low, double high) {
    return format("%s from %.15g to %.15g", what, low, high);
}

void checkRange(const Given& given, const char* what, double low, double high) {
    if (!(given.value >= low && given.value <= high))
        refuse(given, inRange(what, low, high));
}

telemetry::Geofence geofenceOf(const GivenGeofence& given) {
    if (!isPrintable(given.name))
        throw SettingError(given.place + " is '" + printable(given.name) +
                           "'; it must be a text of one character or more, none of them a control character");
    checkRange(given.latitude, "a number of degrees", -kHighestLatitude, kHighestLatitude);
    checkRange(given.longitude, "a number of degrees", -kDateLine, kDateLine);
    telemetry::Geofence geofence;
    geofence.name = given.name;
    geofence.centre = {microdegrees(given.latitude.value), microdegrees(given.longitude.value)};
    geofence.width = inMicrodegrees(given.width, eastwards(given), kWidth);
    geofence.height = inMicrodegrees(given.height, kMetresPerDegree, kHeight);
    geofence.margin = given.margin ? inMicrodegrees(*given.margin, kMetresPerDegree, kMargin) : kUsualMargin;
    checkDateLine(given, geofence);
    return geofence;
}

void add(const GivenGeofence& given, telemetry::Settings& settings) {
    const telemetry::Geofence geofence = geofenceOf(given);
    for (const telemetry::Geofence& other : settings.geofences)
        if (other.isConfigured() && other.name == geofence.name)
            throw SettingError(given.place + " is '" + given.name +
                               "' a second time; it must be a name that no other geofence has");
    const auto free = std::find_if_not(settings.geofences.begin(), settings.geofences.end(),
                                       [](const telemetry::Geofence& each) { return each.isConfigured(); });
    if (free == settings.geofences.end())
        throw SettingError(given.place + " is '" + given.name + "', the " +
                           std::to_string(telemetry::kGeofences + 1) + "th; there must be " +
                           std::to_string(telemetry::kGeofences) + " geofences at most");
    *free = geofence;
    settings.geofencesEnabled = true;
}

} // namespace monitor
