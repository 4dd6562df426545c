#include "LiveModel.h"

#include <algorithm>
#include <utility>

#include "Text.h"

namespace monitor {

namespace {

using telemetry::ServiceStep;

constexpr double kMsPerSecond = 1000;
constexpr std::int64_t kTrackingPauseS = 5;     // of the service, between two reports
constexpr std::uint32_t kTrackingDueS = 3;      // a second before, at, and a second after a multiple
constexpr std::uint32_t kCyclesPerInterval = 4; // of the service's worker
constexpr std::uint32_t kAntennaInOrder = 1;

std::string onOrOff(const char* what, bool enabled) { return std::string(what) + (enabled ? " on" : " off"); }

std::string inWords(const telemetry::Command& command) {
    switch (command.kind) {
    case telemetry::Command::Kind::SetOdometer:
        return "odometer set to " + std::to_string(command.odometerM) + " m";
    case telemetry::Command::Kind::Tracking:
        return onOrOff("tracking turned", command.enabled);
    case telemetry::Command::Kind::Geofences:
        return onOrOff("geofences turned", command.enabled);
    }
    return "";
}

/// Whether the service reports at this remainder of the schedule.
bool isDue(std::int64_t remainder, std::int64_t period) { return remainder <= 1 || remainder >= period - 1; }

Tone toneOf(const ServiceStep& step) {
    return step.step == ServiceStep::Step::Failed    ? Tone::Bad
           : step.step == ServiceStep::Step::Running ? Tone::Good
                                                     : Tone::Plain;
}

} // namespace

struct LiveModel::Taking {
    LiveModel& model;

