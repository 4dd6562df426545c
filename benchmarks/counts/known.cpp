// What counts the instructions is itself checked: this is a thousand of them in each repetition, whatever the
// compiler.

#include "Counting.h"

namespace {

constexpr long kPasses = 500; // of two instructions

void passes(long count) {
#if defined(__x86_64__)
    asm volatile("1: dec %0\n\tjnz 1b" : "+r"(count) : : "cc");
#elif defined(__arm__)
    asm volatile("1: subs %0, %0, #1\n\tbne 1b" : "+r"(count) : : "cc");
#else
#error "no loop of two instructions is known for this machine"
#endif
}

const Counted thousandInstructions("thousand-instructions", "ours", [](int n) { passes(n * kPasses); });

} // namespace
