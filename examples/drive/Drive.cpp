#include "Drive.h"

#include <algorithm>
#include <cmath>
#include <fstream>

#include "Expectations.h"
#include "Format.h"
#include "Microdegrees.h"
#include "Wrapping.h"

namespace {

using Step = telemetry::ServiceStep::Step;

constexpr uint32_t kPollMilliseconds = 200;
constexpr uint32_t kOdometerReportM = 250;
constexpr double kShortestStretchM = 15;
constexpr uint32_t kStandingMmPerS = 500; // a receiver that stands wanders more slowly
constexpr double kMicrodegreesPerDegree = 1e6;
constexpr double kThousandths = 1000.0;

std::string timeText(std::time_t utc) {
    std::tm parts = {};
    gmtime_r(&utc, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

/// Latitude and longitude in degrees, or as many blanks.
std::string positionText(const GPSData& data) {
    if (!data.valid)
        return format("%22s", "no position");
    return format("%10.6f %11.6f", data.latitude / kMicrodegreesPerDegree,
                  data.longitude / kMicrodegreesPerDegree);
}

const char* antennaText(GPSAntennaState state) {
    switch (state) {
    case GPS_ANTENNA_OK:
        return "in order";
    case GPS_ANTENNA_DISCONNECTED:
        return "disconnected";
    case GPS_ANTENNA_SHORT:
        return "short circuit";
    default:
        return "unknown";
    }
}

double secondsBetween(std::chrono::steady_clock::time_point from, std::chrono::steady_clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}

} // namespace

Drive::Drive(const Options& options) : options_(options), recorder_(options.recordFile) {}

// --- Up and down ----------------------------------------------------------------------------------------

bool Drive::start() {
    begin_ = Clock::now();
    const unsigned int rc = bringUp();
    started_ = Clock::now();
    recorder_.step(rc == 0 ? Step::Running : Step::Failed, rc);
    say(rc == 0 ? "the service is up, waiting for the first fix"
                : format("the service does not start (error code 0x%08X)", rc));
    return rc == 0;
}

unsigned int Drive::bringUp() {
    say("coming up: the driver takes the receiver over and configures it; this takes several seconds");
    recorder_.step(Step::Constructing);
    gps_ = std::make_unique<GPSAdapter>(&events_);
    applySettings();
    say("coming up: gpsd is started on the receiver's port");
    recorder_.step(Step::Initializing);
    const unsigned int rc = gps_->Initialize();
    if (rc != 0)
        return rc;
    say("coming up: waiting for gpsd to take connections, then reading its reports");
    recorder_.step(Step::Starting, rc);
    return gps_->Start();
}

void Drive::applySettings() {
    GPSParams params;
    gps_->GetParams(params);
    params.trackingEnabled = options_.trackingPeriodS > 0;
    params.trackingPeriod = options_.trackingPeriodS;
    params.geofencesEnabled = true;
    handOver(params);
    for (const GPSGeofence& geofence : options_.geofences)
        watch(geofence);
}

void Drive::handOver(const GPSParams& params) {
    gps_->SetParams(params);
    recorder_.settings(params);
}

void Drive::watch(const GPSGeofence& geofence) {
    GPSParams params;
    gps_->GetParams(params);
    params.geofences[geofences_.size()] = geofence;
    handOver(params);
    geofences_.push_back(geofence.name.getStr());
    tally_.geofences[geofences_.back()] = {};
    say(format("geofence \"%s\": %.6f %.6f, %u by %u microdegrees", geofence.name.getStr(),
               geofence.latitude / kMicrodegreesPerDegree, geofence.longitude / kMicrodegreesPerDegree,
               geofence.width, geofence.height));
}

void Drive::run(const volatile std::sig_atomic_t& stop) {
    while (!stop && !isOver()) {
        ruxosleep_interruptible(kPollMilliseconds);
        pollOnce();
    }
    say(stop ? "asked to stop" : isTimeOver() ? "the time is over" : "all that can be expected was seen");
}

bool Drive::isTimeOver() const { return secondsBetween(started_, Clock::now()) >= options_.durationS; }

bool Drive::isOver() const {
    return isTimeOver() || (options_.untilSeen && judge(options_, tally_).unmet.empty());
}

void Drive::finish() {
    say("going down: the service stops and gpsd ends");
    recorder_.step(Step::Finalizing);
    const unsigned int rc = gps_->Finalize();
    pollOnce();
    say("going down: the driver gives the receiver back");
    recorder_.step(Step::Destroying, rc);
    gps_.reset();
    recorder_.step(Step::Down);
    say("the service is down");
}

// --- What the service says ------------------------------------------------------------------------------

void Drive::pollOnce() {
    const GPSReadings before = readings_;
    const std::vector<Event> events = events_.takeAll();
    gps_->GetReadings(readings_);
    for (const Event& event : events)
        report(event);
    noticeGeofenceStates();
    noticeFix(before);
    noticeOdometer();
    recorder_.readings(readings_);
}

void Drive::report(const Event& event) {
    recorder_.event(event, readings_);
    switch (event.kind) {
    case Event::Kind::GeofenceLeft:
        return reportGeofence(event, false);
    case Event::Kind::GeofenceEntered:
        return reportGeofence(event, true);
    case Event::Kind::Antenna:
        return reportAntenna(event.antenna, event.utc);
    case Event::Kind::Availability:
        return reportAvailability(event);
    case Event::Kind::Position:
        return reportPosition(event.utc);
    case Event::Kind::Tracking:
        return reportTracking(event);
    }
}

void Drive::reportGeofence(const Event& event, bool entered) {
    Tally::Crossings& crossings = tally_.geofences[event.geofence];
    ++tally_.geofenceEvents;
    const bool firstLook = !entered && !crossings.inside;
    crossings.entered += entered ? 1 : 0;
    crossings.left += entered || firstLook ? 0 : 1;
    crossings.inside = entered;
    sayAt(event.utc, readings_.data,
          format("%s geofence \"%s\"%s", entered ? "entered" : "left", event.geofence.c_str(),
                 firstLook ? " (first look at it, from outside)" : ""));
}

void Drive::reportAntenna(GPSAntennaState state, std::time_t utc) {
    ++tally_.antennaChanges;
    const bool inOrder = state == GPS_ANTENNA_OK;
    tally_.antennaCameBack = tally_.antennaCameBack || (inOrder && tally_.antennaWasLost);
    tally_.antennaWasLost = tally_.antennaWasLost || (!inOrder && tally_.antennaWasInOrder);
    tally_.antennaWasInOrder = tally_.antennaWasInOrder || inOrder;
    sayAt(utc, readings_.data, format("antenna: %s", antennaText(state)));
}

void Drive::reportAvailability(const Event& event) {
    const bool repeated = tally_.availabilityTold && tally_.available == event.available;
    tally_.availabilityTold = true;
    tally_.available = event.available;
    tally_.availabilityNotices += event.available ? 1 : 0;
    tally_.becameAvailable = tally_.becameAvailable || event.available;
    if (!repeated) // the service repeats itself while a fix has no good quality yet
        sayAt(event.utc, readings_.data, event.available ? "fixes are available" : "no valid fixes");
}

void Drive::reportPosition(std::time_t utc) {
    ++tally_.positionUpdates;
    const GPSData& data = readings_.data;
    sayAt(utc, data,
          format("position update: within %2u m, altitude %3.0f m, %4.1f m/s, course %3.0f, %2u satellites, "
                 "%2u dB-Hz",
                 readings_.horizontalError, data.altitude / kThousandths, data.speed / kThousandths,
                 data.course / kThousandths, readings_.satelliteCount, readings_.snr));
}

void Drive::reportTracking(const Event& event) {
    tally_.trackingReports += event.data.valid ? 1 : 0;
    sayAt(event.utc, event.data,
          event.data.valid ? format("tracking report: %4.1f m/s, course %3.0f",
                                    event.data.speed / kThousandths, event.data.course / kThousandths)
                           : "tracking report without a fix (not counted)");
}

// --- What is seen from outside --------------------------------------------------------------------------

void Drive::noticeFix(const GPSReadings& before) {
    if (readings_.fixTick == before.fixTick)
        return;
    const GPSData& fix = readings_.data;
    if (++tally_.fixes == 1)
        noticeFirstFix();
    else if (fix.speed > kStandingMmPerS)
        tally_.drivenM +=
            metresBetween(before.data.latitude, before.data.longitude, fix.latitude, fix.longitude);
    tally_.extentM = std::max(
        tally_.extentM, metresBetween(firstFix_.latitude, firstFix_.longitude, fix.latitude, fix.longitude));
    // The service measures stretches just above 15 m, a second's way at most, and drops those within twice
    // the error estimate.
    const double stretchM = kShortestStretchM + fix.speed / kThousandths;
    if (readings_.horizontalError > 0)
        tally_.countableM = std::max(tally_.countableM, stretchM - 2.0 * readings_.horizontalError);
    if (options_.learnS > 0 && !learned_)
        learnGeofences();
}

void Drive::noticeFirstFix() {
    firstFix_ = readings_.data;
    tally_.firstFixS = secondsBetween(begin_, Clock::now());
    sayAt(std::time(nullptr), firstFix_,
          format("first fix, %.1f s after the service was asked for, %.1f s after it was up",
                 tally_.firstFixS, secondsBetween(started_, Clock::now())));
    const double ahead = options_.firstFixBeforeS - tally_.firstFixS;
    if (options_.firstFixBeforeS > 0)
        say(format("the first fix came %.1f s %s than the %.1f s to compare with", std::fabs(ahead),
                   ahead > 0 ? "sooner" : "later", options_.firstFixBeforeS));
    if (!options_.firstFixFile.empty())
        std::ofstream(options_.firstFixFile) << format("%.1f\n", tally_.firstFixS);
}

void Drive::noticeGeofenceStates() {
    for (std::size_t i = 0; i < geofences_.size(); ++i)
        if (readings_.geofenceStates[i] == GPSGeofenceState::Inside)
            tally_.geofences[geofences_[i]].inside = true;
}

void Drive::noticeOdometer() {
    tally_.odometerM = readings_.odometer;
    const bool firstMetres = reportedMetres_ == 0 && readings_.odometer > 0;
    if (!firstMetres && readings_.odometer < reportedMetres_ + kOdometerReportM)
        return;
    reportedMetres_ = readings_.odometer;
    sayAt(std::time(nullptr), readings_.data,
          format("odometer: %4u m", readings_.odometer) +
              (firstMetres ? format(" (it counts nothing in its first %d s)", kOdometerWarmupS) : ""));
}

void Drive::learnGeofences() {
    track_.push_back({readings_.data.latitude, readings_.data.longitude});
    if (secondsBetween(started_, Clock::now()) < options_.learnS)
        return;
    learned_ = true;
    const std::vector<GPSGeofence> geofences = geofencesOnTrack(track_, kLearnedGeofences);
    tally_.noAreaOnTrack = geofences.empty();
    if (geofences.empty())
        say("the track so far comes into no area and leaves it again: no geofence can be drawn on it");
    for (const GPSGeofence& geofence : geofences)
        watch(geofence);
}

// --- Lines ----------------------------------------------------------------------------------------------

void Drive::say(const std::string& text) const { sayAt(std::time(nullptr), readings_.data, text); }

void Drive::sayAt(std::time_t utc, const GPSData& data, const std::string& text) const {
    printLine(timeText(utc) + "  " + positionText(data) + "  " + text);
    std::fflush(stdout);
}
