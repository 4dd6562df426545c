#include "simulator/Time.h"

#include "simulator/Constants.h"

namespace simulator {

namespace {

// The calendar counts in cycles of 400 years that begin on the first of March, so that leap days come last.
constexpr int64_t kDaysPerCycle = 146'097;
constexpr int64_t kDaysToCycleOf1970 = 719'468; // from 0000-03-01 to 1970-01-01

// Rounded down, also for negative values.
constexpr int64_t floorDivided(int64_t value, int64_t divisor) {
    return (value >= 0 ? value : value - divisor + 1) / divisor;
}

// Days since 1970-01-01.
int64_t daysOfDate(int64_t year, int64_t month, int64_t day) {
    const int64_t yearFromMarch = month <= 2 ? year - 1 : year;
    const int64_t cycle = floorDivided(yearFromMarch, 400);
    const int64_t yearOfCycle = yearFromMarch - cycle * 400;
    const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    return cycle * kDaysPerCycle + yearOfCycle * 365 + yearOfCycle / 4 - yearOfCycle / 100 + dayOfYear -
           kDaysToCycleOf1970;
}

void setDate(CalendarTime& calendar, int64_t days) {
    const int64_t shifted = days + kDaysToCycleOf1970;
    const int64_t cycle = floorDivided(shifted, kDaysPerCycle);
    const int64_t day = shifted - cycle * kDaysPerCycle; // of the cycle
    const int64_t yearOfCycle = (day - day / 1460 + day / 36'524 - day / 146'096) / 365;
    const int64_t dayOfYear = day - (365 * yearOfCycle + yearOfCycle / 4 - yearOfCycle / 100);
    const int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    calendar.day = static_cast<int32_t>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    calendar.month = static_cast<int32_t>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    calendar.year = static_cast<int32_t>(yearOfCycle + cycle * 400 + (calendar.month <= 2 ? 1 : 0));
}

} // namespace

double inSeconds(Duration duration) { return std::chrono::duration<double>(duration).count(); }

Duration fromSeconds(double seconds) {
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
}

CalendarTime calendarOf(UtcTime utc) {
    const int64_t nanoseconds = utc.time_since_epoch().count();
    const int64_t seconds = floorDivided(nanoseconds, kNanosecondsPerSecond);
    const int64_t days = floorDivided(seconds, kSecondsPerDay);
    const auto ofDay = static_cast<int32_t>(seconds - days * kSecondsPerDay);
    CalendarTime calendar;
    setDate(calendar, days);
    calendar.hour = ofDay / 3600;
    calendar.minute = ofDay / 60 % 60;
    calendar.second = ofDay % 60;
    calendar.nanosecond = static_cast<int32_t>(nanoseconds - seconds * kNanosecondsPerSecond);
    return calendar;
}

UtcTime utcOf(const CalendarTime& calendar) {
    const int64_t days = daysOfDate(calendar.year, calendar.month, calendar.day);
    const int64_t ofDay = calendar.hour * 3600 + calendar.minute * 60 + calendar.second;
    return UtcTime(std::chrono::seconds(days * kSecondsPerDay + ofDay) +
                   std::chrono::nanoseconds(calendar.nanosecond));
}

} // namespace simulator
