// The adapter and its geofences.
//
// The worker thread calls the update operations; the application's threads read and set. Each operation takes
// the lock itself, for the shortest stretch that touches shared members; the driver is always called without
// it. The arithmetic of odometer and geofences is pure and stands apart from locking and callbacks.

#include "GPSAdapter.h"

#include <sys/time.h>

#include <cerrno>
#include <cmath>
#include <ctime>
#include <exception>

#include "AntennaValues.h"
#include "GPSTimedWorker.h"
#include "Log.h"
#include "Saturate.h"

// --- Constants ------------------------------------------------------------------------------------------

namespace {

constexpr char kLogSource[] = "src/GPSAdapter.cpp";

constexpr uint32_t kDefaultPositionInterval = 1;
constexpr uint32_t kDefaultStatusInterval = 2;
constexpr uint32_t kDefaultLogInterval = 900;
constexpr uint32_t kDefaultMargin = 1500;

constexpr float kPdopLimit = 10.0f;
constexpr uint32_t kFixesBetweenNotifications = 10;

constexpr int32_t kMaxDeviationSeconds = 2592000;  // 30 days
constexpr int32_t kClockWasSetSeconds = 631152000; // 1990-01-01 00:00:00 UTC

constexpr uint32_t kWarmupSeconds = 180;
constexpr double kKeepFactor = 0.9;
constexpr double kTakeFactor = 1.0 - kKeepFactor; // 0.09999999999999998, not the literal 0.1
constexpr double kMetresPerMicrodegree = 0.11113286273635781;
constexpr double kPi = 3.141592653589793;
constexpr double kJumpMetres = 1000.0;
constexpr double kStepMetres = 15.0;

constexpr double kMicrodegreesPerDegree = 1e6;
constexpr double kThousandths = 1000.0;

// Log texts.
constexpr char kCreateFailed[] = "GPSAdapter failed to create worker class";
constexpr char kSemInitFailed[] = "GPSAdapter failed to initialize semaphore (errno=%d)";
constexpr char kSemFreeFailed[] = "GPSAdapter failed to free semaphore (errno=%d)";
constexpr char kSemWaitFailed[] = "GPSAdapter failed to get semaphore (errno=%d)";
constexpr char kSemPostFailed[] = "GPSAdapter failed to release semaphore (errno=%d)";
constexpr char kStopFailed[] = "GPSAdapter failed to stop GPS (error code 0x%08X)";
constexpr char kFinalizeFailed[] = "GPSAdapter failed to finalize GPS (error code 0x%08X)";
constexpr char kSetOdometer[] = "Set odometer from %d to %d";
constexpr char kTimeOfDayFailed[] = "GPSAdapter: get system time deviation, timeofday fails, errno=%d";
constexpr char kGeofenceFailed[] = "GPSAdapter: check geofence returns rc=0x%08X";
constexpr char kStatus[] =
    "GPS is %s: antenna=%d sat-count=%d SNR=%d time-deviation=%s time-delta=%ds fix-age=%ds "
    "odometer=%ld";
constexpr char kCurrentData[] =
    "Current GPS data: longitude=%g latitude=%g alt=%gm speed=%gm/s course=%g date='%s'";
constexpr char kNoCurrentData[] = "Current GPS data: not valid";

// --- Odometer arithmetic --------------------------------------------------------------------------------

/// Position cycles that a warm-up takes.
int32_t warmupCycles(uint32_t positionInterval) {
    return static_cast<int32_t>(kWarmupSeconds / (positionInterval == 0 ? 1 : positionInterval));
}

/// A tenth of the new position and nine tenths of the smoothed one.
int32_t smooth(int32_t current, int32_t filtered) {
    return saturate<int32_t>(std::round(current * kTakeFactor + filtered * kKeepFactor));
}

/// Distance between two nearby points, on a sphere, the meridians' convergence taken at `to`.
double distanceMetres(const GPSData& from, const GPSData& to) {
    // In double: the difference of two extreme positions would not fit 32 bits.
    const double latitudeDiff = static_cast<double>(from.latitude) - to.latitude;
    const double longitudeDiff = static_cast<double>(from.longitude) - to.longitude;
    const double dLat = latitudeDiff * kMetresPerMicrodegree;
    const double c = std::cos(to.latitude * kPi / 180 * 1e-6);
    const double dLon = longitudeDiff * kMetresPerMicrodegree * c;
    return std::sqrt(dLat * dLat + dLon * dLon);
}

void copyPoint(GPSData& to, const GPSData& from) {
    to.latitude = from.latitude;
    to.longitude = from.longitude;
}

// --- Geofence arithmetic --------------------------------------------------------------------------------

/// Whether `position` lies within `half` of `centre`. The sums wrap at 32 bits and are compared signed.
bool isWithin(int32_t position, int32_t centre, uint32_t half) {
    const auto low = static_cast<int32_t>(static_cast<uint32_t>(centre) - half);
    const auto high = static_cast<int32_t>(static_cast<uint32_t>(centre) + half);
    return low <= position && position <= high;
}

bool differs(const GPSGeofence& a, const GPSGeofence& b) {
    return !a.name.equals(b.name) || a.longitude != b.longitude || a.latitude != b.latitude ||
           a.width != b.width || a.height != b.height || a.margin != b.margin;
}

using State = GPSGeofenceState;

bool countsAsInside(State state) {
    // KEEP: an unknown state counts as inside, so a first position within the margin makes no event.
    // Pinned by GPSGeofenceCheck.TreatsAnUnknownStateLikeInside
    return state != State::Outside && state != State::Left;
}

State nextState(State state, bool inside) {
    // KEEP: from Unknown a position inside makes no event, one outside does.
    // Pinned by GPSGeofenceCheck.RaisesLeftButNotEnteredFromUnknown
    if (countsAsInside(state))
        return inside ? State::Inside : State::Left;
    return inside ? State::Entered : State::Outside;
}

/// `ctime` of a 32-bit time, whatever the width of `time_t`.
struct CtimeText {
    explicit CtimeText(time_t time) {
        if (ctime_r(&time, text) == nullptr)
            text[0] = '\0';
    }
    char text[32];
};

} // namespace

