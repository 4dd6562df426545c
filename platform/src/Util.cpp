#include "utilities/Util.h"

#include <time.h>
#include <unistd.h>

bool Util::File::RemoveSingleFile(const char* path) {
    return path != nullptr && unlink(path) == 0; // unlink leaves folders alone
}

bool Util::Time::GetGmTime(long* utcSeconds) {
    timespec now = {};
    if (utcSeconds == nullptr || clock_gettime(CLOCK_REALTIME, &now) != 0)
        return false;
    *utcSeconds = static_cast<long>(now.tv_sec);
    return true;
}
