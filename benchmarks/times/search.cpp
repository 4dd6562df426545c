// The handler's pattern search over a read buffer.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "Haystacks.h"

namespace {

void registerSearch(const Haystack& haystack, const Searcher& searcher) {
    const std::string name = std::string("search-time.") + haystack.name + "/" + searcher.who;
    benchmark::RegisterBenchmark(name.c_str(), [&](benchmark::State& state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(searchAll(searcher, haystack.bytes));
    });
}

const bool kSearchesAreRegistered = [] {
    if (!hitsAreTheSame()) {
        std::fprintf(stderr, "times: not the same: positions of a search\n");
        std::exit(EXIT_FAILURE);
    }
    for (const Haystack& haystack : haystacks())
        for (const Searcher& searcher : searchers())
            registerSearch(haystack, searcher);
    return true;
}();

} // namespace
