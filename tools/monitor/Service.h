#ifndef MONITOR_SERVICE_H
#define MONITOR_SERVICE_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "EventQueue.h"
#include "GPSAdapter.h"
#include "LineQueue.h"
#include "Moments.h"
#include "Requests.h"
#include "Telemetry.h"
#include "Wishes.h"

namespace monitor {

/// The service, on a thread of its own: making, starting and ending it blocks for seconds, and even a
/// question waits for whoever has the adapter's lock. Nothing of this class waits for the service but its
/// destructor.
///
///     construct -> start -> poll ... -> stop -> poll until isDown
///
/// All calls come from the main thread. One at a time in a process.
class Service final : public Requests {
public:
    Service(Wishes wishes, const Moments& moments);
    ~Service(); ///< ends it, and waits until it is down
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Begins to bring the service up. From here on gpsd may be killed and the receiver reset.
    void start();

    /// Begins to bring it down, as soon as the operation that runs is over. May be called again.
    void stop() { stopWanted_ = true; }

    /// What there is to tell since the last call. An event stands in front of the readings that were taken
    /// after it.
    std::vector<telemetry::Line> poll() { return lines_.takeAll(); }

    bool isDown() const { return isDown_; }
    bool hasFailed() const { return hasFailed_; } ///< didn't come up
    std::string problem() const;                  ///< why, without a full stop

    // Passed over while the service doesn't run.
    void setOdometer(std::uint32_t metres) override;
    void setTracking(bool enabled) override;
    void setGeofences(bool enabled) override;

    /// True once the library ends the process from within, as it does where the serial line can't be set up.
    /// It waits a little for `letItExit`; afterwards the main thread must not return from main().
    bool isEndingTheProcess() const { return isEndingTheProcess_; }
    void letItExit() { mayExit_ = true; }

private:
    void run();
    void live();
    bool bringUp();
    bool construct();
    bool succeeds(std::uint32_t result, const char* operation);
    void bringDown();
    void applySettings();
    void handIn(std::optional<std::uint32_t> odometerM);
    void look();
    void complete(telemetry::Line& event, const telemetry::Readings& readings) const;
    void tellReadings(const telemetry::Readings& readings);
    void takeNoMoreRequests();
    void doRequests();
    void doRequest(const telemetry::Command& command);
    void request(const telemetry::Command& command);
    void fail(const std::string& problem, std::optional<std::uint32_t> result);
    static void atExit();
    void waitForMain();

    const Moments& moments_;
    EventQueue events_;
    LineQueue lines_;
    std::thread thread_;

    // The service's thread alone.
    Wishes wishes_;
    std::unique_ptr<GPSAdapter> adapter_;
    bool hasSettings_ = false; ///< they are told in front of the first readings
    std::string lastTold_;     ///< the readings of the last line, as text
    std::int64_t lastToldMs_ = 0;

    // Both threads.
    std::atomic<bool> stopWanted_{false};
    std::atomic<bool> isRunning_{false};
    std::atomic<bool> isDown_{false};
    std::atomic<bool> hasFailed_{false};
    std::atomic<bool> isEndingTheProcess_{false};
    std::atomic<bool> mayExit_{false};
    mutable std::mutex mutex_;
    std::vector<telemetry::Command> requests_; // guarded by the mutex, as the next
    std::string problem_;
};

} // namespace monitor

#endif
