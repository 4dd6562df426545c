#ifndef SETTINGSFILE_H
#define SETTINGSFILE_H

#include <string>

#include "Geofences.h"
#include "Wishes.h"

namespace monitor {

/// Bounds of what both file and command line may say.
constexpr double kShortestIntervalS = 1;
constexpr double kLongestIntervalS = 3600;
constexpr double kLongestLogIntervalS = 4095; // the service counts its low 12 bits
constexpr double kMostSeconds = 2147483647;
constexpr double kMostMetres = 4294967295;

/// The settings of a TOML file, laid over `wishes`. Throws SettingError with file and line for the first
/// thing that is wrong; docs/monitor.md has the keys.
void readSettings(const std::string& file, Wishes& wishes);

} // namespace monitor

#endif
