#ifndef ARRIVALS_H
#define ARRIVALS_H

#include <vector>

#include "ReaderBlock.h"

/// The snapshot's arrival times.
using Arrival = time_t ReaderBlock::*;
inline const std::vector<Arrival> kArrivals = {&ReaderBlock::tsStatus,
                                               &ReaderBlock::tsTime,
                                               &ReaderBlock::tsMode,
                                               &ReaderBlock::tsLatLon,
                                               &ReaderBlock::tsAltitude,
                                               &ReaderBlock::tsTrack,
                                               &ReaderBlock::tsSpeed,
                                               &ReaderBlock::tsClimb,
                                               &ReaderBlock::tsSatellites,
                                               &ReaderBlock::tsTimeError,
                                               &ReaderBlock::tsHorizontalError,
                                               &ReaderBlock::tsVerticalError,
                                               &ReaderBlock::tsSpeedError,
                                               &ReaderBlock::tsDop};

#endif
