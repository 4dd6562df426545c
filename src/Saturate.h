#ifndef SATURATE_H
#define SATURATE_H

#include <cmath>
#include <limits>
#include <type_traits>

/// Every conversion of the library from floating point to a narrower type goes through here: a report's
/// times and angles on their way into the snapshot (GpsReport.h), the snapshot's figures on their way to the
/// application (Snapshot.h), the adapter's stretches and averages, the handler's pause. A plain conversion is
/// undefined for NaN and for values beyond the type's range, and gpsd reports NaN for whatever it doesn't
/// know.
///
/// Pure functions: from any thread, nothing fails, throws or blocks.

/// `value` truncated toward zero. NaN gives 0, a value beyond the type's range its limit; so anything
/// negative gives 0 for an unsigned type. For integers of up to 32 bits: their limits are exact as a double.
///
///     saturate<int32_t>(-1.9)     -1
///     saturate<uint32_t>(-1.9)     0
///     saturate<int16_t>(1e300)    32767
///     saturate<int32_t>(NAN)       0
///
/// The caller scales first and converts once: two conversions would cut twice. Scaling may well overflow to
/// infinity, which ends at the limit too.
template <typename Integer>
Integer saturate(double value) {
    static_assert(std::is_integral<Integer>::value && sizeof(Integer) <= 4, "limits must be exact as double");
    using Limits = std::numeric_limits<Integer>;
    if (std::isnan(value))
        return 0;
    if (value <= static_cast<double>(Limits::min()))
        return Limits::min();
    if (value >= static_cast<double>(Limits::max()))
        return Limits::max();
    return static_cast<Integer>(value);
}

/// A count of seconds in a smaller type, or the type's limit where it doesn't fit: `time_t` has 64 bits on
/// many machines, while the records of the platform keep 32. From 2038 on a fix's time therefore stands still
/// at the type's limit, instead of jumping to 1901.
template <typename Integer>
Integer saturateSeconds(long long value) {
    using Limits = std::numeric_limits<Integer>;
    if (value < Limits::min())
        return Limits::min();
    return value > Limits::max() ? Limits::max() : static_cast<Integer>(value);
}

/// `value` rounded to single precision, to the nearest. Beyond its range it becomes infinity of the same
/// sign; NaN stays NaN. Unlike the two above it hides nothing: who reads the figure sees that it is none.
inline float toSingle(double value) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    if (std::fabs(value) > static_cast<double>(std::numeric_limits<float>::max()))
        return value > 0 ? kInfinity : -kInfinity;
    return static_cast<float>(value);
}

#endif
