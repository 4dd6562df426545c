#ifndef RECEIVERCLOCK_H
#define RECEIVERCLOCK_H

#include <cstdint>

#include "simulator/Epoch.h"

/// What a receiver takes for the time: by its own crystal, and before it has heard all that UTC is made of.
/// Pure functions.

namespace simulator {

/// How fast the crystal runs away. As recorded of a receiver of this maker at room temperature.
constexpr int64_t kClockDriftNsPerS = 248;

/// By how much an epoch stands beside its millisecond, so long after power-up: a few microseconds at first,
/// then more each second. At half a millisecond the receiver puts its clock back by a whole one, so it is
/// below zero after half an hour.
Duration clockRest(Duration sincePowerUp);

/// UTC as the receiver reports it, to the millisecond (clockRest() comes on top of it). Before it knows the
/// time it counts from a date of its firmware's; before it knows the week it is the right time of a wrong
/// week; before it knows the leap seconds it reckons with those of its firmware's time.
UtcTime reportedUtc(const Epoch& epoch);

/// GPS time less UTC, as it reckons at this epoch.
int32_t reportedLeapSeconds(const Epoch& epoch);

/// Whether the date that it reports is the right one, but for the leap seconds.
bool isDateKnown(const Epoch& epoch);

/// Whether the reported UTC is right to the second.
bool isUtcResolved(const Epoch& epoch);

} // namespace simulator

#endif
