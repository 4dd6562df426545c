#ifndef MONITOR_OUTPUT_H
#define MONITOR_OUTPUT_H

#include "Telemetry.h"

namespace monitor {

/// Where lines go: a terminal, a pipe, a file. Used on the main thread alone.
class Output {
public:
    virtual ~Output() = default;

    /// In the order in which the monitor noticed them.
    virtual void take(const telemetry::Line& line) = 0;

    /// The last line was taken. False where not all of it could be written; the output has said why.
    virtual bool finish() { return true; }
};

} // namespace monitor

#endif
