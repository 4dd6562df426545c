#include "UbxNavigation.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "UbxIds.h"
#include "UbxPayload.h"
#include "simulator/Geometry.h"
#include "simulator/ReceiverClock.h"

namespace simulator {

namespace {

constexpr int64_t kNanosecondsPerMs = 1'000'000;
constexpr uint32_t kUnknownAccuracy = std::numeric_limits<uint32_t>::max();

int32_t scaled(double value, double unitsPerOne) {
    const double product = std::round(value * unitsPerOne);
    constexpr double kMost = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::clamp(product, -kMost, kMost));
}

uint32_t magnitude(double value, double unitsPerOne) {
    return static_cast<uint32_t>(scaled(std::max(value, 0.0), unitsPerOne));
}

bool hasFix(const Epoch& epoch) { return epoch.fix != FixType::None; }

bool isCorrected(const Epoch& epoch) { return epoch.quality == 2; }

// --- Time -----------------------------------------------------------------------------------------------

struct GpsTime {
    int32_t week;
    uint32_t towMs; // rounded to the millisecond, as iTOW is
    int32_t restNs; // what the rounding left, may be negative
};

UtcTime reportedInstant(const Epoch& epoch) { return reportedUtc(epoch) + epoch.clockRest; }

GpsTime gpsTime(const Epoch& epoch) {
    const int64_t utcNs = reportedInstant(epoch).time_since_epoch().count();
    const int64_t gpsNs = utcNs - (kGpsEpochS - reportedLeapSeconds(epoch)) * kNanosecondsPerSecond;
    const int64_t totalMs = (gpsNs + kNanosecondsPerMs / 2) / kNanosecondsPerMs;
    const int64_t weekMs = kSecondsPerWeek * 1000;
    return {static_cast<int32_t>(totalMs / weekMs), static_cast<uint32_t>(totalMs % weekMs),
            static_cast<int32_t>(gpsNs - totalMs * kNanosecondsPerMs)};
}

struct UtcFields {
    CalendarTime calendar;
    int32_t restNs; // what the calendar's second leaves
};

// The second is floored, so the rest goes up to 999 ms. Or the fields are of the nearest hundredth, and the
// rest goes from -5 to 995 ms.
UtcFields utcFields(const NavContext& context) {
    const UtcTime instant = reportedInstant(context.epoch);
    const auto half = std::chrono::milliseconds(context.utcToHundredths ? 5 : 0);
    const UtcTime second = std::chrono::floor<std::chrono::seconds>(instant + half);
    return {calendarOf(second), static_cast<int32_t>((instant - second).count())};
}

void putCalendar(PayloadWriter& payload, const CalendarTime& calendar) {
    payload.i2(calendar.year).i1(calendar.month).i1(calendar.day);
    payload.i1(calendar.hour).i1(calendar.minute).i1(calendar.second);
}

uint32_t gpsAccuracyNs(const Epoch& epoch) {
    return epoch.timeKnown ? magnitude(epoch.timeAccuracyS, 1e9) : kUnknownAccuracy;
}

// An assumption: nothing is said of UTC while it may be a second wrong.
uint32_t utcAccuracyNs(const Epoch& epoch) {
    return isUtcResolved(epoch) ? gpsAccuracyNs(epoch) : kUnknownAccuracy;
}

uint32_t flagIf(bool isSet, uint32_t flag) { return isSet ? flag : 0; }

// TIMEGPS and TIMEUTC: time of week, week and leap seconds are right.
uint32_t timeFlags(const Epoch& epoch) {
    return flagIf(epoch.timeKnown, 0x01) | flagIf(isDateKnown(epoch), 0x02) |
           flagIf(isUtcResolved(epoch), 0x04);
}

// PVT: date and time of day are right, and to the second.
uint32_t pvtTimeFlags(const Epoch& epoch) {
    return flagIf(isDateKnown(epoch), 0x01) | flagIf(epoch.timeKnown, 0x02) |
           flagIf(isUtcResolved(epoch), 0x04);
}

// --- Position and motion --------------------------------------------------------------------------------

Vector3 earthFixedPosition(const Epoch& epoch) {
    return hasFix(epoch) ? earthFixed(epoch.position) : Vector3{};
}

// North, east, down in metres per second.
Vector3 localVelocity(const Epoch& epoch) {
    if (!hasFix(epoch))
        return {0, 0, 0};
    const double course = radians(epoch.courseDeg);
    return {epoch.speedMps * std::cos(course), epoch.speedMps * std::sin(course), -epoch.climbMps};
}

Vector3 earthFixedVelocity(const Epoch& epoch) {
    const Vector3 ned = localVelocity(epoch);
    const double latitude = radians(epoch.position.latitudeDeg);
    const double longitude = radians(epoch.position.longitudeDeg);
    const double inMeridian = -std::sin(latitude) * ned.x - std::cos(latitude) * ned.z;
    return {inMeridian * std::cos(longitude) - std::sin(longitude) * ned.y,
            inMeridian * std::sin(longitude) + std::cos(longitude) * ned.y,
            std::cos(latitude) * ned.x - std::sin(latitude) * ned.z};
}

void putScaled(PayloadWriter& payload, const Vector3& vector, double unitsPerOne) {
    payload.i4(scaled(vector.x, unitsPerOne));
    payload.i4(scaled(vector.y, unitsPerOne));
    payload.i4(scaled(vector.z, unitsPerOne));
}

// Longitude, latitude, both heights and both accuracies, as POSLLH and PVT share them.
void putGeodetic(PayloadWriter& payload, const Epoch& epoch) {
    const GeoPosition position = hasFix(epoch) ? epoch.position : GeoPosition{};
    payload.i4(scaled(position.longitudeDeg, 1e7)).i4(scaled(position.latitudeDeg, 1e7));
    payload.i4(scaled(position.altitudeMslM + position.geoidSeparationM, 1e3));
    payload.i4(scaled(position.altitudeMslM, 1e3));
    payload.u4(hasFix(epoch) ? magnitude(epoch.horizontalAccuracyM, 1e3) : kUnknownAccuracy);
    payload.u4(hasFix(epoch) ? magnitude(epoch.verticalAccuracyM, 1e3) : kUnknownAccuracy);
}

uint32_t positionAccuracyCm(const Epoch& epoch) {
    return hasFix(epoch) ? magnitude(std::hypot(epoch.horizontalAccuracyM, epoch.verticalAccuracyM), 100)
                         : kUnknownAccuracy;
}

PayloadWriter startedWithTow(const NavContext& context) {
    return PayloadWriter().u4(gpsTime(context.epoch).towMs);
}

// Flags of SOL and STATUS: fix in order, corrected, week and time of week known.
uint32_t solutionFlags(const Epoch& epoch) {
    return flagIf(hasFix(epoch), 0x01) | flagIf(isCorrected(epoch), 0x02) | flagIf(isDateKnown(epoch), 0x04) |
           flagIf(epoch.timeKnown, 0x08);
}

// Assumptions: what it says about a velocity that it hasn't.
double speedAccuracyMps(const Epoch& epoch) { return hasFix(epoch) ? epoch.speedAccuracyMps : 20; }
double courseAccuracyDeg(const Epoch& epoch) { return hasFix(epoch) ? epoch.courseAccuracyDeg : 180; }

// --- Messages -------------------------------------------------------------------------------------------

Bytes buildPosEcef(const NavContext& context) {
    PayloadWriter payload = startedWithTow(context);
    putScaled(payload, earthFixedPosition(context.epoch), 100);
    return payload.u4(positionAccuracyCm(context.epoch)).bytes();
}

Bytes buildPosLlh(const NavContext& context) {
    PayloadWriter payload = startedWithTow(context);
    putGeodetic(payload, context.epoch);
    return payload.bytes();
}

Bytes buildStatus(const NavContext& context) {
    return startedWithTow(context)
        .u1(static_cast<uint32_t>(context.epoch.fix))
        .u1(solutionFlags(context.epoch))
        .u1(isCorrected(context.epoch) ? 1 : 0)
        .u1(0)
        .u4(context.timeToFirstFixMs)
        .u4(context.sinceStartMs)
        .bytes();
}

Bytes buildDop(const NavContext& context) {
    const Dops& dops = context.epoch.dops;
    PayloadWriter payload = startedWithTow(context);
    for (const double dop : {dops.geometric, dops.position, dops.time, dops.vertical, dops.horizontal,
                             dops.northing, dops.easting})
        payload.u2(magnitude(std::min(dop, 99.99), 100));
    return payload.bytes();
}

Bytes buildSol(const NavContext& context) {
    const Epoch& epoch = context.epoch;
    const GpsTime time = gpsTime(epoch);
    PayloadWriter payload = startedWithTow(context);
    payload.i4(time.restNs).i2(time.week);
    payload.u1(static_cast<uint32_t>(epoch.fix)).u1(solutionFlags(epoch));
    putScaled(payload, earthFixedPosition(epoch), 100);
    payload.u4(positionAccuracyCm(epoch));
    putScaled(payload, earthFixedVelocity(epoch), 100);
    payload.u4(magnitude(speedAccuracyMps(epoch), 100));
    payload.u2(magnitude(std::min(epoch.dops.position, 99.99), 100)).u1(0).u1(usedSatellites(epoch)).u4(0);
    return payload.bytes();
}

Bytes buildPvt(const NavContext& context) {
    const Epoch& epoch = context.epoch;
    const UtcFields utc = utcFields(context);
    const Vector3 ned = localVelocity(epoch);
    PayloadWriter payload = startedWithTow(context);
    putCalendar(payload, utc.calendar);
    payload.u1(pvtTimeFlags(epoch)).u4(utcAccuracyNs(epoch)).i4(utc.restNs);
    payload.u1(static_cast<uint32_t>(epoch.fix));
    payload.u1((hasFix(epoch) ? 1u : 0u) | (isCorrected(epoch) ? 2u : 0u));
    payload.u1(0).u1(usedSatellites(epoch));
    putGeodetic(payload, epoch);
    putScaled(payload, ned, 1e3);
    payload.i4(scaled(std::hypot(ned.x, ned.y), 1e3)).i4(scaled(epoch.courseDeg, 1e5));
    payload.u4(magnitude(speedAccuracyMps(epoch), 1e3)).u4(magnitude(courseAccuracyDeg(epoch), 1e5));
    payload.u2(magnitude(std::min(epoch.dops.position, 99.99), 100)).zeros(6);
    return payload.i4(scaled(epoch.courseDeg, 1e5)).zeros(4).bytes();
}

Bytes buildVelEcef(const NavContext& context) {
    PayloadWriter payload = startedWithTow(context);
    putScaled(payload, earthFixedVelocity(context.epoch), 100);
    return payload.u4(magnitude(speedAccuracyMps(context.epoch), 100)).bytes();
}

Bytes buildVelNed(const NavContext& context) {
    const Epoch& epoch = context.epoch;
    const Vector3 ned = localVelocity(epoch);
    PayloadWriter payload = startedWithTow(context);
    putScaled(payload, ned, 100);
    payload.u4(magnitude(std::hypot(ned.x, ned.y, ned.z), 100)).u4(magnitude(std::hypot(ned.x, ned.y), 100));
    payload.i4(scaled(epoch.courseDeg, 1e5)).u4(magnitude(speedAccuracyMps(epoch), 100));
    return payload.u4(magnitude(courseAccuracyDeg(epoch), 1e5)).bytes();
}

Bytes buildTimeGps(const NavContext& context) {
    const GpsTime time = gpsTime(context.epoch);
    return startedWithTow(context)
        .i4(time.restNs)
        .i2(time.week)
        .i1(reportedLeapSeconds(context.epoch))
        .u1(timeFlags(context.epoch))
        .u4(gpsAccuracyNs(context.epoch))
        .bytes();
}

Bytes buildTimeUtc(const NavContext& context) {
    const UtcFields utc = utcFields(context);
    PayloadWriter payload = startedWithTow(context);
    payload.u4(utcAccuracyNs(context.epoch)).i4(utc.restNs);
    putCalendar(payload, utc.calendar);
    return payload.u1(timeFlags(context.epoch)).bytes();
}

// A steady, well-behaved crystal.
Bytes buildClock(const NavContext& context) {
    constexpr uint32_t kFrequencyAccuracyPsPerS = 350;
    return startedWithTow(context)
        .i4(static_cast<int32_t>(context.epoch.clockRest.count()))
        .i4(static_cast<int32_t>(kClockDriftNsPerS))
        .u4(gpsAccuracyNs(context.epoch))
        .u4(kFrequencyAccuracyPsPerS)
        .bytes();
}

// Whose page has told of the next leap second: none without a page (an assumption for GLONASS and the host).
uint32_t sourceOfLeapChange(LeapSource source) {
    const bool hasPage = source != LeapSource::Glonass && source != LeapSource::Host;
    return hasPage ? static_cast<uint32_t>(source) : 0;
}

Bytes buildTimeLs(const NavContext& context) {
    const LeapSource source = isUtcResolved(context.epoch) ? context.epoch.leapSource : LeapSource::Firmware;
    return startedWithTow(context)
        .u1(0)
        .zeros(3)
        .u1(static_cast<uint32_t>(source))
        .i1(reportedLeapSeconds(context.epoch))
        .u1(sourceOfLeapChange(source))
        .i1(0)
        .i4(0)
        .u2(0)
        .u2(0)
        .zeros(3)
        .u1(flagIf(isUtcResolved(context.epoch), 0x01))
        .bytes();
}

// The single number space of the older messages.
int32_t svid(const Satellite& satellite) {
    const int32_t number = satellite.number;
    switch (satellite.constellation) {
    case Constellation::Gps:
    case Constellation::Sbas:
        return number;
    case Constellation::Galileo:
        return number + 210;
    case Constellation::BeiDou:
        return number <= 5 ? number + 158 : number + 27;
    case Constellation::Imes:
        return number + 172;
    case Constellation::Qzss:
        return number + 192;
    case Constellation::Glonass:
        return number + 64;
    }
    return number;
}

uint32_t quality(const Satellite& satellite) { return static_cast<uint32_t>(satellite.quality); }

bool isCorrectedSatellite(const Epoch& epoch, const Satellite& satellite) {
    return isCorrected(epoch) && satellite.used && satellite.constellation == Constellation::Gps;
}

// An elevation beyond the zenith says that the direction isn't known.
void putDirection(PayloadWriter& payload, const Satellite& satellite) {
    constexpr int32_t kNoElevation = -91;
    payload.u1(magnitude(satellite.carrierToNoiseDbHz, 1));
    if (satellite.orbitKnown)
        payload.i1(scaled(satellite.elevationDeg, 1)).i2(scaled(satellite.azimuthDeg, 1) % 360);
    else
        payload.i1(kNoElevation).i2(0);
}

Bytes buildSvInfo(const NavContext& context) {
    constexpr uint32_t kChipM8 = 4;
    constexpr uint32_t kUsed = 0x01;
    constexpr uint32_t kDifferential = 0x02;
    constexpr uint32_t kOrbit = 0x04;
    constexpr uint32_t kEphemeris = 0x08;
    constexpr uint32_t kUnhealthy = 0x10;
    const std::vector<Satellite>& satellites = context.epoch.satellites;
    PayloadWriter payload = startedWithTow(context);
    payload.u1(static_cast<uint32_t>(satellites.size())).u1(kChipM8).zeros(2);
    uint32_t channel = 0;
    for (const Satellite& satellite : satellites) {
        const uint32_t flags = flagIf(satellite.used, kUsed | kEphemeris) |
                               flagIf(isCorrectedSatellite(context.epoch, satellite), kDifferential) |
                               flagIf(satellite.orbitKnown, kOrbit) |
                               flagIf(satellite.health == Health::Unhealthy, kUnhealthy);
        payload.u1(channel++).i1(svid(satellite)).u1(flags).u1(quality(satellite));
        putDirection(payload, satellite);
        payload.i4(0);
    }
    return payload.bytes();
}

Bytes buildSat(const NavContext& context) {
    constexpr uint32_t kVersion = 1;
    constexpr uint32_t kUsed = 0x08;
    constexpr uint32_t kHealth = 0x10; // times its number
    constexpr uint32_t kDifferential = 0x40;
    constexpr uint32_t kOrbitFromEphemeris = 0x0100 | 0x0800;
    constexpr uint32_t kOrbitFromAlmanac = 0x0200 | 0x1000;
    constexpr uint32_t kSbasCorrection = 0x00010000;
    const std::vector<Satellite>& satellites = context.epoch.satellites;
    PayloadWriter payload = startedWithTow(context);
    payload.u1(kVersion).u1(static_cast<uint32_t>(satellites.size())).zeros(2);
    for (const Satellite& satellite : satellites) {
        const bool corrected = isCorrectedSatellite(context.epoch, satellite);
        const uint32_t orbit = satellite.used ? kUsed | kOrbitFromEphemeris : kOrbitFromAlmanac;
        const uint32_t flags = quality(satellite) | kHealth * static_cast<uint32_t>(satellite.health) |
                               flagIf(satellite.orbitKnown, orbit) |
                               flagIf(corrected, kDifferential | kSbasCorrection);
        payload.u1(static_cast<uint32_t>(satellite.constellation));
        payload.u1(static_cast<uint32_t>(satellite.number));
        putDirection(payload, satellite);
        payload.i2(0).u4(flags);
    }
    return payload.bytes();
}

// The geostationary satellite that brings the corrections; 0 for none.
uint32_t correctingSatellite(const Epoch& epoch) {
    for (const Satellite& satellite : epoch.satellites)
        if (satellite.constellation == Constellation::Sbas && satellite.carrierToNoiseDbHz > 0)
            return static_cast<uint32_t>(satellite.number);
    return 0;
}

Bytes buildSbas(const NavContext& context) {
    constexpr uint32_t kIntegrity = 1;
    constexpr int32_t kEgnos = 1;
    constexpr uint32_t kRangingAndCorrections = 0x03;
    const uint32_t geo = isCorrected(context.epoch) ? correctingSatellite(context.epoch) : 0;
    const auto corrected = [&context](const Satellite& satellite) {
        return isCorrectedSatellite(context.epoch, satellite);
    };
    const auto& satellites = context.epoch.satellites;
    const auto count = std::count_if(satellites.begin(), satellites.end(), corrected);
    PayloadWriter payload = startedWithTow(context);
    payload.u1(geo).u1(geo != 0 ? kIntegrity : 0).i1(geo != 0 ? kEgnos : -1);
    payload.u1(geo != 0 ? kRangingAndCorrections : 0).u1(static_cast<uint32_t>(count)).zeros(3);
    for (const Satellite& satellite : satellites)
        if (corrected(satellite))
            payload.i1(svid(satellite)).u1(0).u1(4).i1(kEgnos).u1(kRangingAndCorrections).zeros(7);
    return payload.bytes();
}

Bytes buildEoe(const NavContext& context) { return startedWithTow(context).bytes(); }

} // namespace

const std::vector<NavMessageRow>& navMessageRows() {
    static const std::vector<NavMessageRow> rows = {
        {0x07, buildPvt},     {0x06, buildSol},     {0x02, buildPosLlh}, {0x03, buildStatus},
        {0x01, buildPosEcef}, {0x11, buildVelEcef}, {0x12, buildVelNed}, {0x30, buildSvInfo},
        {0x35, buildSat},     {0x32, buildSbas},    {0x04, buildDop},    {0x20, buildTimeGps},
        {0x21, buildTimeUtc}, {0x22, buildClock},   {0x26, buildTimeLs}, {0x61, buildEoe},
    };
    return rows;
}

} // namespace simulator
