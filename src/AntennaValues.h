#ifndef ANTENNAVALUES_H
#define ANTENNAVALUES_H

#include "GPSPlatform.h"

// The values of the platform's antenna state that this library gives a meaning to, by number: the
// enumerators' names come with the vendor's header. Any other value is handed on as it is and counts as not
// in order.

/// What the adapter hands the driver to fill in. It is stored and told as it stands when the driver fills in
/// nothing. Also the state before the first one: an adapter's `previousAntennaState` begins with it.
constexpr GPSAntennaState kAntennaNotFilledIn = GPSAntennaState(0);

/// The antenna is in order: the only value with which a fix is valid and the readings stay available. The
/// driver's `GetAntennaStatus` presets it, so a driver that is stopped, and a platform that fills in nothing,
/// answer with it.
constexpr GPSAntennaState kAntennaInOrder = GPSAntennaState(1);

/// Not in order as far as anybody knows. `GetData` presets it before it asks the platform, so that no fix is
/// valid without an answer; the adapter's readings hold it from `ResetParams` until the first answer.
constexpr GPSAntennaState kAntennaNotInOrder = GPSAntennaState(2);

#endif
