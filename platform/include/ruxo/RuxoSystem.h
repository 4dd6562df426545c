#ifndef RUXO_RUXOSYSTEM_H
#define RUXO_RUXOSYSTEM_H

#include <cstdint>

#include "ruxo/Visibility.h"

/// \file
/// The unit's clock of seconds, and a sleep.

/// Seconds since the unit was started, from a clock that is never set (it wraps after 136 years).
RUXO_API uint32_t ruxo_systemtick();

/// Sleeps for `milliseconds`, or less when a signal interrupts it; returns the milliseconds not slept.
RUXO_API uint32_t ruxosleep_interruptible(uint32_t milliseconds);

#endif
