#include "ruxo/RuxoSystem.h"

#include "PlatformHooks.h"

uint32_t ruxo_systemtick() {
    const PlatformHooks* hooks = platformHooks();
    return hooks != nullptr ? hooks->systemtick() : 0;
}

uint32_t ruxosleep_interruptible(uint32_t milliseconds) {
    const PlatformHooks* hooks = platformHooks();
    return hooks != nullptr ? hooks->sleepMilliseconds(milliseconds) : 0;
}
