#ifndef GPSPLATFORM_H
#define GPSPLATFORM_H

/// The one place through which this library reaches the platform's own libraries. A port to a unit whose
/// vendor names the headers otherwise changes this file and no other.

#include "logging/Logging.h"         // liblogging.so:   Logging::Message
#include "ruxo/GPSData.h"            // libruxo.so:      GPSData
#include "ruxo/RuxoString.h"         //                  RuxoString
#include "ruxo/RuxoSystem.h"         //                  ruxo_systemtick, ruxosleep_interruptible
#include "ruxohal/GPSAntennaState.h" // libruxohal.so:   GPSAntennaState
#include "ruxohal/RuxoHAL.h"         //                  RuxoHAL
#include "utilities/Util.h"          // libutilities.so: Util::File, Util::Time

#endif
