#include "JsonOutput.h"

#include "Json.h"

namespace monitor {

std::string JsonOutput::textOf(const telemetry::Line& line) { return telemetry::toJson(line) + '\n'; }

} // namespace monitor
