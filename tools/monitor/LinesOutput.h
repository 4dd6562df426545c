#ifndef LINESOUTPUT_H
#define LINESOUTPUT_H

#include <array>
#include <optional>

#include "StreamOutput.h"

namespace monitor {

/// `--lines`: a line for each event, and one for the readings in each status interval.
class LinesOutput final : public StreamOutput {
public:
    /// With `tellsProgress` each second of a step up or down has its line.
    LinesOutput(int descriptor, bool tellsProgress, const Bounds& bounds = Bounds())
        : StreamOutput(descriptor, bounds), tellsProgress_(tellsProgress) {}

private:
    std::string textOf(const telemetry::Line& line) override;
    bool isDue(const telemetry::Line& line);
    const char* remarkOn(const telemetry::Line& line) const;
    void keepStates(const telemetry::Line& line);

    bool tellsProgress_;
    std::int64_t statusIntervalMs_ = 2000;
    std::optional<std::int64_t> lastStatusMs_;
    std::array<telemetry::GeofenceState, telemetry::kGeofences>
        geofenceStates_{}; ///< the readings' last ones
};

} // namespace monitor

#endif
