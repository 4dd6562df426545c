#include "bsp/antenna.h"

RuxoHAL* RuxoHAL::Instance() {
    static RuxoHAL hal;
    return &hal;
}

unsigned int RuxoHAL::GetGNSSAntennaState(GPSAntennaState& state) {
    state = AntennaIsFine;
    return 0;
}