// --- GPSGeofence ----------------------------------------------------------------------------------------

GPSGeofence::GPSGeofence()
    : name(""), longitude(0), latitude(0), width(0), height(0), margin(kDefaultMargin) {}

GPSGeofence::GPSGeofence(const GPSGeofence& other)
    : name(other.name.getStr()), longitude(other.longitude), latitude(other.latitude), width(other.width),
      height(other.height), margin(other.margin) {}

GPSGeofence::~GPSGeofence() = default;

GPSGeofence& GPSGeofence::operator=(const GPSGeofence& other) {
    if (this == &other)
        return *this;
    name.setStr(other.name.getStr());
    longitude = other.longitude;
    latitude = other.latitude;
    width = other.width;
    height = other.height;
    margin = other.margin;
    return *this;
}

void GPSGeofence::Clear() {
    longitude = 0;
    latitude = 0;
    width = 0;
    height = 0;
    margin = 0;
}

bool GPSGeofence::checkInside(const GPSData& data, unsigned int marginMicrodegrees) const {
    return isWithin(data.longitude, longitude, marginMicrodegrees + (width >> 1)) &&
           isWithin(data.latitude, latitude, marginMicrodegrees + (height >> 1));
}

unsigned int GPSGeofence::CheckGeofence(const GPSData& data, GPSGeofenceState& state) const {
    const bool configured = width != 0 && height != 0;
    if (!configured || !data.valid) {
        state = State::Unknown;
        return configured ? GPS_ERR_INVALID_POSITION : 0;
    }
    const bool inside = checkInside(data, countsAsInside(state) ? margin : 0);
    state = nextState(state, inside);
    return 0;
}

// --- Construction and destruction -----------------------------------------------------------------------

GPSAdapter::GPSAdapter(IGPSCallback* applicationCallback)
    : callback(applicationCallback), hal(nullptr), worker(nullptr), odometerWarmup(kWarmupSeconds),
      previousAntennaState(kAntennaNotFilledIn), available(false), antennaState(kAntennaNotFilledIn),
      satelliteCount(0), snr(0), fixTick(0), odometer(0), geofenceStates{}, timeDeviationValid(false),
      timeDelta(0), horizontalError(0), timeError(0), maxGeofences(kGPSMaxGeofences),
      ntpServiceAvailable(false), antennaCallbackFlag(false), validFixCounter(0) {
    try {
        hal = GPSHAL::GetNewInstance();
        worker = new GPSTimedWorker(*this);
    } catch (...) {
        LOG(Logging::LevelCritical, kCreateFailed);
        delete hal;
        throw;
    }
    if (sem_init(&lockSemaphore, 0, 1) != 0) {
        LOG(Logging::LevelCritical, kSemInitFailed, errno);
        // KEEP: nothing is in flight, so this ends the process: without a lock there is no service.
        // Pinned by GPSAdapterDeathTest.EndsTheProcessWhenTheLockCanNotBeCreated
        throw;
    }
    ResetParams();
}

