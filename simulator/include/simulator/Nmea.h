#ifndef NMEA_H
#define NMEA_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Time.h"

/// NMEA 0183 sentences: a builder, and what is needed to take them apart again.

namespace simulator {

/// Exclusive or of all characters between '$' and '*', as the two upper-case digits of a sentence.
std::string nmeaChecksumText(std::string_view body);

/// Builds one sentence field by field:
///     NmeaSentence("GPGLL").latitude(47.2852).longitude(8.5653).field("083559.00").field("A").text()
class NmeaSentence {
public:
    /// `address`: talker and kind without '$', as in "GPGGA".
    explicit NmeaSentence(std::string_view address);

    NmeaSentence& field(std::string_view text);
    NmeaSentence& field(int32_t value);
    /// Rounded to `decimals` digits, with `integerDigits` at least in front of the point.
    NmeaSentence& field(double value, int decimals, int integerDigits = 1);
    /// With leading zeros up to `width`.
    NmeaSentence& padded(int32_t value, int width);
    NmeaSentence& empty(int count = 1);
    /// Two fields each: degrees and minutes with five decimals, and the hemisphere.
    NmeaSentence& latitude(double degrees);
    NmeaSentence& longitude(double degrees);
    /// hhmmss.ss, truncated.
    NmeaSentence& timeOfDay(UtcTime utc);
    /// ddmmyy.
    NmeaSentence& date(UtcTime utc);

    /// What the checksum covers.
    const std::string& body() const { return body_; }
    /// The whole sentence with '$', checksum and line end.
    std::string text() const;

private:
    NmeaSentence& coordinate(double degrees, int degreeDigits, char positive, char negative);

    std::string body_;
};

/// "$BODY*hh\r\n" taken apart at its commas. `valid` is false where start or checksum is wrong.
struct ParsedSentence {
    bool valid = false;
    std::vector<std::string> fields; // fields[0] is the address

    /// The last three letters of the address; empty where it has not five.
    std::string kind() const;
    /// Empty behind the last field.
    std::string fieldAt(std::size_t index) const { return index < fields.size() ? fields[index] : ""; }
};
ParsedSentence parseSentence(std::string_view text);

/// The sentence with these fields and a new checksum.
std::string composeSentence(const std::vector<std::string>& fields);

} // namespace simulator

#endif
