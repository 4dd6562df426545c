// The program's definitions are found before those of the C library and of the platform's libraries.

#include "Stubs.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "GPSPlatform.h"

namespace stubs {

void (*atPause)() = nullptr;
time_t now = 1767225600;
uint32_t tick = 1000;

} // namespace stubs

namespace {

void passPause() {
    if (stubs::atPause != nullptr)
        stubs::atPause();
}

} // namespace

// --- The C library --------------------------------------------------------------------------------------

extern "C" {

int usleep(useconds_t) {
    passPause();
    return 0;
}

unsigned int sleep(unsigned int) {
    passPause();
    return 0;
}

int system(const char*) { return 0; }

FILE* popen(const char*, const char*) { return nullptr; }

time_t time(time_t* seconds) noexcept {
    if (seconds != nullptr)
        *seconds = stubs::now;
    return stubs::now;
}
}

// --- The platform ---------------------------------------------------------------------------------------

uint32_t ruxo_systemtick() { return stubs::tick; }

uint32_t ruxosleep_interruptible(uint32_t) {
    passPause();
    return 0;
}

unsigned int RuxoHAL::GetGNSSAntennaState(GPSAntennaState& state) {
    state = GPS_ANTENNA_OK;
    return 0;
}

void Logging::Message(Level, const char*, int, const char*, ...) {}

bool Util::File::RemoveSingleFile(const char*) { return true; }

bool Util::Time::GetGmTime(long* seconds) {
    *seconds = static_cast<long>(stubs::now);
    return true;
}
