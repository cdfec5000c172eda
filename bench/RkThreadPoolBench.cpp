#include "Base/RkThreadPool.h"

#include <benchmark/benchmark.h>

#include <latch>
#include <semaphore>

namespace {

/// Tells that it ran.
class Signal : public RkRunnable {
public:
    explicit Signal(std::binary_semaphore& ran) : m_ran(ran) {}
    void Run() override { m_ran.release(); }
    void Stop() override {}

private:
    std::binary_semaphore& m_ran;
};

class Count : public RkRunnable {
public:
    explicit Count(std::latch& left) : m_left(left) {}
    void Run() override { m_left.count_down(); }
    void Stop() override {}

private:
    std::latch& m_left;
};

/// From DoWork until the runnable runs on an idle thread, and back.
void HandOver(benchmark::State& state) {
    RkThreadPool pool(1, 1, false, 0, RkTimePeriod(0, 0, 1), nullptr);
    std::binary_semaphore ran(0);
    Signal work(ran);
    for (auto _ : state) {
        pool.DoWork(&work);
        ran.acquire();
    }
}
BENCHMARK(HandOver)->Name("PoolHandOver/ours")->UseRealTime();

/// So many short runnables at once, on a pool that could make a thread for each.
void Burst(benchmark::State& state) {
    RkThreadPool pool(RkThreadPool::DEFAULT_MAX_POOL_SIZE, RkThreadPool::DEFAULT_START_POOL_SIZE, true, 0,
                      RkTimePeriod(0, 0, 1), nullptr);
    for (auto _ : state) {
        std::latch left(state.range(0));
        for (std::int64_t i = 0; i < state.range(0); ++i)
            pool.DoWork(new Count(left));
        left.wait();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["threads"] = pool.GetTotal();
}
BENCHMARK(Burst)->Name("PoolBurst/ours")->Arg(128)->Arg(10000)->UseRealTime();

}  // namespace
