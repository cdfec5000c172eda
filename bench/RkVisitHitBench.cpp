#include "Network/Url/RkVisitHit.h"

#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <vector>

namespace {

/// Classified requests a second with so many users that come in no order, one request in four for a page. Nobody waits, so
/// that each URL is looked at.
void Classify(benchmark::State& state) {
    std::vector<std::string> users;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        users.push_back("10." + std::to_string(i >> 16) + "." + std::to_string(i >> 8 & 255) + "." +
                        std::to_string(i & 255));
    std::vector<std::string> urls{"http://host/index.html", "http://host/img/logo.gif", "http://host/style.css?v=3",
                                  "http://host/a/b/c/script.js"};
    std::minstd_rand random(1);
    std::size_t next = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            RkVisitHit::CalcIsVisit(users[random() % users.size()], urls[next++ % urls.size()], 1000, 0, 0, nullptr));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Classify)->Name("VisitHit/ours")->Arg(1)->Arg(1000)->Arg(1000000);

}  // namespace
