#include <benchmark/benchmark.h>

#include "Diag/RkLogStream.h"

namespace {

using namespace kstr::diag;

void Disabled(benchmark::State& state) {
    RkLogger logger("Bench.Disabled");
    for (auto _ : state)
        DIAG_LOG(logger, LV_INFO, "connection " << state.iterations() << " accepted");
}
BENCHMARK(Disabled)->Name("LogDisabled/ours");

/// What a socket pays for its logger: every name but the first is known.
void MakeLogger(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(RkLogger("Qor.Network.Network.RkSSLSocket"));
}
BENCHMARK(MakeLogger)->Name("LogMakeLogger/ours")->ThreadRange(1, 2);

void Enabled(benchmark::State& state) {
    struct Nowhere : RkLogSink {
        void write(const RkLogRecord& record) override { benchmark::DoNotOptimize(&record); }
    };
    RkLogger::setSink(std::make_shared<Nowhere>());
    RkLogger logger("Bench.Enabled");
    for (auto _ : state)
        DIAG_LOG(logger, LV_ERROR, "connection " << state.iterations() << " accepted");
    RkLogger::setSink(nullptr);
}
BENCHMARK(Enabled)->Name("LogEnabled/ours");

}  // namespace
