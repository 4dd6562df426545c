#ifndef REPORT_TABLES_H
#define REPORT_TABLES_H

#include <string>
#include <vector>

#include "Events.h"
#include "Frame.h"
#include "Page.h"

/// The page's parts that are words and numbers.
namespace report {

/// What the recording holds, counted. Each number stands in an element of its own: `data-count-events`,
/// `data-count-entered`, ...
std::string countsTable(const Drive& drive);

std::string eventsTable(const Drive& drive, const std::vector<Happening>& happenings);

} // namespace report

#endif
