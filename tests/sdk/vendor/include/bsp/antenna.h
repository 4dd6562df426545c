#ifndef BSP_ANTENNA_H
#define BSP_ANTENNA_H

#include "bsp/visible.h"

/// This vendor's names for the states, which no number converts to; the values are the platform's, and there
/// is none for 0.
enum class GPSAntennaState { Fine = 1, Away, Shorted, TooHot };

class BSP_VISIBLE RuxoHAL {
public:
    static RuxoHAL* Instance();
    unsigned int GetGNSSAntennaState(GPSAntennaState& state);
};

#endif
