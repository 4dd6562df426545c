// The library itself and its libgps, as this unit's loader takes them.

#include <climits>
#include <ctime>

#include "Checks.h"
#include "LoadedLibrary.h"

namespace check {

namespace {

constexpr char kLibgpsPrefix[] = "libgps.so.";
constexpr int kBitsOfLong = CHAR_BIT * sizeof(long);
constexpr int kBitsOfTime = CHAR_BIT * sizeof(time_t);

const LoadedLibrary& library() {
    static const LoadedLibrary loaded(RUXOGPS_SONAME);
    return loaded;
}

std::string libgpsSoname() { return sonameOf(library().needed(), kLibgpsPrefix); }

/// Loaded already, with the library.
const LoadedLibrary& libgps() {
    static const LoadedLibrary loaded(libgpsSoname());
    return loaded;
}

bool haveLibgps() { return library().isLoaded() && !libgpsSoname().empty() && libgps().isLoaded(); }

} // namespace

Findings checkLibrary(const Unit&) {
    if (!library().isLoaded())
        return {fault("the library can't be loaded: " + library().error(),
                      "install what is missing, or run ldconfig")};
    return {ok("the library is " + library().path())};
}

Findings checkLibgps(const Unit&) {
    if (!library().isLoaded())
        return {};
    const std::string soname = libgpsSoname();
    if (soname.empty())
        return {
            fault("the library is linked to no libgps", "build it anew, with libgps as a shared library")};
    const std::string built = LIBGPS_SONAME;
    if (!built.empty() && built != soname)
        return {
            warning("the library is linked to " + soname + ", this program was built beside one for " + built,
                    "install library and tools of one build")};
    return {ok("the library is linked to " + soname + " (API " LIBGPS_API "), which is " + libgps().path())};
}

Findings checkTimeWidth(const Unit&) {
    if (!haveLibgps())
        return {};
    const int libraryBits = timeBits(library().names(), kBitsOfLong);
    const int libgpsBits = timeBits(libgps().names(), kBitsOfLong);
    return {compareTimeWidths(libraryBits != 0 ? libraryBits : kBitsOfTime, libgpsBits)};
}

} // namespace check
