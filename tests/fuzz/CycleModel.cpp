#include "CycleModel.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

using Receiver = CycleModel::Receiver;

/// Truncated toward zero, ending at the type's limits; no number is 0.
template <typename Integer>
Integer whole(double value) {
    using Limits = std::numeric_limits<Integer>;
    if (std::isnan(value))
        return 0;
    const double least = Limits::min();
    const double most = Limits::max();
    return value <= least  ? Limits::min()
           : value >= most ? Limits::max()
                           : static_cast<Integer>(std::trunc(value));
}

float single(double value) {
    const auto most = static_cast<double>(std::numeric_limits<float>::max());
    if (std::fabs(value) > most)
        return value > 0 ? std::numeric_limits<float>::infinity() : -std::numeric_limits<float>::infinity();
    return static_cast<float>(value);
}

/// As 32 bits have it.
int32_t wrapped(int64_t value) {
    const int64_t rest = value & 0xFFFFFFFF;
    return static_cast<int32_t>(rest >= int64_t{1} << 31 ? rest - (int64_t{1} << 32) : rest);
}

bool isFresh(const Receiver& receiver, Receiver::Group group, time_t now) {
    return receiver.arrival[group] >= now - 10;
}

/// The fix as the driver gives it; `valid` is the caller's.
GPSData fixOf(const Receiver& receiver, time_t now) {
    GPSData data;
    if (isFresh(receiver, Receiver::Time, now))
        data.time = receiver.time;
    if (isFresh(receiver, Receiver::Position, now)) {
        data.latitude = whole<int32_t>(receiver.latitude * 1e6);
        data.longitude = whole<int32_t>(receiver.longitude * 1e6);
    }
    if (isFresh(receiver, Receiver::Altitude, now))
        data.altitude = whole<int32_t>(receiver.altitude * 1e3);
    if (isFresh(receiver, Receiver::Course, now))
        data.course = whole<uint32_t>(receiver.course * 1e3);
    if (isFresh(receiver, Receiver::Speed, now))
        data.speed = whole<uint32_t>(receiver.speed * 1e3);
    if (isFresh(receiver, Receiver::Dilutions, now)) {
        data.hdop = single(receiver.hdop);
        data.tdop = single(receiver.tdop);
        data.pdop = single(receiver.pdop);
        data.gdop = single(receiver.gdop);
    }
    return data;
}

bool areSame(const GPSGeofence& a, const GPSGeofence& b) {
    return std::strcmp(a.name.getStr(), b.name.getStr()) == 0 && a.longitude == b.longitude &&
           a.latitude == b.latitude && a.width == b.width && a.height == b.height && a.margin == b.margin;
}

bool areSame(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }

bool areSame(const GPSData& a, const GPSData& b) {
    return a.valid == b.valid && a.latitude == b.latitude && a.longitude == b.longitude &&
           a.altitude == b.altitude && a.time == b.time && a.speed == b.speed && a.course == b.course &&
           areSame(a.hdop, b.hdop) && areSame(a.tdop, b.tdop) && areSame(a.pdop, b.pdop) &&
           areSame(a.gdop, b.gdop);
}

/// Whether a position is within `extent` around `centre` and the margin: 32 bits wide, ends included.
bool isWithin(int32_t position, int32_t centre, uint32_t extent, uint32_t margin) {
    const int64_t half = int64_t{margin} + extent / 2;
    return position >= wrapped(centre - half) && position <= wrapped(centre + half);
}

/// What a check makes of a state.
GPSGeofenceState checked(const GPSGeofence& geofence, const GPSData& data, GPSGeofenceState state) {
    using State = GPSGeofenceState;
    if (geofence.width == 0 || geofence.height == 0 || !data.valid)
        return State::Unknown;
    const bool wasOutside = state == State::Outside || state == State::Left;
    const uint32_t margin = wasOutside ? 0 : geofence.margin;
    const bool inside = isWithin(data.longitude, geofence.longitude, geofence.width, margin) &&
                        isWithin(data.latitude, geofence.latitude, geofence.height, margin);
    if (wasOutside)
        return inside ? State::Entered : State::Outside;
    return inside ? State::Inside : State::Left;
}

} // namespace

