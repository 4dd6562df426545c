#ifndef MONITOR_SERVICE_H
#define MONITOR_SERVICE_H

#include <cstdint>
#include <memory>
#include <vector>

#include "Telemetry.h"

namespace monitor {

/// The GPS service as the monitor runs it: an adapter that lives on a thread of its own, as making and ending
/// it blocks for seconds. Everything here is called on the main thread and returns at once.
class Service {
public:
    /// Begins to bring the service up with these settings.
    explicit Service(const telemetry::Settings& settings);

    /// Waits until the service is down.
    ~Service();

    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// What happened since the last call, in order: steps of the service, events, then readings where they
    /// differ from the last ones or are due.
    std::vector<telemetry::Line> poll();

    /// Begins to bring the service down; once more does nothing.
    void stop();

    /// Whether it is down, by `stop` or because it could not come up.
    bool isDown() const;

    /// 0, or the code with which it could not come up.
    unsigned int result() const;

    // Requests; each makes a Command and a SettingsTaken line. Passed over while the service doesn't run.
    void setOdometer(std::uint32_t metres);
    void setTracking(bool enabled);
    void setGeofences(bool enabled);

    const telemetry::Settings& settings() const;

private:
    class Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace monitor

#endif
