#ifndef TELEMETRY_JSON_H
#define TELEMETRY_JSON_H

#include <stdexcept>
#include <string>

#include "Telemetry.h"

/// Lines of telemetry as JSON, an object each: `telemetry.schema.json` describes them. Angles are degrees,
/// the other numbers have their units in their names; what is not known is null. Reading gives exactly what
/// was written.
namespace telemetry {

/// Something that is no line of telemetry; what() says what is wrong with it, without a full stop.
class NotTelemetry : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// In one line, without a line feed. A name that is not UTF-8 is written with replacement characters.
std::string toJson(const Line& line);

/// Throws NotTelemetry for what is no JSON object, lacks what its type must have, or has a number beyond what
/// the library knows. Members that it doesn't know are passed over. An unknown "type" gives nothing: a later
/// version may have more of them.
std::optional<Line> fromJson(const std::string& text);

} // namespace telemetry

#endif
