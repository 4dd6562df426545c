#ifndef SNAPSHOTMODEL_H
#define SNAPSHOTMODEL_H

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

/// What a report of gpsd says, in its own units. Only what is set in `groups` counts.
struct Report {
    enum Group {
        Status = 0x200,
        Time = 0x4,
        Position = 0x10,
        Altitude = 0x20,
        Track = 0x80,
        Speed = 0x40,
        Sky = 0x8000,
        TimeError = 0x8,
        PositionError = 0x1000
    };
    struct Satellite {
        int number;
        double strength;
        bool isUsed;
    };

    uint64_t groups = 0;
    int64_t seconds = 0;
    int mode = 0;
    double latitude = 0, longitude = 0, altitude = 0, track = 0, speed = 0;
    double timeError = 0, eastError = 0, northError = 0;
    double hdop = 0, tdop = 0, pdop = 0, gdop = 0;
    int used = 0;
    std::vector<Satellite> satellites;

    bool has(uint64_t wanted) const { return (groups & wanted) == wanted; }
};

/// What a query gave.
struct Answer {
    uint32_t result = 0;
    bool valid = false;
    int32_t latitude = 0, longitude = 0, altitude = 0;
    int64_t time = 0;
    uint32_t speed = 0, course = 0;
    float hdop = 0, tdop = 0, pdop = 0, gdop = 0;
};

/// The latest of everything that gpsd has said, each with the second in which the wait for it began: what is
/// older than ten seconds is not known any more.
class SnapshotModel {
public:
    static constexpr uint32_t kNotRunning = 0x17000002;
    static constexpr uint32_t kNotCurrent = 0x17000205;

    /// Nothing has arrived since 1970; what was said last stays.
    void start() {
        isRunning_ = true;
        for (auto& kept : groups_)
            kept.second.since = 0;
        dilutions_.since = 0;
    }
    /// No query is answered any more.
    void stop() { isRunning_ = false; }

    void take(const Report& report, int64_t began) {
        for (const Report::Group group : kGroups)
            if (report.has(group))
                keep(group, report, began);
        if (report.has(Report::Time | Report::Position | Report::Altitude | Report::Sky))
            dilutions_ = {began, report};
    }

    /// `antenna` and `antennaResult` are the platform's answer.
    Answer data(int64_t now, uint32_t antenna, uint32_t antennaResult) const {
        Answer answer;
        answer.result = kNotRunning;
        if (!isRunning_)
            return answer;
        answer.result = isFresh(Report::Status, now) ? antennaResult : kNotCurrent;
        answer.valid = answer.result == 0 && antenna == 1;
        if (const Report* r = fresh(Report::Time, now))
            answer.time = toInt32(static_cast<double>(r->seconds));
        if (const Report* r = fresh(Report::Position, now)) {
            answer.latitude = toInt32(r->latitude * 1000000);
            answer.longitude = toInt32(r->longitude * 1000000);
        }
        if (const Report* r = fresh(Report::Altitude, now))
            answer.altitude = toInt32(r->altitude * 1000);
        if (const Report* r = fresh(Report::Track, now))
            answer.course = toUint32(r->track * 1000);
        if (const Report* r = fresh(Report::Speed, now))
            answer.speed = toUint32(r->speed * 1000);
        fillDilutions(answer, now);
        return answer;
    }
    // The other queries give their result, and 0 or false for what isn't known.

    uint32_t status(int64_t now, bool& receiving) const {
        receiving = isRunning_ && isFresh(Report::Status, now);
        return isRunning_ ? 0 : kNotRunning;
    }
    uint32_t time(int64_t now, int64_t& seconds) const {
        const Report* r = fresh(Report::Time, now);
        seconds = r == nullptr ? 0 : toInt32(static_cast<double>(r->seconds));
        return r == nullptr ? resultOfNothing() : 0;
    }
    uint32_t errors(int64_t now, uint32_t& horizontalMetres, int32_t& timeMs) const {
        const Report* r = fresh(Report::TimeError, now);
        timeMs = r == nullptr ? 0 : toInt32(r->timeError * 1000);
        horizontalMetres = horizontalError(now);
        return isRunning_ ? 0 : kNotRunning;
    }
    uint32_t satellites(int64_t now, uint32_t& strength, uint32_t& visible) const {
        const Report* r = fresh(Report::Sky, now);
        strength = visible = 0;
        if (r == nullptr)
            return resultOfNothing();
        visible = static_cast<uint32_t>(r->satellites.size());
        uint32_t sum = 0;
        for (const Report::Satellite& satellite : r->satellites)
            sum += satellite.isUsed ? toUint32(satellite.strength) : 0;
        strength = r->used == 0 ? 0 : sum / static_cast<uint32_t>(r->used);
        return 0;
    }

    /// Towards zero, and no further than the type goes; what is no number is 0.
    static int32_t toInt32(double value) {
        return static_cast<int32_t>(limited(value, INT32_MIN, INT32_MAX));
    }
    static uint32_t toUint32(double value) { return static_cast<uint32_t>(limited(value, 0, UINT32_MAX)); }

private:
    static constexpr Report::Group kGroups[] = {Report::Status,   Report::Time,      Report::Position,
                                                Report::Altitude, Report::Track,     Report::Speed,
                                                Report::Sky,      Report::TimeError, Report::PositionError};
    struct Kept {
        int64_t since = 0;
        Report report;
    };

    static double limited(double value, double least, double greatest) {
        if (std::isnan(value))
            return 0;
        return value < least ? least : value > greatest ? greatest : value;
    }
    uint32_t resultOfNothing() const { return isRunning_ ? kNotCurrent : kNotRunning; }
    uint32_t horizontalError(int64_t now) const {
        const Report* r = fresh(Report::PositionError, now);
        if (r == nullptr)
            return 0;
        const auto sum = static_cast<float>(r->eastError * r->eastError + r->northError * r->northError);
        return toUint32(std::sqrt(static_cast<double>(sum)));
    }
    void keep(Report::Group group, const Report& report, int64_t began) { groups_[group] = {began, report}; }
    static bool isFresh(const Kept& kept, int64_t now) { return kept.since >= now - 10; }
    bool isFresh(Report::Group group, int64_t now) const { return fresh(group, now) != nullptr; }
    const Report* fresh(Report::Group group, int64_t now) const {
        const Kept& kept = groups_[group];
        return isRunning_ && isFresh(kept, now) ? &kept.report : nullptr;
    }
    void fillDilutions(Answer& answer, int64_t now) const {
        if (!isFresh(dilutions_, now))
            return;
        answer.hdop = static_cast<float>(dilutions_.report.hdop);
        answer.tdop = static_cast<float>(dilutions_.report.tdop);
        answer.pdop = static_cast<float>(dilutions_.report.pdop);
        answer.gdop = static_cast<float>(dilutions_.report.gdop);
    }

    bool isRunning_ = false;
    mutable std::map<Report::Group, Kept> groups_;
    Kept dilutions_;
};

#endif
