#ifndef ODOMETERESTIMATE_H
#define ODOMETERESTIMATE_H

#include <cstdint>
#include <optional>

#include "Telemetry.h"

namespace monitor {

/// What the service's odometer is likely to be doing. The service tells its metres alone; this follows it
/// from outside, with the fixes that the monitor has seen and at the pace of the settings, so it is an
/// estimate: it may be a cycle early or late.
class OdometerEstimate {
public:
    enum class Phase {
        Off,      ///< the service doesn't run, or is switched off
        WarmUp,   ///< counts nothing yet
        NoFix,    ///< nothing new to count
        Standing, ///< no step for some time
        Counting,
        Dropping ///< steps are within twice the error estimate
    };

    /// What a cycle of the service reckons with.
    struct Input {
        std::uint32_t intervalS = 1;
        telemetry::Position position; ///< of the last fix; 0, 0 while there was none
        std::uint32_t fixAgeS = 0;    ///< any above kFreshS where there is none
        double speedMPerS = 0;
        std::uint32_t horizontalErrorM = 0;
        bool wouldShow = false; ///< the readings change with each cycle
    };

    static constexpr std::uint32_t kFreshS = 10;

    /// The service has started, or ended.
    void start(std::int64_t uptimeMs);
    void stop() { running_ = false; }

    /// Goes on to this moment.
    void advance(std::int64_t uptimeMs, const Input& input);

    /// The service's worker was seen to run.
    void noticeCycle(std::int64_t uptimeMs);

    /// The odometer was seen to count.
    void noticeCount();

    Phase phase(std::int64_t uptimeMs) const;

    /// Until the warm-up ends.
    double secondsLeft(std::int64_t uptimeMs) const;

    /// The warm-up is one after a jump of the position.
    bool hasJumped() const { return hasJumped_; }

    /// Steps up to this length are dropped.
    double gateMetres() const;

    std::uint32_t droppedSteps() const { return droppedSteps_; }
    double droppedMetres() const { return droppedMetres_; }

private:
    void cycle();
    void begin();
    void step(double metres);
    bool hasRecentStep(std::int64_t uptimeMs) const;

    bool running_ = false;
    bool hasJumped_ = false;
    std::int64_t nextCycleMs_ = 0;
    std::int64_t seenMs_ = 0;       ///< when the worker was last seen to run
    std::int64_t warmupCycles_ = 0; ///< still to come before the one that begins
    Input input_;
    std::optional<telemetry::Position> reference_; ///< none while warming up
    telemetry::Position filtered_;
    std::optional<std::int64_t> lastStepMs_;
    bool lastWasDropped_ = false;
    std::uint32_t droppedSteps_ = 0;
    double droppedMetres_ = 0;
    double lastStepM_ = 0;
};

} // namespace monitor

#endif
