// What is timed is in the other sources of this folder; each is named "KEY/WHO".

#include <benchmark/benchmark.h>

BENCHMARK_MAIN();
