#ifndef SCHEDULEMODEL_H
#define SCHEDULEMODEL_H

#include <cstdint>
#include <string>
#include <vector>

#include "Wrapped.h"

/// What the worker's settings say of its cycles.
struct Timetable {
    bool enabled = true;
    uint32_t positionInterval = 1;
    uint32_t statusInterval = 2;
    bool trackingEnabled = false;
    int32_t trackingPeriod = 0;
    int32_t trackingBase = 0;
    int32_t trackingOffset = 0;
    bool geofencesEnabled = false;
    uint32_t logInterval = 900;
};

/// Which of its tasks the worker does in a cycle.
class ScheduleModel {
public:
    enum Task { Position, Geofence, Tracking, Status, Log };

    explicit ScheduleModel(const Timetable& first)
        : pauseUs(static_cast<uint32_t>(first.positionInterval * 1000000u) / 4) {}

    const uint32_t pauseUs;

    bool hasAPositionTask(const Timetable& wanted, uint32_t now) const {
        return isDue(now, lastPosition_, wanted.positionInterval);
    }
    /// A cycle's tasks take their time, so the clocks are read again: `now` is the tick at its begin, `utc`
    /// the time behind the position task, `later` the tick behind the status task.
    std::vector<Task> cycle(const Timetable& wanted, uint32_t now, uint32_t later, int64_t utc) {
        std::vector<Task> tasks;
        if (hasAPositionTask(wanted, now)) {
            tasks.push_back(Position);
            if (wanted.geofencesEnabled)
                tasks.push_back(Geofence);
            lastPosition_ = now;
        }
        if (wanted.trackingEnabled && lastTracking_ <= now - 5 && isNearABoundary(wanted, utc)) {
            tasks.push_back(Tracking);
            lastTracking_ = now;
        }
        if (isDue(now, lastStatus_, wanted.statusInterval)) {
            tasks.push_back(Status);
            lastStatus_ = later;
        }
        const uint32_t logInterval = wanted.logInterval % 4096;
        if (logInterval != 0 && isDue(now, lastLog_, logInterval)) {
            tasks.push_back(Log);
            lastLog_ = now;
        }
        return tasks;
    }

private:
    /// In 32 bits, as the tick counts.
    static bool isDue(uint32_t now, uint32_t last, uint32_t interval) {
        return now >= static_cast<uint32_t>(last + interval);
    }
    static bool isNearABoundary(const Timetable& wanted, int64_t utc) {
        const int64_t period = wanted.trackingPeriod;
        if (period == 0)
            return false;
        const int64_t shifted = wrapped(utc - wanted.trackingBase + wanted.trackingOffset);
        const int64_t rest = shifted % period;
        return rest <= 1 || rest >= period - 1;
    }

    uint32_t lastPosition_ = 0;
    uint32_t lastTracking_ = 0;
    uint32_t lastStatus_ = 0;
    uint32_t lastLog_ = 0;
};

#endif
