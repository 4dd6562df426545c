#ifndef BSP_MISC_H
#define BSP_MISC_H

#include "bsp/visible.h"

namespace Util {

namespace File {
BSP_VISIBLE bool RemoveSingleFile(const char* path);
}

namespace Time {
BSP_VISIBLE bool GetGmTime(long* utcSeconds);
}

} // namespace Util

#endif
