#ifndef TIME_H
#define TIME_H

#include <chrono>
#include <cstdint>

/// The simulator's times, and the calendar. Pure functions; nothing here asks a clock.

namespace simulator {

/// Only the types of the steady clock are used; the core never asks it for the time, callers pass `now`.
using TimePoint = std::chrono::steady_clock::time_point;
using Duration = std::chrono::nanoseconds;
/// Nanoseconds since 1970-01-01 UTC, without leap seconds.
using UtcTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

/// Seconds with their fraction.
double inSeconds(Duration duration);

/// Truncated to whole nanoseconds; up to 292 years either way.
Duration fromSeconds(double seconds);

/// Date and time of day of a UTC time (proleptic Gregorian calendar).
struct CalendarTime {
    int32_t year = 1970;
    int32_t month = 1; ///< 1 to 12
    int32_t day = 1;   ///< 1 to 31
    int32_t hour = 0;
    int32_t minute = 0;
    int32_t second = 0;
    int32_t nanosecond = 0; ///< 0 to 999,999,999, also before 1970
};

CalendarTime calendarOf(UtcTime utc);

/// The inverse. The fields must name a day that exists, between the years 1678 and 2262.
UtcTime utcOf(const CalendarTime& calendar);

} // namespace simulator

#endif
