#include "Drive.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "Stretches.h"

namespace report {

namespace {

using namespace telemetry;

constexpr double kMsPerSecond = 1000;

template <class Kind>
bool is(const Content& content) {
    return std::holds_alternative<Kind>(content);
}

// --- The axis of time -----------------------------------------------------------------------------------

/// Longer than any drive is away from its monitor; beyond it the clock must have been set in between.
constexpr std::int64_t kLongestPauseMs = std::int64_t{30} * 24 * 3600 * 1000;
/// How far apart ticks and clock may be and still tell the same.
constexpr std::int64_t kSameMs = 2000;

/// How long nobody wrote, between the last line of a run and the first of the next. The system's clock may
/// have been set in between, and the tick may have begun anew: the clock holds unless what it tells can't be.
std::int64_t pauseMs(const Moment& last, const Moment& next) {
    const std::int64_t byClock = next.utcMs - last.utcMs;
    const std::int64_t byTick = (std::int64_t{next.tickS} - last.tickS) * 1000;
    const bool clockIsPossible = 0 <= byClock && byClock <= kLongestPauseMs;
    const bool sameBoot = byTick >= 0 && std::abs(byClock - byTick) <= kSameMs;
    if (clockIsPossible || sameBoot)
        return std::max<std::int64_t>(byClock, 0);
    return std::max<std::int64_t>(byTick, 0);
}

/// Puts the lines of all runs on one axis, which never goes back.
class Axis {
public:
    /// Whether the monitor was started anew before a line. The uptime tells it also where the start is
    /// damaged.
    bool beginsRun(const Line& line) const {
        constexpr std::int64_t kOutOfOrderMs = 1000;
        return !last_ || is<Start>(line.content) || line.at.uptimeMs + kOutOfOrderMs < last_->uptimeMs;
    }

    double put(const Line& line) {
        if (beginsRun(line))
            zeroMs_ = (last_ ? timeMs_ + pauseMs(*last_, line.at) : 0) - line.at.uptimeMs;
        timeMs_ = std::max(timeMs_, zeroMs_ + line.at.uptimeMs);
        last_ = line.at;
        return timeS();
    }

    double timeS() const { return static_cast<double>(timeMs_) / kMsPerSecond; }
    const std::optional<Moment>& last() const { return last_; }

private:
    std::int64_t zeroMs_ = 0; ///< when the uptime was 0
    std::int64_t timeMs_ = 0;
    std::optional<Moment> last_;
};

// --- Counting -------------------------------------------------------------------------------------------

void count(Counts& counts, const Content& content) {
    ++counts.lines;
    if (const auto* crossed = std::get_if<GeofenceCrossed>(&content))
        ++(crossed->entered ? counts.entered : counts.left);
    else if (is<AntennaChanged>(content))
        ++counts.antennaChanges;
    else if (is<AvailabilityChanged>(content))
        ++counts.availabilityChanges;
    else if (is<PositionUpdated>(content))
        ++counts.positionUpdates;
    else if (const auto* tracked = std::get_if<Tracked>(&content))
        ++(tracked->fix ? counts.trackingReports : counts.trackingReportsWithoutFix);
    else if (const auto* lost = std::get_if<Lost>(&content))
        counts.lost += lost->events;
}

// --- Gathering ------------------------------------------------------------------------------------------

/// Makes a drive of lines.
class Gatherer {
public:
    explicit Gatherer(Drive& drive) : drive_(drive) {}

    void take(const Line& line) {
        if (axis_.beginsRun(line))
            beginRun(line);
        else
            goOn(line);
        drive_.durationS = drive_.runs.back().toS = axis_.timeS();
        count(drive_.counts, line.content);
        std::visit([&](const auto& content) { keep(line, content); }, line.content);
        if (isEvent(line.content))
            drive_.events.push_back(
                {axis_.timeS(), line.at.utcMs, line.content, drive_.samples.size(), line.at.tickS});
        drive_.ended = is<End>(line.content);
    }

private:
    void beginRun(const Line& line) {
        const bool isFirst = drive_.runs.empty();
        const double lastS = axis_.timeS();
        const double fromS = axis_.put(line);
        if (isFirst)
            drive_.beginUtcMs = line.at.utcMs;
        else
            drive_.stretches.push_back(restart(lastS, fromS, drive_.ended));
        drive_.runs.push_back({fromS, fromS, drive_.samples.size(), drive_.samples.size(), {}, {}});
    }

    void goOn(const Line& line) {
        const Moment last = *axis_.last();
        axis_.put(line);
        noticeClock(last, line.at);
    }

    void noticeClock(const Moment& last, const Moment& next) {
        const std::int64_t jumpMs = (next.utcMs - last.utcMs) - (next.uptimeMs - last.uptimeMs);
        if (isClockJump(jumpMs))
            drive_.stretches.push_back(clockJump(axis_.timeS(), jumpMs));
    }

    void keep(const Line&, const Start& start) {
        if (drive_.program.empty())
            drive_.program = start.program;
    }
    void keep(const Line& line, const SettingsTaken& taken) {
        const double timeS = drive_.settings.empty() ? 0 : axis_.timeS();
        drive_.settings.push_back({timeS, taken.settings, drive_.samples.size(), line.at.tickS});
    }
    void keep(const Line& line, const ReadingsTaken& taken) {
        const Run& run = drive_.runs.back();
        const bool isFirst = run.sample == drive_.samples.size();
        const std::uint32_t before = isFirst ? 0 : drive_.samples.back().readings.fixTickS;
        if (taken.readings.fix && taken.readings.fixTickS != before)
            ++drive_.counts.fixes;
        drive_.samples.push_back({axis_.timeS(), line.at.utcMs, line.at.tickS, taken.readings});
        drive_.counts.samples = drive_.runs.back().end = drive_.samples.size();
    }
    void keep(const Line& line, const ServiceStep& step) {
        Run& run = drive_.runs.back();
        if (step.step == ServiceStep::Step::Running && !run.runningTickS)
            run.runningTickS = line.at.tickS;
        const bool goesDown = step.step > ServiceStep::Step::Running;
        if (goesDown && !run.stoppingTickS)
            run.stoppingTickS = line.at.tickS;
    }
    template <class Other>
    void keep(const Line&, const Other&) {}

    Drive& drive_;
    Axis axis_;
};

} // namespace

bool isEvent(const Content& content) {
    using Step = ServiceStep::Step;
    if (const auto* step = std::get_if<ServiceStep>(&content))
        return step->step == Step::Running || step->step == Step::Down || step->step == Step::Failed;
    return !is<SettingsTaken>(content) && !is<ReadingsTaken>(content);
}

Drive readDrive(std::istream& input, const std::string& name) {
    RecordingReader reader(input, name);
    Drive drive;
    drive.name = name.substr(name.rfind('/') + 1); // behind the last slash, or all of it
    Gatherer gatherer(drive);
    while (const auto line = reader.next())
        gatherer.take(*line);
    drive.damage = reader.damage();
    drive.furtherDamage = reader.furtherDamage();
    if (drive.settings.empty())
        drive.settings.push_back({});
    findStretches(drive);
    return drive;
}

} // namespace report
