#ifndef READERBLOCK_H
#define READERBLOCK_H

#include <cstddef>
#include <cstdint>
#include <ctime>

/// Satellites that the snapshot has room for.
constexpr std::size_t kSatelliteCapacity = 235;

/// The snapshot of what gpsd last said, each value as libgps gives it, with the time at which it last
/// arrived. Written by the reader thread alone (the flag also by Start and Stop); read by the queries without
/// a lock, which may see a report half copied.
struct ReaderBlock {
    bool stopRequested; ///< set by Stop and by the thread itself, cleared by Start

    int32_t status;
    int32_t fixTime; ///< whole seconds since the Unix epoch
    int32_t mode;
    double latitude;  ///< degrees
    double longitude; ///< degrees
    double altitude;  ///< m
    double track;     ///< degrees from true north
    double speed;     ///< m/s
    double climb;     ///< m/s

    double ept; ///< s
    double epy; ///< m
    double epx; ///< m
    double epv; ///< m
    double eps; ///< m/s

    int32_t satellitesVisible; ///< as reported, also outside 0 .. kSatelliteCapacity
    int32_t satellitesUsed;
    double ss[kSatelliteCapacity]; ///< signal-to-noise ratio, dB-Hz
    bool used[kSatelliteCapacity];
    int16_t PRN[kSatelliteCapacity];
    int16_t elevation[kSatelliteCapacity]; ///< degrees
    int16_t azimuth[kSatelliteCapacity];   ///< degrees

    double xdop;
    double ydop;
    double pdop;
    double hdop;
    double vdop;
    double tdop;
    double gdop;

    // Arrival times: 0 until the value arrives.
    time_t tsStatus;
    time_t tsTime;
    time_t tsMode;
    time_t tsLatLon;
    time_t tsAltitude;
    time_t tsTrack;
    time_t tsSpeed;
    time_t tsClimb;
    time_t tsSatellites;
    time_t tsTimeError;
    time_t tsHorizontalError;
    time_t tsVerticalError;
    time_t tsSpeedError;
    time_t tsDop;
};

#endif
