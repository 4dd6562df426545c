// Drives the library's arithmetic with a recording's fixes, as the adapter's worker does with the receiver's.
//
// A recording shows each accepted fix, with the tick of the cycle that accepted it. So these cycles are
// known; those without a fix lie an interval apart in between. With another interval than the recorded one, a
// cycle comes with each interval from the worker's start on, and takes the latest fix.

#include "Replay.h"

#include <algorithm>
#include <array>

#include "GeofenceArithmetic.h"
#include "OdometerArithmetic.h"
#include "WhatIf.h"

namespace report {

namespace {

using telemetry::Geofence;
using telemetry::Position;
using telemetry::Settings;
using Tick = std::int64_t;

/// The driver's data are good for so long.
constexpr Tick kFreshS = 10;
/// The settings of an adapter that was just made; its warm-up follows them.
constexpr std::uint32_t kDefaultIntervalS = 1;
/// The worker looks four times an interval whether it is over.
constexpr Tick kLooksPerInterval = 4;

bool differs(const Position& a, const Position& b) {
    return a.latitude != b.latitude || a.longitude != b.longitude;
}

bool differs(const Geofence& a, const Geofence& b) {
    return a.name != b.name || differs(a.centre, b.centre) || a.width != b.width || a.height != b.height ||
           a.margin != b.margin;
}

// --- The odometer ---------------------------------------------------------------------------------------

/// The adapter's odometer, with its points.
class Odometer {
public:
    struct Step {
        OdometerStep::Kind kind;
        double metres;
    };

    std::uint32_t metres = 0;

    /// Whether a further cycle at the same place would change nothing.
    bool isAtRest() const { return isAtRest_; }

    std::optional<Step> update(const Position& current, std::uint32_t horizontalError,
                               std::uint32_t interval) {
        return hasReference_ ? track(current, horizontalError, interval) : warmUp(current);
    }

private:
    std::optional<Step> warmUp(const Position& current) {
        isAtRest_ = false;
        if (warmup_ > 0) {
            --warmup_;
            return std::nullopt;
        }
        filtered_ = reference_ = current;
        hasReference_ = true;
        return Step{OdometerStep::Kind::WarmedUp, 0};
    }

    std::optional<Step> track(const Position& current, std::uint32_t horizontalError,
                              std::uint32_t interval) {
        const Position smoothed{odometry::smooth(current.latitude, filtered_.latitude),
                                odometry::smooth(current.longitude, filtered_.longitude)};
        isAtRest_ = !differs(smoothed, filtered_);
        filtered_ = smoothed;
        const double distance = odometry::distanceMetres(reference_, filtered_);
        if (odometry::isJump(distance)) {
            hasReference_ = isAtRest_ = false;
            warmup_ = odometry::warmupCycles(interval);
            return Step{OdometerStep::Kind::Jump, distance};
        }
        return odometry::isStep(distance) ? std::optional(step(distance, horizontalError)) : std::nullopt;
    }

    Step step(double distance, std::uint32_t horizontalError) {
        reference_ = filtered_;
        if (!odometry::exceedsError(distance, horizontalError))
            return {OdometerStep::Kind::Dropped, distance};
        metres += odometry::wholeMetres(distance);
        return {OdometerStep::Kind::Counted, distance};
    }

    Position filtered_;
    Position reference_;
    bool hasReference_ = false;
    std::int32_t warmup_ = odometry::warmupCycles(kDefaultIntervalS);
    bool isAtRest_ = false;
};

// --- Geofences ------------------------------------------------------------------------------------------

using States = std::array<GPSGeofenceState, telemetry::kGeofences>;

bool isInside(const Geofence& geofence, const Position& position, GPSGeofenceState state) {
    const std::uint32_t margin = geofencing::countsAsInside(state) ? geofence.margin : 0;
    return geofencing::isWithin(position.longitude, geofence.centre.longitude,
                                geofencing::halfWithMargin(geofence.width, margin)) &&
           geofencing::isWithin(position.latitude, geofence.centre.latitude,
                                geofencing::halfWithMargin(geofence.height, margin));
}

GPSGeofenceState checked(const Geofence& geofence, const std::optional<Position>& position,
                         GPSGeofenceState state) {
    if (!geofencing::isConfigured(geofence.width, geofence.height) || !position)
        return GPSGeofenceState::Unknown;
    return geofencing::nextState(state, isInside(geofence, *position, state));
}

// --- A run ----------------------------------------------------------------------------------------------

/// What the worker of one run made of its fixes, or would have made with other settings.
class Worker {
public:
    Worker(const Drive& drive, const Run& run, const WhatIf* whatIf, Replay& result)
        : drive_(drive), run_(run), whatIf_(whatIf), result_(result),
          next_(run.runningTickS.value_or(drive.samples[run.sample].tickS)) {}

