#ifndef UBXCONFIGHANDLER_H
#define UBXCONFIGHANDLER_H

#include "GPSExport.h"

/// Configures the u-blox receiver while gpsd is down. Not there yet: a receiver runs as it comes.
class RUXOGPS_API UbxConfigHandler {
public:
    UbxConfigHandler();
    virtual ~UbxConfigHandler();

    UbxConfigHandler(const UbxConfigHandler&) = delete;
    UbxConfigHandler& operator=(const UbxConfigHandler&) = delete;

    void reloadConfig();
};

#endif
