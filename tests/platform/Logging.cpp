#include "logging/Logging.h"

#include <cstdarg>
#include <cstdio>
#include <string>

#include "PlatformHooks.h"

namespace {

__attribute__((format(printf, 1, 0))) std::string formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    vsnprintf(&text[0], text.size(), format, arguments);
    text.pop_back();
    return text;
}

} // namespace

void Logging::Message(Level level, const char* source, int line, const char* format, ...) {
    const PlatformHooks* hooks = platformHooks();
    if (hooks == nullptr)
        return;
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    hooks->logLine(level, source, line, text.c_str());
}
