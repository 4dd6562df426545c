// Preloaded into ruxogps-check: a platform whose HAL can't be reached.

#include "GPSPlatform.h"

RuxoHAL* RuxoHAL::Instance() { return nullptr; }
