// The stand-in for the units' libgps: that it declares what that generation's client interface declares, and
// that the session stays safe on its functions, none of which is replaced here.

#include <gps.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>

#include "GpsReport.h"
#include "GpsdSession.h"

namespace {

template <typename Expected, typename Member>
constexpr bool is = std::is_same_v<Expected, Member>;

using Record = gps_data_t;
using Fix = decltype(Record::fix);
using Satellite = std::decay_t<decltype(std::declval<Record&>().skyview[0])>;

TEST(Libgps22, IsOfTheSixthClientInterface) {
    EXPECT_EQ(GPSD_API_MAJOR_VERSION, 6);
    EXPECT_TRUE((is<int (*)(const char*, const char*, Record*), decltype(&gps_open)>));
    EXPECT_TRUE((is<int (*)(Record*, unsigned int, void*), decltype(&gps_stream)>));
    EXPECT_TRUE((is<bool (*)(const Record*, int), decltype(&gps_waiting)>));
    EXPECT_TRUE((is<int (*)(Record*), decltype(&gps_read)>)) << "the record alone";
    EXPECT_TRUE((is<int (*)(Record*), decltype(&gps_close)>));
}

TEST(Libgps22, HasStatusBesideTheFixAndTimesAsNumbers) {
    EXPECT_TRUE((is<int, decltype(Record::status)>));
    EXPECT_TRUE((is<double, decltype(Fix::time)>));
    EXPECT_TRUE((is<double, decltype(Fix::altitude)>));
    EXPECT_TRUE(gpsreport::HasOuterStatus<Record>::value);
    EXPECT_FALSE(gpsreport::HasAltMsl<Fix>::value);
}

TEST(Libgps22, HasASkyOfWholeDegrees) {
    EXPECT_EQ(std::size(Record().skyview), 72u);
    EXPECT_TRUE((is<double, decltype(Satellite::ss)>));
    EXPECT_TRUE((is<bool, decltype(Satellite::used)>));
    EXPECT_TRUE((is<short, decltype(Satellite::PRN)>));
    EXPECT_TRUE((is<short, decltype(Satellite::elevation)>));
    EXPECT_TRUE((is<short, decltype(Satellite::azimuth)>));
}

TEST(Libgps22, HasTheBitsAndFlagsOfEveryGeneration) {
    EXPECT_EQ(TIME_SET, 0x4u);
    EXPECT_EQ(TIMERR_SET, 0x8u);
    EXPECT_EQ(LATLON_SET, 0x10u);
    EXPECT_EQ(ALTITUDE_SET, 0x20u);
    EXPECT_EQ(SPEED_SET | TRACK_SET | CLIMB_SET, 0x40u | 0x80u | 0x100u);
    EXPECT_EQ(STATUS_SET | MODE_SET | DOP_SET, 0x200u | 0x400u | 0x800u);
    EXPECT_EQ(HERR_SET | VERR_SET, 0x1000u | 0x2000u);
    EXPECT_EQ(SATELLITE_SET, 0x8000u);
    EXPECT_EQ(SPEEDERR_SET, 0x10000u);
    EXPECT_EQ(WATCH_ENABLE | WATCH_JSON, 0x11u);
}

TEST(Libgps22, FindsNobodyToConnectTo) {
    const auto record = std::make_unique<Record>();
    errno = 0;
    EXPECT_EQ(gps_open("localhost", "2947", record.get()), -1);
    EXPECT_EQ(errno, -6);
    EXPECT_EQ(record->gps_fd, -6);
    EXPECT_EQ(record->privdata, nullptr);
    EXPECT_EQ(gps_stream(record.get(), WATCH_ENABLE | WATCH_JSON, nullptr), -1);
    EXPECT_TRUE(gps_waiting(record.get(), 1)) << "a read would not block";
    EXPECT_EQ(gps_read(record.get()), -1);
    EXPECT_EQ(gps_close(record.get()), -1);
}

TEST(Libgps22, LeavesASessionUnconnectedAndSafe) {
    GpsdSession session;
    EXPECT_EQ(session.open(), -1);
    session.watch();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(session.wait());
        EXPECT_FALSE(session.read());
    }
    ASSERT_NE(session.record(), nullptr);
    EXPECT_EQ(session.record()->set, 0u);
    session.close();
    session.close();
    EXPECT_FALSE(session.read());
}

} // namespace
