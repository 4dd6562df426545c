#include "simulator/Nmea.h"

#include <cmath>

#include "simulator/Numbers.h"

namespace simulator {

namespace {

constexpr int64_t kUnitsPerMinute =
    100'000; // five decimals of a minute, as a receiver in its usual precision

std::string checksummed(const std::string& body) {
    return "$" + body + "*" + nmeaChecksumText(body) + "\r\n";
}

} // namespace

// --- Checksum -------------------------------------------------------------------------------------------

std::string nmeaChecksumText(std::string_view body) {
    uint32_t sum = 0;
    for (const char c : body)
        sum ^= static_cast<unsigned char>(c);
    return formatted("%02X", sum);
}

// --- Builder --------------------------------------------------------------------------------------------

NmeaSentence::NmeaSentence(std::string_view address) : body_(address) {}

NmeaSentence& NmeaSentence::field(std::string_view text) {
    body_.append(1, ',').append(text);
    return *this;
}

NmeaSentence& NmeaSentence::field(int32_t value) { return field(formatted("%d", value)); }

NmeaSentence& NmeaSentence::field(double value, int decimals, int integerDigits) {
    const int width = integerDigits + (decimals > 0 ? decimals + 1 : 0);
    return field(formatted("%0*.*f", width, decimals, value));
}

NmeaSentence& NmeaSentence::padded(int32_t value, int width) {
    return field(formatted("%0*d", width, value));
}

NmeaSentence& NmeaSentence::empty(int count) {
    body_.append(static_cast<std::size_t>(count), ',');
    return *this;
}

NmeaSentence& NmeaSentence::latitude(double degrees) { return coordinate(degrees, 2, 'N', 'S'); }

NmeaSentence& NmeaSentence::longitude(double degrees) { return coordinate(degrees, 3, 'E', 'W'); }

// Rounds before it splits, so that 59.999999 minutes become a full degree.
NmeaSentence& NmeaSentence::coordinate(double degrees, int degreeDigits, char positive, char negative) {
    constexpr int64_t kUnitsPerDegree = 60 * kUnitsPerMinute;
    const int64_t units = std::llround(std::fabs(degrees) * static_cast<double>(kUnitsPerDegree));
    const double minutes =
        static_cast<double>(units % kUnitsPerDegree) / static_cast<double>(kUnitsPerMinute);
    const auto whole = static_cast<int32_t>(units / kUnitsPerDegree);
    field(formatted("%0*d%08.5f", degreeDigits, whole, minutes));
    return field(std::string(1, degrees < 0 ? negative : positive));
}

NmeaSentence& NmeaSentence::timeOfDay(UtcTime utc) {
    const CalendarTime c = calendarOf(utc);
    return field(formatted("%02d%02d%02d.%02d", c.hour, c.minute, c.second, c.nanosecond / 10'000'000));
}

NmeaSentence& NmeaSentence::date(UtcTime utc) {
    const CalendarTime c = calendarOf(utc);
    return field(formatted("%02d%02d%02d", c.day, c.month, c.year % 100));
}

std::string NmeaSentence::text() const { return checksummed(body_); }

// --- Taking apart ---------------------------------------------------------------------------------------

std::string ParsedSentence::kind() const {
    const std::string address = fieldAt(0);
    return address.size() == 5 ? address.substr(2) : "";
}

ParsedSentence parseSentence(std::string_view text) {
    ParsedSentence parsed;
    const std::size_t star = text.find('*');
    if (text.empty() || text.front() != '$' || star == std::string_view::npos || star + 3 > text.size())
        return parsed;
    const std::string_view body = text.substr(1, star - 1);
    parsed.valid = nmeaChecksumText(body) == text.substr(star + 1, 2);
    std::size_t begin = 0;
    for (std::size_t comma = body.find(','); comma != std::string_view::npos; comma = body.find(',', begin)) {
        parsed.fields.emplace_back(body.substr(begin, comma - begin));
        begin = comma + 1;
    }
    parsed.fields.emplace_back(body.substr(begin));
    return parsed;
}

std::string composeSentence(const std::vector<std::string>& fields) {
    std::string body;
    for (const std::string& text : fields)
        body.append(body.empty() ? "" : ",").append(text);
    return checksummed(body);
}

} // namespace simulator
