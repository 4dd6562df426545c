// counts [--list] [--repetitions N] [KEY ...]
//
// Does each thing that was registered, or those named, and has the tool around it count the instructions:
//
//   under callgrind  each stretch ends with a dump that is named "KEY WHO N"
//   under qemu       each stretch lies between the addresses of `stretchBegins` and `stretchEnds`, in the
//                    order of the lines "stretch KEY WHO N" on standard output
//
// Allocations are counted here: "value KEY.allocations WHO NUMBER".

#include "Counting.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#ifdef HAVE_CALLGRIND
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_ZERO_STATS
#define CALLGRIND_DUMP_STATS_AT(name) static_cast<void>(name)
#endif

// --- Marks ----------------------------------------------------------------------------------------------

extern "C" {
__attribute__((noinline)) void stretchBegins() { asm volatile(""); }
__attribute__((noinline)) void stretchEnds() { asm volatile(""); }
}

namespace {

constexpr int kExitUsage = 2;
constexpr int kDefaultRepetitions = 20;

struct Entry {
    const char* key;
    const char* who;
    Counted::Repeat repeat;
};

std::vector<Entry>& entries() {
    static std::vector<Entry> all;
    return all;
}

// --- Counting -------------------------------------------------------------------------------------------

std::string nameOf(const Entry& entry, int n) {
    return std::string(entry.key) + " " + entry.who + " " + std::to_string(n);
}

/// Not inlined: both counts shall come from the very same instructions.
__attribute__((noinline)) uint64_t countStretch(const Entry& entry, int n, const std::string& name) {
    std::printf("stretch %s\n", name.c_str());
    CALLGRIND_ZERO_STATS;
    const uint64_t before = allocations();
    stretchBegins();
    entry.repeat(n);
    stretchEnds();
    const uint64_t after = allocations();
    CALLGRIND_DUMP_STATS_AT(name.c_str());
    return after - before;
}

void count(const Entry& entry, int repetitions) {
    // Made beforehand: what an allocation takes depends on those before it.
    const std::string names[] = {nameOf(entry, repetitions), nameOf(entry, 2 * repetitions)};
    entry.repeat(1); // binds symbols, and fills what is made once
    entry.repeat(1); // leaves the heap as it found it
    const uint64_t once = countStretch(entry, repetitions, names[0]);
    const uint64_t twice = countStretch(entry, 2 * repetitions, names[1]);
    std::printf("value %s.allocations %s %g\n", entry.key, entry.who,
                static_cast<double>(twice - once) / repetitions);
}

// --- Command line ---------------------------------------------------------------------------------------

struct Command {
    int repetitions = kDefaultRepetitions;
    bool list = false;
    std::vector<std::string> keys;
};

[[noreturn]] void wrongUsage(const char* argument) {
    std::fprintf(stderr, "counts: wrong argument '%s'\n", argument);
    std::exit(kExitUsage);
}

Command parse(int argc, char** argv) {
    Command command;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--list") == 0)
            command.list = true;
        else if (std::strcmp(argv[i], "--repetitions") == 0 && i + 1 < argc)
            command.repetitions = std::atoi(argv[++i]);
        else if (argv[i][0] == '-')
            wrongUsage(argv[i]);
        else
            command.keys.push_back(argv[i]);
    }
    if (command.repetitions < 1)
        wrongUsage("--repetitions");
    return command;
}

bool isWanted(const Command& command, const Entry& entry) {
    for (const std::string& key : command.keys)
        if (key == entry.key)
            return true;
    return command.keys.empty();
}

} // namespace

Counted::Counted(const char* key, const char* who, Repeat repeat) {
    entries().push_back({key, who, std::move(repeat)});
}

void notTheSame(const char* what) {
    std::fprintf(stderr, "counts: not the same: %s\n", what);
    std::exit(EXIT_FAILURE);
}

int main(int argc, char** argv) {
    const Command command = parse(argc, argv);
    static char buffer[BUFSIZ];
    setvbuf(stdout, buffer, _IOFBF, sizeof buffer); // or the first line would allocate one
    int done = 0;
    for (const Entry& entry : entries()) {
        if (!isWanted(command, entry))
            continue;
        if (command.list)
            std::printf("%s %s\n", entry.key, entry.who);
        else
            count(entry, command.repetitions);
        ++done;
    }
    return done > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
