#ifndef REPORT_TESTS_MADEDRIVE_H
#define REPORT_TESTS_MADEDRIVE_H

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "Telemetry.h"

namespace report {

/// A drive that nobody drove, second by second: what ruxogps-monitor would have recorded of it. The same
/// calls give the same recording, on each machine.
class MadeDrive {
public:
    explicit MadeDrive(telemetry::Position from);

    // --- The way ----------------------------------------------------------------------------------------

    /// To a place so many metres east and north of the first one, in a straight line.
    void driveTo(double eastM, double northM, double speedKmh);
    void stand(int seconds);

    // --- What is around ---------------------------------------------------------------------------------

    /// In microdegrees, its centre so many metres east and north of the first place.
    void addGeofence(const std::string& name, double eastM, double northM, std::uint32_t width,
                     std::uint32_t height, std::uint32_t margin);
    void setAntenna(std::uint32_t state);
    void setErrorM(std::uint32_t metres) { readings_.horizontalErrorM = metres; }
    void setSky(bool seen);              ///< without it there is no fix
    void setTrackingPeriod(int seconds); ///< a report each period
    void pauseRecording(int seconds);    ///< nothing is written meanwhile
    void jumpClock(int seconds) { clockMs_ += std::int64_t{seconds} * 1000; }
    void restart(int seconds); ///< the monitor ends and is started after so long
    void setOdometer(std::uint32_t metres);
    void end();

    const std::vector<telemetry::Line>& lines() const { return lines_; }
    std::string recording() const; ///< its lines as JSON

private:
    void start();
    void write(const telemetry::Content& content);
    void second(); ///< one passes
    void takeFix();
    void checkGeofences();
    void advanceOdometer();
    void changeSky();
    telemetry::Position at(double eastM, double northM) const;
    double random(double from, double to);

    telemetry::Position from_;
    std::vector<telemetry::Line> lines_;
    telemetry::Settings settings_;
    telemetry::Readings readings_;
    std::optional<telemetry::Position> filtered_;  ///< the odometer's
    std::optional<telemetry::Position> reference_; ///< the odometer's
    int warmup_ = 180;
    int fixes_ = 0;
    std::int64_t clockMs_;
    std::int64_t uptimeMs_ = 0;
    std::uint32_t tick_ = 5000;
    double eastM_ = 0;
    double northM_ = 0;
    double speed_ = 0; ///< metres a second
    double course_ = 0;
    double satellites_ = 9;
    double snr_ = 38;
    bool sky_ = true;
    bool silent_ = false;
    std::mt19937 engine_{2026};
};

/// Three quarters of an hour: a depot, a town, a motorway with a tunnel, a customer, the antenna cut off, a
/// restart, and back.
MadeDrive deliveryRound();

/// A day, a fix each second.
MadeDrive wholeDay();

/// Over the date line at 17 degrees south and back, with a geofence on each side of it.
MadeDrive overTheDateLine();

/// Across the north pole.
MadeDrive overThePole();

} // namespace report

#endif