    void work() {
        setOdometer(drive_.samples[run_.sample].timeS, drive_.samples[run_.sample].readings.odometerM);
        for (std::size_t i = run_.sample; i < run_.end; ++i)
            take(i);
    }

private:
    struct KnownFix {
        Tick tick;
        Position position;
    };

    void take(std::size_t i) {
        const Sample& sample = drive_.samples[i];
        const bool isNew = sample.readings.fix && (!newest_ || sample.readings.fixTickS != newest_->tick);
        if (isNew)
            runWithoutFix(sample, sample.readings.fixTickS);
        else
            runWithoutFix(sample, sample.tickS);
        takeSettings(i);
        const auto commanded = takeCommand(i);
        // Command and cycle lie within the same quarter of a second; the reading tells which came first.
        const bool cycleWasFirst = isNew && commanded == sample.readings.odometerM;
        if (commanded && !cycleWasFirst)
            setOdometer(sample.timeS, *commanded);
        if (isNew)
            takeFix(sample);
        if (commanded && cycleWasFirst)
            setOdometer(sample.timeS, *commanded);
        noteError(sample);
    }

    // --- What the recording tells -----------------------------------------------------------------------

    void takeSettings(std::size_t i) {
        for (; nextSettings_ < drive_.settings.size() && drive_.settings[nextSettings_].sample <= i;
             ++nextSettings_)
            handOver(drive_.settings[nextSettings_].settings);
    }

    void handOver(const Settings& recorded) {
        const Settings settings = whatIf_ != nullptr ? with(*whatIf_, recorded) : recorded;
        for (std::size_t slot = 0; slot < states_.size(); ++slot)
            if (differs(settings.geofences[slot], settings_.geofences[slot]))
                states_[slot] = GPSGeofenceState::Unknown;
        settings_ = settings;
        hasOwnInterval_ = settings.positionIntervalS != recorded.positionIntervalS;
    }

    /// The value that the odometer was set to before a sample.
    std::optional<std::uint32_t> takeCommand(std::size_t i) {
        std::optional<std::uint32_t> value;
        for (; nextEvent_ < drive_.events.size() && drive_.events[nextEvent_].sample <= i; ++nextEvent_) {
            const auto* command = std::get_if<telemetry::Command>(&drive_.events[nextEvent_].content);
            const bool isOfThisRun = drive_.events[nextEvent_].timeS >= run_.fromS;
            if (isOfThisRun && command != nullptr && command->kind == telemetry::Command::Kind::SetOdometer)
                value = command->odometerM;
        }
        return value;
    }

    void takeFix(const Sample& sample) {
        newest_ = {sample.readings.fixTickS, sample.readings.fix->position};
        if (hasOwnInterval_)
            return;
        current_ = newest_->position;
        const std::uint32_t error = errors_.empty() ? 0 : errors_.back().second;
        cycle(newest_->tick, sample.timeS, error);
    }

    void noteError(const Sample& sample) {
        if (errors_.empty() || errors_.back().second != sample.readings.horizontalErrorM)
            errors_.emplace_back(sample.tickS, sample.readings.horizontalErrorM);
    }

    // --- Cycles -----------------------------------------------------------------------------------------

    Tick interval() const { return std::max<std::uint32_t>(1, settings_.positionIntervalS); }

