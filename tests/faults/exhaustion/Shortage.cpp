#include "Shortage.h"

#include <malloc.h>

#include <array>
#include <cerrno>

#include "VirtualUnit.h"

#if defined __SANITIZE_ADDRESS__ || defined __SANITIZE_THREAD__
#define OWN_MEMORY 0
#elif defined __has_feature
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define OWN_MEMORY 0
#endif
#endif
#ifndef OWN_MEMORY
#define OWN_MEMORY 1
#endif

namespace {

struct Plan {
    bool active = false;
    Resource resource = Resource::Memory;
    std::size_t seen = 0;
    std::size_t first = 0;
    std::size_t count = 0;
    bool hasRefused = false;
};

thread_local Plan plan;

/// Counts one request; true when it is to be refused.
bool refuses(Resource resource) {
    if (!plan.active || plan.resource != resource || GroundMemory::lives())
        return false;
    ++plan.seen;
    const bool refused = plan.seen >= plan.first && plan.seen - plan.first < plan.count;
    plan.hasRefused = plan.hasRefused || refused;
    return refused;
}

Resource resourceOf(Want want) {
    switch (want) {
    case Want::Process:
        return Resource::Processes;
    case Want::Open:
        return Resource::Opens;
    default:
        return Resource::Writes;
    }
}

/// Blocks that were taken and not given back, without memory of its own.
struct Ledger {
    bool active = false;
    std::size_t used = 0;
    std::array<void*, 4096> blocks;
};

thread_local Ledger ledger;

} // namespace

Shortage::Shortage(Resource resource, std::size_t first, std::size_t count) {
    VirtualUnit::current()->refuses = [](Want want) { return refuses(resourceOf(want)); };
    if (resource == Resource::Memory && OWN_MEMORY == 0)
        memory_.emplace(first, count);
    plan = {true, resource, 0, first, count, false};
}

Shortage::~Shortage() {
    plan.active = false;
    VirtualUnit::current()->refuses = nullptr;
}

bool Shortage::hasRefused() const { return memory_ ? memory_->hasFailed() : plan.hasRefused; }

MemoryWatch::MemoryWatch() {
    ledger.used = 0;
    ledger.active = true;
}

MemoryWatch::~MemoryWatch() { ledger.active = false; }

std::size_t MemoryWatch::blocks() const { return ledger.used; }

std::size_t MemoryWatch::bytes() const {
    std::size_t sum = 0;
    for (std::size_t i = 0; i < ledger.used; ++i)
        sum += malloc_usable_size(ledger.blocks[i]);
    return sum;
}

// --- The C library's memory, for the whole test program -------------------------------------------------

#if OWN_MEMORY

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
}

namespace {

void* taken(void* block) {
    if (ledger.active && block != nullptr && !GroundMemory::lives() && ledger.used < ledger.blocks.size())
        ledger.blocks[ledger.used++] = block;
    return block;
}

/// From the end: what was taken last is mostly given back first.
void givenBack(void* block) {
    for (std::size_t i = ledger.used; i > 0 && block != nullptr; --i)
        if (ledger.blocks[i - 1] == block) {
            ledger.blocks[i - 1] = ledger.blocks[--ledger.used];
            return;
        }
}

void* none() {
    errno = ENOMEM;
    return nullptr;
}

} // namespace

extern "C" void* malloc(std::size_t size) noexcept {
    return refuses(Resource::Memory) ? none() : taken(__libc_malloc(size));
}

extern "C" void* calloc(std::size_t count, std::size_t size) noexcept {
    return refuses(Resource::Memory) ? none() : taken(__libc_calloc(count, size));
}

extern "C" void* realloc(void* block, std::size_t size) noexcept {
    if (refuses(Resource::Memory))
        return none();
    givenBack(block);
    return taken(__libc_realloc(block, size));
}

extern "C" void free(void* block) noexcept {
    givenBack(block);
    __libc_free(block);
}

#endif
