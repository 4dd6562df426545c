// Adapter, worker and reader on threads of their own, on the virtual clock: what ThreadSanitizer looks at.

#include "GPSAdapter.h"
#include "VirtualUnit.h"

using namespace std::chrono_literals;

namespace {

class RealThreads : public UnitTest {
protected:
    RealThreads() { unit.useRealThreads(); }
};

TEST_F(RealThreads, RunTheServiceForTenMinutes) {
    GPSAdapter adapter(nullptr);
    unit.gpsd.reportsEvery(1s, [](gps_data_t& r) { r.set = STATUS_SET; });
    ASSERT_EQ(adapter.Initialize(), 0u);
    ASSERT_EQ(adapter.Start(), 0u);
    unit.clock.advance(600s);
    EXPECT_EQ(adapter.Stop(), 0u);
    EXPECT_GT(unit.hal.queries, 500);
}

} // namespace
