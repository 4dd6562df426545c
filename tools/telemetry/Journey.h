#ifndef JOURNEY_H
#define JOURNEY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Telemetry.h"

namespace telemetry {

/// A fix of the track, without what no export shows.
struct TrackPoint {
    Position position;
    std::int32_t altitudeMm = 0;
    std::int64_t utcS = 0;
    std::uint32_t speedMmPerS = 0;
    std::uint32_t courseMdeg = 0;
    std::uint32_t satellites = 0;
    float hdop = 0; ///< not finite where it isn't known
    float pdop = 0;
    bool begins = false; ///< a segment: there is a gap before it
};

/// An event and where it was.
struct Mark {
    std::int64_t utcMs = 0;
    std::uint32_t tickS = 0;
    std::optional<Position> where; ///< none before the first fix
    std::string type;              ///< as in JSON: "geofence_entered"
    std::string name;              ///< short, for a map: "entered Depot"
    std::string geofence;          ///< its name, where the event is about one
};

/// How much of a journey is kept, so that days of it fit into the unit's memory: about 10 MB.
struct JourneyLimits {
    std::size_t points = 150000;
    std::size_t marks = 30000;
    std::size_t geofences = 1000;
};

/// What the exports draw of lines of telemetry: the track, the events and the geofences.
///
/// The track has a point for each fix. A gap in it begins another segment: a start of the monitor, or a fix
/// that came more than two position intervals after the one before. While the vehicle stands, the first and
/// the last fix are kept. Where the points become more than the limit, every second one of them goes, and
/// from then on every second one is kept: then every fourth, and so on.
///
/// An availability that repeats the one before makes no mark, nor does a position update. Behind the limits
/// marks and geofences are counted alone.
///
/// A mark's time is the receiver's, counted in ticks from the last fix before it, or from the first one where
/// it came before. Without any fix since the start of the monitor it is the system's.
class Journey {
public:
    explicit Journey(const JourneyLimits& limits = JourneyLimits()) : limits_(limits) {}

    void take(const Line& line);

    const std::string& program() const { return program_; }           ///< of the first start
    const std::vector<TrackPoint>& points() const { return points_; } ///< of all segments
    const std::vector<Mark>& marks() const { return marks_; }
    const std::vector<Geofence>& geofences() const {
        return geofences_;
    } ///< each once, as they came to be set

    std::size_t fixes() const { return fixes_; } ///< that the points were chosen of
    std::size_t marksLeftOut() const { return marksLeftOut_; }
    std::size_t geofencesLeftOut() const { return geofencesLeftOut_; }

private:
    struct Taker;

    void begin(const Start& start);
    void keepGeofences(const Settings& settings);
    void takeFix(const Readings& readings);
    void keep(const TrackPoint& point);
    bool stands(const TrackPoint& point) const;
    void halve();
    void mark(const Moment& at, const std::optional<Position>& where, const char* type,
              const std::string& name, const std::string& geofence = "");
    std::int64_t timeOf(std::uint32_t tickS) const;
    void setEarlyTimes();

    JourneyLimits limits_;
    std::string program_;
    std::vector<TrackPoint> points_;
    std::vector<Mark> marks_;
    std::vector<Geofence> geofences_;
    std::size_t fixes_ = 0;
    std::size_t marksLeftOut_ = 0;
    std::size_t geofencesLeftOut_ = 0;

    // The track's end: the last point is always the last fix, and the next one takes its place while it is
    // loose.
    TrackPoint firm_; ///< the last one that stays
    bool loose_ = false;
    bool standing_ = false;
    std::size_t stride_ = 1; ///< of moving fixes one in so many stays
    std::size_t sinceFirm_ = 0;

    // Since the last start.
    std::optional<Readings> last_; ///< with the last fix
    std::uint32_t positionIntervalS_ = 1;
    std::optional<bool> available_;
    std::size_t early_ = 0; ///< the first mark of it
};

} // namespace telemetry

#endif
