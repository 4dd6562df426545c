#include "bsp/antenna.h"

RuxoHAL* RuxoHAL::Instance() {
    static RuxoHAL hal;
    return &hal;
}

unsigned int RuxoHAL::GetGNSSAntennaState(GPSAntennaState& state) {
    state = GPSAntennaState::Fine;
    return 0;
}
