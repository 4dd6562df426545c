#ifndef GPSPLATFORM_H
#define GPSPLATFORM_H

// What a port changes: this vendor's headers instead of include/GPSPlatform.h's.

#include "bsp/antenna.h"
#include "bsp/log.h"
#include "bsp/misc.h"
#include "bsp/records.h"

#endif