    /// Those before `tick`, of a fix or of a sample without one.
    void runWithoutFix(const Sample& sample, Tick tick) {
        takeSettings(run_.sample);
        const bool endsInFix =
            tick != sample.tickS || (sample.readings.fix && tick == sample.readings.fixTickS);
        const Tick slack = hasOwnInterval_ ? 1 : endsInFix ? interval() : lateness();
        while (settings_.enabled && next_ + slack <= tick && next_ <= lastTick()) {
            const Tick now = next_;
            takeNewest(now);
            cycle(now, sample.timeS - static_cast<double>(sample.tickS - now), errorBefore(now));
            if (isAtRest_)
                next_ += (tick - slack - now) / interval() * interval();
        }
    }

    /// By how many ticks a cycle may come late, at most.
    Tick lateness() const { return (interval() + kLooksPerInterval - 1) / kLooksPerInterval; }

    Tick lastTick() const {
        return run_.stoppingTickS ? Tick{*run_.stoppingTickS} : std::numeric_limits<Tick>::max();
    }

    void takeNewest(Tick now) {
        if (hasOwnInterval_ && newest_ && now - newest_->tick <= kFreshS)
            current_ = newest_->position;
    }

    /// A cycle looks at the position before the status, so the estimate is the one of the tick before.
    std::uint32_t errorBefore(Tick tick) const {
        const auto found = std::find_if(errors_.rbegin(), errors_.rend(),
                                        [&](const auto& error) { return error.first < tick; });
        return found == errors_.rend() ? 0 : found->second;
    }

    void cycle(Tick tick, double timeS, std::uint32_t horizontalError) {
        timeS_ = std::max({timeS_, run_.fromS, timeS});
        next_ = std::max(next_, tick + interval());
        updateOdometer(horizontalError);
        isAtRest_ = odometer_.isAtRest();
        if (settings_.geofencesEnabled)
            updateGeofences();
    }

    // --- Odometer and geofences -------------------------------------------------------------------------

    void setOdometer(double timeS, std::uint32_t metres) {
        odometer_.metres = result_.odometerM = metres;
        result_.odometer.emplace_back(timeS, metres);
    }

    void updateOdometer(std::uint32_t recordedError) {
        const bool isReplaced = whatIf_ != nullptr && whatIf_->horizontalErrorM;
        const std::uint32_t error = isReplaced ? *whatIf_->horizontalErrorM : recordedError;
        // Before the first fix the adapter's position is 0 N 0 E, and is reckoned with.
        const auto step = odometer_.update(current_.value_or(Position{}), error, settings_.positionIntervalS);
        if (!step || !current_)
            return;
        result_.steps.push_back({step->kind, timeS_, step->metres, *current_});
        if (step->kind == OdometerStep::Kind::Counted)
            setOdometer(timeS_, odometer_.metres);
        if (step->kind == OdometerStep::Kind::Dropped) {
            ++result_.droppedSteps;
            result_.droppedM += step->metres;
        }
    }

    void updateGeofences() {
        for (std::size_t slot = 0; slot < states_.size(); ++slot) {
            const GPSGeofenceState before = states_[slot];
            states_[slot] = checked(settings_.geofences[slot], current_, before);
            isAtRest_ = isAtRest_ && states_[slot] == before;
            const bool entered = states_[slot] == GPSGeofenceState::Entered;
            if (entered || states_[slot] == GPSGeofenceState::Left)
                result_.crossings.push_back(
                    {timeS_, slot, settings_.geofences[slot].name, entered, *current_});
        }
    }

    const Drive& drive_;
    const Run& run_;
    const WhatIf* whatIf_;
    Replay& result_;

    Settings settings_;
    bool hasOwnInterval_ = false; ///< another than the recorded one
    std::size_t nextSettings_ = 0;
    std::size_t nextEvent_ = 0;

    Tick next_; ///< when the next cycle is due
    double timeS_ = 0;
    bool isAtRest_ = false; ///< the last cycle changed nothing, and so won't the next one at the same place
    std::optional<KnownFix> newest_;
    std::optional<Position> current_;                    ///< the adapter's: the last accepted one
    std::vector<std::pair<Tick, std::uint32_t>> errors_; ///< the estimates, from a tick on
    Odometer odometer_;
    States states_{};
};

} // namespace

Replay replay(const Drive& drive, const WhatIf* whatIf) {
    Replay result;
    for (const Run& run : drive.runs)
        if (run.sample < run.end)
            Worker(drive, run, whatIf, result).work();
    return result;
}

} // namespace report