GPSAdapter::~GPSAdapter() {
    const unsigned int stopped = Stop();
    if (stopped != 0)
        LOG(Logging::LevelError, kStopFailed, stopped);
    const unsigned int finalized = Finalize();
    if (finalized != 0)
        LOG(Logging::LevelError, kFinalizeFailed, finalized);
    lock(); // never given back
    delete worker;
    delete hal;
    callback = nullptr;
    if (sem_destroy(&lockSemaphore) != 0)
        LOG(Logging::LevelCritical, kSemFreeFailed, errno);
}

// --- Lock -----------------------------------------------------------------------------------------------

unsigned int GPSAdapter::lock() {
    int rc = sem_wait(&lockSemaphore);
    while (rc != 0 && errno == EINTR)
        rc = sem_wait(&lockSemaphore);
    if (rc == 0)
        return 0;
    LOG(Logging::LevelCritical, kSemWaitFailed, errno);
    return GPS_ERR_FAILED;
}

unsigned int GPSAdapter::unlock() {
    if (sem_post(&lockSemaphore) == 0)
        return 0;
    LOG(Logging::LevelCritical, kSemPostFailed, errno);
    return GPS_ERR_FAILED;
}

// --- Settings and readings ------------------------------------------------------------------------------

unsigned int GPSAdapter::ResetParams() {
    lock();
    resetSettings();
    resetReadings();
    odometerFiltered.Clear();
    odometerReference.Clear();
    odometerWarmup = warmupCycles(params.positionInterval);
    unlock();
    return 0;
}

void GPSAdapter::resetSettings() {
    params.enabled = true;
    params.positionInterval = kDefaultPositionInterval;
    params.statusInterval = kDefaultStatusInterval;
    params.trackingEnabled = false;
    params.trackingPeriod = 0;
    params.trackingBase = 0;
    params.trackingOffset = 0;
    params.geofencesEnabled = false;
    for (GPSGeofence& geofence : params.geofences)
        geofence.Clear();
    params.odometerValue = 0;
    params.setOdometer = false;
    params.logInterval = kDefaultLogInterval;
}

void GPSAdapter::resetReadings() {
    available = false;
    antennaState = kAntennaNotInOrder;
    satelliteCount = 0;
    snr = 0;
    fixTick = 0;
    odometer = 0;
    currentData.Clear();
    for (GPSGeofenceState& state : geofenceStates)
        state = State::Unknown;
    timeDeviationValid = false;
    timeDelta = 0;
    horizontalError = 0;
    timeError = 0;
}

unsigned int GPSAdapter::SetParams(const GPSParams& p) {
    lock();
    for (uint32_t i = 0; i < maxGeofences; ++i)
        if (differs(p.geofences[i], params.geofences[i]))
            geofenceStates[i] = State::Unknown;
    if (p.resetTimeDeviation) {
        timeDeviationValid = false;
        timeDelta = 0;
    }
    if (p.setOdometer) {
        LOG(Logging::LevelInfo, kSetOdometer, static_cast<int>(odometer), static_cast<int>(p.odometerValue));
        odometer = p.odometerValue;
    }
    params = p;
    unlock();
    return 0;
}

unsigned int GPSAdapter::GetParams(GPSParams& p) {
    lock();
    p = params;
    unlock();
    return 0;
}

unsigned int GPSAdapter::GetReadings(GPSReadings& r) {
    lock();
    r.available = available;
    r.antennaState = antennaState;
    r.satelliteCount = satelliteCount;
    r.snr = snr;
    r.fixTick = fixTick;
    r.odometer = odometer;
    r.data = currentData;
    for (uint32_t i = 0; i < maxGeofences; ++i)
        r.geofenceStates[i] = geofenceStates[i];
    r.timeDeviationValid = timeDeviationValid;
    r.timeDelta = timeDelta;
    r.horizontalError = horizontalError;
    r.timeError = timeError;
    unlock();
    return 0;
}

unsigned int GPSAdapter::GetMaxGeoFences() { return maxGeofences; }

void GPSAdapter::SetNTPServiceAvailable(bool serviceAvailable) { ntpServiceAvailable = serviceAvailable; }

bool GPSAdapter::GetNTPServiceAvailable() { return ntpServiceAvailable; }

