#ifndef GEOFENCES_H
#define GEOFENCES_H

#include <optional>
#include <stdexcept>
#include <string>

#include "Telemetry.h"

/// Geofences as people give them, in degrees or metres.

namespace monitor {

/// A setting that can't be taken; what() says which and what would be right, without a full stop.
class SettingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A number as it was given.
struct Given {
    double value = 0;
    std::string text;  ///< as it stands there
    std::string place; ///< its name in messages: "settings.toml:3: 'latitude_deg'"
};

struct GivenLength {
    Given given;
    bool inMetres = false;
};

struct GivenGeofence {
    std::string name;
    std::string place; ///< of the name
    Given latitude;
    Given longitude;
    GivenLength width;
    GivenLength height;
    std::optional<GivenLength> margin; ///< the library's usual one where it is missing
};

constexpr double kHighestLatitude = 90;
constexpr double kDateLine = 180;

/// What a length may be, in degrees.
struct Extent {
    double low;
    double high;
};
constexpr Extent kWidth = {1e-6, 360};
constexpr Extent kHeight = {1e-6, 180};
constexpr Extent kMargin = {0, 90};

constexpr double kMetresPerDegree = 111132.86273635781; // as the service's odometer has it

/// What a degree of longitude is in metres; 0 where that is too few to reckon with, at the poles.
double metresPerDegreeEastwards(double latitude);

/// "from 1e-06 to 360"; a unit is its metres, for example.
std::string rangeText(const Extent& extent, double unit);

/// "a number of degrees from -90 to 90": what, and its bounds.
std::string inRange(const char* what, double low, double high);

/// Throws SettingError unless the number lies within the bounds; `what` is "a number of degrees", for
/// example.
void checkRange(const Given& given, const char* what, double low, double high);

/// Throws SettingError for what is no area of the service.
telemetry::Geofence geofenceOf(const GivenGeofence& given);

/// Puts it into the next free slot. Throws SettingError where there is none, or where the name is in use.
void add(const GivenGeofence& given, telemetry::Settings& settings);

} // namespace monitor

#endif
