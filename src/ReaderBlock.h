#ifndef READERBLOCK_H
#define READERBLOCK_H

#include <cstddef>
#include <cstdint>
#include <ctime>

/// Satellites that the snapshot has room for.
constexpr std::size_t kSatelliteCapacity = 235;

/// The snapshot of what gpsd last said, each value as libgps gives it, with the time at which it last
/// arrived.
///
/// While a reader thread runs, it alone writes the values and their arrival times, with `semaphore` held.
/// Before it runs, `Start` sets the arrival times to 0; the values stay. The flag is written by `Start`, by
/// `Stop` and by the thread itself. The queries read all of it without a lock and may see a report half
/// copied. The order of the members is part of the library's binary interface.
struct ReaderBlock {
    /// Asks the reader thread to end, which looks at it once a cycle. Set by Stop and by a reader that gives
    /// up for want of data, cleared by Start.
    bool stopRequested;

    // The fix (gpsd's TPV report).
    int32_t status;   ///< gpsd's fix status; its numbers differ between generations of libgps
    int32_t fixTime;  ///< whole seconds since the Unix epoch, UTC
    int32_t mode;     ///< 0 or 1: no fix, 2: without altitude, 3: with it
    double latitude;  ///< degrees, positive north
    double longitude; ///< degrees, positive east
    double altitude;  ///< m above mean sea level, or above the ellipsoid where that isn't known
    double track;     ///< course over ground, degrees from true north
    double speed;     ///< over ground, m/s
    double climb;     ///< m/s, positive up

    // gpsd's estimates of the fix's errors.
    double ept; ///< of the time, s
    double epy; ///< of the latitude, m
    double epx; ///< of the longitude, m
    double epv; ///< of the altitude, m
    double eps; ///< of the speed, m/s

    // The sky view (gpsd's SKY report). Entry i of the arrays is its i-th satellite; entries behind
    // `satellitesVisible` are of older reports.
    int32_t satellitesVisible;             ///< as reported, also outside 0 .. kSatelliteCapacity
    int32_t satellitesUsed;                ///< gpsd's own count, whatever `used` says
    double ss[kSatelliteCapacity];         ///< signal-to-noise ratio, dB-Hz
    bool used[kSatelliteCapacity];         ///< takes part in the fix
    int16_t PRN[kSatelliteCapacity];       ///< the satellite's number
    int16_t elevation[kSatelliteCapacity]; ///< degrees above the horizon
    int16_t azimuth[kSatelliteCapacity];   ///< degrees from true north

    // Dilutions of precision, without a unit.
    double xdop;
    double ydop;
    double pdop;
    double hdop;
    double vdop;
    double tdop;
    double gdop;

    // Arrival times: `time` at the begin of the cycle that brought the value; 0 until it arrives, and again
    // after each Start.
    time_t tsStatus;
    time_t tsTime;
    time_t tsMode;
    time_t tsLatLon; ///< of both
    time_t tsAltitude;
    time_t tsTrack;
    time_t tsSpeed;
    time_t tsClimb;
    time_t tsSatellites;      ///< of the whole sky view
    time_t tsTimeError;       ///< of ept
    time_t tsHorizontalError; ///< of epx and epy
    time_t tsVerticalError;   ///< of epv
    time_t tsSpeedError;      ///< of eps
    time_t tsDop;             ///< of all seven dilutions
};

#endif
