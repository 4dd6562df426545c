#include "Handler.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstring>

#include "HandlerMembers.h"

// The receiver's port is a file without contents: an idle line reads as end of file, too.
extern "C" FILE* fopen(const char* path, const char* mode) {
    using Open = FILE* (*)(const char*, const char*);
    static const auto next = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "fopen"));
    return next(std::strcmp(path, "/dev/ttymxc1") == 0 ? "/dev/null" : path, mode);
}

UbxConfigHandler& idleHandler() {
    // Never destroyed: no database is to be saved at the end.
    static UbxConfigHandler* const handler = [] {
        auto* const made = new UbxConfigHandler;
        made->*memberOf(HandlerSerialPort()) = fopen("/dev/ttymxc1", "rb");
        return made;
    }();
    return *handler;
}
