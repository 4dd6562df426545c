#ifndef WISHES_H
#define WISHES_H

#include <cstdint>
#include <optional>

#include "Telemetry.h"

namespace monitor {

/// What the service shall be given before it starts.
struct Wishes {
    telemetry::Settings settings;
    std::optional<std::uint32_t> odometerM;
};

} // namespace monitor

#endif
