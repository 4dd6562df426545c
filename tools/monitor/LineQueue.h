#ifndef LINEQUEUE_H
#define LINEQUEUE_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "Moments.h"
#include "Telemetry.h"

namespace monitor {

/// From the service's thread to the main thread: lines, and how far the service is. It has room for so many
/// lines, as a main thread that is held up must cost no memory; readings are left out first, then events,
/// which are counted.
class LineQueue {
public:
    static constexpr std::size_t kRoom = 10000;
    static constexpr std::size_t kRoomForReadings = kRoom / 2;

    explicit LineQueue(const Moments& moments) : moments_(moments) {}

    void put(telemetry::Line line);
    void put(telemetry::Content content) { put({moments_.now(), std::move(content)}); }
    void countLost(std::uint64_t events);

    /// The service's next step, as a line. `longestS` is 0 where it has no bound; `result` is that of the
    /// operation before.
    void enter(telemetry::ServiceStep::Step step, double longestS = 0,
               std::optional<std::uint32_t> result = std::nullopt);

    /// Everything that has come since the last call, in order, and while a step with a bound lasts a line
    /// each second.
    std::vector<telemetry::Line> takeAll();

private:
    void store(telemetry::Line line);
    void tellOfStep();

    const Moments& moments_;
    std::mutex mutex_;
    std::vector<telemetry::Line> lines_; // guarded by the mutex, as what follows
    std::uint64_t lost_ = 0;
    telemetry::ServiceStep step_;
    telemetry::Moment begun_; ///< of the step
    telemetry::Moment told_;  ///< of the last line about it
};

} // namespace monitor

#endif
