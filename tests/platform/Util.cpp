#include "utilities/Util.h"

#include "PlatformHooks.h"

bool Util::File::RemoveSingleFile(const char* path) {
    const PlatformHooks* hooks = platformHooks();
    return hooks != nullptr && path != nullptr && hooks->removeFile(path);
}

bool Util::Time::GetGmTime(long* utcSeconds) {
    const PlatformHooks* hooks = platformHooks();
    return hooks != nullptr && utcSeconds != nullptr && hooks->utcSeconds(*utcSeconds);
}
