#ifndef CLOCK_H
#define CLOCK_H

#include <cstdint>

/// The two clocks that must run alike.

namespace check {

uint32_t platformSeconds(); ///< the platform's tick, by which the service measures its periods
int64_t kernelSeconds();    ///< the kernel's monotonic clock

} // namespace check

#endif