// --- Settings -------------------------------------------------------------------------------------------

void CycleModel::reset(int32_t warmup) {
    warmup_ = warmup;
    const bool resetTimeDeviation = params_.resetTimeDeviation;
    std::string names[kGPSMaxGeofences];
    for (std::size_t i = 0; i < kGPSMaxGeofences; ++i)
        names[i] = params_.geofences[i].name.getStr();
    params_ = GPSParams();
    params_.enabled = true;
    params_.positionInterval = 1;
    params_.statusInterval = 2;
    params_.logInterval = 900;
    params_.resetTimeDeviation = resetTimeDeviation;
    for (std::size_t i = 0; i < kGPSMaxGeofences; ++i) {
        params_.geofences[i].name.setStr(names[i].c_str());
        params_.geofences[i].margin = 0;
    }
    readings_ = GPSReadings();
    readings_.antennaState = static_cast<GPSAntennaState>(2);
}

void CycleModel::set(const GPSParams& params) {
    for (std::size_t i = 0; i < kGPSMaxGeofences; ++i)
        if (!areSame(params.geofences[i], params_.geofences[i]))
            readings_.geofenceStates[i] = GPSGeofenceState::Unknown;
    if (params.resetTimeDeviation) {
        readings_.timeDeviationValid = false;
        readings_.timeDelta = 0;
    }
    if (params.setOdometer)
        readings_.odometer = params.odometerValue;
    params_ = params;
}

// --- A cycle --------------------------------------------------------------------------------------------

Lines CycleModel::cycle(const Receiver& receiver, const Clocks& clocks, bool restarts) {
    Lines told;
    Receiver now = receiver;
    if (restarts)
        for (time_t& arrival : now.arrival)
            arrival = 0;
    mayGrow_ = asksForAFix(clocks.tick);
    if (mayGrow_) {
        updatePosition(now, clocks, told);
        mayGrow_ = --warmup_ < -1; // counted down, then the reference point, then the first stretch
        errorAtGrowth_ = readings_.horizontalError;
        if (params_.geofencesEnabled)
            updateGeofences(told);
        lastPosition_ = clocks.tick;
    }
    if (params_.trackingEnabled)
        track(clocks, told);
    if (isDue(clocks.tick, lastStatus_, params_.statusInterval)) {
        updateStatus(now, clocks, told);
        lastStatus_ = clocks.tickAfter;
    }
    return told;
}

void CycleModel::updatePosition(const Receiver& receiver, const Clocks& clocks, Lines& told) {
    if (!isFresh(receiver, Receiver::Status, clocks.utc) || receiver.antennaResult != 0)
        return;
    GPSData fix = fixOf(receiver, clocks.utc);
    fix.valid = receiver.antenna == GPS_ANTENNA_OK && (fix.latitude != 0 || fix.longitude != 0);
    if (fix.valid != readings_.available)
        told.push_back("callback OnAvailabilityChanged " + std::to_string(fix.valid));
    if (!(fix.pdop > 0) || !(fix.pdop < 10))
        return;
    readings_.available = fix.valid;
    if (fix.valid) {
        readings_.data = fix;
        readings_.fixTick = clocks.tickAfter;
        ++fixes_;
    }
    if (fixes_ == 11) {
        told.push_back("callback OnPositionUpdate");
        fixes_ = 0;
    }
}

void CycleModel::updateGeofences(Lines& told) {
    for (std::size_t i = 0; i < kGPSMaxGeofences; ++i) {
        const GPSGeofence& geofence = params_.geofences[i];
        GPSGeofenceState& state = readings_.geofenceStates[i];
        state = checked(geofence, readings_.data, state);
        if (state == GPSGeofenceState::Entered)
            told.push_back(std::string("callback OnGeofenceEntered ") + geofence.name.getStr());
        if (state == GPSGeofenceState::Left)
            told.push_back(std::string("callback OnGeofenceLeft ") + geofence.name.getStr());
    }
}

