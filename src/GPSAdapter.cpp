// The adapter and its geofences.
//
// The worker thread calls the update operations; the application's threads read and set. Each operation takes
// the lock itself, for the shortest stretch that touches shared members; the driver is always called without
// it. The arithmetic of odometer and geofences is pure and stands apart from locking and callbacks, in
// headers of its own.

#include "GPSAdapter.h"

#include <sys/time.h>

#include <cerrno>
#include <ctime>
#include <exception>
#include <new>
#include <optional>

#include "AntennaValues.h"
#include "GPSTimedWorker.h"
#include "GeofenceArithmetic.h"
#include "Log.h"
#include "OdometerArithmetic.h"
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

// --- Points and geofences -------------------------------------------------------------------------------

void copyPoint(GPSData& to, const GPSData& from) {
    to.latitude = from.latitude;
    to.longitude = from.longitude;
}

bool differs(const GPSGeofence& a, const GPSGeofence& b) {
    return !a.name.equals(b.name) || a.longitude != b.longitude || a.latitude != b.latitude ||
           a.width != b.width || a.height != b.height || a.margin != b.margin;
}

using State = GPSGeofenceState;

// --- Texts ----------------------------------------------------------------------------------------------

/// `ctime` of a 32-bit time, whatever the width of `time_t`, in a buffer of its own.
// KEEP: with its line feed, which stands before the closing quote of the log line.
// Pinned by LogDetails.SaysTheFixWithItsDateAndThatDatesLineFeed
struct CtimeText {
    explicit CtimeText(time_t time) {
        tzset(); // `ctime` follows a change of TZ, `ctime_r` alone need not
        if (ctime_r(&time, text) == nullptr)
            text[0] = '\0';
    }
    char text[32];
};

