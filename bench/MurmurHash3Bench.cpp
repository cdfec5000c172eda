#include "Network/Network/MurmurHash3.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

using Hash = void (*)(const void*, int, unsigned int, void*);

template <Hash HASH>
void Murmur(benchmark::State& state) {
    const std::string key(static_cast<std::size_t>(state.range(0)), 'k');
    unsigned int seed = 0;
    unsigned char hash[16];
    for (auto _ : state) {
        benchmark::DoNotOptimize(key.data());
        HASH(key.data(), static_cast<int>(key.size()), seed++, hash);
        benchmark::DoNotOptimize(hash);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void Sizes(benchmark::internal::Benchmark* bench) {
    for (const int size : {4, 16, 64, 1024, 65536})
        bench->Arg(size);
}

BENCHMARK(Murmur<MurmurHash3_x86_32>)->Name("Murmur_x86_32/ours")->Apply(Sizes);
BENCHMARK(Murmur<MurmurHash3_x86_128>)->Name("Murmur_x86_128/ours")->Apply(Sizes);
BENCHMARK(Murmur<MurmurHash3_x64_128>)->Name("Murmur_x64_128/ours")->Apply(Sizes);

}  // namespace
