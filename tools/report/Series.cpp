#include "Series.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>

#include "Markup.h"

namespace report {

namespace {

constexpr std::size_t kMostRows = 120000; // a day at a fix a second, with room for other changes

using Value = std::function<std::int64_t(const Sample& sample)>;

struct Column {
    const char* name;
    Value value;
};

/// The same difference again and again is written once.
class Differences {
public:
    void take(std::int64_t value) {
        const std::int64_t difference = value - last_;
        last_ = value;
        if (times_ != 0 && difference != difference_)
            flush();
        difference_ = difference;
        ++times_;
    }

    std::string text() {
        if (times_ != 0)
            flush();
        return text_;
    }

private:
    void flush() {
        text_ += (text_.empty() ? "" : " ") + std::to_string(difference_);
        if (times_ > 1)
            text_ += "*" + std::to_string(times_);
        times_ = 0;
    }

    std::string text_;
    std::int64_t last_ = 0;
    std::int64_t difference_ = 0;
    std::size_t times_ = 0;
};

std::int64_t rounded(double value) {
    constexpr double kLimit = 1e15; // a damaged number is still one, also for the script
    return std::isfinite(value) ? std::llround(std::clamp(value, -kLimit, kLimit)) : -1;
}

/// Of the last fix; -1 where there was none yet.
Value ofFix(const std::function<double(const telemetry::Fix&)>& value) {
    return [value](const Sample& sample) {
        return sample.readings.fix ? rounded(value(*sample.readings.fix)) : -1;
    };
}

constexpr double kTenths = 10;
constexpr double kHundredths = 100;

const Column kColumns[]{
    {"t", [](const Sample& sample) { return rounded(sample.timeS * kHundredths); }},
    {"utc",
     [](const Sample& sample) {
         return rounded(static_cast<double>(sample.utcMs) / 100 - sample.timeS * kTenths);
     }},
    {"lat", ofFix([](const telemetry::Fix& fix) { return fix.position.latitude; })},
    {"lon", ofFix([](const telemetry::Fix& fix) { return fix.position.longitude; })},
    {"alt", ofFix([](const telemetry::Fix& fix) { return fix.altitudeMm / 1000.0; })},
    {"speed", ofFix([](const telemetry::Fix& fix) { return fix.speedMmPerS * 0.0036 * kTenths; })},
    {"course", ofFix([](const telemetry::Fix& fix) { return fix.courseMdeg / 1000.0; })},
    {"hdop", ofFix([](const telemetry::Fix& fix) { return fix.hdop * kHundredths; })},
    {"pdop", ofFix([](const telemetry::Fix& fix) { return fix.pdop * kHundredths; })},
    {"age",
     [](const Sample& sample) {
         const bool none = !sample.readings.fix || sample.readings.fixTickS == 0;
         return none ? -1 : std::int64_t{sample.tickS} - sample.readings.fixTickS;
     }},
    {"satellites", [](const Sample& sample) { return std::int64_t{sample.readings.satellites}; }},
    {"snr", [](const Sample& sample) { return std::int64_t{sample.readings.snrDbHz}; }},
    {"odometer", [](const Sample& sample) { return std::int64_t{sample.readings.odometerM}; }},
    {"antenna", [](const Sample& sample) { return std::int64_t{sample.readings.antennaState}; }},
    {"available", [](const Sample& sample) { return std::int64_t{sample.readings.available}; }},
};

std::string columnText(const Drive& drive, const Column& column, std::size_t every) {
    Differences differences;
    for (std::size_t i = 0; i < drive.samples.size(); i += every)
        differences.take(column.value(drive.samples[i]));
    return differences.text();
}

/// How the script finds a position's place on the drawing.
std::string frameJson(const Frame& frame) {
    const telemetry::Position centre = frame.projection().centre();
    const Place zero = frame.on(Ground{});
    return "{\"lat\":" + std::to_string(centre.latitude) + ",\"lon\":" + std::to_string(centre.longitude) +
           ",\"x\":" + number(zero.x, 3) + ",\"y\":" + number(zero.y, 3) +
           ",\"unitsPerMetre\":" + number(frame.unitsPerMetre(), 9) + "}";
}

} // namespace

std::string seriesJson(const Drive& drive, const Frame& frame) {
    const std::size_t every = std::max<std::size_t>(1, (drive.samples.size() + kMostRows - 1) / kMostRows);
    std::string json = "{\"duration\":" + number(std::max(drive.durationS, 1.0), 3) +
                       ",\"frame\":" + frameJson(frame) + ",\"columns\":{";
    const char* separator = "";
    for (const Column& column : kColumns) {
        json +=
            separator + ("\"" + std::string(column.name) + "\":\"" + columnText(drive, column, every) + "\"");
        separator = ",\n";
    }
    return json + "}}";
}

} // namespace report
