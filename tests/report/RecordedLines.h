#ifndef RECORDEDLINES_H
#define RECORDEDLINES_H

#include <cstdint>
#include <sstream>
#include <string>
#include <utility>

#include "Drive.h"
#include "Json.h"

/// A recording, line by line, with the clocks in a test's hand.
class RecordedLines {
public:
    /// What the next `reading` tells.
    telemetry::Readings readings;
    telemetry::Settings settings;

    /// The system's clock, the uptime and the tick go on together.
    RecordedLines& pass(double seconds) {
        const auto ms = static_cast<std::int64_t>(seconds * 1000);
        at_.utcMs += ms;
        at_.uptimeMs += ms;
        tickMs_ += ms;
        at_.tickS = static_cast<std::uint32_t>(tickMs_ / 1000);
        return *this;
    }
    RecordedLines& setClockBy(double seconds) {
        at_.utcMs += static_cast<std::int64_t>(seconds * 1000);
        return *this;
    }

    RecordedLines& line(telemetry::Content content) {
        return text(telemetry::toJson({at_, std::move(content)}) + "\n");
    }
    RecordedLines& text(const std::string& words) {
        text_ += words;
        return *this;
    }

    /// The monitor is started, and the service runs at once.
    RecordedLines& start() {
        at_.uptimeMs = 0;
        readings = telemetry::Readings();
        line(telemetry::Start{1, "ruxogps-monitor 0.1.0"});
        line(telemetry::SettingsTaken{settings});
        return line(telemetry::ServiceStep{telemetry::ServiceStep::Step::Running, 0, 0, 0u});
    }
    /// The same after a power cycle: the tick begins anew.
    RecordedLines& startOnceMore(std::uint32_t tickS) {
        tickMs_ = std::int64_t{tickS} * 1000;
        at_.tickS = tickS;
        return start();
    }

    RecordedLines& reading() { return line(telemetry::ReadingsTaken{readings}); }

    /// A reading each second, as the last one.
    RecordedLines& readingsFor(int seconds) {
        for (int i = 0; i < seconds; ++i)
            pass(1).reading();
        return *this;
    }
    RecordedLines& fix(telemetry::Position position) {
        readings.available = true;
        readings.antennaState = 1;
        readings.fixTickS = at_.tickS;
        readings.fix = telemetry::Fix();
        readings.fix->position = position;
        return reading();
    }
    /// A fix each second, so many microdegrees further north each time.
    RecordedLines& fixesFor(int seconds, int microdegrees = 0) {
        for (int i = 0; i < seconds; ++i) {
            place_.latitude += microdegrees;
            pass(1).fix(place_);
        }
        return *this;
    }
    RecordedLines& moveTo(telemetry::Position place) {
        place_ = place;
        return *this;
    }

    telemetry::Position place() const { return place_; }
    std::uint32_t tickS() const { return at_.tickS; }
    const std::string& text() const { return text_; }

    report::Drive drive() const {
        std::istringstream input(text_);
        return report::readDrive(input, "drive.jsonl");
    }

private:
    telemetry::Moment at_{1767323045000, 0, 5000};
    std::int64_t tickMs_ = 5000000;
    telemetry::Position place_{50000000, 10000000};
    std::string text_;
};

#endif
