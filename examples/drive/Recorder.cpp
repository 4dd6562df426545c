#include "Recorder.h"

#include <algorithm>
#include <utility>

#include "Conversions.h"
#include "Json.h"
#include "Options.h"

namespace {

using telemetry::Content;

constexpr std::int64_t kMsPerSecond = 1000;

// --- The service's words in those of a recording ----------------------------------------------------------

telemetry::Geofence geofenceOf(const GPSGeofence& from) {
    return {from.name.getStr(), {from.latitude, from.longitude}, from.width, from.height, from.margin};
}

telemetry::Settings settingsOf(const GPSParams& params) {
    telemetry::Settings settings;
    settings.enabled = params.enabled;
    settings.positionIntervalS = params.positionInterval;
    settings.statusIntervalS = params.statusInterval;
    settings.logIntervalS = params.logInterval;
    settings.trackingEnabled = params.trackingEnabled;
    settings.trackingPeriodS = params.trackingPeriod;
    settings.trackingBaseS = params.trackingBase;
    settings.trackingOffsetS = params.trackingOffset;
    settings.geofencesEnabled = params.geofencesEnabled;
    std::transform(std::begin(params.geofences), std::end(params.geofences), settings.geofences.begin(),
                   geofenceOf);
    return settings;
}

telemetry::GeofenceCrossed crossingOf(const Event& event, const telemetry::Settings& settings) {
    telemetry::GeofenceCrossed crossing;
    crossing.entered = event.kind == Event::Kind::GeofenceEntered;
    crossing.name = event.geofence;
    for (std::size_t slot = 0; slot < settings.geofences.size() && !crossing.slot; ++slot)
        if (settings.geofences[slot].isConfigured() && settings.geofences[slot].name == event.geofence)
            crossing.slot = slot;
    return crossing;
}

Content contentOf(const Event& event, const telemetry::Settings& settings,
                  const std::optional<telemetry::Position>& where) {
    switch (event.kind) {
    case Event::Kind::GeofenceLeft:
    case Event::Kind::GeofenceEntered: {
        telemetry::GeofenceCrossed crossing = crossingOf(event, settings);
        crossing.where = where;
        return crossing;
    }
    case Event::Kind::Antenna:
        return telemetry::AntennaChanged{static_cast<std::uint32_t>(event.antenna), where};
    case Event::Kind::Availability:
        return telemetry::AvailabilityChanged{event.available, where};
    case Event::Kind::Position:
        return telemetry::PositionUpdated{where};
    case Event::Kind::Tracking:
        return telemetry::Tracked{event.data.valid ? std::optional(monitor::fixOf(event.data))
                                                   : std::nullopt};
    }
    return telemetry::Lost{1};
}

template <class Duration>
std::int64_t milliseconds(Duration duration) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

} // namespace

// --- Lines ------------------------------------------------------------------------------------------------

Recorder::Recorder(const std::string& file) {
    if (file.empty())
        return;
    file_.open(file, std::ios::trunc);
    if (!file_)
        throw OptionError("--record: '" + file + "' can't be written");
    write(now(), telemetry::Start{1, "drive " RUXOGPS_VERSION});
}

void Recorder::step(telemetry::ServiceStep::Step step, std::optional<std::uint32_t> result) {
    write(now(), telemetry::ServiceStep{step, 0, 0, result});
}

void Recorder::settings(const GPSParams& params) {
    settings_ = settingsOf(params);
    write(now(), telemetry::SettingsTaken{settings_});
}

void Recorder::event(const Event& event, const GPSReadings& readings) {
    const telemetry::Readings known = monitor::readingsOf(readings);
    const auto where = known.fix ? std::optional(known.fix->position) : std::nullopt;
    write(now(), contentOf(event, settings_, where));
}

void Recorder::readings(const GPSReadings& readings) {
    const telemetry::Moment at = now();
    const telemetry::ReadingsTaken taken{monitor::readingsOf(readings)};
    const std::string words = telemetry::toJson({{}, taken});
    const std::int64_t interval = std::int64_t{std::max(1u, settings_.positionIntervalS)} * kMsPerSecond;
    if (words == lastReadings_ && at.uptimeMs < lastReadingsMs_ + interval)
        return;
    lastReadings_ = words;
    lastReadingsMs_ = at.uptimeMs;
    write(at, taken);
}

void Recorder::end(int status) { write(now(), telemetry::End{status}); }

telemetry::Moment Recorder::now() const {
    return {milliseconds(std::chrono::system_clock::now().time_since_epoch()),
            milliseconds(Clock::now() - begin_), ruxo_systemtick()};
}

void Recorder::write(const telemetry::Moment& at, telemetry::Content content) {
    if (file_.is_open())
        file_ << telemetry::toJson({at, std::move(content)}) << std::endl;
}
