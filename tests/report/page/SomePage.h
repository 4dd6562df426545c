#ifndef REPORT_TESTS_SOMEPAGE_H
#define REPORT_TESTS_SOMEPAGE_H

#include <sstream>
#include <string>

#include "MadeDrive.h"
#include "Page.h"
#include "WhatIf.h"

namespace report {

inline Drive driveOf(const std::string& recording, const std::string& name = "made.jsonl") {
    std::istringstream input(recording);
    return readDrive(input, name);
}

inline std::string pageOf(const Drive& drive) { return htmlPage({drive, replay(drive), {}}); }

inline std::string pageOf(const Drive& drive, const std::string& whatIf) {
    const WhatIf other = parseWhatIf(whatIf);
    const Replay recorded = replay(drive);
    return htmlPage({drive, recorded, Comparison{other, replay(drive, &other)}});
}

inline std::string pictureOf(const Drive& drive) { return svgPicture({drive, replay(drive), {}}); }

/// The number that the page states in the element of this name, or nothing.
inline std::string stated(const std::string& page, const std::string& id) {
    const std::string begin = "<data id=\"data-" + id + "\" value=\"";
    const std::size_t at = page.find(begin);
    if (at == std::string::npos)
        return "";
    const std::size_t from = at + begin.size();
    return page.substr(from, page.find('"', from) - from);
}

inline std::size_t occurrences(const std::string& page, const std::string& text) {
    std::size_t count = 0;
    for (std::size_t at = page.find(text); at != std::string::npos; at = page.find(text, at + text.size()))
        ++count;
    return count;
}

} // namespace report

#endif
