#ifndef GPSREPORT_H
#define GPSREPORT_H

#include <gps.h>
#include <time.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <type_traits>

#include "ReaderBlock.h"
#include "Saturate.h"

/// The one place that knows how libgps's generations differ, and the copy of a report into the snapshot.
///
/// Neither soname nor API number tells the layout (API 14 is three layouts), so each difference is found out
/// from the record's type itself:
///   - the fix status stands beside `fix` (unit, API 6) or within it (from API 10);
///   - `fix.time` is a double (unit) or a timespec (from API 9);
///   - from API 9 the altitude is `fix.altMSL`, or `fix.altHAE` where that isn't known;
///   - `gps_read` takes the record alone (unit) or a message buffer too (from API 7).
namespace gpsreport {

// --- Differences between generations --------------------------------------------------------------------

template <typename Report, typename = void>
struct HasOuterStatus : std::false_type {};
template <typename Report>
struct HasOuterStatus<Report, std::void_t<decltype(Report::status)>> : std::true_type {};

template <typename Fix, typename = void>
struct HasAltMsl : std::false_type {};
template <typename Fix>
struct HasAltMsl<Fix, std::void_t<decltype(Fix::altMSL)>> : std::true_type {};

template <typename Report>
int32_t status(const Report& report) {
    if constexpr (HasOuterStatus<Report>::value)
        return report.status;
    else
        return report.fix.status;
}

template <typename Fix>
double altitude(const Fix& fix) {
    if constexpr (HasAltMsl<Fix>::value)
        return std::isfinite(fix.altMSL) ? fix.altMSL : fix.altHAE;
    else
        return fix.altitude;
}

/// Whole seconds, truncated toward zero.
inline int32_t seconds(double time) { return saturate<int32_t>(time); }
inline int32_t seconds(const timespec& time) {
    const bool fractionBeforeEpoch = time.tv_sec < 0 && time.tv_nsec > 0;
    return saturateSeconds<int32_t>(static_cast<long long>(time.tv_sec) + (fractionBeforeEpoch ? 1 : 0));
}

template <typename Report>
int read(int (*gpsRead)(Report*), Report* report) {
    return gpsRead(report);
}
template <typename Report>
int read(int (*gpsRead)(Report*, char*, int), Report* report) {
    return gpsRead(report, nullptr, 0);
}

// --- The copy ---------------------------------------------------------------------------------------------

/// One row of the copy: the values taken from a report that carries all bits of `mask`, and the arrival time
/// that is stamped with them.
template <typename Report>
struct CopyRow {
    gps_mask_t mask;
    void (*copy)(const Report& report, ReaderBlock& block);
    time_t ReaderBlock::*arrival;
};

template <typename Report>
void copySatellites(const Report& report, ReaderBlock& block) {
    block.satellitesVisible = report.satellites_visible;
    block.satellitesUsed = report.satellites_used;
    const int capacity = static_cast<int>(std::min(kSatelliteCapacity, std::size(report.skyview)));
    const int count = std::clamp(static_cast<int>(report.satellites_visible), 0, capacity);
    for (int i = 0; i < count; ++i) {
        const auto& satellite = report.skyview[i];
        block.ss[i] = static_cast<double>(satellite.ss);
        block.used[i] = satellite.used;
        block.PRN[i] = satellite.PRN;
        block.elevation[i] = saturate<int16_t>(static_cast<double>(satellite.elevation));
        block.azimuth[i] = saturate<int16_t>(static_cast<double>(satellite.azimuth));
    }
}

template <typename Report>
void copyDop(const Report& report, ReaderBlock& block) {
    block.xdop = report.dop.xdop;
    block.ydop = report.dop.ydop;
    block.pdop = report.dop.pdop;
    block.hdop = report.dop.hdop;
    block.vdop = report.dop.vdop;
    block.tdop = report.dop.tdop;
    block.gdop = report.dop.gdop;
}

/// Copies what `report` carries into `block`, stamped with `cycleTime`.
template <typename Report>
void copy(const Report& report, time_t cycleTime, ReaderBlock& block) {
    using R = const Report&;
    using B = ReaderBlock;
    // KEEP: the dilutions are taken from reports that carry time, position, altitude and sky view together;
    // DOP_SET is not consulted. Pinned by GpsReportCopy.TakesDilutionsOnlyWithTimePositionAltitudeAndSky
    static constexpr gps_mask_t kDopMask = TIME_SET | LATLON_SET | ALTITUDE_SET | SATELLITE_SET;
    static constexpr CopyRow<Report> kRows[] = {
        {STATUS_SET, [](R r, B& b) { b.status = status(r); }, &B::tsStatus},
        {TIME_SET, [](R r, B& b) { b.fixTime = seconds(r.fix.time); }, &B::tsTime},
        {MODE_SET, [](R r, B& b) { b.mode = r.fix.mode; }, &B::tsMode},
        {LATLON_SET, [](R r, B& b) { b.latitude = r.fix.latitude, b.longitude = r.fix.longitude; },
         &B::tsLatLon},
        {ALTITUDE_SET, [](R r, B& b) { b.altitude = altitude(r.fix); }, &B::tsAltitude},
        {TRACK_SET, [](R r, B& b) { b.track = r.fix.track; }, &B::tsTrack},
        {SPEED_SET, [](R r, B& b) { b.speed = r.fix.speed; }, &B::tsSpeed},
        {CLIMB_SET, [](R r, B& b) { b.climb = r.fix.climb; }, &B::tsClimb},
        {SATELLITE_SET, copySatellites<Report>, &B::tsSatellites},
        {TIMERR_SET, [](R r, B& b) { b.ept = r.fix.ept; }, &B::tsTimeError},
        {HERR_SET, [](R r, B& b) { b.epx = r.fix.epx, b.epy = r.fix.epy; }, &B::tsHorizontalError},
        {VERR_SET, [](R r, B& b) { b.epv = r.fix.epv; }, &B::tsVerticalError},
        {SPEEDERR_SET, [](R r, B& b) { b.eps = r.fix.eps; }, &B::tsSpeedError},
        {kDopMask, copyDop<Report>, &B::tsDop},
    };
    for (const CopyRow<Report>& row : kRows) {
        if ((report.set & row.mask) != row.mask)
            continue;
        row.copy(report, block);
        block.*row.arrival = cycleTime;
    }
}

} // namespace gpsreport

#endif
