#include "Conversions.h"

#include <algorithm>

namespace monitor {

static_assert(kGPSMaxGeofences == telemetry::kGeofences, "telemetry has the library's number of geofences");

namespace {

void putGeofence(const telemetry::Geofence& from, GPSGeofence& to) {
    to.name.setStr(from.name.c_str());
    to.latitude = from.centre.latitude;
    to.longitude = from.centre.longitude;
    to.width = from.width;
    to.height = from.height;
    to.margin = from.margin;
}

} // namespace

telemetry::Fix fixOf(const GPSData& data) {
    telemetry::Fix fix;
    fix.position = {data.latitude, data.longitude};
    fix.altitudeMm = data.altitude;
    fix.utcS = data.time;
    fix.speedMmPerS = data.speed;
    fix.courseMdeg = data.course;
    fix.hdop = static_cast<double>(data.hdop);
    fix.tdop = static_cast<double>(data.tdop);
    fix.pdop = static_cast<double>(data.pdop);
    fix.gdop = static_cast<double>(data.gdop);
    return fix;
}

telemetry::Readings readingsOf(const GPSReadings& from) {
    telemetry::Readings readings;
    readings.available = from.available;
    readings.antennaState = static_cast<std::uint32_t>(from.antennaState);
    readings.satellites = from.satelliteCount;
    readings.snrDbHz = from.snr;
    readings.fixTickS = from.fixTick;
    readings.odometerM = from.odometer;
    if (from.fixTick != 0)
        readings.fix = fixOf(from.data);
    std::transform(std::begin(from.geofenceStates), std::end(from.geofenceStates),
                   readings.geofenceStates.begin(),
                   [](GPSGeofenceState state) { return static_cast<telemetry::GeofenceState>(state); });
    if (from.timeDeviationValid)
        readings.timeDeviationS = from.timeDelta;
    readings.horizontalErrorM = from.horizontalError;
    readings.timeErrorMs = from.timeError;
    return readings;
}

void putSettings(const telemetry::Settings& settings, GPSParams& params) {
    params.enabled = settings.enabled;
    params.positionInterval = settings.positionIntervalS;
    params.statusInterval = settings.statusIntervalS;
    params.logInterval = settings.logIntervalS;
    params.trackingEnabled = settings.trackingEnabled;
    params.trackingPeriod = settings.trackingPeriodS;
    params.trackingBase = settings.trackingBaseS;
    params.trackingOffset = settings.trackingOffsetS;
    params.geofencesEnabled = settings.geofencesEnabled;
    for (std::size_t i = 0; i < settings.geofences.size(); ++i)
        putGeofence(settings.geofences[i], params.geofences[i]);
    params.resetTimeDeviation = false;
    params.setOdometer = false;
}

} // namespace monitor
