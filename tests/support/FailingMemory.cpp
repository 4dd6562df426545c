#include "FailingMemory.h"

#include <cstdlib>

namespace {

struct Plan {
    bool active = false;
    std::size_t seen = 0;
    std::size_t first = 0;
    std::size_t count = 0;
    std::size_t size = 0; // 0: any
    bool hasFailed = false;
};

thread_local Plan plan;
thread_local int grounds = 0;

/// Counts one allocation; true when it is to fail.
bool fails(std::size_t size) {
    if (!plan.active || (plan.size != 0 && plan.size != size))
        return false;
    ++plan.seen;
    const bool failing = plan.seen >= plan.first && plan.seen - plan.first < plan.count;
    plan.hasFailed = plan.hasFailed || failing;
    return failing;
}

} // namespace

FailingMemory::FailingMemory(std::size_t first, std::size_t count) : FailingMemory(first, count, 0) {}

FailingMemory::FailingMemory(std::size_t first, std::size_t count, std::size_t size) {
    plan = {true, 0, first, count, size, false};
}

FailingMemory FailingMemory::ofSize(std::size_t size) { return {1, kForever, size}; }

FailingMemory::~FailingMemory() { plan.active = false; }

bool FailingMemory::hasFailed() const { return plan.hasFailed; }

GroundMemory::GroundMemory() : before_(plan.active) {
    plan.active = false;
    ++grounds;
}

GroundMemory::~GroundMemory() {
    --grounds;
    plan.active = before_;
}

bool GroundMemory::lives() { return grounds > 0; }

// --- The allocation functions of the whole test program, the library's calls included --------------------

void* operator new(std::size_t size) {
    void* const memory = fails(size) ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr)
        throw NoMemory(size);
    return memory;
}

void* operator new[](std::size_t size) { return operator new(size); }

// AddressSanitizer's own would not go with the functions below.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return fails(size) ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
