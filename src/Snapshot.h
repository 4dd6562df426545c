#ifndef SNAPSHOT_H
#define SNAPSHOT_H

#include <cstdint>
#include <ctime>

#include "GPSPlatform.h"
#include "ReaderBlock.h"

/// What the driver's queries make of the snapshot. Called on the caller's thread, beside a reader that may be
/// writing: no lock is taken, and a report may be half copied. Nothing here fails, throws or blocks.
///
/// `now` is the time of the query, in seconds since the Unix epoch, against which every age is measured.

/// Whether a value that arrived then is current: at most 10 s old, one of exactly 10 s included. A value that
/// never arrived has the time 0, which isn't current unless the clock itself stands within 10 s of the epoch.
bool isFresh(time_t arrival, time_t now);

/// Fills in each field of `data` whose own value is current, but not `valid`; the others stay as they are.
/// Units are those of `GPSData`. Scaled values are truncated toward zero and end at their type's limits; NaN
/// gives 0. The dilutions are only rounded to single precision: NaN stays NaN.
void fillFreshFields(const ReaderBlock& reader, time_t now, GPSData& data);

/// Mean signal-to-noise ratio in whole dB-Hz of those of the first `count` satellites (0 to
/// kSatelliteCapacity) that are marked used, each truncated; 0 when `satellitesUsed` is 0.
unsigned int meanSnr(const ReaderBlock& reader, int32_t count, int32_t satellitesUsed);

/// The length of the error with the components `epx` and `epy`, both in metres, in whole metres: truncated, 0
/// for what is no number, at most the type's limit.
unsigned int horizontalErrorMetres(double epx, double epy);

#endif
