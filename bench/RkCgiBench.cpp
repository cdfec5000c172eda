#include "Network/HTTP/RkCgi.h"

#include <benchmark/benchmark.h>

#include "bench/BenchData.h"

static void FormParse(benchmark::State& state) {
    OverList(state, LoadLines("forms.txt"), [](const std::string& body) {
        RkCgi cgi;
        cgi.parseData(body);
        benchmark::DoNotOptimize(&cgi);
        benchmark::ClobberMemory();
    });
}
BENCHMARK(FormParse)->Name("FormParse/ours");
