#include "ExportOutput.h"

#include <iostream>
#include <utility>

#include "WholeFile.h"

namespace monitor {

ExportOutput::ExportOutput(std::string path, Writer writer)
    : path_(std::move(path)), writer_(std::move(writer)) {}

bool ExportOutput::finish() {
    const auto failure =
        telemetry::writeWholeFile(path_, [this](std::ostream& output) { writer_(output, journey_); });
    if (failure)
        std::cerr << "ruxogps-monitor: " << *failure << '\n';
    return !failure;
}

} // namespace monitor
