// The driver on a unit whose platform HAL was missing when the library was loaded.

#include "GPSHAL_RUXO_3.h"

#include "DriverFixture.h"

/// The program's own comes first, so the library finds this one, while it loads and later.
RuxoHAL* RuxoHAL::Instance() { return nullptr; }

namespace {

class MissingHal : public DriverFixture {
protected:
    MissingHal() { start(); }
};

TEST_F(MissingHal, IsLoggedAtEachInitializeAndNotRefused) {
    driver->Finalize();
    unit.forget();
    EXPECT_EQ(driver->Initialize(), 0u);
    EXPECT_TRUE(driver->IsActive());
    EXPECT_THAT(
        unit.log.texts(),
        ::testing::ElementsAre("2 GPSHAL_RUXO_3 Initialize: RuxoHAL instance not found - bug fix needed!"));
}

TEST_F(MissingHal, LeavesTheAntennaNotAvailable) {
    GPSAntennaState state{};
    EXPECT_EQ(driver->GetAntennaStatus(state), 0x17000003u);
    EXPECT_EQ(state, 1u);
    EXPECT_EQ(unit.hal.queries, 0);
}

TEST_F(MissingHal, LeavesEveryFixInvalidButFilled) {
    reader().tsStatus = reader().tsLatLon = unit.clock.utc();
    reader().latitude = 48;
    GPSData data;
    EXPECT_EQ(driver->GetData(data), 0x17000003u);
    EXPECT_FALSE(data.valid);
    EXPECT_EQ(data.latitude, 48000000);
}

TEST_F(MissingHal, IsNotAskedWhileTheStatusIsStale) {
    GPSData data;
    EXPECT_EQ(driver->GetData(data), 0x17000205u);
    EXPECT_FALSE(data.valid);
}

} // namespace