void CycleModel::track(const Clocks& clocks, Lines& told) {
    const int64_t period = params_.trackingPeriod;
    if (lastTracking_ > clocks.tick - 5u || period == 0)
        return;
    const int64_t shifted =
        wrapped(static_cast<int64_t>(clocks.utcAfter) - params_.trackingBase + params_.trackingOffset);
    const int64_t rest = shifted % period;
    if (rest > 1 && rest < period - 1)
        return;
    told.push_back("callback OnTracking " + std::to_string(readings_.data.latitude) + " " +
                   std::to_string(readings_.data.longitude));
    lastTracking_ = clocks.tick;
}

void CycleModel::updateStatus(const Receiver& receiver, const Clocks& clocks, Lines& told) {
    const time_t now = clocks.utcAfter;
    const bool seesTheSky = isFresh(receiver, Receiver::Sky, now);
    readings_.satelliteCount = seesTheSky ? static_cast<uint32_t>(receiver.visible) : 0;
    // The first two satellites are marked used, whatever number gpsd gives.
    const auto users = static_cast<uint32_t>(std::clamp(receiver.visible, 0, 2));
    const uint32_t sum = users * whole<uint32_t>(receiver.snr);
    readings_.snr = seesTheSky && receiver.used != 0 ? sum / static_cast<uint32_t>(receiver.used) : 0;
    const auto antenna = receiver.antennaResult == 0 ? receiver.antenna : GPS_ANTENNA_OK;
    if (antenna != GPS_ANTENNA_OK)
        readings_.available = false;
    if (antenna != readings_.antennaState)
        told.push_back("callback OnAntennaStateChanged " + std::to_string(antenna));
    readings_.antennaState = antenna;
    updateDeviation(receiver, now);
    const bool knowsTime = isFresh(receiver, Receiver::TimeError, now);
    readings_.timeError = knowsTime ? whole<int32_t>(receiver.ept * 1000) : 0;
    const bool knowsPlace = isFresh(receiver, Receiver::HorizontalError, now);
    const float sumOfSquares = single(receiver.epx * receiver.epx + receiver.epy * receiver.epy);
    readings_.horizontalError =
        knowsPlace ? whole<uint32_t>(std::sqrt(static_cast<double>(sumOfSquares))) : 0;
}

void CycleModel::updateDeviation(const Receiver& receiver, time_t now) {
    if (hasNtp || !isFresh(receiver, Receiver::Time, now))
        return;
    const int64_t delta = int64_t{receiver.time} - now;
    const bool wasNeverSet = now < 631152000;
    if ((delta < -2592000 || delta > 2592000) && !wasNeverSet)
        return;
    readings_.timeDelta = whole<int32_t>(static_cast<double>(delta));
    readings_.timeDeviationValid = true;
}

// --- What is seen ---------------------------------------------------------------------------------------

const char* CycleModel::misfit(const GPSReadings& seen) {
    const uint32_t growth = seen.odometer - readings_.odometer;
    if (!growthFits(growth))
        return "the odometer grows by 15 to 1000 m, beyond twice the error, once a fix is asked for";
    readings_.odometer = seen.odometer;
    mayGrow_ = false;
    if (!areSame(seen.data, readings_.data) || seen.fixTick != readings_.fixTick)
        return "the fix is the last fresh one that was accepted";
    if (seen.available != readings_.available || seen.antennaState != readings_.antennaState)
        return "availability and antenna";
    if (seen.satelliteCount != readings_.satelliteCount || seen.snr != readings_.snr)
        return "satellites";
    if (seen.timeDeviationValid != readings_.timeDeviationValid || seen.timeDelta != readings_.timeDelta)
        return "the deviation of the clock";
    if (seen.horizontalError != readings_.horizontalError || seen.timeError != readings_.timeError)
        return "error estimates";
    for (std::size_t i = 0; i < kGPSMaxGeofences; ++i)
        if (seen.geofenceStates[i] != readings_.geofenceStates[i])
            return "states of geofences";
    return nullptr;
}

bool CycleModel::growthFits(uint32_t growth) const {
    if (growth == 0)
        return true;
    return mayGrow_ && growth >= 15 && growth <= 1000 && growth >= 2 * uint64_t{errorAtGrowth_};
}