    void operator()(const telemetry::Start&) const {}
    void operator()(const telemetry::SettingsTaken& taken) const {
        model.settings_ = taken.settings;
        model.hasSettings_ = true;
    }
    void operator()(const telemetry::ReadingsTaken& taken) const { model.takeReadings(taken.readings); }
    void operator()(const telemetry::GeofenceCrossed& event) const {
        model.tell((event.entered ? "entered " : "left ") + event.name, Tone::Warning);
    }
    void operator()(const telemetry::AntennaChanged& event) const {
        model.tell("antenna " + telemetry::antennaInWords(event.state),
                   event.state == kAntennaInOrder ? Tone::Good : Tone::Bad);
    }
    void operator()(const telemetry::AvailabilityChanged& event) const {
        model.odometer_.noticeCycle(model.last_.uptimeMs);
        model.tell(event.available ? "fixes are available" : "no valid fixes",
                   event.available ? Tone::Good : Tone::Bad);
    }
    void operator()(const telemetry::PositionUpdated&) const { model.tellAgain("position update"); }
    void operator()(const telemetry::Tracked& event) const {
        model.lastTrackingTickS_ = model.last_.tickS;
        model.tellAgain(event.fix ? "tracking report" : "tracking report without a fix");
    }
    void operator()(const ServiceStep& step) const { model.takeStep(step); }
    void operator()(const telemetry::Command& command) const {
        model.odometerWasSet_ |= command.kind == telemetry::Command::Kind::SetOdometer;
        model.tell(inWords(command));
    }
    void operator()(const telemetry::Lost& lost) const {
        model.lostEvents_ += lost.events;
        model.tell(std::to_string(lost.events) + " events lost", Tone::Bad);
    }
    void operator()(const telemetry::End&) const {}
};

void LiveModel::take(const telemetry::Line& line) {
    last_ = line.at;
    std::visit(Taking{*this}, line.content);
    advance(line.at);
}

void LiveModel::advance(const telemetry::Moment& now) {
    last_ = now;
    odometer_.advance(now.uptimeMs, odometerInput());
}

OdometerEstimate::Input LiveModel::odometerInput() const {
    OdometerEstimate::Input input;
    input.intervalS = settings_.positionIntervalS;
    input.fixAgeS = fixAgeS(last_).value_or(OdometerEstimate::kFreshS + 1);
    if (readings_)
        input.horizontalErrorM = readings_->horizontalErrorM;
    if (readings_ && readings_->fix) {
        input.position = readings_->fix->position;
        input.speedMPerS = readings_->fix->speedMmPerS / kMsPerSecond;
        // Otherwise gpsd is silent, or the antenna is gone.
        input.wouldShow = readings_->available && readings_->satellites != 0;
    }
    return input;
}

// A step is told again while it lasts.
void LiveModel::takeStep(const ServiceStep& step) {
    const bool isNew = step.step != step_.step;
    step_ = step;
    stepAt_ = last_;
    if (!isNew)
        return;
    tell(std::string("service ") + telemetry::inWords(step.step), toneOf(step));
    if (isRunning() && settings_.enabled)
        odometer_.start(last_.uptimeMs);
    else
        odometer_.stop();
}

void LiveModel::takeReadings(const telemetry::Readings& readings) {
    const bool isFirst = !readings_;
    const telemetry::Readings before = std::exchange(readings_, readings).value_or(readings);
    if (isFirst || telemetry::showTheWorker(before, readings))
        odometer_.noticeCycle(last_.uptimeMs);
    odometer_.advance(last_.uptimeMs, odometerInput()); // up to the step that was counted
    if (readings.odometerM > before.odometerM && !odometerWasSet_)
        odometer_.noticeCount();
    odometerWasSet_ = false; // the request comes before the readings that show its value
}

void LiveModel::tell(const std::string& text, Tone tone) {
    if (!events_.empty() && events_.back().text == text) {
        events_.back().at = last_;
        ++events_.back().times;
        return;
    }
    add({last_, text, tone, 1});
}

/// What comes all the time has one place among the events, its last one.
void LiveModel::tellAgain(const std::string& text) {
    const auto former =
        std::find_if(events_.begin(), events_.end(), [&](const Event& event) { return event.text == text; });
    std::uint32_t times = 0;
    if (former != events_.end()) {
        times = former->times;
        events_.erase(former);
    }
    add({last_, text, Tone::Plain, times + 1});
}

void LiveModel::add(const Event& event) {
    events_.push_back(event);
    if (events_.size() > kMostEvents)
        events_.pop_front();
}

double LiveModel::secondsInStep(const telemetry::Moment& now) const {
    return step_.elapsedS + static_cast<double>(now.uptimeMs - stepAt_.uptimeMs) / kMsPerSecond;
}

std::optional<std::uint32_t> LiveModel::fixAgeS(const telemetry::Moment& now) const {
    if (!readings_ || !readings_->fix)
        return std::nullopt;
    return now.tickS < readings_->fixTickS ? 0 : now.tickS - readings_->fixTickS;
}

// As the service reckons: in 32 bits, the remainder keeps the sign of the time, and a report comes within a
// second of a multiple of the period, not sooner than five seconds after the one before.
std::optional<std::int64_t> LiveModel::secondsToTracking(const telemetry::Moment& now) const {
    const std::int64_t period = settings_.trackingPeriodS;
    if (!isRunning() || !settings_.enabled || !settings_.trackingEnabled || period == 0)
        return std::nullopt;
    std::int64_t pause = 0;
    if (lastTrackingTickS_)
        pause = std::max<std::int64_t>(kTrackingPauseS + *lastTrackingTickS_ - now.tickS, 0);
    const std::int64_t utcS = now.utcMs / static_cast<std::int64_t>(kMsPerSecond);
    const auto shiftedS =
        static_cast<std::int32_t>(utcS + pause - settings_.trackingBaseS + settings_.trackingOffsetS);
    const std::int64_t remainder = shiftedS % period;
    return isDue(remainder, period) ? pause : pause + period - 1 - remainder;
}

// It sleeps for a quarter of the position interval, and a report is due for three seconds.
bool LiveModel::trackingMayComeLater() const {
    return settings_.positionIntervalS / kCyclesPerInterval >= kTrackingDueS;
}

std::size_t LiveModel::configuredGeofences() const {
    return static_cast<std::size_t>(
        std::count_if(settings_.geofences.begin(), settings_.geofences.end(),
                      [](const auto& geofence) { return geofence.isConfigured(); }));
}

} // namespace monitor
