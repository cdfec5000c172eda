#include "Network/Network/RkInetRange.h"

#include <benchmark/benchmark.h>

#include <vector>

#include "bench/BenchData.h"

namespace {

void RangeParse(benchmark::State& state) {
    const std::vector<std::string> texts = {"192.168.1.7", "10.0.0.1-10.0.0.9", "10.1.0.0/16", "fe80::/64"};
    OverList(state, texts, [](const std::string& text) {
        RkInetRange range(text);
        benchmark::DoNotOptimize(&range);
    });
}

void RangeContains(benchmark::State& state) {
    const RkInetRange range("10.1.0.0/16");
    const RkInetAddress inside("10.1.2.3", 0), outside("10.2.0.1", 0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(inside.IsInRange(range.GetStart(), range.GetEnd()));
        benchmark::DoNotOptimize(outside.IsInRange(range.GetStart(), range.GetEnd()));
    }
    state.SetItemsProcessed(2 * state.iterations());
}

}  // namespace

BENCHMARK(RangeParse)->Name("RangeParse/ours");
BENCHMARK(RangeContains)->Name("RangeContains/ours");
