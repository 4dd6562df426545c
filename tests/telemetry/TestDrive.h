#ifndef TESTDRIVE_H
#define TESTDRIVE_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Journey.h"

/// Lines of a drive in the words of a test: one fix a second, ticks from 1000 on.
class TestDrive {
public:
    explicit TestDrive(const telemetry::JourneyLimits& limits = telemetry::JourneyLimits())
        : journey(limits) {
        tells(telemetry::Start{1, "ruxogps-monitor 0.1.0"});
    }

    void tells(telemetry::Content content) {
        lines.push_back({{kUtcMs + tickS * 1000LL, tickS * 1000LL, tickS}, std::move(content)});
        journey.take(lines.back());
    }

    void watches(const telemetry::Geofence& geofence) {
        telemetry::SettingsTaken taken;
        taken.settings.geofences[0] = geofence;
        tells(taken);
    }

    /// A second later there is a fix.
    void isAt(std::int32_t latitude, std::int32_t longitude, std::uint32_t speedMmPerS = 13889) {
        ++tickS;
        telemetry::ReadingsTaken taken;
        telemetry::Fix fix;
        fix.position = {latitude, longitude};
        fix.utcS = kFixUtcS + tickS;
        fix.speedMmPerS = speedMmPerS;
        fix.courseMdeg = 271501;
        fix.altitudeMm = -34567;
        fix.hdop = 0.9;
        taken.readings.fixTickS = tickS;
        taken.readings.satellites = 11;
        taken.readings.fix = fix;
        tells(taken);
    }

    void drivesOn(int fixes) {
        for (int i = 0; i < fixes; ++i)
            isAt(52000000 + static_cast<std::int32_t>(tickS) * 100, 13000000);
    }

    void standsStill(int fixes) {
        for (int i = 0; i < fixes; ++i)
            isAt(52000000 + i % 3, 13000000, 20);
    }

    void enters(const std::string& name, std::optional<telemetry::Position> where) {
        tells(telemetry::GeofenceCrossed{true, 0, name, where});
    }

    static constexpr std::int64_t kUtcMs = 1000;         // the unit's clock was never set: it is 1970
    static constexpr std::int64_t kFixUtcS = 1767323000; // 2026-01-02 03:03:20
    std::uint32_t tickS = 1000;
    std::vector<telemetry::Line> lines; ///< as they were told
    telemetry::Journey journey;
};

#endif
