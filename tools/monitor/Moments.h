#ifndef MOMENTS_H
#define MOMENTS_H

#include <chrono>

#include "Telemetry.h"

namespace monitor {

/// Stamps what the monitor notices. From any thread.
class Moments {
public:
    telemetry::Moment now() const;

private:
    const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

} // namespace monitor

#endif
