#ifndef REPORT_FRAME_H
#define REPORT_FRAME_H

#include <cstddef>
#include <vector>

#include "Drive.h"
#include "Projection.h"
#include "Track.h"

namespace report {

/// A geofence, and when it was one.
struct Area {
    std::size_t slot = 0;
    telemetry::Geofence geofence;
    bool watched = false; ///< geofences were enabled at some time meanwhile
    double fromS = 0;
    double toS = 0;
};

/// The configured geofences of all settings.
std::vector<Area> areasOf(const Drive& drive);

/// The border of a geofence widened by `margin`, as the library compares: it ends at the date line. Empty
/// where it encloses nothing.
std::vector<Ground> outline(const Projection& projection, const telemetry::Geofence& geofence,
                            std::uint32_t margin);

/// Which part of the ground a drawing shows, and where.
class Frame {
public:
    static constexpr double kWidth = 1000;

    /// All of the track, and of the geofences what lies in it or near it.
    Frame(const std::vector<TrackPoint>& track, const std::vector<Area>& areas);

    Place on(const Ground& ground) const;
    Place on(telemetry::Position position) const { return on(projection_.on(position)); }

    bool isEmpty() const { return empty_; }
    double height() const { return height_; }
    double unitsPerMetre() const { return scale_; }
    double gridM() const; ///< a round number of metres between two lines
    const Projection& projection() const { return projection_; }
    const Ground& middle() const { return middle_; }

private:
    struct Box;
    void show(const Box& box);

    Projection projection_;
    Ground middle_;
    double height_;
    double scale_ = 1;
    bool empty_ = true;
};

} // namespace report

#endif
