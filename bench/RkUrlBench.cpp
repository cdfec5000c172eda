#include "Network/Url/RkUrl.h"

#include <benchmark/benchmark.h>

#include "bench/BenchData.h"

namespace {

void UrlParse(benchmark::State& state) {
    OverList(state, LoadLines("urls.txt"), [](const std::string& text) {
        RkUrl url(text);
        benchmark::DoNotOptimize(&url);
        benchmark::ClobberMemory();
    });
}

void PercentEncode(benchmark::State& state) {
    OverList(state, LoadLines("texts.txt"), [](const std::string& text) {
        std::string out;
        benchmark::DoNotOptimize(RkUrl::escapeString(text, out).data());
    });
}

void PercentDecode(benchmark::State& state) {
    auto texts = LoadLines("texts.txt");
    for (auto& text : texts) {
        std::string encoded;
        text = RkUrl::escapeString(text, encoded);
    }
    OverList(state, texts, [](const std::string& text) {
        std::string out;
        benchmark::DoNotOptimize(RkUrl::unescapeString(text, out).data());
    });
}

}  // namespace

BENCHMARK(UrlParse)->Name("UrlParse/ours");
BENCHMARK(PercentEncode)->Name("PercentEncode/ours");
BENCHMARK(PercentDecode)->Name("PercentDecode/ours");
