// The adapter on a unit whose platform HAL was missing when the library was loaded.

#include "AdapterMembers.h"
#include "DriverMembers.h"
#include "RecordingCallback.h"

/// The program's own comes first, so the library finds this one, while it loads and later.
RuxoHAL* RuxoHAL::Instance() { return nullptr; }

namespace {

class AdapterWithoutHal : public UnitTest {
protected:
    AdapterWithoutHal() {
        noDataReadCounter() = 0;
        EXPECT_EQ(adapter.Initialize(), 0u);
        EXPECT_EQ(adapter.Start(), 0u);
        unit.forget();
    }
    GPSReadings readings() {
        GPSReadings r;
        adapter.GetReadings(r);
        return r;
    }

    RecordingCallback callback;
    GPSAdapter adapter{&callback};
};

TEST_F(AdapterWithoutHal, TakesNoFix) {
    auto* const driver = static_cast<GPSHAL_RUXO_3*>(adapter.*memberOf(AdapterHal()));
    ReaderBlock& reader = (*driver).*memberOf(DriverReader());
    reader.tsStatus = reader.tsLatLon = reader.tsDop = unit.clock.utc();
    reader.latitude = reader.longitude = 48;
    reader.pdop = 1;
    EXPECT_EQ(adapter.UpdateCurrentPosition(), 0x17000003u);
    EXPECT_FALSE(readings().available);
    EXPECT_FALSE(readings().data.valid);
    EXPECT_EQ(unit.journal.count("callback "), 0u);
}

TEST_F(AdapterWithoutHal, TakesTheAntennaForInOrder) {
    EXPECT_EQ(adapter.UpdateAntennaStatus(), 0u) << "the callback's";
    EXPECT_EQ(readings().antennaState, GPS_ANTENNA_OK);
    EXPECT_EQ(adapter.UpdateAntennaStatus(), 0x17000003u);
    EXPECT_EQ(unit.hal.queries, 0);
}

} // namespace
