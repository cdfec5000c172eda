#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Base/RkCriticalSection.h"
#include "Base/RkSemLock.h"
#include "Network/Network/RkStringKeyCache.h"

namespace {

constexpr unsigned CAPACITY = 25000;  // as the name caches have
constexpr std::size_t VISITS = 1 << 16;

struct NeverExpires {
    void Accessed(std::string&) {}
    bool IsExpired(std::string&) { return false; }
    void Deleted(std::string&) {}
};
using Cache = RkStringKeyCache<std::string, NeverExpires>;

/// Names of 25 to 35 characters, as host names of a site are.
std::vector<std::string> HostNames(std::size_t count) {
    std::mt19937 random(4242);
    std::uniform_int_distribution<int> length(4, 12), letter('a', 'z');
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i) {
        std::string label(static_cast<std::size_t>(length(random)), ' ');
        for (char& c : label)
            c = static_cast<char>(letter(random));
        names.push_back("host-" + std::to_string(i) + "." + label + ".example.com");
    }
    return names;
}

/// The names in the order in which they are visited: uniform.
std::vector<std::uint32_t> VisitOrder(std::size_t names) {
    std::mt19937 random(99);
    std::uniform_int_distribution<std::uint32_t> which(0, static_cast<std::uint32_t>(names) - 1);
    std::vector<std::uint32_t> order(VISITS);
    for (auto& index : order)
        index = which(random);
    return order;
}

std::unique_ptr<Cache> FullCache(const std::vector<std::string>& names) {
    auto cache = std::make_unique<Cache>(CAPACITY);
    for (const auto& name : names)
        cache->Insert(name, "192.0.2.1");
    return cache;
}

/// Look-ups in a full cache, every one a hit.
void LruGet(benchmark::State& state) {
    const auto names = HostNames(CAPACITY);
    const auto order = VisitOrder(CAPACITY);
    const auto cache = FullCache(names);
    std::size_t i = 0;
    std::string value;
    for (auto _ : state)
        benchmark::DoNotOptimize(cache->Find(names[order[i++ % VISITS]], value));
    state.SetItemsProcessed(state.iterations());
}

/// Insertions of twice as many names as fit: half replace a value, half evict the oldest entry.
void LruPut(benchmark::State& state) {
    const auto names = HostNames(2 * CAPACITY);
    const auto order = VisitOrder(2 * CAPACITY);
    const auto cache = FullCache(names);
    std::size_t i = 0;
    const std::string value = "198.51.100.7";
    for (auto _ : state)
        cache->Insert(names[order[i++ % VISITS]], value);
    state.SetItemsProcessed(state.iterations());
}

/// LruGet as the name caches do it: under the owner's lock, from several threads.
void LruGetLocked(benchmark::State& state) {
    static const auto names = HostNames(CAPACITY);
    static const auto order = VisitOrder(CAPACITY);
    static const auto cache = FullCache(names);
    static RkCriticalSection lock;
    auto i = static_cast<std::size_t>(state.thread_index()) * 30000;
    std::string value;
    for (auto _ : state) {
        const RkSemLock held(lock);
        benchmark::DoNotOptimize(cache->Find(names[order[i++ % VISITS]], value));
    }
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(LruGet)->Name("LruGet/ours");
BENCHMARK(LruPut)->Name("LruPut/ours");
BENCHMARK(LruGetLocked)->Name("LruGetLocked/ours")->Threads(1)->Threads(2)->UseRealTime();