/// An empty text, unless there is no memory for it.
bool makeEmpty(std::optional<RuxoString>& text) {
    try {
        text.emplace();
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

// --- Lock guard -----------------------------------------------------------------------------------------

/// Holds the adapter's lock while it lives. An exception and a cancelled thread give it back as well.
class LockGuard {
public:
    explicit LockGuard(GPSAdapter& owner) : adapter(owner) { adapter.lock(); }
    /// Not `noexcept`: a thread may be cancelled in the log line of a lock that can't be given back.
    ~LockGuard() noexcept(false) {
        // KEEP: given back also when it could not be taken; the operation went on without it. Pinned by
        // AdapterLocking.IsGivenBackEvenWhenItCouldNotBeTaken
        if (held)
            adapter.unlock();
    }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

    /// Gives the lock back before its time and returns the result.
    unsigned int giveBack() {
        held = false;
        return adapter.unlock();
    }

private:
    GPSAdapter& adapter;
    bool held = true;
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
    try {
        if (!name.equals(other.name)) // an equal one needs no memory
            name.setStr(other.name.getStr());
    } catch (const std::bad_alloc&) {
        return *this; // whole, as it was
    }
    longitude = other.longitude;
    latitude = other.latitude;
    width = other.width;
    height = other.height;
    margin = other.margin;
    return *this;
}

void GPSGeofence::Clear() {
    // KEEP: the margin becomes 0, not the 1500 of a new geofence, and the name stays.
    // Pinned by GPSGeofenceRecord.ClearsItsFiveNumbersMarginIncludedAndKeepsItsName
    longitude = 0;
    latitude = 0;
    width = 0;
    height = 0;
    margin = 0;
}

bool GPSGeofence::checkInside(const GPSData& data, unsigned int marginMicrodegrees) const {
    using namespace geofencing;
    return isWithin(data.longitude, longitude, halfWithMargin(width, marginMicrodegrees)) &&
           isWithin(data.latitude, latitude, halfWithMargin(height, marginMicrodegrees));
}

unsigned int GPSGeofence::CheckGeofence(const GPSData& data, GPSGeofenceState& state) const {
    const bool configured = geofencing::isConfigured(width, height);
    if (!configured || !data.valid) {
        state = State::Unknown;
        return configured ? GPS_ERR_INVALID_POSITION : 0;
    }
    const bool inside = checkInside(data, geofencing::countsAsInside(state) ? margin : 0);
    state = geofencing::nextState(state, inside);
    return 0;
}

// --- Construction and destruction -----------------------------------------------------------------------

GPSAdapter::GPSAdapter(IGPSCallback* applicationCallback)
    : callback(applicationCallback), hal(nullptr), worker(nullptr), odometerWarmup(odometry::kWarmupSeconds),
      previousAntennaState(kAntennaNotFilledIn), available(false), antennaState(kAntennaNotFilledIn),
      satelliteCount(0), snr(0), fixTick(0), odometer(0), geofenceStates{}, timeDeviationValid(false),
      timeDelta(0), horizontalError(0), timeError(0), maxGeofences(kGPSMaxGeofences),
      ntpServiceAvailable(false), antennaCallbackFlag(false), validFixCounter(0) {
    createDriverAndWorker();
    if (sem_init(&lockSemaphore, 0, 1) != 0) {
        LOG(kLogCritical, kSemInitFailed, errno);
        // KEEP: nothing is in flight, so this ends the process: without a lock there is no service.
        // Pinned by GPSAdapterDeathTest.EndsTheProcessWhenTheLockCanNotBeCreated
        throw;
    }
    ResetParams();
}

void GPSAdapter::createDriverAndWorker() {
    try {
        hal = GPSHAL::GetNewInstance();
        worker = new GPSTimedWorker(*this);
    } catch (...) {
        LOG(kLogCritical, kCreateFailed);
        delete hal;
        throw;
    }
}

GPSAdapter::~GPSAdapter() {
    const unsigned int stopped = Stop();
    if (stopped != 0)
        LOG(kLogError, kStopFailed, stopped);
    const unsigned int finalized = Finalize();
    if (finalized != 0)
        LOG(kLogError, kFinalizeFailed, finalized);
    lock(); // without a guard: never given back
    delete worker;
    delete hal;
    callback = nullptr;
    if (sem_destroy(&lockSemaphore) != 0)
        LOG(kLogCritical, kSemFreeFailed, errno);
}

// --- Lock -----------------------------------------------------------------------------------------------

unsigned int GPSAdapter::lock() {
    int rc = sem_wait(&lockSemaphore);
    while (rc != 0 && errno == EINTR)
        rc = sem_wait(&lockSemaphore);
    if (rc == 0)
        return 0;
    LOG(kLogCritical, kSemWaitFailed, errno);
    return GPS_ERR_FAILED;
}

unsigned int GPSAdapter::unlock() {
    if (sem_post(&lockSemaphore) == 0)
        return 0;
    LOG(kLogCritical, kSemPostFailed, errno);
    return GPS_ERR_FAILED;
}

// --- Settings and readings ------------------------------------------------------------------------------

unsigned int GPSAdapter::ResetParams() {
    const LockGuard guard(*this);
    // KEEP: not everything: `resetTimeDeviation`, the antenna's state before, the two flags and the count of
    // fixes stay. Pinned by AdapterDefaults.AreNotWhatResetParamsLeavesAlone
    resetSettings();
    resetReadings();
    resetOdometer(odometry::warmupCycles(params.positionInterval));
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

void GPSAdapter::resetOdometer(int32_t warmup) {
    odometerFiltered.Clear();
    odometerReference.Clear();
    odometerWarmup = warmup;
}

unsigned int GPSAdapter::SetParams(const GPSParams& p) {
    const LockGuard guard(*this);
    for (uint32_t i = 0; i < maxGeofences; ++i)
        if (differs(p.geofences[i], params.geofences[i]))
            geofenceStates[i] = State::Unknown;
    if (p.resetTimeDeviation) {
        timeDeviationValid = false;
        timeDelta = 0;
    }
    if (p.setOdometer) {
        LOG(kLogInfo, kSetOdometer, static_cast<int>(odometer), static_cast<int>(p.odometerValue));
        odometer = p.odometerValue;
    }
    params = p; // numbers and flags always; a geofence stays as it was where its name finds no memory
    return 0;
}

unsigned int GPSAdapter::GetParams(GPSParams& p) {
    const LockGuard guard(*this);
    p = params;
    return 0;
}

unsigned int GPSAdapter::GetReadings(GPSReadings& r) {
    const LockGuard guard(*this);
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
    LOG(kLogError, kStopFailed, halRc);
    return halRc;
}

unsigned int GPSAdapter::Finalize() {
    const unsigned int stopRc = Stop();
    // KEEP: `Stop` has logged the driver's error already.
    // Pinned by AdapterLifeCycle.FinalizeReturnsTheErrorOfTheStopAndLogsItOnceMore
    if (stopRc != 0)
        LOG(kLogError, kStopFailed, stopRc);
    const unsigned int halRc = hal->Finalize();
    if (halRc == 0)
        return stopRc;
    LOG(kLogError, kFinalizeFailed, halRc);
    return halRc;
}

// --- Update cycle ---------------------------------------------------------------------------------------

unsigned int GPSAdapter::UpdateCurrentPosition() {
    GPSData d;
    const unsigned int rc = hal->GetData(d);
    if (rc != 0)
        return rc;
    const LockGuard guard(*this);
    return acceptFix(d);
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
    const LockGuard guard(*this);
    // KEEP: stored whatever the result, here and below. Pinned by UpdateSatellites.StoresWhatAFailedQueryLeft
    satelliteCount = count;
    return rc;
}

unsigned int GPSAdapter::UpdateSNR() {
    unsigned int ratio = 0;
    const unsigned int rc = hal->GetSNR(ratio);
    const LockGuard guard(*this);
    snr = ratio;
    return rc;
}

unsigned int GPSAdapter::UpdateErrorEstimates() {
    unsigned int horizontal = 0;
    int time = 0;
    const unsigned int rc = hal->GetErrorEstimates(horizontal, time);
    if (rc != 0)
        return rc;
    const LockGuard guard(*this);
    horizontalError = horizontal;
    timeError = time;
    return 0;
}

unsigned int GPSAdapter::UpdateAntennaStatus() {
    GPSAntennaState state = kAntennaNotFilledIn;
    const unsigned int rc = hal->GetAntennaStatus(state);
    bool changed = false;
    std::optional<RuxoString> text;
    {
        const LockGuard guard(*this);
        // KEEP: a failed query counts as well, and nobody is told of the availability. Pinned by
        // UpdateAntennaStatus.StoresZeroWhenTheQueryFilledInNothing and
        // UpdateAntennaStatus.NeverTellsAvailability
        if (state != kAntennaInOrder)
            available = false;
        changed = state != antennaState;
        if (changed && callback != nullptr && !makeEmpty(text))
            return GPS_ERR_FAILED; // not stored, so the next update finds and tells it
        previousAntennaState = antennaState;
        antennaState = state;
    }
    if (!changed)
        return rc;
    if (callback == nullptr)
        return GPS_ERR_NOT_AVAILABLE;
    return callback->OnAntennaStateChanged(state, *text, antennaCallbackFlag);
}

unsigned int GPSAdapter::UpdateSystemTimeDeviation() {
    if (ntpServiceAvailable)
        return 0;
    timeval system;
    if (gettimeofday(&system, nullptr) != 0) {
        LOG(kLogError, kTimeOfDayFailed, errno);
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
    const LockGuard guard(*this);
    timeDelta = delta;
    timeDeviationValid = true;
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
    const LockGuard guard(*this);
    // KEEP: taken even before the first fix; the jump to that one starts the warm-up anew.
    // Pinned by UpdateOdometer.StartsAnewWhenTheFirstFixComesAfterAReferenceWithoutOne
    odometerFiltered.valid = true;
    copyPoint(odometerFiltered, currentData);
    copyPoint(odometerReference, currentData);
    odometerReference.valid = true;
}

void GPSAdapter::trackOdometer() {
    smoothPosition();
    const double distance = odometry::distanceMetres(odometerReference, odometerFiltered);
    if (odometry::isJump(distance))
        restartOdometer();
    else if (odometry::isStep(distance))
        countDistance(distance);
}

void GPSAdapter::smoothPosition() {
    const LockGuard guard(*this);
    odometerFiltered.latitude = odometry::smooth(currentData.latitude, odometerFiltered.latitude);
    odometerFiltered.longitude = odometry::smooth(currentData.longitude, odometerFiltered.longitude);
}

void GPSAdapter::restartOdometer() {
    odometerReference.valid = false;
    odometerFiltered.valid = false;
    const LockGuard guard(*this);
    odometerWarmup = odometry::warmupCycles(params.positionInterval);
}

void GPSAdapter::countDistance(double distance) {
    {
        const LockGuard guard(*this);
        if (odometry::exceedsError(distance, horizontalError))
            odometer += odometry::wholeMetres(distance);
    }
    // KEEP: the reference moves even when the step was not counted: it is dropped, not carried over.
    // Pinned by UpdateOdometer.DropsAStepWithinTwiceTheErrorEstimate
    copyPoint(odometerReference, odometerFiltered);
}

unsigned int GPSAdapter::UpdateGeofence() {
    const unsigned int rc = checkGeofences();
    if (rc != 0)
        LOG(kLogError, kGeofenceFailed, rc);
    return rc;
}

unsigned int GPSAdapter::checkGeofences() {
    const LockGuard guard(*this);
    unsigned int rc = 0;
    // KEEP: overwritten with each geofence, so only the last one's result is logged and returned.
    // Pinned by UpdateGeofence.ReturnsTheResultOfTheLastGeofenceAlone
    for (uint32_t i = 0; i < maxGeofences; ++i)
        rc = checkGeofence(params.geofences[i], geofenceStates[i]);
    return rc;
}

unsigned int GPSAdapter::checkGeofence(const GPSGeofence& geofence, GPSGeofenceState& state) {
    const unsigned int checked = geofence.CheckGeofence(currentData, state);
    if (checked != 0)
        return checked;
    unsigned int rc = 0;
    if (state == State::Entered)
        rc = callback != nullptr ? callback->OnGeofenceEntered(geofence) : GPS_ERR_NOT_AVAILABLE;
    // KEEP: not an "else": the state is read anew, and may have become Left in the call above.
    // Pinned by UpdateGeofence.ReadsTheStateAnewAfterTheEnteredCall
    if (state == State::Left)
        rc = callback != nullptr ? callback->OnGeofenceLeft(geofence) : GPS_ERR_NOT_AVAILABLE;
    return rc;
}

unsigned int GPSAdapter::SendTracking() {
    const LockGuard guard(*this);
    return callback != nullptr ? callback->OnTracking(currentData) : GPS_ERR_NOT_AVAILABLE;
}

unsigned int GPSAdapter::LogDetails() {
    LockGuard guard(*this);
    logStatus();
    logFix();
    return guard.giveBack();
}

void GPSAdapter::logStatus() {
    const int age = fixTick != 0 ? static_cast<int>(ruxo_systemtick() - fixTick) : -1;
    LOG(kLogInfo, kStatus, available ? "available" : "down", static_cast<int>(antennaState),
        static_cast<int>(satelliteCount), static_cast<int>(snr), timeDeviationValid ? "valid" : "invalid",
        timeDelta, age, static_cast<long>(odometer));
}

void GPSAdapter::logFix() {
    if (!currentData.valid) {
        LOG(kLogInfo, kNoCurrentData);
        return;
    }
    LOG(kLogInfo, kCurrentData, currentData.longitude / kMicrodegreesPerDegree,
        currentData.latitude / kMicrodegreesPerDegree, currentData.altitude / kThousandths,
        currentData.speed / kThousandths, currentData.course / kThousandths,
        CtimeText(currentData.time).text);
}
