#ifndef REPORT_WHATIF_H
#define REPORT_WHATIF_H

#include <stdexcept>
#include <string>

#include "Drive.h"
#include "Replay.h"

namespace report {

/// What is wrong with a list of other settings; what() is in one line, without a full stop.
class WhatIfError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// "margin=2500, interval=5": margin in microdegrees, interval in seconds, error in metres, size as a factor.
/// "margin.Depot" and "size.Depot" are the geofence's of that name. Throws WhatIfError.
WhatIf parseWhatIf(const std::string& list);

/// Throws WhatIfError for a geofence that the drive doesn't have.
void checkGeofences(const WhatIf& whatIf, const Drive& drive);

/// The settings with what is replaced. The odometer's error estimate is none of them.
telemetry::Settings with(const WhatIf& whatIf, telemetry::Settings settings);

} // namespace report

#endif
