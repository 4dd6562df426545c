// Preloaded into ruxogps-check: a platform whose seconds don't go with the kernel's.

#include <atomic>

#include "GPSPlatform.h"

uint32_t ruxo_systemtick() {
    static std::atomic<uint32_t> tick{0};
    return tick += 100;
}
