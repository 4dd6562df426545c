#ifndef JSONOUTPUT_H
#define JSONOUTPUT_H

#include "StreamOutput.h"

namespace monitor {

/// `--json`: each line as a JSON object.
class JsonOutput final : public StreamOutput {
public:
    using StreamOutput::StreamOutput;

private:
    std::string textOf(const telemetry::Line& line) override;
};

} // namespace monitor

#endif
