#ifndef ONAUNIT_H
#define ONAUNIT_H

#include <cstdio>
#include <initializer_list>
#include <unistd.h>

/// Whether this machine has what makes a unit: the receiver's port and its reset line. Where one is missing,
/// one sentence on the standard error says so. To be asked before a GPSAdapter is made, which takes both for
/// granted, kills every gpsd that it may and ends the process when it can't set the port up.
inline bool isOnAUnit(const char* program) {
    for (const char* device : {"/dev/ttymxc1", "/sys/class/gpio/gpio93/value"})
        if (access(device, F_OK) != 0) {
            std::fprintf(stderr, "%s: this is no unit, as %s is missing; tools/virtual-unit makes one\n",
                         program, device);
            return false;
        }
    return true;
}

#endif
