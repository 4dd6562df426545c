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

/// Throws SettingError unless the number lies within the bounds; `what` is "a number of degrees", for
/// example.
void checkRange(const Given& given, const char* what, double low, double high);

/// Throws SettingError for what is no area of the service.
telemetry::Geofence geofenceOf(const GivenGeofence& given);

/// Puts it into the next free slot. Throws SettingError where there is none, or where the name is in use.
void add(const GivenGeofence& given, telemetry::Settings& settings);

} // namespace monitor

#endif
