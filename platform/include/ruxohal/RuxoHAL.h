#ifndef RUXOHAL_RUXOHAL_H
#define RUXOHAL_RUXOHAL_H

#include "ruxo/Visibility.h"
#include "ruxohal/GPSAntennaState.h"

/// The unit's hardware; one object a process.
class RUXO_API RuxoHAL {
public:
    /// The one object, owned by the library, or null when the hardware can't be reached.
    static RuxoHAL* Instance();

    /// Fills `state` and returns 0, or returns an error code and leaves `state` as it was.
    ///
    /// The host version reads the decimal number in the text file that the environment variable
    /// RUXO_ANTENNA_FILE names ("/run/ruxo/antenna" when it is not set). The file may be rewritten at any
    /// moment: one that is found empty is read again for some 20 ms. No file means that the antenna is in
    /// order; a file that can't be read gives `RUXOHAL_ERR_READ`, one without a number from 0 to 4294967295
    /// gives `RUXOHAL_ERR_CONTENT`.
    unsigned int GetGNSSAntennaState(GPSAntennaState& state);

private:
    RuxoHAL() {}
    RuxoHAL(const RuxoHAL&);
    RuxoHAL& operator=(const RuxoHAL&);
};

/// The antenna's text file exists but can't be read.
const unsigned int RUXOHAL_ERR_READ = 0x16000001u;
/// The antenna's text file holds something else than one number.
const unsigned int RUXOHAL_ERR_CONTENT = 0x16000002u;

#endif
