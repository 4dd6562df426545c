#include "Tally.h"

#include <sstream>

std::string summary(const Tally& tally) {
    std::ostringstream text;
    text << "demo: " << tally.fixes << " fixes, " << tally.positionUpdates << " position updates, "
         << tally.trackingReports << " tracking reports, " << tally.geofenceEvents << " geofence events, "
         << tally.antennaChanges << " antenna changes, odometer " << tally.odometerM << " m";
    return text.str();
}
