#include "Release.h"

#include <cstdio>
#include <regex>

namespace check {

namespace {

struct Numbers {
    int major = 0;
    int minor = 0;
};

/// From this release on reports name two altitudes; an older client looks for the one that they no longer
/// have.
constexpr Numbers kNewReports{3, 20};

Numbers numbersOf(const std::string& release) {
    Numbers numbers;
    std::sscanf(release.c_str(), "%d.%d", &numbers.major, &numbers.minor);
    return numbers;
}

bool isBefore(const Numbers& one, const Numbers& other) {
    return one.major != other.major ? one.major < other.major : one.minor < other.minor;
}

bool areEqual(const Numbers& one, const Numbers& other) {
    return !isBefore(one, other) && !isBefore(other, one);
}

} // namespace

std::string parseRelease(const std::string& text) {
    static const std::regex form(R"(\d+\.\d+(\.\d+)?)");
    std::smatch match;
    return std::regex_search(text, match, form) ? match.str() : "";
}

Finding compareReleases(const std::string& daemon, const std::string& library) {
    if (library.empty())
        return warning("gpsd is of release " + daemon +
                           ", that of the library's libgps was not known when it was built",
                       "make sure that both are of one release");
    const Numbers one = numbersOf(daemon);
    const Numbers other = numbersOf(library);
    const std::string words =
        "gpsd is of release " + daemon + ", the library was built for libgps of " + library;
    if (areEqual(one, other))
        return ok(words);
    const std::string mend =
        "install gpsd and libgps of one release and build the library against its headers";
    if (isBefore(one, kNewReports) != isBefore(other, kNewReports))
        return fault(words + ": they name values differently, some never arrive", mend);
    return warning(words, mend);
}

} // namespace check
