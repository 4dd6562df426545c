#ifndef PLATFORMHOOKS_H
#define PLATFORMHOOKS_H

#include <cstdint>

#include "ruxo/Visibility.h"
#include "ruxohal/GPSAntennaState.h"

/// What the platform libraries of the test build ask. They know nothing themselves: a unit test answers
/// through these functions. Without hooks the tick stands at 0, sleeps end at once, log lines vanish, the
/// antenna is in order and no file is removed.
struct PlatformHooks {
    uint32_t (*systemtick)();
    uint32_t (*sleepMilliseconds)(uint32_t milliseconds);
    bool (*utcSeconds)(long& seconds);
    void (*logLine)(int level, const char* source, int line, const char* text);
    bool (*halPresent)();
    unsigned int (*antennaState)(GPSAntennaState& state);
    bool (*removeFile)(const char* path);
};

/// The hooks in use, or null. Set them while only one thread runs; the object stays the caller's.
RUXO_API const PlatformHooks* platformHooks();
RUXO_API void setPlatformHooks(const PlatformHooks* hooks);

#endif
