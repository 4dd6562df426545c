#ifndef REPORT_STRETCHES_H
#define REPORT_STRETCHES_H

#include <cstdint>
#include <string>

#include "Drive.h"

/// What a reader of a drive should know of: where something is missing, or is not what it seems.
namespace report {

/// "42 s", "3 min 20 s", "2 h 5 min"
std::string durationInWords(double seconds);

Stretch restart(double fromS, double toS, bool ended);

/// Whether clock and uptime went apart by more than their reading can explain.
bool isClockJump(std::int64_t jumpMs);

Stretch clockJump(double timeS, std::int64_t jumpMs);

/// Adds to the drive's stretches those that its samples tell, and puts all in the order of their begin.
void findStretches(Drive& drive);

} // namespace report

#endif
