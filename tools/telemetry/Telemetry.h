#ifndef TELEMETRY_H
#define TELEMETRY_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

/// What ruxogps-monitor sees of the service, line by line: the vocabulary of its outputs and recordings.
/// Plain values with the library's own units and scaling, so that whoever reads a recording needs neither the
/// library nor the platform.
namespace telemetry {

constexpr std::size_t kGeofences = 12;

/// When the monitor noticed something.
struct Moment {
    std::int64_t utcMs = 0;    ///< the system's clock, milliseconds since the Unix epoch; it may jump
    std::int64_t uptimeMs = 0; ///< since the monitor started, milliseconds; it never goes back
    std::uint32_t tickS = 0;   ///< ruxo_systemtick(), seconds
};

struct Position {
    std::int32_t latitude = 0;  ///< microdegrees, positive north
    std::int32_t longitude = 0; ///< microdegrees, positive east
};

/// A fix, scaled as GPSData is.
struct Fix {
    Position position;
    std::int32_t altitudeMm = 0;
    std::int64_t utcS = 0; ///< its own time, seconds since the Unix epoch
    std::uint32_t speedMmPerS = 0;
    std::uint32_t courseMdeg = 0; ///< from true north, thousandths of a degree
    double hdop = 0;
    double tdop = 0;
    double pdop = 0;
    double gdop = 0;
};

/// Scaled as GPSGeofence is: microdegrees. Not configured where width or height is 0.
struct Geofence {
    std::string name;
    Position centre;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t margin = 0;

    bool isConfigured() const { return width != 0 && height != 0; }
};

/// As GPSParams, without the requests that it carries.
struct Settings {
    bool enabled = true;
    std::uint32_t positionIntervalS = 1;
    std::uint32_t statusIntervalS = 2;
    std::uint32_t logIntervalS = 900;
    bool trackingEnabled = false;
    std::int32_t trackingPeriodS = 0;
    std::int32_t trackingBaseS = 0;
    std::int32_t trackingOffsetS = 0;
    bool geofencesEnabled = false;
    std::array<Geofence, kGeofences> geofences;
};

/// With the numbers of GPSGeofenceState.
enum class GeofenceState : std::uint32_t { Unknown, Inside, Outside, Entered, Left };

/// As GPSReadings.
struct Readings {
    bool available = false;
    std::uint32_t antennaState = 0; ///< 1 in order, 2 disconnected, 3 short circuit
    std::uint32_t satellites = 0;
    std::uint32_t snrDbHz = 0;
    std::uint32_t fixTickS = 0; ///< ruxo_systemtick() when the fix was accepted
    std::uint32_t odometerM = 0;
    std::optional<Fix> fix; ///< none yet while fixTickS is 0
    std::array<GeofenceState, kGeofences> geofenceStates{};
    std::optional<std::int32_t> timeDeviationS; ///< GPS time less system time, once measured
    std::uint32_t horizontalErrorM = 0;
    std::int32_t timeErrorMs = 0;
};

// --- What a line tells ----------------------------------------------------------------------------------

/// The first line, and the first after each start of the monitor.
struct Start {
    std::uint32_t version = 1; ///< of the format
    std::string program;       ///< its name and version
};

/// The settings that the adapter was given.
struct SettingsTaken {
    Settings settings;
};

struct ReadingsTaken {
    Readings readings;
};

struct GeofenceCrossed {
    bool entered = false;
    std::optional<std::size_t> slot; ///< its place in the settings, where it is still there
    std::string name;
    std::optional<Position> where; ///< the last fix's, as far as the monitor knows it
};

struct AntennaChanged {
    std::uint32_t state = 0;
    std::optional<Position> where;
};

struct AvailabilityChanged {
    bool available = false;
    std::optional<Position> where;
};

struct PositionUpdated {
    std::optional<Position> where;
};

struct Tracked {
    std::optional<Fix> fix; ///< none while the service has had none
};

/// The way of the service up and down, as far as it can be known from outside.
struct ServiceStep {
    enum class Step {
        Constructing,
        Initializing,
        Starting,
        Running,
        Stopping,
        Finalizing,
        Destroying,
        Down,
        Failed
    };
    Step step = Step::Down;
    double elapsedS = 0;                 ///< in this step
    double longestS = 0;                 ///< what the step may take, 0 where there is no such bound
    std::optional<std::uint32_t> result; ///< of the operation that has ended with this step
};

/// What the person at the keys has asked for.
struct Command {
    enum class Kind { SetOdometer, Tracking, Geofences };
    Kind kind = Kind::SetOdometer;
    std::uint32_t odometerM = 0; ///< of SetOdometer
    bool enabled = false;        ///< of the others
};

/// Events that came faster than they could be written.
struct Lost {
    std::uint64_t events = 0;
};

/// The last line of a monitor that ended by itself.
struct End {
    int status = 0;
};

using Content = std::variant<Start, SettingsTaken, ReadingsTaken, GeofenceCrossed, AntennaChanged,
                             AvailabilityChanged, PositionUpdated, Tracked, ServiceStep, Command, Lost, End>;

struct Line {
    Moment at;
    Content content;
};

// --- What they say of the service's worker --------------------------------------------------------------

/// A restart of gpsd by the watchdog keeps the worker for longer: five seconds for the receiver, three for
/// gpsd.
constexpr std::uint32_t kShortestRestartS = 8;

bool hasNewFix(const Readings& before, const Readings& now);

/// Whether something in them has changed that only the worker changes: it runs.
bool showTheWorker(const Readings& before, const Readings& now);

// --- In words -------------------------------------------------------------------------------------------

/// "in order", "disconnected", "short circuit", "unknown (7)"
std::string antennaInWords(std::uint32_t state);

/// "unknown", "inside", "outside", "entered", "left"
const char* inWords(GeofenceState state);

/// "constructing", "initializing", ...
const char* inWords(ServiceStep::Step step);

/// "2026-11-22T03:25:18.042Z"; the fraction is left out where `withMs` is false. Years 1000 to 9999.
std::string utcText(std::int64_t utcMs, bool withMs = true);

} // namespace telemetry

#endif
