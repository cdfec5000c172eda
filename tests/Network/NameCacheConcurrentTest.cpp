// Both name caches while the resolver is slow: its threads alone wait.
#include <gmock/gmock.h>

#include <future>
#include <latch>
#include <thread>
#include <vector>

#include "Base/RkSemLock.h"
#include "Network/Network/ReverseDnsCache.h"
#include "Network/Network/RkDnsCache.h"
#include "tests/support/FakeResolver.h"

namespace {

constexpr int THREADS = 8;

/// Holds look-ups of the slow name until it is let go.
class NameCacheConcurrentTest : public ::testing::Test {
protected:
    NameCacheConcurrentTest() {
        m_resolver.Add("slow", {"192.0.2.1"});
        m_resolver.AddReverse("192.0.2.1", "slow");
        m_resolver.OnLookup([this](const std::string& name) {
            if (name == "slow" || name == "192.0.2.1") {
                m_entered.count_down();
                m_release.wait();
            }
        });
    }

    /// Runs `one` in eight threads and waits for them.
    template <class One>
    static void InThreads(One one) {
        std::vector<std::jthread> threads;
        for (int i = 0; i < THREADS; ++i)
            threads.emplace_back([=] { one(i); });
    }

    FakeResolver m_resolver;
    std::latch m_entered{1}, m_release{1};
};

TEST_F(NameCacheConcurrentTest, ASlowForwardLookupHoldsUpItsOwnThreadOnly) {
    struct Cache : RkDnsCache {
        using RkDnsCache::RkDnsCache;
        unsigned BlockedAMinuteFromNow() {
            const RkSemLock lock(m_wlLock);
            return m_waitingList.CountBlocked(59, std::time(nullptr) + 60);
        }
    } cache(50, 900);
    auto slow = std::async(std::launch::async, [&] { return cache.GetOneIP("slow", true); });
    m_entered.wait();
    InThreads([&](int thread) {
        for (int i = 0; i < 100; ++i) {
            cache.GetOneIP("name" + std::to_string(i % 60), true);
            if (i % 30 == thread)
                cache.Clear();
        }
    });
    EXPECT_EQ(cache.BlockedAMinuteFromNow(), 1u);
    EXPECT_EQ(cache.GetBlockedCount(60), 0u);
    m_release.count_down();
    EXPECT_EQ(slow.get(), RkInetAddress("192.0.2.1", 0));
    EXPECT_EQ(cache.BlockedAMinuteFromNow(), 0u);
}

TEST_F(NameCacheConcurrentTest, ASlowReverseLookupHoldsUpItsOwnThreadOnly) {
    ReverseDnsCache cache(50, 900);
    auto slow = std::async(std::launch::async, [&] { return cache.GetHostname("192.0.2.1"); });
    m_entered.wait();
    InThreads([&](int thread) {
        for (int i = 0; i < 100; ++i) {
            cache.GetHostname("10.0.0." + std::to_string(i % 60));
            if (i % 30 == thread)
                cache.Clear();
        }
    });
    EXPECT_LE(cache.GetCounters().count, 50u);
    m_release.count_down();
    EXPECT_EQ(slow.get(), "slow");
    EXPECT_EQ(cache.GetBlockedCount(0), 0u);
}

TEST_F(NameCacheConcurrentTest, ThreadsThatMissOnOneNameTogetherAllAskTheResolver) {
    RkDnsCache cache(50, 900);
    std::latch together(THREADS);
    m_resolver.OnLookup([&](const std::string&) { together.arrive_and_wait(); });  // hangs if one waited for another
    InThreads([&](int) { cache.GetOneIP("slow", true); });
    EXPECT_EQ(m_resolver.Lookups("slow"), THREADS);
    EXPECT_EQ(cache.GetCounters().count, 1u);
}

TEST_F(NameCacheConcurrentTest, AllThreadsGetTheSameInstances) {
    std::latch together(THREADS);
    void* instances[THREADS][2];
    InThreads([&](int thread) {
        together.arrive_and_wait();
        instances[thread][0] = &RkDnsCache::Itself();
        instances[thread][1] = &ReverseDnsCache::Itself();
    });
    for (const auto& pair : instances)
        EXPECT_THAT(pair, ::testing::ElementsAreArray(instances[0]));
}

}  // namespace
