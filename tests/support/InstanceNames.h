#ifndef INSTANCENAMES_H
#define INSTANCENAMES_H

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <type_traits>

/// Names of a parametrised test's instances, from the values that each is made with: the last argument of
/// INSTANTIATE_TEST_SUITE_P. Without one an instance has the number of its place, which changes with the
/// list.

/// "Minus128" of -128, "and_only_there" of "and only there": what a name may not hold is written out, or an
/// underscore.
template <typename Value>
std::string instanceName(const Value& value) {
    std::string name;
    if constexpr (std::is_integral_v<Value>)
        name = std::to_string(value);
    else
        name = value;
    for (char& c : name)
        if (c != '-' && std::isalnum(static_cast<unsigned char>(c)) == 0)
            c = '_';
    for (std::size_t at = name.find('-'); at != std::string::npos; at = name.find('-'))
        name.replace(at, 1, "Minus");
    return name;
}

/// The same of several values, with underscores between.
template <typename First, typename... Rest>
std::string instanceName(const First& first, const Rest&... rest) {
    return (instanceName(first) + ... + ("_" + instanceName(rest)));
}

#endif
