#include "simulator/Recording.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>

#include "UbxFrame.h"
#include "simulator/Constants.h"
#include "simulator/Nmea.h"
#include "simulator/Numbers.h"

namespace simulator {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr Duration kDay = std::chrono::hours(24);
constexpr Duration kUsualInterval = seconds(1);
constexpr Duration kLongestGap = seconds(60); // a longer one is a corrected clock, not a pause
constexpr Duration kSameEpoch = milliseconds(30);
constexpr std::size_t kLongestSentence = 512;
const Duration kLeapSeconds = seconds(kGpsMinusUtcSeconds);

// --- Frames ---------------------------------------------------------------------------------------------

uint32_t byteAt(std::string_view bytes, std::size_t index) { return static_cast<uint8_t>(bytes[index]); }

std::string checksumBytes(std::string_view frame) {
    const auto checksum = ubxChecksum(frame.substr(2, frame.size() - 4));
    return {checksum.begin(), checksum.end()};
}

bool isUbx(std::string_view bytes) {
    return bytes.size() >= kUbxEnvelopeSize && byteAt(bytes, 0) == kUbxSync1 && byteAt(bytes, 1) == kUbxSync2;
}

// Length of the valid UBX frame at the beginning, 0 where there is none.
std::size_t ubxLength(std::string_view bytes) {
    if (!isUbx(bytes))
        return 0;
    const std::size_t length = byteAt(bytes, 4) + 256U * byteAt(bytes, 5) + kUbxEnvelopeSize;
    if (length > bytes.size())
        return 0;
    const std::string_view frame = bytes.substr(0, length);
    return checksumBytes(frame) == frame.substr(length - 2) ? length : 0;
}

// Length of the line at the beginning if it looks like a sentence, its line end included.
std::size_t sentenceLength(std::string_view bytes) {
    if (bytes.empty() || bytes[0] != '$')
        return 0;
    const std::size_t end = bytes.substr(0, kLongestSentence).find_first_of("$\n", 1);
    const bool whole = end != std::string_view::npos && bytes[end] == '\n'; // not cut by the next one
    return whole ? end + 1 : 0;
}

std::size_t frameLength(std::string_view bytes) {
    const std::size_t known = std::max(ubxLength(bytes), sentenceLength(bytes));
    if (known > 0)
        return known;
    const std::size_t next = bytes.find_first_of("$\xB5", 1);
    return std::min(next, bytes.size());
}

std::string_view withoutHeader(std::string_view file) {
    while (!file.empty() && file.front() == '#')
        file.remove_prefix(std::min(file.find('\n'), file.size() - 1) + 1);
    return file;
}

// --- Times ----------------------------------------------------------------------------------------------

// Where a sentence keeps its time of day, its date as ddmmyy, and day, month, year in three fields; 0:
// nowhere.
struct SentenceTimes {
    const char* kind;
    std::size_t time;
    std::size_t date;
    std::size_t dayMonthYear;
};
constexpr std::array<SentenceTimes, 8> kSentenceTimes{{
    {"RMC", 1, 9, 0},
    {"GGA", 1, 0, 0},
    {"GLL", 5, 0, 0},
    {"GNS", 1, 0, 0},
    {"ZDA", 1, 0, 2},
    {"GST", 1, 0, 0},
    {"GBS", 1, 0, 0},
    {"GRS", 1, 0, 0},
}};

const SentenceTimes* timesOf(const ParsedSentence& sentence) {
    const auto row =
        std::find_if(kSentenceTimes.begin(), kSentenceTimes.end(), [&](const SentenceTimes& candidate) {
            return sentence.valid && sentence.kind() == candidate.kind;
        });
    return row == kSentenceTimes.end() ? nullptr : &*row;
}

// "hhmmss.sss" as time since midnight; none where it isn't one.
std::optional<Duration> parseTimeOfDay(const std::string& text) {
    constexpr std::size_t kWholeDigits = 6;
    const auto hhmmss = parseWhole(text.substr(0, kWholeDigits), 0, 999'999);
    if (!hhmmss || text.size() < kWholeDigits)
        return std::nullopt;
    const double fraction = leadingNumber("0" + text.substr(kWholeDigits));
    return std::chrono::hours(*hhmmss / 10000) + std::chrono::minutes(*hhmmss / 100 % 100) +
           seconds(*hhmmss % 100) + milliseconds(static_cast<int32_t>(fraction * 1000 + 0.5));
}

// The same with as many decimals as `like` has.
std::string formatTimeOfDay(UtcTime utc, const std::string& like) {
    constexpr std::size_t kWholeDigits = 6;
    const CalendarTime c = calendarOf(utc);
    std::string text = formatted("%02d%02d%02d.%03d", c.hour, c.minute, c.second, c.nanosecond / 1'000'000);
    text.resize(std::max(like.size(), kWholeDigits), '0');
    return text;
}

// All messages of the navigation class carry the time of week in their first four bytes.
bool hasTimeOfWeek(std::string_view frame) {
    constexpr uint32_t kNavigationClass = 0x01;
    return ubxLength(frame) >= kUbxEnvelopeSize + 4 && byteAt(frame, 2) == kNavigationClass;
}

Duration timeOfWeek(std::string_view frame) {
    uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value |= static_cast<uint32_t>(byteAt(frame, kUbxHeaderSize + i)) << (8 * i);
    return milliseconds(value);
}

Duration wrappedToDay(Duration time) { return ((time % kDay) + kDay) % kDay; }

// From one time of day to another on the shorter way: -12 h to 12 h.
Duration dayDifference(Duration from, Duration to) { return wrappedToDay(to - from + kDay / 2) - kDay / 2; }

std::optional<Duration> timeOfDay(const std::string& frame) {
    if (hasTimeOfWeek(frame))
        return wrappedToDay(timeOfWeek(frame) - kLeapSeconds);
    const ParsedSentence sentence = parseSentence(frame);
    const SentenceTimes* times = timesOf(sentence);
    return times != nullptr ? parseTimeOfDay(sentence.fieldAt(times->time)) : std::nullopt;
}

// How much later than the epoch of `current` an epoch of `next` is played. Zero: it is the same epoch.
Duration interval(Duration current, Duration next) {
    const Duration difference = dayDifference(current, next);
    const bool slightlyBack = difference < kSameEpoch && difference > seconds(-2);
    if (slightlyBack)
        return Duration(0);
    return difference > Duration(0) && difference <= kLongestGap ? difference : kUsualInterval;
}

} // namespace

// --- Epochs ---------------------------------------------------------------------------------------------

Recording Recording::parse(std::string_view file) {
    Recording recording;
    recording.epochs_.emplace_back();
    for (std::string_view rest = withoutHeader(file); !rest.empty();) {
        const std::string_view frame = rest.substr(0, frameLength(rest));
        rest.remove_prefix(frame.size());
        recording.append(frame);
        recording.count(frame);
    }
    return recording;
}

void Recording::append(std::string_view frame) {
    RecordedEpoch* epoch = &epochs_.back();
    const auto time = timeOfDay(std::string(frame));
    if (time && epoch->timeOfDay < Duration(0))
        epoch->timeOfDay = *time;
    const Duration gap = time ? interval(epoch->timeOfDay, *time) : Duration(0);
    if (gap > Duration(0)) {
        const Duration start = epoch->sinceStart + gap;
        epoch = &epochs_.emplace_back();
        epoch->sinceStart = start;
        epoch->timeOfDay = *time;
    }
    epoch->frames.emplace_back(frame);
}

void Recording::count(std::string_view frame) {
    if (ubxLength(frame) > 0)
        ++content_.frames;
    else if (parseSentence(frame).valid)
        ++content_.sentences;
    else
        content_.unreadableBytes += frame.size();
}

std::string described(const RecordedContent& content) {
    const auto counted = [](std::size_t count, const char* what) {
        return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
    };
    return counted(content.sentences, "sentence") + ", " + counted(content.frames, "frame") + " and " +
           counted(content.unreadableBytes, "unreadable byte");
}

Duration Recording::duration() const {
    const std::size_t count = epochs_.size();
    if (count < 2)
        return kUsualInterval;
    return 2 * epochs_[count - 1].sinceStart - epochs_[count - 2].sinceStart;
}

// --- New times ------------------------------------------------------------------------------------------

namespace {

void put(std::string& frame, std::size_t payloadOffset, std::size_t size, int64_t value) {
    for (std::size_t i = 0; i < size && kUbxHeaderSize + payloadOffset + i + 2 < frame.size(); ++i)
        frame[kUbxHeaderSize + payloadOffset + i] = static_cast<char>((value >> (8 * i)) & 0xFF);
}

// What a message holds besides the time of week: offsets into the payload, 0 where it has no such field.
struct UbxTimes {
    uint32_t id;
    std::size_t week;     // two bytes, weeks since 1980-01-06
    std::size_t calendar; // year (two bytes), month, day, hour, minute, second
    std::size_t leapSeconds;
};
constexpr std::array<UbxTimes, 4> kUbxTimes{{
    {0x06, 8, 0, 0},  // NAV-SOL
    {0x07, 0, 4, 0},  // NAV-PVT
    {0x20, 8, 0, 10}, // NAV-TIMEGPS
    {0x21, 0, 12, 0}, // NAV-TIMEUTC
}};

void putCalendar(std::string& frame, std::size_t offset, UtcTime utc) {
    const CalendarTime calendar = calendarOf(utc);
    put(frame, offset, 2, calendar.year);
    const std::array<int32_t, 5> rest{calendar.month, calendar.day, calendar.hour, calendar.minute,
                                      calendar.second};
    for (std::size_t i = 0; i < rest.size(); ++i)
        put(frame, offset + 2 + i, 1, rest.at(i));
}

std::string restampedUbx(std::string frame, UtcTime utc) {
    constexpr Duration kWeek = 7 * kDay;
    const UtcTime gpsStart = utcOf({1980, 1, 6, 0, 0, 0, 0});
    const Duration gpsTime = utc - gpsStart + kLeapSeconds;
    put(frame, 0, 4, duration_cast<milliseconds>(gpsTime % kWeek).count());
    const auto row = std::find_if(kUbxTimes.begin(), kUbxTimes.end(), [&](const UbxTimes& candidate) {
        return candidate.id == byteAt(frame, 3);
    });
    if (row != kUbxTimes.end()) {
        if (row->week != 0)
            put(frame, row->week, 2, gpsTime / kWeek);
        if (row->calendar != 0)
            putCalendar(frame, row->calendar, utc);
        if (row->leapSeconds != 0)
            put(frame, row->leapSeconds, 1, kGpsMinusUtcSeconds);
    }
    return frame.substr(0, frame.size() - 2) + checksumBytes(frame);
}

void replaceIfPresent(std::vector<std::string>& fields, std::size_t index, const std::string& text) {
    if (index != 0 && index < fields.size() && !fields[index].empty())
        fields[index] = text;
}

std::string restampedSentence(ParsedSentence sentence, const SentenceTimes& times, UtcTime utc) {
    std::vector<std::string>& fields = sentence.fields;
    const CalendarTime calendar = calendarOf(utc);
    const std::string digits = formatted("%02d%02d%04d", calendar.day, calendar.month, calendar.year);
    replaceIfPresent(fields, times.time, formatTimeOfDay(utc, sentence.fieldAt(times.time)));
    replaceIfPresent(fields, times.date, digits.substr(0, 4) + digits.substr(6, 2));
    if (times.dayMonthYear != 0) {
        replaceIfPresent(fields, times.dayMonthYear, digits.substr(0, 2));
        replaceIfPresent(fields, times.dayMonthYear + 1, digits.substr(2, 2));
        replaceIfPresent(fields, times.dayMonthYear + 2, digits.substr(4));
    }
    return composeSentence(fields);
}

} // namespace

std::string restamped(const std::string& frame, const RecordedEpoch& epoch, UtcTime utc) {
    const auto time = timeOfDay(frame);
    if (!time)
        return frame;
    const UtcTime ownUtc = utc + dayDifference(epoch.timeOfDay, *time);
    if (isUbx(frame))
        return restampedUbx(frame, ownUtc);
    ParsedSentence sentence = parseSentence(frame);
    const SentenceTimes* times = timesOf(sentence);
    return times != nullptr ? restampedSentence(std::move(sentence), *times, ownUtc) : frame;
}

// --- Positions ------------------------------------------------------------------------------------------

namespace {

// "ddmm.mmmm" with any number of digits for the degrees.
double degreesOf(const std::string& text, const std::string& hemisphere) {
    const double value = leadingNumber(text);
    const double whole = std::floor(value / 100);
    const double degrees = whole + (value - 100 * whole) / 60;
    return hemisphere == "S" || hemisphere == "W" ? -degrees : degrees;
}

double angleAt(const std::string& frame, std::size_t payloadOffset) {
    uint32_t raw = 0;
    for (std::size_t i = 0; i < 4; ++i)
        raw |= static_cast<uint32_t>(byteAt(frame, kUbxHeaderSize + payloadOffset + i)) << (8 * i);
    return static_cast<int32_t>(raw) * 1e-7;
}

bool isNavPvt(const std::string& frame) {
    constexpr std::size_t kShortestPayload = 84;
    return hasTimeOfWeek(frame) && byteAt(frame, 3) == 0x07 &&
           frame.size() >= kShortestPayload + kUbxEnvelopeSize;
}

} // namespace

std::optional<RecordedFix> recordedFix(const std::string& frame) {
    if (isNavPvt(frame)) {
        const bool valid = (byteAt(frame, kUbxHeaderSize + 21) & 1U) != 0;
        return RecordedFix{valid, angleAt(frame, 28), angleAt(frame, 24)};
    }
    const ParsedSentence rmc = parseSentence(frame);
    if (!rmc.valid || rmc.kind() != "RMC")
        return std::nullopt;
    return RecordedFix{rmc.fieldAt(2) == "A", degreesOf(rmc.fieldAt(3), rmc.fieldAt(4)),
                       degreesOf(rmc.fieldAt(5), rmc.fieldAt(6))};
}

std::string captureHeader(UtcTime utc, const std::string& origin) {
    const CalendarTime calendar = calendarOf(utc);
    const std::string date = formatted("%04d-%02d-%02d", calendar.year, calendar.month, calendar.day);
    return "# Receiver: simulated u-blox M8\n# Date: " + date + "\n# Origin: " + origin + "\n";
}

} // namespace simulator
