// The shortest useful application: waits for the first fix and prints it.

#include <cstdio>

#include "GPSAdapter.h"
#include "OnAUnit.h"

int main() {
    if (!isOnAUnit("minimal"))
        return 1;
    GPSAdapter gps(nullptr); // or your own IGPSCallback
    if (gps.Initialize() != 0 || gps.Start() != 0)
        return 1;
    GPSReadings readings;
    while (readings.fixTick == 0) {
        ruxosleep_interruptible(1000);
        gps.GetReadings(readings);
    }
    std::printf("%.6f, %.6f\n", readings.data.latitude / 1e6, readings.data.longitude / 1e6);
}
