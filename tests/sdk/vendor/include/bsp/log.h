#ifndef BSP_LOG_H
#define BSP_LOG_H

#include "bsp/visible.h"

namespace Logging {

/// This vendor's levels are a type of their own, which no number converts to.
enum class Severity : unsigned char { Emergency, Alert, Broken, Failed, Warning, Notice, Progress, Detail };

/// Writes "SEVERITY SOURCE TEXT" to the standard output, the severity as a number.
BSP_VISIBLE void Message(Severity severity, const char* source, int line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

} // namespace Logging

#endif
