#include "GPSAdapter.h"

#include "VirtualUnit.h"

namespace {

class GPSAdapterTest : public UnitTest {
protected:
    GPSAdapter adapter{nullptr};
};

TEST_F(GPSAdapterTest, WatchesTwelveGeofences) { EXPECT_EQ(adapter.GetMaxGeoFences(), 12u); }

} // namespace
