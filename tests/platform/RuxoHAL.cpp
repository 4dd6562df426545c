#include "ruxohal/RuxoHAL.h"

#include "PlatformHooks.h"

RuxoHAL* RuxoHAL::Instance() {
    static RuxoHAL instance;
    const PlatformHooks* hooks = platformHooks();
    return hooks == nullptr || hooks->halPresent() ? &instance : nullptr;
}

unsigned int RuxoHAL::GetGNSSAntennaState(GPSAntennaState& state) {
    const PlatformHooks* hooks = platformHooks();
    if (hooks != nullptr)
        return hooks->antennaState(state);
    state = GPS_ANTENNA_OK;
    return 0;
}
