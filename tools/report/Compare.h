#ifndef REPORT_COMPARE_H
#define REPORT_COMPARE_H

#include <string>
#include <vector>

#include "Frame.h"
#include "Page.h"

namespace report {

/// The geofences as the other settings have them, for the drawing; those that stay as they were are left out.
std::vector<Area> otherAreasOf(const Contents& contents, const std::vector<Area>& areas);

/// What the recorded settings and the others make of the drive, side by side. Empty without others.
std::string comparison(const Contents& contents);

} // namespace report

#endif
