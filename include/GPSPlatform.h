#ifndef GPSPLATFORM_H
#define GPSPLATFORM_H

/// \file
/// The one place through which this library reaches the platform's own libraries. A port to a unit whose
/// vendor names the headers otherwise changes this file and no other. The classes and functions beside them
/// are what is needed; their enumerators, the order of members and the type of a log level are the vendor's.

#include "logging/Logging.h"         // liblogging.so:   Logging::Message
#include "ruxo/GPSData.h"            // libruxo.so:      GPSData
#include "ruxo/RuxoString.h"         //                  RuxoString
#include "ruxo/RuxoSystem.h"         //                  ruxo_systemtick, ruxosleep_interruptible
#include "ruxohal/GPSAntennaState.h" // libruxohal.so:   GPSAntennaState
#include "ruxohal/RuxoHAL.h"         //                  RuxoHAL
#include "utilities/Util.h"          // libutilities.so: Util::File, Util::Time

#endif
