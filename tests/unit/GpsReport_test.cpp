// The copy of a gpsd report into the snapshot, for the record of the libgps at hand and for a plain stand-in
// of the older shape, which the unit's libgps has.

#include "GpsReport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include "Arrivals.h"
#include "GpsRecord.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr time_t kNow = 1700000000;

/// The shape of API 6: status beside the fix, times as double, angles as short, one altitude.
template <int Channels>
struct OldReport {
    gps_mask_t set;
    struct {
        double time;
        int mode;
        double ept, latitude, epy, longitude, epx, altitude, epv, track, epd, speed, eps, climb, epc;
    } fix;
    int status;
    int satellites_used;
    struct {
        double xdop, ydop, pdop, hdop, vdop, tdop, gdop;
    } dop;
    int satellites_visible;
    struct {
        double ss;
        bool used;
        short PRN, elevation, azimuth;
    } skyview[Channels];
};
using UnitReport = OldReport<72>;

/// Wide enough to bring more satellites than the snapshot holds.
using WideReport = OldReport<300>;

/// A report with a value of its own in each place and an empty mask.
template <typename Report>
void fill(Report& r) {
    setStatus(r, 2);
    setTime(r, 1699999999.75);
    setAltitude(r, 519.5);
    r.fix.mode = 3;
    r.fix.latitude = 48.25, r.fix.longitude = 11.5;
    r.fix.track = 271.5, r.fix.speed = 13.75, r.fix.climb = -0.5;
    r.fix.ept = 0.005, r.fix.epy = 4, r.fix.epx = 3, r.fix.epv = 7.5, r.fix.eps = 1.25;
    r.satellites_visible = 2, r.satellites_used = 1;
    r.skyview[0].ss = 21, r.skyview[0].PRN = 5;
    setAngles(r.skyview[0], 70, 359);
    r.skyview[1].ss = 38.5, r.skyview[1].used = true, r.skyview[1].PRN = 65;
    setAngles(r.skyview[1], -3, 0);
    r.dop.xdop = 1, r.dop.ydop = 2, r.dop.pdop = 3, r.dop.hdop = 4;
    r.dop.vdop = 5, r.dop.tdop = 6, r.dop.gdop = 7;
}

template <typename Report>
ReaderBlock copied(const Report& report) {
    ReaderBlock block;
    std::memset(&block, 0, sizeof block);
    gpsreport::copy(report, kNow, block);
    return block;
}

