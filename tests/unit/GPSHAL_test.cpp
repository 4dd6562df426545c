#include "GPSHAL.h"

#include "VirtualUnit.h"

namespace {

class GPSHALTest : public UnitTest {};

TEST_F(GPSHALTest, CreatesTheDriverThatIsNeitherActiveNorRunning) {
    const std::unique_ptr<GPSHAL> hal(GPSHAL::GetNewInstance());
    EXPECT_FALSE(hal->IsActive());
    EXPECT_FALSE(hal->IsRunning());
}

} // namespace
