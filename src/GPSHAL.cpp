#include "GPSHAL.h"

#include "GPSHAL_RUXO_3.h"
#include "Log.h"

namespace {

constexpr char kLogSource[] = "src/GPSHAL.cpp";
constexpr char kInitialPositionNotSupported[] =
    "Using initial position values for A-GPS purpose is not supported for this setup!";

} // namespace

// KEEP: asked for while the library loads and never again, so a HAL that comes later is not used.
// Pinned by FreshDriver.KeepsTheHalItWasGivenWhenTheLibraryWasLoaded
RuxoHAL* ruxoHal = RuxoHAL::Instance();

GPSHAL::GPSHAL(const char* name) : halName(name) {}

GPSHAL::~GPSHAL() = default;

GPSHAL* GPSHAL::GetNewInstance() { return new GPSHAL_RUXO_3; }

unsigned int GPSHAL::GetSNR(unsigned int& snr) {
    unsigned int visible = 0;
    return GetSatellites(snr, visible);
}

unsigned int GPSHAL::GetSatCount(unsigned int& count) {
    unsigned int snr = 0;
    return GetSatellites(snr, count);
}

unsigned int GPSHAL::setInitialPosition(unsigned int, unsigned int, unsigned int) {
    LOG(kLogError, kInitialPositionNotSupported);
    return 0;
}