bool same(const ReaderBlock& a, const ReaderBlock& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

ReaderBlock blockWith(void (*set)(ReaderBlock&)) {
    ReaderBlock block;
    std::memset(&block, 0, sizeof block);
    set(block);
    return block;
}

/// Runs `check` with a filled report of each shape; the records are large.
template <typename Check>
void forEachShape(Check check) {
    const auto unit = std::make_unique<UnitReport>();
    fill(*unit);
    check(*unit);
    const auto here = std::make_unique<gps_data_t>();
    fill(*here);
    check(*here);
}

// --- The table ------------------------------------------------------------------------------------------

struct Row {
    const char* name;
    gps_mask_t bit;
    void (*set)(ReaderBlock&);
};

void setSatellites(ReaderBlock& b) {
    b.satellitesVisible = 2, b.satellitesUsed = 1, b.tsSatellites = kNow;
    b.ss[0] = 21, b.PRN[0] = 5, b.elevation[0] = 70, b.azimuth[0] = 359;
    b.ss[1] = 38.5, b.used[1] = true, b.PRN[1] = 65, b.elevation[1] = -3;
}

// The bits' values are the protocol with libgps and stand here as numbers.
const std::vector<Row> kRows = {
    {"status", 0x200, [](ReaderBlock& b) { b.status = 2, b.tsStatus = kNow; }},
    {"time", 0x4, [](ReaderBlock& b) { b.fixTime = 1699999999, b.tsTime = kNow; }},
    {"mode", 0x400, [](ReaderBlock& b) { b.mode = 3, b.tsMode = kNow; }},
    {"position", 0x10, [](ReaderBlock& b) { b.latitude = 48.25, b.longitude = 11.5, b.tsLatLon = kNow; }},
    {"altitude", 0x20, [](ReaderBlock& b) { b.altitude = 519.5, b.tsAltitude = kNow; }},
    {"track", 0x80, [](ReaderBlock& b) { b.track = 271.5, b.tsTrack = kNow; }},
    {"speed", 0x40, [](ReaderBlock& b) { b.speed = 13.75, b.tsSpeed = kNow; }},
    {"climb", 0x100, [](ReaderBlock& b) { b.climb = -0.5, b.tsClimb = kNow; }},
    {"satellites", 0x8000, setSatellites},
    {"time error", 0x8, [](ReaderBlock& b) { b.ept = 0.005, b.tsTimeError = kNow; }},
    {"horizontal error", 0x1000, [](ReaderBlock& b) { b.epx = 3, b.epy = 4, b.tsHorizontalError = kNow; }},
    {"vertical error", 0x2000, [](ReaderBlock& b) { b.epv = 7.5, b.tsVerticalError = kNow; }},
    {"speed error", 0x10000, [](ReaderBlock& b) { b.eps = 1.25, b.tsSpeedError = kNow; }},
};

TEST(GpsReportCopy, TakesWhatEachBitStandsForAndNothingElse) {
    forEachShape([](auto& report) {
        for (const Row& row : kRows) {
            report.set = row.bit;
            EXPECT_TRUE(same(copied(report), blockWith(row.set))) << row.name;
        }
    });
}

TEST(GpsReportCopy, CanMakeStaleWhateverItStamps) {
    forEachShape([](auto& report) {
        report.set = ~gps_mask_t{0};
        ReaderBlock block = copied(report);
        ReaderBlock expected = block;
        for (time_t ReaderBlock::*arrival : kArrivals)
            expected.*arrival = 0;
        gpsreport::makeStale<std::decay_t<decltype(report)>>(block);
        EXPECT_TRUE(same(block, expected));
    });
}

TEST(GpsReportCopy, TakesNothingFromAReportWithoutBits) {
    forEachShape([](auto& report) {
        report.set = 0;
        EXPECT_TRUE(same(copied(report), blockWith([](ReaderBlock&) {})));
    });
}

TEST(GpsReportCopy, TakesNothingForBitsItDoesNotKnow) {
    gps_mask_t known = 0;
    for (const Row& row : kRows)
        known |= row.bit;
    forEachShape([known](auto& report) {
        report.set = ~known; // the dilutions' own bit 0x800 is among them
        EXPECT_TRUE(same(copied(report), blockWith([](ReaderBlock&) {})));
    });
}

TEST(GpsReportCopy, TakesAllGroupsOfOneReport) {
    forEachShape([](auto& report) {
        report.set = ~gps_mask_t{0};
        const ReaderBlock block = copied(report);
        EXPECT_EQ(block.mode, 3);
        EXPECT_EQ(block.eps, 1.25);
        EXPECT_EQ(block.gdop, 7);
        EXPECT_EQ(block.tsStatus, kNow);
        EXPECT_EQ(block.tsDop, kNow);
    });
}

TEST(GpsReportCopy, TakesDilutionsOnlyWithTimePositionAltitudeAndSky) {
    constexpr gps_mask_t kAll = 0x4 | 0x10 | 0x20 | 0x8000;
    constexpr gps_mask_t kDopSet = 0x800;
    forEachShape([](auto& report) {
        for (const gps_mask_t missing : {0x4u, 0x10u, 0x20u, 0x8000u}) {
            report.set = (kAll | kDopSet) & ~missing;
            const ReaderBlock block = copied(report);
            EXPECT_EQ(block.tsDop, 0) << missing;
            EXPECT_EQ(block.pdop, 0) << missing;
        }
        report.set = kAll; // without DOP_SET
        EXPECT_EQ(copied(report).tsDop, kNow);
    });
}

TEST(GpsReportCopy, TakesAllSevenDilutions) {
    forEachShape([](auto& report) {
        report.set = 0x4 | 0x10 | 0x20 | 0x8000;
        const ReaderBlock b = copied(report);
        const std::vector<double> dilutions = {b.xdop, b.ydop, b.pdop, b.hdop, b.vdop, b.tdop, b.gdop};
        EXPECT_EQ(dilutions, (std::vector<double>{1, 2, 3, 4, 5, 6, 7}));
    });
}

TEST(GpsReportCopy, KeepsOldValuesOfGroupsThatDoNotCome) {
    forEachShape([](auto& report) {
        report.set = ~gps_mask_t{0};
        ReaderBlock block = copied(report);
        report.set = 0x10;
        report.fix.latitude = -1;
        gpsreport::copy(report, kNow + 5, block);
        EXPECT_EQ(block.latitude, -1);
        EXPECT_EQ(block.tsLatLon, kNow + 5);
        EXPECT_EQ(block.altitude, 519.5);
        EXPECT_EQ(block.tsAltitude, kNow);
        EXPECT_EQ(block.tsDop, kNow); // a position without a sky view leaves the dilutions
    });
}

TEST(GpsReportCopy, KeepsWhatIsNotANumber) {
    forEachShape([](auto& report) {
        report.set = 0x10 | 0x40;
        report.fix.latitude = kNaN;
        report.fix.speed = kInfinity;
        EXPECT_TRUE(std::isnan(copied(report).latitude));
        EXPECT_EQ(copied(report).speed, kInfinity);
    });
}

// --- Satellites -----------------------------------------------------------------------------------------

TEST(GpsReportCopy, KeepsOldSatellitesBeyondTheCount) {
    forEachShape([](auto& report) {
        report.set = 0x8000;
        ReaderBlock block = copied(report);
        report.satellites_visible = 1;
        report.skyview[0].PRN = 7;
        report.skyview[1].PRN = 8;
        gpsreport::copy(report, kNow, block);
        EXPECT_EQ(block.PRN[0], 7);
        EXPECT_EQ(block.PRN[1], 65);
    });
}

TEST(GpsReportCopy, TakesNoMoreSatellitesThanTheReportHolds) {
    forEachShape([](auto& report) {
        report.set = 0x8000;
        report.satellites_visible = 100000;
        const ReaderBlock block = copied(report);
        EXPECT_EQ(block.satellitesVisible, 100000);
        EXPECT_EQ(block.PRN[1], 65);
        EXPECT_EQ(block.xdop, 0);
    });
}

TEST(GpsReportCopy, TakesNoMoreSatellitesThanItHasRoomFor) {
    const auto report = std::make_unique<WideReport>();
    report->set = 0x8000;
    report->satellites_visible = 300;
    for (auto& satellite : report->skyview) {
        satellite.PRN = 9;
        setAngles(satellite, 9, 9);
    }
    const ReaderBlock block = copied(*report);
    EXPECT_EQ(block.satellitesVisible, 300);
    EXPECT_EQ(block.PRN[234], 9);
    EXPECT_EQ(block.azimuth[234], 9);
    EXPECT_EQ(block.xdop, 0);
}

TEST(GpsReportCopy, TakesNoSatellitesOfANegativeCount) {
    forEachShape([](auto& report) {
        report.set = 0x8000;
        report.satellites_visible = -1;
        const ReaderBlock block = copied(report);
        EXPECT_EQ(block.satellitesVisible, -1);
        EXPECT_EQ(block.PRN[0], 0);
        EXPECT_EQ(block.tsSatellites, kNow);
    });
}

TEST(GpsReportCopy, LimitsAnglesThatAreNoNumbers) {
    if (!kAnglesAreDoubles<gps_data_t>)
        GTEST_SKIP() << "this libgps has its angles in whole degrees";
    const auto report = std::make_unique<gps_data_t>();
    report->set = 0x8000;
    report->satellites_visible = 3;
    setAngles(report->skyview[0], kNaN, kInfinity);
    setAngles(report->skyview[1], -kInfinity, 1e300);
    setAngles(report->skyview[2], -12.9, 359.9);
    const ReaderBlock block = copied(*report);
    const std::vector<int16_t> elevations(block.elevation, block.elevation + 3);
    const std::vector<int16_t> azimuths(block.azimuth, block.azimuth + 3);
    EXPECT_EQ(elevations, (std::vector<int16_t>{0, -32768, -12}));
    EXPECT_EQ(azimuths, (std::vector<int16_t>{32767, 32767, 359}));
}

// --- Time -----------------------------------------------------------------------------------------------

TEST(GpsReportCopy, DropsTheFractionOfTheTime) {
    forEachShape([](auto& report) {
        report.set = 0x4;
        for (const auto& [time, seconds] :
             std::vector<std::pair<double, int32_t>>{{0, 0},
                                                     {0.999, 0},
                                                     {1.0, 1},
                                                     {-0.5, 0},
                                                     {-1.0, -1},
                                                     {-1.5, -1},
                                                     {1700000000.25, 1700000000}}) {
            setTime(report, time);
            EXPECT_EQ(copied(report).fixTime, seconds) << time;
        }
    });
}

TEST(GpsReportCopy, LimitsTimesBeyond32Bits) {
    forEachShape([](auto& report) {
        report.set = 0x4;
        setTime(report, 2147483647.5);
        EXPECT_EQ(copied(report).fixTime, 2147483647);
        setTime(report, 4e9);
        EXPECT_EQ(copied(report).fixTime, 2147483647);
        setTime(report, -4e9);
        EXPECT_EQ(copied(report).fixTime, std::numeric_limits<int32_t>::min());
    });
}

TEST(GpsReportCopy, TakesNoTimeForATimeThatIsNoNumber) {
    forEachShape([](auto& report) {
        if (!kTimeIsADouble<std::decay_t<decltype(report)>>)
            return; // it has no such time
        report.set = 0x4;
        for (const auto& [time, seconds] : std::vector<std::pair<double, int32_t>>{
                 {kNaN, 0}, {kInfinity, 2147483647}, {-kInfinity, std::numeric_limits<int32_t>::min()}}) {
            setTime(report, time);
            EXPECT_EQ(copied(report).fixTime, seconds) << time;
        }
    });
}

// --- Altitude -------------------------------------------------------------------------------------------

TEST(GpsReportCopy, PrefersTheAltitudeAboveTheSea) {
    if (!kTellsAltitudesApart<gps_data_t>)
        GTEST_SKIP() << "this libgps has one altitude";
    const auto report = std::make_unique<gps_data_t>();
    report->set = 0x20;
    setAltitudes(*report, 500, 546);
    EXPECT_EQ(copied(*report).altitude, 500);
    setAltitudes(*report, kNaN, 546);
    EXPECT_EQ(copied(*report).altitude, 546);
    setAltitudes(*report, kInfinity, 546);
    EXPECT_EQ(copied(*report).altitude, 546);
    setAltitudes(*report, kInfinity, kNaN);
    EXPECT_TRUE(std::isnan(copied(*report).altitude));
}

TEST(GpsReportCopy, TakesTheOneAltitudeOfAnOldReportAsItStands) {
    forEachShape([](auto& report) {
        if (kTellsAltitudesApart<std::decay_t<decltype(report)>>)
            return; // it has two
        report.set = 0x20;
        for (const double altitude : {519.5, 0.0, -430.0, 1e300, kInfinity}) {
            setAltitudes(report, altitude, 1);
            EXPECT_EQ(copied(report).altitude, altitude);
        }
        setAltitudes(report, kNaN, 1);
        EXPECT_TRUE(std::isnan(copied(report).altitude));
    });
}

// --- Reading --------------------------------------------------------------------------------------------

// Of a record of the old shape, whose status is the result.
int readRecordAlone(UnitReport* record) { return record->status; }

int readWithMessage(UnitReport* record, char* message, int length) {
    return message == nullptr && length == 0 ? record->status : -99;
}

TEST(GpsReportRead, ReadsWithOrWithoutAMessageBuffer) {
    const auto record = std::make_unique<UnitReport>();
    setStatus(*record, 250);
    EXPECT_EQ(gpsreport::read(readRecordAlone, record.get()), 250);
    EXPECT_EQ(gpsreport::read(readWithMessage, record.get()), 250);
}

} // namespace
