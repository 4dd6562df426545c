// An application in C++11 and nothing newer: one line of status every five seconds, ten of them. The Makefile
// beside it builds it with pkg-config.

#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include <GPSAdapter.h>

#include "../OnAUnit.h"

namespace {

constexpr int kLines = 10;
constexpr uint32_t kIntervalMilliseconds = 5000;

void print(const GPSReadings& readings) {
    if (readings.fixTick == 0)
        std::printf("no fix yet, ");
    else
        std::printf("%.6f, %.6f, fix of %" PRIu32 " s ago, ", readings.data.latitude / 1e6,
                    readings.data.longitude / 1e6, ruxo_systemtick() - readings.fixTick);
    std::printf("%" PRIu32 " satellites, %" PRIu32 " dB-Hz, %" PRIu32 " m\n", readings.satelliteCount,
                readings.snr, readings.odometer);
}

} // namespace

int main() {
    if (!isOnAUnit("status"))
        return 1;
    GPSAdapter gps(nullptr);
    if (gps.Initialize() != 0 || gps.Start() != 0)
        return 1;
    for (int line = 0; line < kLines; ++line) {
        ruxosleep_interruptible(kIntervalMilliseconds);
        GPSReadings readings;
        gps.GetReadings(readings);
        print(readings);
    }
}
