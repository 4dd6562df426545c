#include "GPSTimedWorker.h"

#include "GPSAdapter.h"
#include "VirtualUnit.h"

namespace {

class GPSTimedWorkerTest : public UnitTest {
protected:
    GPSAdapter adapter{nullptr};
    GPSTimedWorker worker{adapter};
};

TEST_F(GPSTimedWorkerTest, StartsItsThread) {
    EXPECT_EQ(worker.Start(), 0u);
    EXPECT_TRUE(worker.IsActive());
    EXPECT_EQ(unit.threads.count(), 1u);
}

} // namespace
