#ifndef REQUESTS_H
#define REQUESTS_H

#include <cstdint>
#include <string>

namespace monitor {

/// What the person at the keys may ask of the service. Each call returns at once; what came of it is told by
/// the lines that follow: a Command, and where the settings have changed the SettingsTaken.
class Requests {
public:
    virtual void setOdometer(std::uint32_t metres) = 0;
    virtual void setTracking(bool enabled) = 0;
    virtual void setGeofences(bool enabled) = 0;

    /// Why nothing can be asked for, without a full stop; empty where it can.
    virtual std::string refusal() const { return ""; }

protected:
    ~Requests() = default;
};

} // namespace monitor

#endif
