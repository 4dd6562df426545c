#ifndef REPORT_PAGE_H
#define REPORT_PAGE_H

#include <optional>
#include <string>

#include "Drive.h"
#include "Replay.h"

namespace report {

struct Comparison {
    WhatIf whatIf;
    Replay replay;
};

/// Everything that a page shows.
struct Contents {
    const Drive& drive;
    const Replay& replay; ///< with the recorded settings
    std::optional<Comparison> other;
};

/// One page of HTML that needs nothing but itself.
std::string htmlPage(const Contents& contents);

/// The track alone, with scale, geofences and events, as a picture.
std::string svgPicture(const Contents& contents);

} // namespace report

#endif
