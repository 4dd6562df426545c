// What the library relies on in libgps. Each test runs against libgps itself and against the fake that the
// unit tests have in its place.

#include "GpsdContract.h"

#include <cmath>
#include <iterator>

#include "GpsRecord.h"
#include "GpsReport.h"

int GpsdContract::connect() {
    const int result = gps_open(gpsd->host(), gpsd->port().c_str(), record.get());
    open_ = result >= 0;
    if (open_)
        gpsd->accepts();
    return result;
}

int GpsdContract::reads() { return gpsreport::read(gps_read, record.get()); }

namespace {

constexpr gps_mask_t kFix = STATUS_SET | MODE_SET | LATLON_SET;
/// The bits that the library looks at.
constexpr gps_mask_t kBits = TIME_SET | TIMERR_SET | LATLON_SET | ALTITUDE_SET | SPEED_SET | TRACK_SET |
                             CLIMB_SET | STATUS_SET | MODE_SET | HERR_SET | VERR_SET | SATELLITE_SET |
                             SPEEDERR_SET;
constexpr int kNotConnected = -6; // what the library leaves in the record after a failed open

} // namespace

// --- Opening ----------------------------------------------------------------------------------------------

TEST_P(GpsdContract, OpensWithADescriptorToWaitOn) {
    EXPECT_EQ(connect(), 0);
    EXPECT_GE(record->gps_fd, 0);
    EXPECT_LT(record->gps_fd, 1024);
    EXPECT_NE(record->privdata, nullptr);
    EXPECT_EQ(gps_stream(record.get(), WATCH_ENABLE | WATCH_JSON, nullptr), 0);
}

TEST_P(GpsdContract, FailsToOpenWithNegativeResultAndDescriptor) {
    gpsd->refuses();
    EXPECT_LT(connect(), 0);
    EXPECT_LT(record->gps_fd, 0);
}

TEST_P(GpsdContract, WaitsForNothingWhenNotConnected) {
    gpsd->refuses();
    connect();
    record->gps_fd = kNotConnected;
    EXPECT_LT(gps_stream(record.get(), WATCH_ENABLE | WATCH_JSON, nullptr), 0);
    EXPECT_TRUE(waits());
    EXPECT_TRUE(waits());
}

// --- Waiting and reading ----------------------------------------------------------------------------------

TEST_P(GpsdContract, WaitsInVainForASilentGpsd) {
    connect();
    EXPECT_FALSE(waits(kAMoment));
    EXPECT_FALSE(waits(kAMoment));
}

TEST_P(GpsdContract, ReadsAMessageWithAPositiveResult) {
    connect();
    gpsd->sendsAFix(48.25);
    EXPECT_TRUE(waits());
    EXPECT_GT(reads(), 0);
    EXPECT_EQ(record->fix.latitude, 48.25);
    EXPECT_FALSE(waits(kAMoment)) << "each message is there once";
}

TEST_P(GpsdContract, ReadsZeroOnHalfALineAsOftenAsItIsAsked) {
    connect();
    gpsd->sendsAFix(48.25);
    takes();
    gpsd->sendsHalfAFix();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(waits());
        EXPECT_EQ(reads(), 0);
    }
    EXPECT_EQ(record->set & kBits, kFix) << "the mask of the last report stays";
    EXPECT_EQ(record->fix.latitude, 48.25);
}

TEST_P(GpsdContract, ReadsTheLineWhenItsRestComes) {
    connect();
    gpsd->sendsHalfAFix();
    takes();
    gpsd->sendsTheRestOfTheFix(49.5);
    EXPECT_GT(takes(), 0);
    EXPECT_EQ(record->fix.latitude, 49.5);
}

TEST_P(GpsdContract, ReadsMinusOneForEverOnceItsGpsdIsGone) {
    connect();
    gpsd->sendsAFix(48.25);
    takes();
    gpsd->dies();
    for (int i = 0; i < 30; ++i) {
        EXPECT_TRUE(waits());
        EXPECT_EQ(reads(), -1);
    }
    EXPECT_EQ(record->set & kBits, kFix) << "the mask of the last report stays";
    EXPECT_EQ(record->fix.latitude, 48.25);
}

