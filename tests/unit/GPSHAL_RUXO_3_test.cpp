#include "GPSHAL_RUXO_3.h"

#include "DriverMembers.h"
#include "VirtualUnit.h"

namespace {

class DriverTest : public UnitTest {
protected:
    DriverTest() { unit.forget(); }

    GPSHAL_RUXO_3 driver;
};

TEST_F(DriverTest, ReadsWithTheSemaphoreTaken) {
    driver.Initialize();
    driver.Start();
    unit.gpsd.reports([](gps_data_t& r) {
        r.set = LATLON_SET;
        r.fix.latitude = 48.5;
    });
    unit.gpsd.whenLastCycleBegins = [&] { (driver.*memberOf(DriverReader())).stopRequested = true; };
    unit.threads.run();
    EXPECT_EQ((driver.*memberOf(DriverReader())).latitude, 48.5);
}

} // namespace
