#ifndef DRIVE_H
#define DRIVE_H

#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "EventQueue.h"
#include "GPSAdapter.h"
#include "Options.h"
#include "Recorder.h"
#include "Tally.h"
#include "TrackGeofences.h"

/// The application: brings the service up, reports what it says until the time is over, and brings it down.
class Drive {
public:
    /// Throws OptionError where the recording can't be written.
    explicit Drive(const Options& options);

    /// True when the service is up. Says what it is doing: the first step takes several seconds.
    bool start();
    /// Returns when the time is over, everything expected was seen (where that is asked for), or `stop` is
    /// set.
    void run(const volatile std::sig_atomic_t& stop);
    void finish();

    const Tally& tally() const { return tally_; }
    Recorder& recorder() { return recorder_; }

private:
    using Clock = std::chrono::steady_clock;

    unsigned int bringUp();
    void applySettings();
    void handOver(const GPSParams& params);
    void pollOnce();
    void report(const Event& event);
    void reportGeofence(const Event& event, bool entered);
    void reportAntenna(GPSAntennaState state, std::time_t utc);
    void reportAvailability(const Event& event);
    void reportPosition(std::time_t utc);
    void reportTracking(const Event& event);
    void noticeFix(const GPSReadings& before);
    void noticeFirstFix();
    void noticeOdometer();
    void learnGeofences();
    void watch(const GPSGeofence& geofence);
    void noticeGeofenceStates();
    bool isTimeOver() const;
    bool isOver() const;

    void say(const std::string& text) const;
    void sayAt(std::time_t utc, const GPSData& data, const std::string& text) const;

    const Options options_;
    Recorder recorder_;
    EventQueue events_; // lives longer than the adapter, which calls it
    std::unique_ptr<GPSAdapter> gps_;
    GPSReadings readings_;
    Tally tally_;
    GPSData firstFix_;
    std::vector<TrackPoint> track_;
    Clock::time_point begin_;
    Clock::time_point started_;
    std::vector<std::string> geofences_; // names, by index
    bool learned_ = false;               // the geofences on the track were drawn, or given up
    uint32_t reportedMetres_ = 0;        // the odometer when it was last reported
};

#endif
