#ifndef REPORT_MARKUP_H
#define REPORT_MARKUP_H

#include <cstdint>
#include <string>
#include <string_view>

/// What HTML and SVG are written with. No locale has a say in any of it.
namespace report {

/// Text for an element or for an attribute in double quotes. What is no UTF-8, or no character of XML,
/// becomes U+FFFD.
std::string escaped(std::string_view text);

/// With at most so many decimals and none that are zero: "12", "0.5", "-3.25".
std::string number(double value, int decimals = 0);

/// "0:07", "12:30", "1:02:03": minutes and seconds, with hours where there are some.
std::string elapsed(double seconds);

/// "7 m", "1.2 km", "340 km"
std::string distance(double metres);

/// "1 fix", "2 fixes"
std::string counted(std::uint64_t count, const char* one, const char* many);

} // namespace report

#endif
