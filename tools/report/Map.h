#ifndef REPORT_MAP_H
#define REPORT_MAP_H

#include <string>
#include <vector>

#include "Events.h"
#include "Frame.h"
#include "Page.h"
#include "Track.h"

namespace report {

/// What the drawing shows, worked out once.
struct MapContents {
    const Contents& page;
    const std::vector<TrackPoint>& track;
    const std::vector<Happening>& happenings;
    const std::vector<Area>& areas;
    std::vector<Area> otherAreas; ///< of the comparison; empty without one
    SpeedScale speeds;
    Frame frame;
};

/// The elements of the drawing, to be put into an SVG of the frame's size; colours are the style's.
std::string mapElements(const MapContents& contents);

/// What the colours mean, as elements of a drawing of its own size.
std::string speedLegend(const SpeedScale& speeds);

} // namespace report

#endif
