#ifndef LIVESCENE_H
#define LIVESCENE_H

#include <string>
#include <vector>

#include "Layout.h"
#include "LiveModel.h"

/// A drive as the live view's tests tell it: what happened, and what the monitor saw of it.
class LiveScene {
public:
    using Step = telemetry::ServiceStep::Step;

    /// 2026-11-22T06:50:00Z, the service's tick at 1000.
    LiveScene();

    void pass(std::int64_t seconds);
    void take(const telemetry::Content& content);
    void step(Step step, double elapsedS = 0, double longestS = 0);
    void readings(); ///< as `now` says
    void settings(); ///< as `given` says

    /// Drives on for so long, with a fix and readings each second.
    void drive(std::int64_t seconds, double northMPerS = 0, double eastMPerS = 0);

    /// Up to the first readings, with a fix in Berlin.
    void comeUp();

    /// Three geofences: around the position, 5 km away, and one with a name that terminals must not get.
    void watchGeofences();

    /// The rows, without the blanks at their ends.
    std::vector<std::string> rows(std::size_t columns, std::size_t rows) const;

    /// The row that begins with this word; empty where none does.
    std::string row(const std::string& word, std::size_t columns = 80, std::size_t rows = 40) const;

    telemetry::Moment at;
    telemetry::Settings given;
    telemetry::Readings now;
    monitor::LiveModel model;
    monitor::ViewState view;

private:
    void moveBy(double northM, double eastM);

    double latitude_ = 52520008;
    double longitude_ = 13404954;
};

#endif
