// Counts the process's allocations. All of them, C++'s too, come through the C library's functions, and the
// program's own definitions are found before the C library's.

#include <cstddef>

#include "Counting.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t number, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
}

namespace {

uint64_t count = 0;

} // namespace

uint64_t allocations() { return count; }

extern "C" {

void* malloc(std::size_t size) {
    ++count;
    return __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size) {
    ++count;
    return __libc_calloc(number, size);
}

void* realloc(void* memory, std::size_t size) {
    ++count;
    return __libc_realloc(memory, size);
}
}
