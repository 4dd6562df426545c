#ifndef COUNTING_H
#define COUNTING_H

#include <cstdint>
#include <functional>

/// Something whose instructions and allocations are counted: each source of this folder registers its own, as
/// static objects:
///
///     const Counted frameText60("frame-text.60", "ours", [](int n) {
///         for (int i = 0; i < n; ++i)
///             keep(frameText(kFrame60));
///     });
///
/// `repeat` does it n times, and always in the same way: no clock, no thread, no file and no shell beneath it
/// (see Stubs.h). It is called once to warm up, then with n and with 2n: the difference is what n repetitions
/// cost, exactly.
class Counted {
public:
    using Repeat = std::function<void(int n)>;

    /// `key` is what is counted and `who` does it: "ours" or the name of a peer. Neither has a blank in it,
    /// and both live as long as the program.
    Counted(const char* key, const char* who, Repeat repeat);
};

/// Has the compiler believe that somebody reads `value`.
template <typename T>
void keep(const T& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

/// Allocations of the whole process since its start, by any of the C library's or C++'s ways. See
/// Allocations.cpp.
uint64_t allocations();

/// Ends the program, saying what is amiss: a peer that computes something else must not be compared.
[[noreturn]] void notTheSame(const char* what);

#endif
