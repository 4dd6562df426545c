#ifndef LIVEMODEL_H
#define LIVEMODEL_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "OdometerEstimate.h"
#include "Telemetry.h"

namespace monitor {

/// How something is to be taken; each also says so in words.
enum class Tone { Plain, Good, Warning, Bad };

/// What the live view knows, from the lines that it has taken. Shows nothing by itself.
class LiveModel {
public:
    struct Event {
        telemetry::Moment at;
        std::string text; ///< names as they are: not yet printable
        Tone tone = Tone::Plain;
        std::uint32_t times = 1; ///< came so often, `at` the last time: in a row, or all the while
    };

    static constexpr std::size_t kMostEvents = 500;

    void take(const telemetry::Line& line);

    /// Something that no line tells, as an event.
    void takeProblem(const std::string& problem) { tell(problem, Tone::Bad); }

    /// Goes on to this moment without a line.
    void advance(const telemetry::Moment& now);

    const telemetry::Moment& last() const { return last_; }
    const telemetry::Settings& settings() const { return settings_; }
    bool hasSettings() const { return hasSettings_; } ///< the service has been given some
    const std::optional<telemetry::Readings>& readings() const { return readings_; }
    const std::deque<Event>& events() const { return events_; } ///< the oldest first
    std::uint64_t lostEvents() const { return lostEvents_; }

    const telemetry::ServiceStep& step() const { return step_; }
    bool isRunning() const { return step_.step == telemetry::ServiceStep::Step::Running; }
    double secondsInStep(const telemetry::Moment& now) const;

    /// None while there was no fix.
    std::optional<std::uint32_t> fixAgeS(const telemetry::Moment& now) const;

    const OdometerEstimate& odometer() const { return odometer_; }

    /// Until the next report is due; none while none will come.
    std::optional<std::int64_t> secondsToTracking(const telemetry::Moment& now) const;

    /// The service looks at the clock too seldom to notice each multiple of the period: the next report may
    /// also be that of a later one.
    bool trackingMayComeLater() const;

    std::size_t configuredGeofences() const;

private:
    struct Taking;

    void takeStep(const telemetry::ServiceStep& step);
    void takeReadings(const telemetry::Readings& readings);
    void tell(const std::string& text, Tone tone = Tone::Plain);
    void tellAgain(const std::string& text);
    void add(const Event& event);
    OdometerEstimate::Input odometerInput() const;

    telemetry::Moment last_;
    telemetry::Settings settings_;
    bool hasSettings_ = false;
    std::optional<telemetry::Readings> readings_;
    std::deque<Event> events_;
    std::uint64_t lostEvents_ = 0;
    telemetry::ServiceStep step_;
    telemetry::Moment stepAt_;
    std::optional<std::uint32_t> lastTrackingTickS_;
    bool odometerWasSet_ = false; ///< the next readings' odometer is none of the road's
    OdometerEstimate odometer_;
};

} // namespace monitor

#endif
