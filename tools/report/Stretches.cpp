#include "Stretches.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace report {

namespace {

using telemetry::kShortestRestartS;
using Kind = Stretch::Kind;

/// A reading is written at least once an interval, a quarter of a second late at most.
constexpr double kIntervalsWithoutReadings = 2;
constexpr double kLateReadingS = 0.5;
constexpr double kIntervalsWithoutFix = 2;
/// Without a word from gpsd the satellites are gone after ten seconds, and the watchdog comes 45 s later.
constexpr double kShortestSilenceS = 50;

// --- Settings and signs of life -------------------------------------------------------------------------

/// Walks through the settings beside the samples.
class SettingsAt {
public:
    explicit SettingsAt(const Drive& drive) : drive_(drive) {}

    /// Those that hold when this sample is taken; not to be asked for an earlier one afterwards.
    const telemetry::Settings& operator()(std::size_t sample) {
        while (next_ + 1 < drive_.settings.size() && drive_.settings[next_ + 1].sample <= sample)
            ++next_;
        return drive_.settings[next_].settings;
    }

private:
    const Drive& drive_;
    std::size_t next_ = 0;
};

double intervalS(const telemetry::Settings& settings) {
    return std::max<std::uint32_t>(1, settings.positionIntervalS);
}

/// Whether the worker runs, as far as it is known.
bool isRunning(const Run& run, const Sample& sample) {
    const bool hasBegun = !run.runningTickS || sample.tickS >= *run.runningTickS;
    return hasBegun && (!run.stoppingTickS || sample.tickS <= *run.stoppingTickS);
}

// --- Finding --------------------------------------------------------------------------------------------

/// Goes through the samples of one run.
class Finder {
public:
    Finder(Drive& drive, SettingsAt& settings, const Run& run)
        : drive_(drive), settings_(settings), run_(run) {}

    void find() {
        for (std::size_t i = run_.sample; i < run_.end; ++i)
            take(i);
        if (previous_ != nullptr)
            closeFix(lastS_, previous_->tickS);
    }

private:
    void take(std::size_t i) {
        const Sample& sample = drive_.samples[i];
        const double interval = intervalS(settings_(i));
        if (!isRunning(run_, sample))
            return;
        if (previous_ == nullptr)
            begin(sample);
        else if (sample.timeS - lastS_ > kIntervalsWithoutReadings * interval + kLateReadingS)
            noteMissingReadings(sample);
        else
            noteSilence(i, interval);
        noteFix(sample, interval);
        previous_ = &sample;
        lastS_ = sample.timeS;
    }

    void begin(const Sample& sample) {
        lastS_ = sample.timeS;
        beginAnew(sample);
    }

    void beginAnew(const Sample& sample) {
        fixS_ = signS_ = sample.timeS;
        fixTickS_ = sample.tickS;
    }

    void noteMissingReadings(const Sample& sample) {
        add(Kind::NoReadings, lastS_, sample.timeS,
            "nothing was recorded for " + durationInWords(sample.timeS - lastS_));
        beginAnew(sample);
    }

    /// A worker that lives and has lost the fix tells so with each cycle, as long as the service counts as
    /// available and gpsd says anything. While gpsd is silent, and while the watchdog restarts it, nothing at
    /// all changes.
    void noteSilence(std::size_t i, double interval) {
        const Sample& sample = drive_.samples[i];
        const double eventS = lastEventBefore(i);
        if (eventS > signS_)
            noteSign(eventS, interval);
        if (telemetry::showTheWorker(previous_->readings, sample.readings) || !sample.readings.available)
            noteSign(sample.timeS, interval);
    }

    void noteSign(double timeS, double interval) {
        const bool isStale = previous_->readings.satellites == 0;
        if (timeS - signS_ >= (isStale ? kShortestSilenceS : kShortestRestartS + interval))
            add(Kind::Watchdog, signS_, timeS,
                "gpsd was probably restarted by the watchdog: nothing changed for " +
                    durationInWords(timeS - signS_));
        signS_ = timeS;
    }

    /// The time of the last event of the worker's that stands before a sample.
    double lastEventBefore(std::size_t i) {
        for (; event_ < drive_.events.size() && drive_.events[event_].sample <= i; ++event_)
            if (std::holds_alternative<telemetry::AvailabilityChanged>(drive_.events[event_].content))
                eventS_ = drive_.events[event_].timeS;
        return eventS_;
    }

    void noteFix(const Sample& sample, double interval) {
        withoutFixS_ = kIntervalsWithoutFix * interval;
        const bool isNew = previous_ == nullptr ? sample.readings.fix.has_value()
                                                : telemetry::hasNewFix(previous_->readings, sample.readings);
        if (isNew)
            closeFix(sample.timeS, sample.readings.fixTickS);
    }

    /// By ticks: a fix that was read late was not accepted late.
    void closeFix(double timeS, std::uint32_t tickS) {
        if (tickS > fixTickS_ && tickS - fixTickS_ > withoutFixS_)
            add(Kind::NoFix, fixS_, timeS, "no fix for " + durationInWords(timeS - fixS_));
        fixS_ = timeS;
        fixTickS_ = tickS;
    }

    void add(Kind kind, double fromS, double toS, const std::string& words) {
        drive_.stretches.push_back({kind, fromS, toS, words});
    }

    Drive& drive_;
    SettingsAt& settings_;
    const Run& run_;
    const Sample* previous_ = nullptr;
    double lastS_ = 0;
    double fixS_ = 0; ///< when the last fix was accepted
    std::uint32_t fixTickS_ = 0;
    double signS_ = 0; ///< when the worker gave its last sign of life
    double withoutFixS_ = 0;
    std::size_t event_ = 0;
    double eventS_ = 0;
};

} // namespace

std::string durationInWords(double seconds) {
    const long long whole = std::llround(seconds);
    const long long minutes = whole / 60;
    if (minutes == 0)
        return std::to_string(whole) + " s";
    if (minutes < 60)
        return std::to_string(minutes) + " min " + std::to_string(whole % 60) + " s";
    return std::to_string(minutes / 60) + " h " + std::to_string(minutes % 60) + " min";
}

Stretch restart(double fromS, double toS, bool ended) {
    const std::string words = ended ? "the monitor had ended" : "the recording was cut off";
    return {Kind::Restart, fromS, toS, words + ", and began anew after " + durationInWords(toS - fromS)};
}

bool isClockJump(std::int64_t jumpMs) {
    constexpr std::int64_t kReadingApartMs = 1000;
    return std::abs(jumpMs) > kReadingApartMs;
}

Stretch clockJump(double timeS, std::int64_t jumpMs) {
    const std::string direction = jumpMs < 0 ? "back" : "forward";
    const std::string far = durationInWords(std::abs(static_cast<double>(jumpMs)) / 1000);
    return {Kind::ClockJump, timeS, timeS, "the system's clock jumped " + direction + " by " + far};
}

void findStretches(Drive& drive) {
    SettingsAt settings(drive);
    for (const Run& run : drive.runs)
        Finder(drive, settings, run).find();
    std::stable_sort(drive.stretches.begin(), drive.stretches.end(),
                     [](const Stretch& a, const Stretch& b) { return a.fromS < b.fromS; });
}

} // namespace report
