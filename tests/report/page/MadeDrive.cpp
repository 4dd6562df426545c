#include "MadeDrive.h"

#include <algorithm>
#include <cmath>

#include "GeofenceArithmetic.h"
#include "Json.h"
#include "OdometerArithmetic.h"

namespace report {

namespace {

constexpr double kMetresPerS = 1 / 3.6;             // for a kilometre an hour
constexpr std::int64_t kBeginUtcMs = 1795334400000; // 2026-11-22, 08:00

GPSGeofenceState nextState(const telemetry::Geofence& geofence, telemetry::Position position,
                           telemetry::GeofenceState state) {
    const auto before = static_cast<GPSGeofenceState>(state);
    const std::uint32_t margin = geofencing::countsAsInside(before) ? geofence.margin : 0;
    const bool inside = geofencing::isWithin(position.longitude, geofence.centre.longitude,
                                             geofencing::halfWithMargin(geofence.width, margin)) &&
                        geofencing::isWithin(position.latitude, geofence.centre.latitude,
                                             geofencing::halfWithMargin(geofence.height, margin));
    return geofencing::nextState(before, inside);
}

} // namespace

MadeDrive::MadeDrive(telemetry::Position from) : from_(from), clockMs_(kBeginUtcMs) {
    settings_.geofencesEnabled = true;
    readings_.antennaState = 1;
    readings_.horizontalErrorM = 4;
    readings_.timeErrorMs = 5;
    start();
}

void MadeDrive::start() {
    write(telemetry::Start{1, "ruxogps-monitor 0.1.0"});
    write(telemetry::SettingsTaken{settings_});
}

void MadeDrive::write(const telemetry::Content& content) {
    if (!silent_)
        lines_.push_back({{clockMs_, uptimeMs_, tick_}, content});
}

double MadeDrive::random(double from, double to) {
    // Not std::uniform_real_distribution, which differs between libraries.
    return from + (to - from) * static_cast<double>(engine_()) / 4294967296.0;
}

telemetry::Position MadeDrive::at(double eastM, double northM) const {
    constexpr std::int64_t kTurn = 360000000;
    constexpr std::int64_t kPole = 90000000;
    const auto north = std::llround(northM / odometry::kMetresPerMicrodegree);
    std::int64_t latitude = from_.latitude + north;
    const double c = std::cos(from_.latitude * odometry::kPi / 180 * 1e-6);
    auto longitude =
        from_.longitude + std::llround(eastM / odometry::kMetresPerMicrodegree / std::max(c, 1e-3));
    if (latitude > kPole) { // down on the other side
        latitude = 2 * kPole - latitude;
        longitude += kTurn / 2;
    }
    longitude = ((longitude + kTurn / 2) % kTurn + kTurn) % kTurn - kTurn / 2;
    return {static_cast<std::int32_t>(latitude), static_cast<std::int32_t>(longitude)};
}

// --- The way --------------------------------------------------------------------------------------------

void MadeDrive::driveTo(double eastM, double northM, double speedKmh) {
    constexpr double kAcceleration = 1.3; // metres a second, each second
    while (true) {
        const double east = eastM - eastM_;
        const double north = northM - northM_;
        const double left = std::hypot(east, north);
        if (left < 1)
            return;
        const double wanted = speedKmh * kMetresPerS * random(0.93, 1.05);
        speed_ += std::clamp(wanted - speed_, -2 * kAcceleration, kAcceleration);
        const double part = std::min(1.0, speed_ / left);
        eastM_ += east * part;
        northM_ += north * part;
        course_ = std::fmod(std::atan2(east, north) * 180 / odometry::kPi + 360, 360);
        second();
    }
}

void MadeDrive::stand(int seconds) {
    speed_ = 0;
    for (int i = 0; i < seconds; ++i)
        second();
}

void MadeDrive::second() {
    clockMs_ += 1000;
    uptimeMs_ += 1000;
    ++tick_;
    changeSky();
    if (sky_ && readings_.antennaState == 1)
        takeFix();
    advanceOdometer();
    checkGeofences();
    if (settings_.trackingEnabled && clockMs_ / 1000 % settings_.trackingPeriodS == 0)
        write(telemetry::Tracked{readings_.fix});
    write(telemetry::ReadingsTaken{readings_});
}

void MadeDrive::changeSky() {
    const bool seen = sky_ && readings_.antennaState == 1;
    satellites_ = std::clamp(satellites_ + random(-0.6, 0.62), 6.0, 13.0);
    snr_ = std::clamp(snr_ + random(-0.8, 0.8), 30.0, 45.0);
    if (tick_ % 2 == 0) {
        readings_.satellites = seen ? static_cast<std::uint32_t>(satellites_) : 0;
        readings_.snrDbHz = seen ? static_cast<std::uint32_t>(snr_) : 0;
    }
}

void MadeDrive::takeFix() {
    telemetry::Fix fix;
    fix.position = at(eastM_ + random(-1.5, 1.5), northM_ + random(-1.5, 1.5));
    fix.altitudeMm = static_cast<std::int32_t>(112000 + 9000 * std::sin(eastM_ / 900));
    fix.utcS = clockMs_ / 1000;
    fix.speedMmPerS = static_cast<std::uint32_t>(speed_ * 1000);
    fix.courseMdeg = static_cast<std::uint32_t>(course_ * 1000);
    fix.hdop = std::round((0.6 + 6 / satellites_ + random(0, 0.1)) * 100) / 100;
    fix.pdop = std::round(fix.hdop * 175) / 100;
    fix.tdop = std::round(fix.hdop * 90) / 100;
    fix.gdop = std::round(fix.hdop * 200) / 100;
    readings_.fix = fix;
    readings_.fixTickS = tick_;
    if (!readings_.available)
        write(telemetry::AvailabilityChanged{true, fix.position});
    readings_.available = true;
    if (++fixes_ % 11 == 0)
        write(telemetry::PositionUpdated{fix.position});
}

void MadeDrive::checkGeofences() {
    if (!readings_.fix || !settings_.geofencesEnabled)
        return;
    for (std::size_t slot = 0; slot < settings_.geofences.size(); ++slot) {
        const telemetry::Geofence& geofence = settings_.geofences[slot];
        if (!geofence.isConfigured())
            continue;
        telemetry::GeofenceState& state = readings_.geofenceStates[slot];
        state = static_cast<telemetry::GeofenceState>(nextState(geofence, readings_.fix->position, state));
        const bool entered = state == telemetry::GeofenceState::Entered;
        if (entered || state == telemetry::GeofenceState::Left)
            write(telemetry::GeofenceCrossed{entered, slot, geofence.name, readings_.fix->position});
    }
}

void MadeDrive::advanceOdometer() {
    if (!readings_.fix || --warmup_ > 0)
        return;
    const telemetry::Position now = readings_.fix->position;
    if (!reference_) {
        reference_ = filtered_ = now;
        return;
    }
    filtered_ = telemetry::Position{odometry::smooth(now.latitude, filtered_->latitude),
                                    odometry::smooth(now.longitude, filtered_->longitude)};
    const double metres = odometry::distanceMetres(*reference_, *filtered_);
    if (odometry::isJump(metres)) {
        reference_.reset();
        warmup_ = 180;
    } else if (odometry::isStep(metres)) {
        if (odometry::exceedsError(metres, readings_.horizontalErrorM))
            readings_.odometerM += odometry::wholeMetres(metres);
        reference_ = filtered_;
    }
}

// --- What is around -------------------------------------------------------------------------------------

void MadeDrive::addGeofence(const std::string& name, double eastM, double northM, std::uint32_t width,
                            std::uint32_t height, std::uint32_t margin) {
    std::size_t slot = 0;
    while (settings_.geofences[slot].isConfigured())
        ++slot;
    settings_.geofences[slot] = {name, at(eastM, northM), width, height, margin};
    write(telemetry::SettingsTaken{settings_});
}

void MadeDrive::setAntenna(std::uint32_t state) {
    const std::optional<telemetry::Position> where =
        readings_.fix ? std::optional(readings_.fix->position) : std::nullopt;
    readings_.antennaState = state;
    write(telemetry::AntennaChanged{state, where});
    if (state != 1)
        readings_.available = false;
}

void MadeDrive::setSky(bool seen) {
    sky_ = seen;
    if (seen || !readings_.available)
        return;
    readings_.available = false;
    write(telemetry::AvailabilityChanged{false, readings_.fix->position});
}

void MadeDrive::setTrackingPeriod(int seconds) {
    settings_.trackingEnabled = true;
    settings_.trackingPeriodS = seconds;
    write(telemetry::SettingsTaken{settings_});
}

void MadeDrive::pauseRecording(int seconds) {
    silent_ = true;
    stand(seconds);
    silent_ = false;
}

void MadeDrive::restart(int seconds) {
    end();
    readings_ = {};
    readings_.antennaState = 1;
    readings_.horizontalErrorM = 4;
    reference_.reset();
    warmup_ = 180;
    clockMs_ += std::int64_t{seconds} * 1000;
    tick_ += static_cast<std::uint32_t>(seconds);
    uptimeMs_ = 0;
    start();
}

void MadeDrive::setOdometer(std::uint32_t metres) {
    telemetry::Command command;
    command.odometerM = readings_.odometerM = metres;
    write(command);
}

void MadeDrive::end() { write(telemetry::End{}); }

std::string MadeDrive::recording() const {
    std::string text;
    for (const telemetry::Line& line : lines_)
        text += telemetry::toJson(line) + "\n";
    return text;
}

// --- Drives ---------------------------------------------------------------------------------------------

namespace {

void driveThere(MadeDrive& drive) {
    drive.stand(60);
    drive.driveTo(90, 20, 12);
    drive.driveTo(420, 60, 30);
    drive.driveTo(650, 420, 48);
    drive.driveTo(900, 1080, 50);
    drive.setErrorM(12); // high houses: slow steps are dropped
    drive.driveTo(1350, 1180, 28);
    drive.stand(25);
    drive.driveTo(1500, 1420, 22);
    drive.driveTo(1980, 1360, 30);
    drive.setErrorM(4);
    drive.driveTo(2300, 1240, 60);
    drive.driveTo(2900, 1500, 95);
    drive.driveTo(3500, 2050, 118);
    drive.setSky(false); // a tunnel
    drive.driveTo(4300, 2500, 110);
    drive.setSky(true);
    drive.driveTo(4700, 2900, 96);
    drive.driveTo(5000, 3280, 40);
    drive.driveTo(5180, 3360, 15);
    drive.stand(240);
}

void driveBack(MadeDrive& drive) {
    drive.stand(20);
    drive.driveTo(5100, 3600, 30);
    drive.driveTo(4400, 4150, 70);
    drive.setAntenna(2);
    drive.driveTo(3700, 4300, 75);
    drive.setAntenna(1);
    drive.driveTo(2600, 4050, 82);
    drive.driveTo(1700, 3500, 84);
    drive.jumpClock(-40);
    drive.driveTo(1150, 2700, 66);
    drive.pauseRecording(30);
    drive.driveTo(930, 1900, 52);
    drive.driveTo(900, 1080, 50);
    drive.driveTo(650, 420, 46);
    drive.driveTo(420, 60, 38);
    drive.driveTo(90, 20, 20);
    drive.driveTo(5, 5, 8);
    drive.stand(60);
}

} // namespace

MadeDrive deliveryRound() {
    MadeDrive drive({50012000, 8265000});
    drive.addGeofence("Depot", 0, 0, 4200, 2600, 1500);
    drive.addGeofence("Customer", 5200, 3350, 5200, 3400, 1500);
    drive.addGeofence("Old town", 1450, 1250, 5600, 3000, 900);
    drive.setTrackingPeriod(120);
    driveThere(drive);
    drive.restart(75);
    driveBack(drive);
    drive.end();
    return drive;
}

MadeDrive wholeDay() {
    constexpr std::size_t kDay = 86400;
    MadeDrive drive({50012000, 8265000});
    drive.addGeofence("Depot", 0, 0, 9000, 6000, 1500);
    drive.addGeofence("North", 1000, 21000, 30000, 20000, 3000);
    drive.addGeofence("East", 26000, 2000, 30000, 20000, 3000);
    drive.setTrackingPeriod(60);
    for (int round = 0; drive.lines().size() < kDay + kDay / 8; ++round) {
        const double turn = round * 1700 % 9000;
        drive.driveTo(9000 - turn, 7000, 52);
        drive.driveTo(1000 + turn, 21000, 88);
        drive.stand(300);
        drive.driveTo(17000, 12000 + turn / 2, 70);
        drive.setSky(round % 3 != 0);
        drive.driveTo(26000, 2000 + turn / 3, 118);
        drive.setSky(true);
        drive.driveTo(14000 - turn, -3000, 64);
        drive.driveTo(0, 0, 40);
        drive.stand(600);
    }
    drive.end();
    return drive;
}

MadeDrive overTheDateLine() {
    MadeDrive drive({-17000000, 179985000});
    drive.addGeofence("West side", 300, 250, 9000, 7000, 1500);
    drive.addGeofence("East side", 3300, 250, 9000, 7000, 1500);
    drive.driveTo(1500, 200, 60);
    drive.driveTo(3600, 600, 70);
    drive.driveTo(3800, -300, 50);
    drive.driveTo(0, -250, 60);
    drive.end();
    return drive;
}

MadeDrive overThePole() {
    MadeDrive drive({89985000, 20000000});
    drive.addGeofence("Pole", 0, 1669, 360000000, 12000, 1500);
    drive.driveTo(0, 1600, 40);
    drive.driveTo(0, 3200, 40);
    drive.end();
    return drive;
}

} // namespace report
