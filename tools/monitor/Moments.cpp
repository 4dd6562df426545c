#include "Moments.h"

#include "GPSPlatform.h"

namespace monitor {

telemetry::Moment Moments::now() const {
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    const auto utc = std::chrono::system_clock::now().time_since_epoch();
    const auto uptime = std::chrono::steady_clock::now() - begin_;
    return {duration_cast<milliseconds>(utc).count(), duration_cast<milliseconds>(uptime).count(),
            ruxo_systemtick()};
}

} // namespace monitor
