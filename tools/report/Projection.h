#ifndef REPORT_PROJECTION_H
#define REPORT_PROJECTION_H

#include <vector>

#include "Telemetry.h"

namespace report {

/// A place on flat ground, in metres.
struct Ground {
    double east = 0;
    double north = 0;
};

/// The earth around a place, flat: from the centre, distance and direction are true. The date line and the
/// poles are places like any other.
class Projection {
public:
    explicit Projection(telemetry::Position centre);

    /// Around the middle of these, 0 N 0 E where there are none.
    static Projection around(const std::vector<telemetry::Position>& positions);

    Ground on(double latitudeDeg, double longitudeDeg) const;
    Ground on(telemetry::Position position) const;

    telemetry::Position centre() const { return centre_; }

private:
    telemetry::Position centre_;
    double longitude_; ///< radians
    double sine_;      ///< of the centre's latitude
    double cosine_;
};

} // namespace report

#endif
