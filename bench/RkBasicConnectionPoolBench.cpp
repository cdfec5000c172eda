#include "Network/Network/RkBasicConnectionPool.h"

#include <benchmark/benchmark.h>

namespace {

/// Takes a connection from a pool with room for all and gives it back; no connection is opened.
void Lease(benchmark::State& state) {
    static RkBasicConnectionPool pool(0, 8);
    const RkTimePeriod timeout(0, 0, 0, 1);
    for (auto _ : state) {
        RkBasicConnection* connection = pool.Get(timeout);
        benchmark::DoNotOptimize(connection);
        pool.Done(connection, false);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Lease)->Name("PoolLease/ours")->Threads(1)->Threads(2)->UseRealTime();

}  // namespace
