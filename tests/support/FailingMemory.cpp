#include "FailingMemory.h"

#include <cstdlib>
#include <new>

namespace {

struct Plan {
    bool active = false;
    std::size_t seen = 0;
    std::size_t first = 0;
    std::size_t count = 0;
    bool hasFailed = false;
};

thread_local Plan plan;

/// Counts one allocation; true when it is to fail.
bool fails() {
    if (!plan.active)
        return false;
    ++plan.seen;
    const bool failing = plan.seen >= plan.first && plan.seen - plan.first < plan.count;
    plan.hasFailed = plan.hasFailed || failing;
    return failing;
}

} // namespace

FailingMemory::FailingMemory(std::size_t first, std::size_t count) { plan = {true, 0, first, count, false}; }

FailingMemory::~FailingMemory() { plan.active = false; }

bool FailingMemory::hasFailed() const { return plan.hasFailed; }

// --- The allocation functions of the whole test program, the library's calls included --------------------

void* operator new(std::size_t size) {
    void* const memory = fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void* operator new[](std::size_t size) { return operator new(size); }

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
