// Both name caches while the resolver is slow: its threads alone wait.
#include <gmock/gmock.h>

#include <future>
#include <latch>

#include "Network/Network/ReverseDnsCache.h"
#include "Network/Network/RkDnsCache.h"
#include "tests/support/FakeResolver.h"
#include "tests/support/InThreads.h"

constexpr int THREADS = 8;

TEST(NameCacheConcurrentTest, ASlowLookupHoldsUpItsOwnThreadOnly) {
    RkDnsCache cache(50);
    ReverseDnsCache reverse(50);
    FakeResolver resolver;
    std::latch entered(2), release(1);
    resolver.Add("slow", {"192.0.2.1"});
    resolver.Add("192.0.2.1", {"slow"});
    resolver.OnLookup([&](const std::string& name) {
        if (name == "slow" || name == "192.0.2.1") {
            entered.count_down();
            release.wait();
        }
    });
    auto slowAddress = std::async(std::launch::async, [&] { return cache.GetOneIP("slow", true); });
    auto slowName = std::async(std::launch::async, [&] { return reverse.GetHostname("192.0.2.1"); });
    entered.wait();
    InThreads(THREADS, [&](int thread) {
        for (int i = 0; i < 100; ++i) {
            cache.GetOneIP("name" + std::to_string(i % 60), true);
            reverse.GetHostname("10.0.0." + std::to_string(i % 60));
            if (i % 30 == thread)
                cache.Clear(), reverse.Clear();
        }
    });
    while (cache.GetBlockedCount(0) != 1 || reverse.GetBlockedCount(0) != 1)  // they count whole seconds
        std::this_thread::yield();
    release.count_down();
    EXPECT_EQ(slowAddress.get(), RkInetAddress("192.0.2.1", 0));
    EXPECT_EQ(slowName.get(), "slow");
    EXPECT_EQ(cache.GetBlockedCount(0) + reverse.GetBlockedCount(0), 0u);
}

TEST(NameCacheConcurrentTest, ThreadsThatMissOnOneNameTogetherAllAskTheResolver) {
    FakeResolver resolver;
    RkDnsCache cache(50);
    std::latch together(THREADS);
    resolver.OnLookup([&](const std::string&) { together.arrive_and_wait(); });  // hangs if one waited for another
    InThreads(THREADS, [&](int) { cache.GetOneIP("unknown", true); });
    EXPECT_EQ(resolver.TotalLookups(), THREADS);
    EXPECT_EQ(cache.GetCounters().count, 1u);
}

TEST(NameCacheConcurrentTest, AllThreadsGetTheSameInstances) {
    std::latch together(THREADS);
    void* instances[THREADS][2];
    InThreads(THREADS, [&](int thread) {
        together.arrive_and_wait();
        instances[thread][0] = &RkDnsCache::Itself();
        instances[thread][1] = &ReverseDnsCache::Itself();
    });
    for (const auto& pair : instances)
        EXPECT_THAT(pair, testing::ElementsAreArray(instances[0]));
}
