#ifndef FAULTFIGURES_H
#define FAULTFIGURES_H

#include <string>

/// Notes a figure of a row of the fault matrix, for `./run-tests.sh --faults` (tests/faults/matrix-tool).
///
/// `row` is the row's id ("gpsd.killed-once"), `figure` a name with its unit: `recovery_s`, `events_lost`,
/// `leaked_kib`, `leaked_descriptors`, `leaked_threads` and `leaked_processes` are summed up over the matrix,
/// others stand with their row. Times are the unit's. A figure noted twice counts as it was noted last, so a
/// run that is repeated counts once. Does nothing unless RUXOGPS_FAULT_FIGURES names the file to append to.
void faultFigure(const std::string& row, const std::string& figure, double value);

#endif
