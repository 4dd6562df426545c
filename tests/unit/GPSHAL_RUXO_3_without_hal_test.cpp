// The driver on a unit whose platform HAL was missing when the library was loaded.

#include "GPSHAL_RUXO_3.h"

#include "VirtualUnit.h"

/// The program's own comes first, so the library finds this one while it loads.
RuxoHAL* RuxoHAL::Instance() { return nullptr; }

namespace {

class MissingHal : public UnitTest {
protected:
    GPSHAL_RUXO_3 driver;
};

TEST_F(MissingHal, GivesTheAntennaAsNotAvailable) {
    driver.Initialize();
    driver.Start();
    GPSAntennaState state{};
    EXPECT_EQ(driver.GetAntennaStatus(state), 0x17000003u);
}

} // namespace
