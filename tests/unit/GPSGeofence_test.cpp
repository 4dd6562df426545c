#include "GPSGeofence.h"

#include <gtest/gtest.h>

namespace {

TEST(GPSGeofence, StartsUnconfiguredWithAMarginOf1500) {
    const GPSGeofence geofence;
    EXPECT_EQ(geofence.width, 0u);
    EXPECT_EQ(geofence.margin, 1500u);
}

} // namespace
