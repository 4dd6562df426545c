#ifndef EXPECTATIONS_H
#define EXPECTATIONS_H

#include <cstddef>
#include <string>
#include <vector>

#include "Options.h"
#include "Tally.h"

constexpr std::size_t kLearnedGeofences = 2;
constexpr double kGeofenceMarginM = 10;
constexpr int kOdometerWarmupS = 180; ///< the service's odometer counts nothing in this time

/// Whether `name` is a kind of event that can be expected.
bool isExpectationName(const std::string& name);

/// The names of all kinds of event that can be expected.
std::vector<std::string> knownExpectations();

/// What became of the options' expectations, one sentence for each that the tally doesn't show.
struct Verdict {
    std::vector<std::string> unmet;
    /// Not seen, but not due either, as what the receiver sends can't bring it. Empty unless excuses are
    /// allowed.
    std::vector<std::string> excused;
};

Verdict judge(const Options& options, const Tally& tally);

/// The verdict for a person, one sentence a line: how it went and what was seen, how soon the first fix came
/// where that was asked for, and why the odometer shows less than was driven.
std::vector<std::string> inWords(const Options& options, const Tally& tally, const Verdict& verdict);

#endif
