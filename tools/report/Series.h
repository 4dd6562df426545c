#ifndef REPORT_SERIES_H
#define REPORT_SERIES_H

#include <string>

#include "Drive.h"
#include "Frame.h"

namespace report {

/// What the page's script shows under the pointer, as JSON that may stand in a script element: the readings
/// in columns of whole numbers, each a text of differences from the number before, "10*3 -2" for 10 10 10 -2.
/// Numbers alone: no text of the recording is in it.
std::string seriesJson(const Drive& drive, const Frame& frame);

} // namespace report

#endif
