#ifndef MONITOR_EXPORTOUTPUT_H
#define MONITOR_EXPORTOUTPUT_H

#include <functional>
#include <optional>
#include <ostream>
#include <string>

#include "Journey.h"
#include "Output.h"

namespace monitor {

/// A file for maps, written at the end: `ExportOutput("x.gpx", telemetry::writeGpx)`, or
/// `telemetry::writeGeoJson`. Ask `telemetry::whyNotWritable` before the service is touched.
class ExportOutput : public Output {
public:
    using Writer = std::function<void(std::ostream& output, const telemetry::Journey& journey)>;

    ExportOutput(std::string path, Writer writer);

    void take(const telemetry::Line& line) override { journey_.take(line); }

    bool finish() override;
    State state() const override { return failure_ ? State::Broken : State::Going; }
    std::string problem() const override { return failure_.value_or(""); }

private:
    std::string path_;
    Writer writer_;
    telemetry::Journey journey_;
    std::optional<std::string> failure_; ///< why the file could not be written
};

} // namespace monitor

#endif
