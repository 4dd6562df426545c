#ifndef REPORTS_H
#define REPORTS_H

#include <string>

/// gpsd's reports, as it sends them: one line of JSON each.

/// A fix with all that gpsd knows of one, so many seconds after a full hour; below 3600.
std::string fixReport(int second);

/// A sky view of so many satellites, each a text of the same length: a satellite costs what the next one
/// does.
std::string skyReport(int satellites);

#endif
