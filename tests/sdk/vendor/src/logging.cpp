#include <cstdarg>
#include <cstdio>

#include "bsp/log.h"

void Logging::Message(Severity severity, const char* source, int, const char* format, ...) {
    std::printf("%d %s ", static_cast<int>(severity), source);
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::printf("\n");
}
