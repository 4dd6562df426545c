#ifndef EXPECTATIONS_H
#define EXPECTATIONS_H

#include <cstddef>
#include <string>
#include <vector>

#include "Options.h"
#include "Tally.h"

constexpr std::size_t kLearnedGeofences = 2;
constexpr double kGeofenceMarginM = 10;

/// All names, separated by commas.
std::string expectationNames();
bool isExpectationName(const std::string& name);

/// One sentence for each thing that the options expect and the tally doesn't show.
std::vector<std::string> unmetExpectations(const Options& options, const Tally& tally);

/// Nothing was counted, and as the receiver stands nothing was due.
bool isOdometerExcused(const Options& options, const Tally& tally);

#endif
