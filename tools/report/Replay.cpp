// Drives the library's arithmetic with a recording's fixes, as the adapter's worker does with the receiver's.
//
// A recording shows each accepted fix, with the tick of the cycle that accepted it. So these cycles are
// known; those without a fix lie an interval apart in between. With another interval than the recorded one, a
// cycle comes with each interval from the worker's start on, and takes the latest fix.

#include "Replay.h"

#include <algorithm>
#include <array>
#include <limits>

#include "GeofenceArithmetic.h"
#include "OdometerArithmetic.h"
#include "WhatIf.h"

namespace report {

namespace {

using telemetry::Geofence;
using telemetry::Position;
using telemetry::Settings;
using Tick = std::int64_t;

/// The settings of an adapter that was just made; its warm-up follows them.
constexpr std::uint32_t kDefaultIntervalS = 1;

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

constexpr Tick kNever = std::numeric_limits<Tick>::max();

bool hasNewFix(const Drive& drive, const Run& run, std::size_t i) {
    const telemetry::Readings& now = drive.samples[i].readings;
    return now.fix && (i == run.sample || now.fixTickS != drive.samples[i - 1].readings.fixTickS);
}

/// For each sample of a run, and behind the last one, the tick of the first new fix from there on.
std::vector<Tick> nextFixes(const Drive& drive, const Run& run) {
    std::vector<Tick> ticks(run.end - run.sample + 1, kNever);
    Tick next = kNever;
    for (std::size_t i = run.end; i-- > run.sample;) {
        if (hasNewFix(drive, run, i))
            next = drive.samples[i].readings.fixTickS;
        ticks[i - run.sample] = next;
    }
    return ticks;
}

/// When the tick was 0, on the drive's axis.
double zeroOfTicks(const Drive& drive, const Run& run) {
    double zeroS = std::numeric_limits<double>::max();
    for (std::size_t i = run.sample; i < run.end; ++i)
        zeroS = std::min(zeroS, drive.samples[i].timeS - drive.samples[i].tickS);
    return zeroS;
}

std::size_t firstEventOf(const Drive& drive, const Run& run) {
    const auto found = std::lower_bound(drive.events.begin(), drive.events.end(), run.fromS,
                                        [](const Event& event, double timeS) { return event.timeS < timeS; });
    return static_cast<std::size_t>(found - drive.events.begin());
}

/// What the worker of one run made of its fixes, or would have made with other settings.
class Worker {
public:
    Worker(const Drive& drive, const Run& run, const WhatIf* whatIf, Replay& result)
        : drive_(drive), run_(run), whatIf_(whatIf), result_(result), nextFixes_(nextFixes(drive, run)),
          nextFix_(nextFixes_.front()), zeroS_(zeroOfTicks(drive, run)), nextEvent_(firstEventOf(drive, run)),
          begin_(run.runningTickS.value_or(drive.samples[run.sample].tickS)) {}

    void work() {
        setOdometer(drive_.samples[run_.sample].timeS, drive_.samples[run_.sample].readings.odometerM);
        for (sample_ = run_.sample; sample_ < run_.end; ++sample_) {
            if (hasNewFix(drive_, run_, sample_))
                takeFix();
            nextFix_ = nextFixes_[sample_ + 1 - run_.sample];
            takeSettings(kNever);
            takeCommand();
            runWithoutFix(sample().tickS);
            noteError();
        }
    }

private:
    struct KnownFix {
        Tick tick;
        Position position;
    };

    const Sample& sample() const { return drive_.samples[sample_]; }

    // --- What the recording tells -----------------------------------------------------------------------

    void takeFix() {
        // What was handed over in the second of the cycle was rather handed over behind it, as the cycle
        // begins the second. Of the odometer the reading tells.
        takeSettings(sample().readings.fixTickS);
        if (commanded() != sample().readings.odometerM)
            takeCommand();
        runWithoutFix(Tick{sample().readings.fixTickS} - 1);
        newest_ = {sample().readings.fixTickS, sample().readings.fix->position};
        if (hasOwnInterval_)
            return;
        current_ = newest_->position;
        cycle(newest_->tick, sample().timeS, errors_.empty() ? 0 : errors_.back().second);
    }

    /// What was handed over before this sample, and before a tick.
    void takeSettings(Tick before) {
        for (; nextSettings_ < drive_.settings.size(); ++nextSettings_) {
            const SettingsFrom& from = drive_.settings[nextSettings_];
            if (from.sample > sample_ || from.tickS >= before)
                return;
            if (from.sample > run_.sample)
                runWithoutFix(from.tickS);
            handOver(from);
        }
    }

