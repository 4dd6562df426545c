#ifndef EXPORTTEXT_H
#define EXPORTTEXT_H

#include <cstdint>
#include <string>

#include "Journey.h"

/// How the exports write numbers and texts: the same whatever the program's locale.
namespace telemetry {

/// A number in units of 10^-digits, as a decimal: (-13312128, 6) is "-13.312128".
std::string decimal(std::int64_t value, unsigned int digits);

/// A dilution of precision; nothing where it isn't known.
std::string dilutionText(double value);

/// The text with U+FFFD for what is no UTF-8.
std::string inUtf8(const std::string& text);

/// The text for an XML element or attribute; U+FFFD for what no XML file may hold.
std::string inXml(const std::string& text);

/// For people: how much of it there is, and what was left out.
std::string inWords(const Journey& journey);

} // namespace telemetry

#endif
