#ifndef REPORT_TABLES_H
#define REPORT_TABLES_H

#include <string>
#include <vector>

#include "Events.h"
#include "Frame.h"
#include "Page.h"

/// The page's parts that are words and numbers.
namespace report {

/// When, how long, how far, and by what it was recorded.
std::string summary(const Drive& drive);

/// What is wrong with the recording: damage, a cut, lost events. Empty where nothing is.
std::string warnings(const Drive& drive);

/// What the recording holds, counted. Each number stands in an element of its own: `data-count-events`,
/// `data-count-entered`, ...
std::string countsTable(const Drive& drive);

std::string eventsTable(const std::vector<Happening>& happenings);

/// Gaps, restarts, the watchdog, jumps of the clock. Empty where there was none.
std::string stretchesTable(const Drive& drive);

std::string geofencesTable(const Contents& contents, const std::vector<Area>& areas);

} // namespace report

#endif