// --- The mask ---------------------------------------------------------------------------------------------

TEST_P(GpsdContract, SetsTheMaskOfAFixAnew) {
    connect();
    gpsd->sendsTheSky(3);
    takes();
    gpsd->sendsAFix(48.25);
    takes();
    EXPECT_EQ(record->set & kBits, kFix);
}

TEST_P(GpsdContract, AddsTheSkyToTheMaskOfTheFixBefore) {
    connect();
    gpsd->sendsAFix(48.25);
    takes();
    gpsd->sendsTheSky(3);
    takes();
    EXPECT_EQ(record->set & kBits, kFix | SATELLITE_SET);
    EXPECT_EQ(record->satellites_visible, 3);
    EXPECT_EQ(record->satellites_used, 3);
    EXPECT_TRUE(record->skyview[2].used);
    EXPECT_EQ(record->fix.latitude, 48.25);
}

TEST_P(GpsdContract, LeavesTheMaskWithOtherMessages) {
    connect();
    gpsd->sendsAFix(48.25);
    takes();
    gpsd->sendsItsDevices();
    EXPECT_GT(takes(), 0);
    EXPECT_EQ(record->set & kBits, kFix);
}

// --- Skies without satellites, or with too many -----------------------------------------------------------

TEST_P(GpsdContract, TakesTheDilutionsThatASkyDoesNotNameForNoNumbers) {
    connect();
    gpsd->sendsDilutionsAlone(7, 1.5);
    takes();
    EXPECT_EQ(record->dop.pdop, 1.5);
    EXPECT_TRUE(std::isnan(record->dop.hdop));
    gpsd->sendsTheSky(3);
    takes();
    EXPECT_TRUE(std::isnan(record->dop.pdop));
}

TEST_P(GpsdContract, TakesDilutionsAloneForAnEmptySkyOrForNone) {
    connect();
    gpsd->sendsAFix(48.25);
    takes();
    gpsd->sendsTheSky(3);
    takes();
    gpsd->sendsDilutionsAlone(7, 1.5);
    EXPECT_GT(takes(), 0);
    EXPECT_EQ(record->set & (kBits | DOP_SET), kFix | (kTellsDilutionsFromASky ? DOP_SET : SATELLITE_SET));
    EXPECT_EQ(record->satellites_visible, 0);
    EXPECT_EQ(record->satellites_used, kTellsDilutionsFromASky ? 7 : 0);
    EXPECT_FALSE(record->skyview[0].used);
}

TEST_P(GpsdContract, TakesAsManySatellitesAsTheRecordHasRoomFor) {
    const int room = static_cast<int>(std::size(record->skyview));
    connect();
    gpsd->sendsTheSky(room);
    EXPECT_GT(takes(), 0);
    EXPECT_EQ(record->set & kBits, SATELLITE_SET);
    EXPECT_EQ(record->satellites_visible, room);
    EXPECT_EQ(record->satellites_used, room);
    EXPECT_EQ(record->skyview[room - 1].PRN, room);
}

TEST_P(GpsdContract, RefusesMoreSatellitesButReadsAMessageAndOverwritesTheOldOnes) {
    const int room = static_cast<int>(std::size(record->skyview));
    connect();
    gpsd->sendsAFix(48.25);
    takes();
    gpsd->sendsTheSky(room + 1);
    EXPECT_GT(takes(), 0);
    EXPECT_EQ(record->set & kBits, kFix);
    EXPECT_EQ(record->satellites_visible, 0);
    EXPECT_EQ(record->satellites_used, kTellsDilutionsFromASky ? room + 1 : 0);
    EXPECT_EQ(record->skyview[room - 1].PRN, room);
}

TEST_P(GpsdContract, LeavesTheSkyBeforeInTheMaskWhenItRefusesOne) {
    connect();
    gpsd->sendsTheSky(3);
    takes();
    gpsd->sendsTheSky(static_cast<int>(std::size(record->skyview)) + 1);
    EXPECT_GT(takes(), 0);
    EXPECT_EQ(record->set & kBits, SATELLITE_SET);
    EXPECT_EQ(record->satellites_visible, 3);
    EXPECT_TRUE(record->skyview[3].used) << "of the refused one";
}
