#ifndef DAYSMODEL_H
#define DAYSMODEL_H

#include <cmath>

#include "Days.h"
#include "GeofenceModel.h"
#include "OdometerModel.h"
#include "ScheduleModel.h"
#include "WatchdogModel.h"

/// A whole service in time, made of the models of its parts.
class DaysModel {
public:
    days::Tally tally{};
    OdometerModel odometer;
    Timetable timetable;
    GeofenceModel areas;

    /// The driver was made at time 0; initialised at `now`.
    explicit DaysModel(int64_t now) {
        reader_.now = now;
        reader_.afterwards = [this](int64_t at) { return cycleAt(at); };
        reader_.atStart = [this](int64_t at) { gpsd_.start(at); };
    }

    void start() {
        reader_.initialize();
        reader_.start();
        takeReadersLines();
    }
    /// The worker begins now, and no cycle of it that begins at `end` or later counts.
    void run(int64_t end) {
        ScheduleModel schedule(timetable);
        tally[days::OtherLines] += 1; // that it starts
        while (reader_.now < end) {
            cycle(schedule);
            reader_.pass(schedule.pauseUs);
        }
    }
    int64_t now() const { return reader_.now; }
    void stop() {
        tally[days::OtherLines] += 1; // that it has stopped
        reader_.stop();
        takeReadersLines();
    }

private:
    int64_t second() const { return reader_.now / days::kSecond; }
    uint32_t tick() const { return days::kStartTick + static_cast<uint32_t>(second()); }

    WatchdogModel::Cycle cycleAt(int64_t at) const {
        const int64_t report = days::Gpsd::nextReport(at);
        if (!gpsd_.livesAt(report))
            return {WatchdogModel::Nobody, std::max<int64_t>(gpsd_.diesAt() - at, 0)};
        const bool hasAFix = gpsd_.hasAFixAt(report);
        return {WatchdogModel::Report, report - at,
                hasAFix ? days::Gpsd::fixOf(report) : WatchdogModel::kNoFix};
    }

    void cycle(ScheduleModel& schedule) {
        const uint32_t began = tick();
        if (schedule.hasAPositionTask(timetable, began))
            position();
        for (const auto task : schedule.cycle(timetable, began, tick(), days::kStartUtc + second())) {
            if (task == ScheduleModel::Geofence)
                checkAreas();
            if (task == ScheduleModel::Tracking)
                ++tally[days::Trackings];
            if (task == ScheduleModel::Status)
                status();
            if (task == ScheduleModel::Log)
                tally[days::DetailLines] += 2;
        }
    }

    void position() {
        const int64_t asked = second();
        reader_.daemonRuns = gpsd_.livesAt(reader_.now);
        const bool isCurrent = reader_.query() == 0;
        takeReadersLines();
        const int64_t fix = reader_.fixIn(asked);
        if (isCurrent)
            take(fix != WatchdogModel::kNoFix && days::antennaAt(reader_.now) == 1, fix);
        odometer.cycle();
    }
    /// An answer of the receiver; without a current position its dilution is 0, too.
    void take(bool isValid, int64_t fix) {
        if (isValid != available_)
            ++tally[isValid ? days::Available : days::NotAvailable];
        if (fix == WatchdogModel::kNoFix)
            return;
        available_ = isValid;
        if (isValid) {
            const days::Place place = days::placeOf(fix);
            odometer.moveTo(place.latitude, place.longitude);
            areas.moveTo(place.latitude, place.longitude);
            ++fixes_;
        }
        if (fixes_ > 10)
            ++tally[days::PositionUpdates], fixes_ = 0;
    }
    void checkAreas() {
        const GeofenceModel::Outcome outcome = areas.check(0, true);
        tally[days::OtherLines] += outcome.result != 0 ? 2 : 0; // the adapter's and the worker's
        for (const std::string& event : outcome.events)
            ++tally[event.find("Entered") != std::string::npos ? days::Entered : days::Left];
    }
    void status() {
        const bool hasASky = reader_.hasAStatusIn(second());
        if (hasASky && second() - satelliteLog_ >= 1800)
            tally[days::SatelliteLines] += 4, satelliteLog_ = second();
        const uint32_t antenna = days::antennaAt(reader_.now);
        if (antenna != antenna_)
            ++tally[days::AntennaChanges];
        antenna_ = antenna;
        available_ = available_ && antenna == 1;
        const double error = std::sqrt(2 * days::kErrorMetres * days::kErrorMetres);
        const bool isKnown = reader_.fixIn(second()) != WatchdogModel::kNoFix;
        odometer.horizontalError = isKnown ? static_cast<uint32_t>(error) : 0;
    }

    void takeReadersLines() {
        for (const std::string& line : reader_.log) {
            const bool isRestart = line.find("restarting") != std::string::npos;
            tally[days::Restarts] += isRestart;
            tally[days::ConfigurationLines] += isRestart ? 10 : 0; // five commands and their acknowledgements
            tally[days::StartDelayLines] += line.find("start delay") != std::string::npos;
            tally[days::EmptyCycleLines] += line.find("without any data") != std::string::npos;
        }
        reader_.log.clear();
        tally[days::Readers] = tally[days::Sessions] = static_cast<int64_t>(reader_.threads);
    }

    days::Gpsd gpsd_;
    WatchdogModel reader_;
    bool available_ = false;
    uint32_t antenna_ = 2;
    unsigned int fixes_ = 0;
    int64_t satelliteLog_ = 0;
};

#endif
