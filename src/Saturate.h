#ifndef SATURATE_H
#define SATURATE_H

#include <cmath>
#include <limits>
#include <type_traits>

/// `value` truncated toward zero; NaN gives 0, a value beyond the type's range its limit. A plain conversion
/// would be undefined there, and gpsd reports NaN for what it doesn't know.
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

/// The same for a 64-bit or platform-sized count of seconds.
template <typename Integer>
Integer saturateSeconds(long long value) {
    using Limits = std::numeric_limits<Integer>;
    if (value < Limits::min())
        return Limits::min();
    return value > Limits::max() ? Limits::max() : static_cast<Integer>(value);
}

/// `value` rounded to single precision; beyond its range infinity, NaN stays.
inline float toSingle(double value) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    if (std::fabs(value) > static_cast<double>(std::numeric_limits<float>::max()))
        return value > 0 ? kInfinity : -kInfinity;
    return static_cast<float>(value);
}

#endif
