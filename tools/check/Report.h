#ifndef REPORT_H
#define REPORT_H

#include <iosfwd>
#include <string>

#include "Database.h"
#include "Finding.h"

/// How findings and a decoded database are printed. docs/target-check.md lists the members of the JSON
/// objects.

namespace check {

/// Whether the service can run: there is no fault.
bool canRun(const Findings& findings);

/// A line for each finding, "LEVEL  CHECK  TEXT. Mend: MEND", and a closing one.
void printText(const Findings& findings, std::ostream& out);

void printJson(const Findings& findings, const std::string& version, std::ostream& out);

/// Whether each record is whole, and the trailer counts them; also true of a database without records.
bool isWhole(const DatabaseReport& report);

void printDatabaseJson(const DatabaseReport& report, const std::string& version, std::ostream& out);

} // namespace check

#endif
