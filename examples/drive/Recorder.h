#ifndef RECORDER_H
#define RECORDER_H

#include <chrono>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>

#include "EventQueue.h"
#include "GPSParams.h"
#include "GPSReadings.h"
#include "Telemetry.h"

/// Writes what the application sees of the service as a recording, which `ruxogps-report` makes a page of.
/// Each line is in the file before the next one begins: a loss of power costs the line that it comes into.
class Recorder {
public:
    /// Begins the file anew; an empty name records nothing. Throws OptionError where it can't be written.
    explicit Recorder(const std::string& file);

    /// The service begins this step; `result` is what the operation of the step before has returned.
    void step(telemetry::ServiceStep::Step step, std::optional<std::uint32_t> result = std::nullopt);
    void settings(const GPSParams& params);
    /// `readings` are those taken behind the event, which stands before them.
    void event(const Event& event, const GPSReadings& readings);
    /// Written where they differ from those before, and once a position interval.
    void readings(const GPSReadings& readings);
    void end(int status);

    /// Everything is in the file, or there is none to be written.
    bool isWhole() const { return !file_.is_open() || file_.good(); }

private:
    using Clock = std::chrono::steady_clock;

    telemetry::Moment now() const;
    void write(const telemetry::Moment& at, telemetry::Content content);

    const Clock::time_point begin_ = Clock::now();
    std::ofstream file_;
    telemetry::Settings settings_;
    std::string lastReadings_;         ///< as they were written
    std::int64_t lastReadingsMs_ = -1; ///< uptime
};

#endif
