#include "ExportOutput.h"

#include <utility>

#include "WholeFile.h"

namespace monitor {

ExportOutput::ExportOutput(std::string path, Writer writer)
    : path_(std::move(path)), writer_(std::move(writer)) {}

bool ExportOutput::finish() {
    failure_ = telemetry::writeWholeFile(path_, [this](std::ostream& output) { writer_(output, journey_); });
    return !failure_;
}

} // namespace monitor
