#include <ctime>
#include <unistd.h>

#include "bsp/misc.h"

bool Util::File::RemoveSingleFile(const char* path) { return unlink(path) == 0; }

bool Util::Time::GetGmTime(long* utcSeconds) {
    *utcSeconds = static_cast<long>(time(nullptr));
    return true;
}
