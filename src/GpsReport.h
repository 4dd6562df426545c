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
/// Neither soname nor API number tells the layout (API 14 is three releases), so each difference is found out
/// from the record's type itself:
///   - the fix status stands beside `fix` (unit, API 6) or within it (from API 10);
///   - `fix.time` is a double (unit) or a timespec (from API 9);
///   - from API 9 the altitude is `fix.altMSL`, or `fix.altHAE` where that isn't known;
///   - a satellite's angles are whole degrees (unit) or may be fractions and no numbers (from API 9);
///   - `gps_read` takes the record alone (unit) or a message buffer too (from API 7).
///
/// What libgps's mask `set` says, which decides the copy (the same in all generations):
///   - a TPV report (the fix) sets it anew: STATUS_SET with every one, fix or not; TIME_SET, MODE_SET,
///     LATLON_SET, ALTITUDE_SET, TRACK_SET, SPEED_SET, CLIMB_SET and the bits of the error estimates for what
///     gpsd knows; a fix without altitude doesn't carry ALTITUDE_SET;
///   - a SKY report (satellites and dilutions) adds SATELLITE_SET to what the fix before it left; one without
///     satellites takes it away from 3.25 on, one with more than the record has room for leaves the mask;
///   - any other message, and a line that is no message, leaves it as it is.
/// So the sky view behind a fix brings the fix's values once more, and old values count as fresh as long as
/// anything comes.
///
/// A `Report` below is libgps's `gps_data_t`, or a stand-in of another generation's shape. Nothing here
/// fails, throws, locks or blocks.
namespace gpsreport {

// --- Differences between generations --------------------------------------------------------------------

/// Whether a report's fix status stands beside its `fix`. Naming a member that isn't there would not compile,
/// so its existence decides, here and below.
template <typename Report, typename = void>
struct HasOuterStatus : std::false_type {};
template <typename Report>
struct HasOuterStatus<Report, std::void_t<decltype(Report::status)>> : std::true_type {};

/// Whether a fix tells altitudes above the sea and above the ellipsoid apart.
template <typename Fix, typename = void>
struct HasAltMsl : std::false_type {};
template <typename Fix>
struct HasAltMsl<Fix, std::void_t<decltype(Fix::altMSL)>> : std::true_type {};

/// gpsd's fix status. Its numbers differ between generations; nothing may depend on the value.
template <typename Report>
int32_t status(const Report& report) {
    if constexpr (HasOuterStatus<Report>::value)
        return report.status;
    else
        return report.fix.status;
}

/// Metres above mean sea level, or above the ellipsoid where that isn't known; NaN where neither is. The
/// older record has one altitude for both. Newer ones still have that member, too, but deprecated, so the two
/// others decide where they exist.
template <typename Fix>
double altitude(const Fix& fix) {
    if constexpr (HasAltMsl<Fix>::value)
        return std::isfinite(fix.altMSL) ? fix.altMSL : fix.altHAE;
    else
        return fix.altitude;
}

/// A fix's time in whole seconds since the Unix epoch, truncated toward zero and limited to 32 bits. A time
/// that is no number is 0.
inline int32_t seconds(double time) { return saturate<int32_t>(time); }
/// The same: a timespec counts its fraction upwards, so -0.5 s is second -1 and half a second. Its seconds
/// may be 32 or 64 bits wide, as libgps was built.
inline int32_t seconds(const timespec& time) {
    const bool fractionBeforeEpoch = time.tv_sec < 0 && time.tv_nsec > 0;
    return saturateSeconds<int32_t>(static_cast<long long>(time.tv_sec) + (fractionBeforeEpoch ? 1 : 0));
}

/// Reads one report into `report` with libgps's `gpsRead`, and gives its result: the bytes that were read, 0
/// for half a report, -1 when gpsd has gone. Takes one report: what came with it stays with libgps, and the
/// next wait is over at once. Only to be called for a session that is connected and has been waited for, or
/// it blocks.
template <typename Report>
int read(int (*gpsRead)(Report*), Report* report) {
    return gpsRead(report);
}
/// The same from API 7 on. The text of the message is of no use here.
template <typename Report>
int read(int (*gpsRead)(Report*, char*, int), Report* report) {
    return gpsRead(report, nullptr, 0);
}

// --- The copy ---------------------------------------------------------------------------------------------
//
// A table, so that a value, the bit that announces it and the time at which it came can't drift apart: what
// is copied is also what `makeStale` resets. To take another value from gpsd: give it a member and an arrival
// time in ReaderBlock.h (whose layout Layout_test pins), and a row below.

/// One row of the copy: a group of values that come together, and are stamped together: a query that finds
/// the arrival time current may use all of them.
template <typename Report>
struct CopyRow {
    gps_mask_t mask;                                        ///< a report that carries all these bits has them
    void (*copy)(const Report& report, ReaderBlock& block); ///< takes the values, and nothing else
    time_t ReaderBlock::*arrival;                           ///< stamped with them; no two rows share one
};

/// Takes the sky view: both counts as they stand, and as many satellites as report and snapshot have room
/// for. A negative count has none. Entries behind them keep what they held, which nobody looks at. Angles
/// lose their fractions; those that are no numbers are 0. How many satellites a report has room for differs
/// between generations; no count that gpsd gives is trusted.
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

/// Takes the seven dilutions of precision, as gpsd gives them: NaN for those that it doesn't know.
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

/// The rows, in the order of the copy. Beside each: the place in gpsd's JSON from which libgps takes the
/// values, and their unit. Altitude, times and angles are converted; everything else is copied as it stands,
/// NaN and infinity included, and judged by the queries.
template <typename Report>
const auto& copyRows() {
    using R = const Report&;
    using B = ReaderBlock;
    // KEEP: the dilutions are taken from reports that carry time, position, altitude and sky view together;
    // DOP_SET is not consulted. Pinned by GpsReportCopy.TakesDilutionsOnlyWithTimePositionAltitudeAndSky
    static constexpr gps_mask_t kDopMask = TIME_SET | LATLON_SET | ALTITUDE_SET | SATELLITE_SET;
    static constexpr CopyRow<Report> kRows[] = {
        // TPV "status", also of a report without a fix
        {STATUS_SET, [](R r, B& b) { b.status = status(r); }, &B::tsStatus},
        // TPV "time"
        {TIME_SET, [](R r, B& b) { b.fixTime = seconds(r.fix.time); }, &B::tsTime},
        // TPV "mode"
        {MODE_SET, [](R r, B& b) { b.mode = r.fix.mode; }, &B::tsMode},
        // TPV "lat" and "lon", degrees
        {LATLON_SET, [](R r, B& b) { b.latitude = r.fix.latitude, b.longitude = r.fix.longitude; },
         &B::tsLatLon},
        // TPV "altMSL", "altHAE" or "alt", m
        {ALTITUDE_SET, [](R r, B& b) { b.altitude = altitude(r.fix); }, &B::tsAltitude},
        // TPV "track", degrees
        {TRACK_SET, [](R r, B& b) { b.track = r.fix.track; }, &B::tsTrack},
        // TPV "speed", m/s
        {SPEED_SET, [](R r, B& b) { b.speed = r.fix.speed; }, &B::tsSpeed},
        // TPV "climb", m/s
        {CLIMB_SET, [](R r, B& b) { b.climb = r.fix.climb; }, &B::tsClimb},
        // SKY "satellites"
        {SATELLITE_SET, copySatellites<Report>, &B::tsSatellites},
        // TPV "ept", s
        {TIMERR_SET, [](R r, B& b) { b.ept = r.fix.ept; }, &B::tsTimeError},
        // TPV "epx" and "epy", m
        {HERR_SET, [](R r, B& b) { b.epx = r.fix.epx, b.epy = r.fix.epy; }, &B::tsHorizontalError},
        // TPV "epv", m
        {VERR_SET, [](R r, B& b) { b.epv = r.fix.epv; }, &B::tsVerticalError},
        // TPV "eps", m/s
        {SPEEDERR_SET, [](R r, B& b) { b.eps = r.fix.eps; }, &B::tsSpeedError},
        // SKY "xdop" to "gdop"
        {kDopMask, copyDop<Report>, &B::tsDop},
    };
    return kRows;
}

/// Copies what `report` carries into `block`, each value stamped with `cycleTime`, in seconds since the Unix
/// epoch: when the cycle began, so a value may count as up to 5 s older than it is, never as younger. What
/// the report doesn't carry stays as it is, value and time. Called by the reader thread, with `semaphore`
/// held; the queries look on without it.
template <typename Report>
void copy(const Report& report, time_t cycleTime, ReaderBlock& block) {
    for (const CopyRow<Report>& row : copyRows<Report>()) {
        if ((report.set & row.mask) != row.mask)
            continue;
        row.copy(report, block);
        block.*row.arrival = cycleTime;
    }
}

/// Makes every value that the copy ever stamps count as stale: all arrival times are 0 afterwards, and
/// nothing else is changed. It goes over the same rows, so it can't miss one. Called on the owner's thread
/// before a reader is started, without `semaphore`; a reader that runs meanwhile would stamp anew.
template <typename Report>
void makeStale(ReaderBlock& block) {
    for (const CopyRow<Report>& row : copyRows<Report>())
        block.*row.arrival = 0;
}

} // namespace gpsreport

#endif