// --- Lifecycle ------------------------------------------------------------------------------------------

unsigned int GPSAdapter::setInitialPosition(unsigned int latitude, unsigned int longitude,
                                            unsigned int altitude) {
    return hal->setInitialPosition(latitude, longitude, altitude);
}

unsigned int GPSAdapter::Initialize() {
    const bool up = hal->Initialize() == 0 && hal->IsActive();
    return up ? 0 : GPS_ERR_FAILED;
}

unsigned int GPSAdapter::Start() {
    if (!hal->IsActive())
        return GPS_ERR_NOT_RUNNING;
    unsigned int rc = hal->Start();
    if (rc != 0)
        return rc;
    if (params.enabled)
        rc = worker->Start();
    return hal->IsRunning() ? rc : GPS_ERR_FAILED;
}

unsigned int GPSAdapter::Stop() {
    const unsigned int workerRc = worker->IsActive() ? worker->Stop() : 0;
    const unsigned int halRc = hal->Stop();
    if (halRc == 0)
        return workerRc;
    LOG(Logging::LevelError, kStopFailed, halRc);
    return halRc;
}

unsigned int GPSAdapter::Finalize() {
    const unsigned int stopRc = Stop();
    if (stopRc != 0)
        LOG(Logging::LevelError, kStopFailed, stopRc);
    const unsigned int halRc = hal->Finalize();
    if (halRc == 0)
        return stopRc;
    LOG(Logging::LevelError, kFinalizeFailed, halRc);
    return halRc;
}

// --- Update cycle ---------------------------------------------------------------------------------------

unsigned int GPSAdapter::UpdateCurrentPosition() {
    GPSData d;
    const unsigned int rc = hal->GetData(d);
    if (rc != 0)
        return rc;
    lock();
    const unsigned int result = acceptFix(d);
    unlock();
    return result;
}

unsigned int GPSAdapter::acceptFix(GPSData& d) {
    unsigned int rc = 0;
    if (d.latitude == 0 && d.longitude == 0)
        d.valid = false;
    // KEEP: told before the quality gate, so it repeats while the PDOP is out of range.
    // Pinned by UpdateCurrentPosition.RepeatsAvailabilityWhileThePdopIsOutOfRange
    if (available != d.valid && callback != nullptr)
        rc = callback->OnAvailabilityChanged(d.valid);
    if (!(d.pdop > 0.0f && d.pdop < kPdopLimit))
        return rc;
    available = d.valid;
    if (d.valid) {
        currentData = d;
        fixTick = ruxo_systemtick();
        ++validFixCounter;
    }
    if (callback != nullptr && validFixCounter > kFixesBetweenNotifications) {
        rc = callback->OnPositionUpdate();
        validFixCounter = 0;
    }
    return rc;
}

unsigned int GPSAdapter::UpdateSatelliteCount() {
    unsigned int count = 0;
    const unsigned int rc = hal->GetSatCount(count);
    lock();
    satelliteCount = count;
    unlock();
    return rc;
}

unsigned int GPSAdapter::UpdateSNR() {
    unsigned int ratio = 0;
    const unsigned int rc = hal->GetSNR(ratio);
    lock();
    snr = ratio;
    unlock();
    return rc;
}

unsigned int GPSAdapter::UpdateErrorEstimates() {
    unsigned int horizontal = 0;
    int time = 0;
    const unsigned int rc = hal->GetErrorEstimates(horizontal, time);
    if (rc != 0)
        return rc;
    lock();
    horizontalError = horizontal;
    timeError = time;
    unlock();
    return 0;
}

unsigned int GPSAdapter::UpdateAntennaStatus() {
    GPSAntennaState state = kAntennaNotFilledIn;
    const unsigned int rc = hal->GetAntennaStatus(state);
    lock();
    previousAntennaState = antennaState;
    antennaState = state;
    if (state != kAntennaInOrder)
        available = false;
    const bool changed = previousAntennaState != state;
    unlock();
    if (!changed)
        return rc;
    if (callback == nullptr)
        return GPS_ERR_NOT_AVAILABLE;
    RuxoString text;
    return callback->OnAntennaStateChanged(state, text, antennaCallbackFlag);
}

