// The worker's position block, beside the same arithmetic alone.

#include <benchmark/benchmark.h>

#include <string>

#include "PositionBlock.h"

namespace {

using positionblock::Floor;
using positionblock::Ours;
using positionblock::Plain;
using positionblock::Watch;

/// Blocks to an iteration: a whole lap, so that each iteration does the same.
constexpr uint32_t kBlocks = positionblock::kLap;

template <typename Who>
void runBlocks(benchmark::State& state, Watch watch) {
    if (!positionblock::agreeOverTwoLaps(watch)) {
        state.SkipWithError("not the same: the position block");
        return;
    }
    Who who(watch);
    for (auto _ : state) {
        for (uint32_t i = 0; i < kBlocks; ++i)
            who.runBlock();
        benchmark::DoNotOptimize(who);
    }
}

/// Ours and what it is held against, in the nanoseconds of a lap.
template <typename Who>
void add(const std::string& name, Watch watch) {
    benchmark::RegisterBenchmark(name.c_str(), runBlocks<Who>, watch);
}

void addAll(const std::string& key, Watch watch) {
    add<Ours>(key + "/ours", watch);
    add<Plain>(key + "/arithmetic", watch);
    add<Floor>(key + "/floor", watch);
}

[[maybe_unused]] const bool added = [] {
    const Watch one = {true, 1};
    const Watch all = {true, kGPSMaxGeofences};
    addAll("position-block-time.off", {false, 0});
    addAll("position-block-time.0", {true, 0});
    addAll("position-block-time.1", one);
    addAll("position-block-time.12", all);
    add<Ours>("position-block-time.12-to-1/ours", all);
    add<Ours>("position-block-time.12-to-1/one", one);
    return true;
}();

} // namespace
