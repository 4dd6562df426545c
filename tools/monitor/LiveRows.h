#ifndef LIVEROWS_H
#define LIVEROWS_H

#include <initializer_list>

#include "Layout.h"

/// The rows that the live view is laid out of. Each is as wide as it may be at most.
namespace monitor {

/// What the rows are made from.
struct Sight {
    const LiveModel& model;
    telemetry::Moment now;
};

/// The first that fits, or what fits of the last one.
Row fitting(std::initializer_list<Row> longestFirst, std::size_t columns);

/// What fits of the row.
Row cutRow(const Row& row, std::size_t columns);

/// The row, cut or filled up to exactly so many columns.
Row paddedRow(const Row& row, std::size_t columns, Style style = Style::Plain);

std::size_t columnsOf(const Row& row);

Style styleOf(Tone tone);

/// "06:50:12Z"
std::string timeOfDay(std::int64_t utcMs);

Row titleRow(const Sight& sight, std::size_t columns);
Row stepRow(const Sight& sight, std::size_t columns); ///< while the service comes up or goes down
Row positionRow(const Sight& sight, std::size_t columns);
Row fixRow(const Sight& sight, std::size_t columns);
Row speedRow(const Sight& sight, std::size_t columns);
Row dilutionRow(const Sight& sight, std::size_t columns);
Row signalRow(const Sight& sight, std::size_t columns);
Row antennaRow(const Sight& sight, std::size_t columns);
Row errorsRow(const Sight& sight, std::size_t columns);
Row clockRow(const Sight& sight, std::size_t columns);
Row odometerRow(const Sight& sight, std::size_t columns);
Row trackingRow(const Sight& sight, std::size_t columns);
Row geofencesRow(const Sight& sight, std::size_t columns); ///< the heading above them
Row geofenceRow(const Sight& sight, std::size_t slot, std::size_t columns);
Row geofenceDetailRow(const Sight& sight, std::size_t slot, std::size_t columns);
Row eventRow(const LiveModel::Event& event, std::size_t columns);
Row keysRow(const ViewState& view, std::size_t columns);

} // namespace monitor

#endif