unsigned int GPSAdapter::UpdateSystemTimeDeviation() {
    if (ntpServiceAvailable)
        return 0;
    timeval system;
    if (gettimeofday(&system, nullptr) != 0) {
        LOG(Logging::LevelError, kTimeOfDayFailed, errno);
        return GPS_ERR_FAILED;
    }
    long gps = 0;
    const unsigned int rc = hal->GetCurrentTime(gps);
    if (rc != 0)
        return rc;
    const int32_t delta = saturateSeconds<int32_t>(static_cast<long long>(gps) - system.tv_sec);
    const bool plausible = -kMaxDeviationSeconds <= delta && delta <= kMaxDeviationSeconds;
    if (!plausible && system.tv_sec >= kClockWasSetSeconds)
        return 0;
    lock();
    timeDelta = delta;
    timeDeviationValid = true;
    unlock();
    return 0;
}

unsigned int GPSAdapter::UpdateOdometer() {
    if (odometerReference.valid)
        trackOdometer();
    else
        warmUpOdometer();
    return 0;
}

void GPSAdapter::warmUpOdometer() {
    if (odometerWarmup > 0) {
        --odometerWarmup;
        return;
    }
    lock();
    odometerFiltered.valid = true;
    copyPoint(odometerFiltered, currentData);
    copyPoint(odometerReference, currentData);
    odometerReference.valid = true;
    unlock();
}

void GPSAdapter::trackOdometer() {
    lock();
    odometerFiltered.latitude = smooth(currentData.latitude, odometerFiltered.latitude);
    odometerFiltered.longitude = smooth(currentData.longitude, odometerFiltered.longitude);
    unlock();
    const double distance = distanceMetres(odometerReference, odometerFiltered);
    if (distance > kJumpMetres)
        restartOdometer();
    else if (distance > kStepMetres)
        countDistance(distance);
}

void GPSAdapter::restartOdometer() {
    odometerReference.valid = false;
    odometerFiltered.valid = false;
    lock();
    odometerWarmup = warmupCycles(params.positionInterval);
    unlock();
}

void GPSAdapter::countDistance(double distance) {
    lock();
    if (distance > 2.0 * horizontalError)
        odometer += saturate<uint32_t>(std::round(distance));
    unlock();
    // KEEP: the reference moves even when the step was not counted: it is dropped, not carried over.
    // Pinned by UpdateOdometer.DropsAStepWithinTwiceTheErrorEstimate
    copyPoint(odometerReference, odometerFiltered);
}

unsigned int GPSAdapter::UpdateGeofence() {
    lock();
    unsigned int rc = 0;
    // KEEP: overwritten with each geofence, so only the last one's result is logged and returned.
    // Pinned by UpdateGeofence.ReturnsTheResultOfTheLastGeofenceAlone
    for (uint32_t i = 0; i < maxGeofences; ++i)
        rc = checkGeofence(params.geofences[i], geofenceStates[i]);
    unlock();
    if (rc != 0)
        LOG(Logging::LevelError, kGeofenceFailed, rc);
    return rc;
}

unsigned int GPSAdapter::checkGeofence(const GPSGeofence& geofence, GPSGeofenceState& state) {
    const unsigned int rc = geofence.CheckGeofence(currentData, state);
    if (rc != 0 || (state != State::Entered && state != State::Left))
        return rc;
    if (callback == nullptr)
        return GPS_ERR_NOT_AVAILABLE;
    return state == State::Entered ? callback->OnGeofenceEntered(geofence)
                                   : callback->OnGeofenceLeft(geofence);
}

unsigned int GPSAdapter::SendTracking() {
    lock();
    const unsigned int rc = callback != nullptr ? callback->OnTracking(currentData) : GPS_ERR_NOT_AVAILABLE;
    unlock();
    return rc;
}

unsigned int GPSAdapter::LogDetails() {
    lock();
    const int age = fixTick != 0 ? static_cast<int>(ruxo_systemtick() - fixTick) : -1;
    LOG(Logging::LevelInfo, kStatus, available ? "available" : "down", static_cast<int>(antennaState),
        static_cast<int>(satelliteCount), static_cast<int>(snr), timeDeviationValid ? "valid" : "invalid",
        timeDelta, age, static_cast<long>(odometer));
    if (currentData.valid)
        LOG(Logging::LevelInfo, kCurrentData, currentData.longitude / kMicrodegreesPerDegree,
            currentData.latitude / kMicrodegreesPerDegree, currentData.altitude / kThousandths,
            currentData.speed / kThousandths, currentData.course / kThousandths,
            CtimeText(currentData.time).text);
    else
        LOG(Logging::LevelInfo, kNoCurrentData);
    return unlock();
}
