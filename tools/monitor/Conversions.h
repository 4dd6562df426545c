#ifndef CONVERSIONS_H
#define CONVERSIONS_H

#include "GPSAdapter.h"
#include "Telemetry.h"

/// The library's records as plain values, and back.

namespace monitor {

telemetry::Fix fixOf(const GPSData& data);

telemetry::Readings readingsOf(const GPSReadings& readings);

/// The settings alone; the requests that GPSParams carries are cleared.
void putSettings(const telemetry::Settings& settings, GPSParams& params);

} // namespace monitor

#endif
