#ifndef REPORT_DRIVE_H
#define REPORT_DRIVE_H

#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "Recording.h"
#include "Telemetry.h"

/// What a recording tells of a drive, on one axis of time.
namespace report {

/// Readings that differ from those before, or the first of an interval.
struct Sample {
    double timeS = 0;       ///< since the recording's first line; never goes back
    std::int64_t utcMs = 0; ///< the system's clock then
    std::uint32_t tickS = 0;
    telemetry::Readings readings;
};

/// Something that happened: see `isEvent`.
struct Event {
    double timeS = 0;
    std::int64_t utcMs = 0;
    telemetry::Content content;
    std::size_t sample = 0; ///< the first one taken after it, or samples.size()
    std::uint32_t tickS = 0;
};

/// Settings from a time on.
struct SettingsFrom {
    double timeS = 0;
    telemetry::Settings settings;
    std::size_t sample = 0; ///< the first one taken after them, or samples.size()
    std::uint32_t tickS = 0;
};

/// From one start of the monitor to its end, or to where it was cut off. Each run has an adapter of its own.
struct Run {
    double fromS = 0;
    double toS = 0;
    std::size_t sample = 0; ///< its first one
    std::size_t end = 0;    ///< behind its last one
    // The tick at which the service ran, and the one at which it was asked to stop, where they are known.
    std::optional<std::uint32_t> runningTickS;
    std::optional<std::uint32_t> stoppingTickS;
};

/// A stretch of time that a reader should know of.
struct Stretch {
    enum class Kind {
        Restart,    ///< the monitor ended and was started again
        NoReadings, ///< nothing was written, though the monitor ran
        NoFix,      ///< no fix was accepted for more than two position intervals
        Watchdog,   ///< gpsd must have been silent for so long that the watchdog restarted it: an estimate
        ClockJump,  ///< the system's clock jumped; fromS == toS
    };
    Kind kind = Kind::NoFix;
    double fromS = 0;
    double toS = 0;
    std::string words; ///< for people: "no fix for 42 s"
};

/// How many of each kind the recording holds; the page states them.
struct Counts {
    std::size_t lines = 0; ///< that could be read
    std::size_t samples = 0;
    std::size_t fixes = 0; ///< samples with another fixTickS than the one before
    std::size_t entered = 0;
    std::size_t left = 0;
    std::size_t antennaChanges = 0;
    std::size_t availabilityChanges = 0;
    std::size_t positionUpdates = 0;
    std::size_t trackingReports = 0;           ///< those with a fix
    std::size_t trackingReportsWithoutFix = 0; ///< while the service had had none
    std::uint64_t lost = 0;
};

struct Drive {
    std::string name;    ///< the recording's file name
    std::string program; ///< of the first start
    std::int64_t beginUtcMs = 0;
    double durationS = 0;
    std::vector<Sample> samples;
    std::vector<Event> events;
    std::vector<SettingsFrom> settings; ///< at least one, the first at time 0
    std::vector<Run> runs;              ///< at least one, in order
    std::vector<Stretch> stretches;     ///< in the order of their begin
    Counts counts;
    std::vector<telemetry::Damage> damage; ///< the first of it
    std::uint64_t furtherDamage = 0;       ///< damaged lines beyond those
    bool ended = false;                    ///< its last line is an end: nothing was cut off

    std::uint64_t damagedLines() const { return damage.size() + furtherDamage; }
};

/// Each line but settings, readings, and the service's steps on the way up and down: of these only that it
/// runs, is down or could not come up.
bool isEvent(const telemetry::Content& content);

/// Reads the whole recording. Throws telemetry::NoRecording where nothing can be shown.
Drive readDrive(std::istream& input, const std::string& name);

} // namespace report

#endif
