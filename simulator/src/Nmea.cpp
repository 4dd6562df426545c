#include "simulator/Nmea.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace simulator {

namespace {

constexpr double kMinuteScale = 1e5; // five decimals of a minute, as a receiver in its usual precision

template <typename... Values>
std::string formatted(const char* format, Values... values) {
    std::array<char, 64> buffer{};
    std::snprintf(buffer.data(), buffer.size(), format, values...);
    return buffer.data();
}

// Days since 1970-01-01 of a proleptic Gregorian date, counted from March so that leap days come last.
long daysOfDate(int year, int month, int day) {
    const long y = month <= 2 ? year - 1 : year;
    const long era = (y >= 0 ? y : y - 399) / 400;
    const long yearOfEra = y - era * 400;
    const long dayOfYear = (153L * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

void setDate(CalendarTime& calendar, long days) {
    const long shifted = days + 719468;
    const long era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
    const long dayOfEra = shifted - era * 146097;
    const long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const long monthFromMarch = (5 * dayOfYear + 2) / 153;
    calendar.day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    calendar.month = static_cast<int>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    calendar.year = static_cast<int>(yearOfEra + era * 400 + (calendar.month <= 2 ? 1 : 0));
}

std::string checksummed(const std::string& body) {
    return "$" + body + "*" + nmeaChecksumText(body) + "\r\n";
}

} // namespace

// --- Checksum -------------------------------------------------------------------------------------------

std::uint8_t nmeaChecksum(std::string_view body) {
    std::uint8_t sum = 0;
    for (const char c : body)
        sum = static_cast<std::uint8_t>(sum ^ static_cast<std::uint8_t>(c));
    return sum;
}

std::string nmeaChecksumText(std::string_view body) {
    return formatted("%02X", static_cast<unsigned>(nmeaChecksum(body)));
}

// --- Builder --------------------------------------------------------------------------------------------

NmeaSentence::NmeaSentence(std::string_view address) : body_(address) {}

NmeaSentence& NmeaSentence::field(std::string_view text) {
    body_.append(1, ',').append(text);
    return *this;
}

NmeaSentence& NmeaSentence::field(int value) { return field(formatted("%d", value)); }

NmeaSentence& NmeaSentence::field(double value, int decimals, int integerDigits) {
    const int width = integerDigits + (decimals > 0 ? decimals + 1 : 0);
    return field(formatted("%0*.*f", width, decimals, value));
}

NmeaSentence& NmeaSentence::padded(int value, int width) { return field(formatted("%0*d", width, value)); }

NmeaSentence& NmeaSentence::empty(int count) {
    body_.append(static_cast<std::size_t>(count), ',');
    return *this;
}

NmeaSentence& NmeaSentence::latitude(double degrees) { return coordinate(degrees, 2, 'N', 'S'); }

NmeaSentence& NmeaSentence::longitude(double degrees) { return coordinate(degrees, 3, 'E', 'W'); }

// Rounds before it splits, so that 59.999999 minutes become a full degree.
NmeaSentence& NmeaSentence::coordinate(double degrees, int degreeDigits, char positive, char negative) {
    const long long units = std::llround(std::fabs(degrees) * 60 * kMinuteScale);
    const auto perDegree = static_cast<long long>(60 * kMinuteScale);
    const double minutes = static_cast<double>(units % perDegree) / kMinuteScale;
    field(formatted("%0*lld%08.5f", degreeDigits, units / perDegree, minutes));
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

// --- Calendar -------------------------------------------------------------------------------------------

CalendarTime calendarOf(UtcTime utc) {
    constexpr long long kSecondsPerDay = 86400;
    const long long nanoseconds = utc.time_since_epoch().count();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(utc.time_since_epoch()).count();
    const long long days = (seconds >= 0 ? seconds : seconds - kSecondsPerDay + 1) / kSecondsPerDay;
    const auto ofDay = static_cast<int>(seconds - days * kSecondsPerDay);
    CalendarTime calendar;
    setDate(calendar, static_cast<long>(days));
    calendar.hour = ofDay / 3600;
    calendar.minute = ofDay / 60 % 60;
    calendar.second = ofDay % 60;
    calendar.nanosecond = static_cast<int>(nanoseconds - seconds * 1'000'000'000);
    return calendar;
}

UtcTime utcOf(const CalendarTime& calendar) {
    const long days = daysOfDate(calendar.year, calendar.month, calendar.day);
    const auto seconds =
        std::chrono::seconds(days * 86400L + calendar.hour * 3600L + calendar.minute * 60L + calendar.second);
    return UtcTime(seconds + std::chrono::nanoseconds(calendar.nanosecond));
}

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
