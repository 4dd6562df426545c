#ifndef WRAPPED_H
#define WRAPPED_H

#include <cstdint>

/// A number of the low 32 bits, as 32-bit arithmetic has it.
inline int32_t wrapped(int64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }

#endif
