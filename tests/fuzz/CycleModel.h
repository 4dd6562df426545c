#ifndef CYCLEMODEL_H
#define CYCLEMODEL_H

#include <cstdint>
#include <string>
#include <vector>

#include "AllowedCommands.h"
#include "GPSParams.h"
#include "GPSReadings.h"

/// What the service owes its application, reckoned without a line of the library: one cycle of the worker
/// after the other, from the settings and from what the receiver last reported. The odometer alone is bounded
/// instead of known.
class CycleModel {
public:
    /// What the receiver last reported of each group, and when; the antenna is the platform's.
    struct Receiver {
        enum Group {
            Status,
            Time,
            Position,
            Altitude,
            Course,
            Speed,
            Sky,
            TimeError,
            HorizontalError,
            Dilutions,
            kGroups
        };
        time_t arrival[kGroups] = {};
        double latitude = 0, longitude = 0, altitude = 0, course = 0, speed = 0;
        double hdop = 0, tdop = 0, pdop = 0, gdop = 0, ept = 0, epx = 0, epy = 0;
        int32_t time = 0, visible = 0, used = 0;
        double snr = 0; ///< of each satellite that is used
        GPSAntennaState antenna = GPS_ANTENNA_OK;
        unsigned int antennaResult = 0;
    };
    /// The clocks of a cycle: at its begin, and behind a restart of gpsd within it.
    struct Clocks {
        uint32_t tick;
        time_t utc;
        uint32_t tickAfter;
        time_t utcAfter;
    };

    /// A new worker; the adapter's state is that behind `ResetParams`.
    explicit CycleModel(int32_t warmup) { reset(warmup); }

    /// As `ResetParams` does; the odometer then waits for `warmup` cycles.
    void reset(int32_t warmup);
    void set(const GPSParams& params);

    /// One cycle; returns what the callback is told, in order, as the journal has it.
    Lines cycle(const Receiver& receiver, const Clocks& clocks, bool restarts);
    /// Whether the next cycle asks for a fix.
    bool asksForAFix(uint32_t tick) const { return isDue(tick, lastPosition_, params_.positionInterval); }

    /// What does not fit into `readings`, or null; takes its odometer.
    const char* misfit(const GPSReadings& readings);

    bool hasNtp = false;
    const GPSParams& params() const { return params_; }

private:
    static bool isDue(uint32_t now, uint32_t last, uint32_t interval) { return now >= last + interval; }

    void updatePosition(const Receiver& receiver, const Clocks& clocks, Lines& told);
    void updateGeofences(Lines& told);
    void track(const Clocks& clocks, Lines& told);
    void updateStatus(const Receiver& receiver, const Clocks& clocks, Lines& told);
    void updateDeviation(const Receiver& receiver, time_t now);
    bool growthFits(uint32_t growth) const;

    GPSParams params_;
    GPSReadings readings_;
    int32_t warmup_ = 0;
    uint32_t fixes_ = 0;
    uint32_t lastPosition_ = 0;
    uint32_t lastTracking_ = 0;
    uint32_t lastStatus_ = 0;
    bool mayGrow_ = false;
    uint32_t errorAtGrowth_ = 0;
};

#endif
