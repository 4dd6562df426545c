#ifndef REPORT_CHARTS_H
#define REPORT_CHARTS_H

#include <string>
#include <vector>

#include "Events.h"
#include "Page.h"
#include "Track.h"

namespace report {

/// The readings over time, one chart below the other on one axis, with what was missing and what happened.
/// Each is as wide as the page makes it; its words and lines keep their size.
std::string charts(const Contents& contents, const std::vector<TrackPoint>& track,
                   const std::vector<Happening>& happenings);

} // namespace report

#endif
