#include "LiveScene.h"

#include <cmath>

#include "Geometry.h"

namespace {

constexpr std::int64_t kMsPerSecond = 1000;
constexpr std::int64_t kBeginUtcMs = 1795330200 * kMsPerSecond;

std::string withoutBlanksAtEnd(const std::string& text) {
    const std::size_t end = text.find_last_not_of(' ');
    return end == std::string::npos ? "" : text.substr(0, end + 1);
}

} // namespace

LiveScene::LiveScene() {
    at.utcMs = kBeginUtcMs;
    at.tickS = 1000;
    now.antennaState = 1;
    now.satellites = 9;
    now.snrDbHz = 38;
    now.horizontalErrorM = 6;
    now.timeErrorMs = 5;
    now.timeDeviationS = 0;
    now.available = true;
}

void LiveScene::pass(std::int64_t seconds) {
    at.utcMs += seconds * kMsPerSecond;
    at.uptimeMs += seconds * kMsPerSecond;
    at.tickS += static_cast<std::uint32_t>(seconds);
}

void LiveScene::take(const telemetry::Content& content) { model.take({at, content}); }

void LiveScene::step(Step step, double elapsedS, double longestS) {
    take(telemetry::ServiceStep{step, elapsedS, longestS, std::nullopt});
}

void LiveScene::readings() { take(telemetry::ReadingsTaken{now}); }
void LiveScene::settings() { take(telemetry::SettingsTaken{given}); }

void LiveScene::moveBy(double northM, double eastM) {
    latitude_ += northM / monitor::kMetresPerMicrodegree;
    longitude_ +=
        eastM / monitor::kMetresPerMicrodegree / monitor::convergence(static_cast<std::int32_t>(latitude_));
}

void LiveScene::drive(std::int64_t seconds, double northMPerS, double eastMPerS) {
    for (std::int64_t i = 0; i < seconds; ++i) {
        pass(1);
        moveBy(northMPerS, eastMPerS);
        telemetry::Fix fix;
        fix.position = {static_cast<std::int32_t>(latitude_), static_cast<std::int32_t>(longitude_)};
        fix.altitudeMm = 34200;
        fix.utcS = at.utcMs / kMsPerSecond;
        fix.speedMmPerS = static_cast<std::uint32_t>(std::hypot(northMPerS, eastMPerS) * 1000);
        fix.courseMdeg = eastMPerS > 0 ? 90000 : 0;
        fix.hdop = 0.9;
        fix.pdop = 1.4;
        fix.tdop = 0.8;
        fix.gdop = 1.6;
        now.fix = fix;
        now.fixTickS = at.tickS;
        readings();
    }
}

void LiveScene::comeUp() {
    step(Step::Constructing, 0, 31);
    pass(8);
    step(Step::Initializing);
    step(Step::Starting);
    settings();
    step(Step::Running);
    drive(1);
}

void LiveScene::watchGeofences() {
    given.geofencesEnabled = true;
    given.geofences[0] = {"Depot", {52520008, 13404954}, 4000, 2000, 1500};
    given.geofences[1] = {"Airport", {52475000, 13404954}, 4000, 4000, 1500};
    given.geofences[4] = {"\x1b[2Jbad\x9b\n", {52520008, 13504954}, 4000, 4000, 0};
    now.geofenceStates[0] = telemetry::GeofenceState::Inside;
    now.geofenceStates[1] = telemetry::GeofenceState::Outside;
    now.geofenceStates[4] = telemetry::GeofenceState::Left;
}

std::vector<std::string> LiveScene::rows(std::size_t columns, std::size_t rows) const {
    std::vector<std::string> texts;
    for (const monitor::Row& row : monitor::layOut(model, view, at, {columns, rows}))
        texts.push_back(withoutBlanksAtEnd(monitor::textOf(row)));
    return texts;
}

std::string LiveScene::row(const std::string& word, std::size_t columns, std::size_t count) const {
    for (const std::string& text : rows(columns, count))
        if (text.rfind(word, 0) == 0)
            return text;
    return "";
}