    void handOver(const SettingsFrom& from) {
        const Settings settings = whatIf_ != nullptr ? with(*whatIf_, from.settings) : from.settings;
        for (std::size_t slot = 0; slot < states_.size(); ++slot)
            if (differs(settings.geofences[slot], settings_.geofences[slot]))
                states_[slot] = GPSGeofenceState::Unknown;
        if (settings.positionIntervalS != settings_.positionIntervalS)
            intervalSince_ = from.tickS; // the cycles that a shorter one would have had are not made up for
        settings_ = settings;
        recordedInterval_ = std::max<std::uint32_t>(1, from.settings.positionIntervalS);
        hasOwnInterval_ = settings.positionIntervalS != from.settings.positionIntervalS;
    }

    /// The value that the odometer was set to before this sample, and after the one before it.
    std::optional<std::uint32_t> commanded() const {
        std::optional<std::uint32_t> value;
        for (std::size_t i = nextEvent_; i < drive_.events.size() && drive_.events[i].sample <= sample_; ++i)
            if (const auto* const command = setsOdometer(drive_.events[i]))
                value = command->odometerM;
        return value;
    }

    void takeCommand() {
        for (; nextEvent_ < drive_.events.size() && drive_.events[nextEvent_].sample <= sample_; ++nextEvent_)
            if (const auto* const command = setsOdometer(drive_.events[nextEvent_])) {
                runWithoutFix(drive_.events[nextEvent_].tickS);
                setOdometer(sample().timeS, command->odometerM);
            }
    }

    static const telemetry::Command* setsOdometer(const Event& event) {
        const auto* const command = std::get_if<telemetry::Command>(&event.content);
        const bool sets = command != nullptr && command->kind == telemetry::Command::Kind::SetOdometer;
        return sets ? command : nullptr;
    }

    void noteError() {
        if (errors_.empty() || errors_.back().second != sample().readings.horizontalErrorM)
            errors_.emplace_back(sample().tickS, sample().readings.horizontalErrorM);
    }

    // --- Cycles -----------------------------------------------------------------------------------------

    Tick interval() const { return std::max<std::uint32_t>(1, settings_.positionIntervalS); }
    Tick next() const { return last_ ? std::max(*last_ + interval(), intervalSince_) : begin_; }

    /// The cycles up to a tick that brought no fix.
    void runWithoutFix(Tick until) {
        const Tick end = std::min(until, lastWithoutFix());
        while (settings_.enabled && next() <= end) {
            const Tick now = next();
            if (hasOwnInterval_ && newest_ && now - newest_->tick < recordedInterval_)
                current_ = newest_->position; // an older one means that none was accepted since
            cycle(now, std::min(sample().timeS, zeroS_ + static_cast<double>(now)), errorBefore(now));
            if (isAtRest_)
                *last_ += (end - now) / interval() * interval();
        }
    }

    /// No cycle lies less than an interval before the one with the next fix, and none behind the worker's
    /// end.
    Tick lastWithoutFix() const {
        const Tick stop = run_.stoppingTickS ? Tick{*run_.stoppingTickS} : kNever;
        return std::min(stop, nextFix_ == kNever ? kNever : nextFix_ - (hasOwnInterval_ ? 1 : interval()));
    }

    /// A cycle looks at the position before the status, so the estimate is the one of the tick before.
    std::uint32_t errorBefore(Tick tick) const {
        const auto found = std::find_if(errors_.rbegin(), errors_.rend(),
                                        [&](const auto& error) { return error.first < tick; });
        return found == errors_.rend() ? 0 : found->second;
    }

    void cycle(Tick tick, double timeS, std::uint32_t horizontalError) {
        timeS_ = std::max({timeS_, run_.fromS, timeS});
        last_ = std::max(last_.value_or(tick), tick);
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
    std::vector<Tick> nextFixes_;
    Tick nextFix_;
    double zeroS_;

    std::size_t sample_ = 0; ///< that is being taken
    Settings settings_;
    Tick recordedInterval_ = 1;
    bool hasOwnInterval_ = false; ///< another than the recorded one
    std::size_t nextSettings_ = 0;
    std::size_t nextEvent_;

    Tick begin_;               ///< of the first cycle
    std::optional<Tick> last_; ///< the last cycle
    Tick intervalSince_ = 0;   ///< when the interval was set
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
