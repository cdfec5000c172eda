#include "Base/RkBase64Decoder.h"

#include <benchmark/benchmark.h>

#include <random>

namespace {

std::string RandomBytes(std::size_t count) {
    std::mt19937 random(5);
    std::string bytes(count, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

void Encode(benchmark::State& state) {
    const std::string data = RandomBytes(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(RkBase64Decoder::encode(data));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void Decode(benchmark::State& state) {
    const std::string text = RkBase64Decoder::encode(RandomBytes(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state)
        benchmark::DoNotOptimize(RkBase64Decoder::decode(text));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK(Encode)->Name("Base64Encode/ours")->Arg(24)->Arg(1024)->Arg(65536);
BENCHMARK(Decode)->Name("Base64Decode/ours")->Arg(24)->Arg(1024)->Arg(65536);

}  // namespace
