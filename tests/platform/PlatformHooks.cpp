#include "PlatformHooks.h"

namespace {
const PlatformHooks* currentHooks = nullptr;
}

const PlatformHooks* platformHooks() { return currentHooks; }

void setPlatformHooks(const PlatformHooks* hooks) { currentHooks = hooks; }
