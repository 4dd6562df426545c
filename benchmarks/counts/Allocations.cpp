// Counts the process's allocations. All of them, C++'s too, come through the C library's functions, and the
// program's own definitions are found before the C library's.
//
// Each block begins at a multiple of 256: the C library compares and searches in more or fewer steps where a
// text lies close to a page's end, and what is counted must not depend on what was allocated before it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Counting.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void __libc_free(void* memory);
void* __libc_realloc(void* memory, std::size_t size);
}

namespace {

constexpr std::size_t kAlignment = 256;
constexpr uintptr_t kOurs = 0x6f757273; // no size that the C library would write there

uint64_t count = 0;

/// Stands ahead of each block that was aligned here; ahead of one that the C library gave by another function
/// stands the C library's own.
struct Head {
    void* whole;
    std::size_t size;
    uintptr_t mark;
};

Head* headOf(void* memory) { return static_cast<Head*>(memory) - 1; }

bool isOurs(void* memory) { return headOf(memory)->mark == kOurs; }

void* allocate(std::size_t size) {
    ++count;
    void* const whole = __libc_malloc(size + sizeof(Head) + kAlignment);
    if (whole == nullptr)
        return nullptr;
    const auto first = reinterpret_cast<uintptr_t>(whole) + sizeof(Head) + kAlignment - 1;
    void* const memory = reinterpret_cast<void*>(first & ~(kAlignment - 1));
    *headOf(memory) = {whole, size, kOurs};
    return memory;
}

} // namespace

uint64_t allocations() { return count; }

extern "C" {

void* malloc(std::size_t size) { return allocate(size); }

void* calloc(std::size_t number, std::size_t size) {
    void* const memory = allocate(number * size);
    return memory != nullptr ? std::memset(memory, 0, number * size) : nullptr;
}

void free(void* memory) {
    if (memory == nullptr)
        return;
    if (!isOurs(memory))
        return __libc_free(memory);
    headOf(memory)->mark = 0;
    __libc_free(headOf(memory)->whole);
}

void* realloc(void* memory, std::size_t size) {
    if (memory != nullptr && !isOurs(memory))
        return __libc_realloc(memory, size);
    void* const other = allocate(size);
    if (other != nullptr && memory != nullptr) {
        std::memcpy(other, memory, std::min(size, headOf(memory)->size));
        free(memory);
    }
    return other;
}
}
