#include "Network/Network/ReverseDnsCache.h"

#include <gtest/gtest.h>

#include "tests/support/FakeResolver.h"

namespace {

class ReverseDnsCacheTest : public ::testing::Test {
protected:
    ReverseDnsCacheTest() { m_resolver.AddReverse("192.0.2.1", "one.example"); }

    /// @return the name, or "no" and the name
    std::string Look(const std::string& address) {
        std::string name = "before";
        return (m_cache.GetHostname(address, name) ? "" : "no ") + name;
    }

    FakeResolver m_resolver;
    ReverseDnsCache m_cache{10, 900};
};

TEST_F(ReverseDnsCacheTest, RemembersNamesAndTheirAbsence) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Look("192.0.2.1"), "one.example");
        EXPECT_EQ(Look("192.0.2.2"), "no ");
        EXPECT_EQ(Look("one.example"), "no before");  // is not numeric
    }
    EXPECT_EQ(m_cache.GetHostname("192.0.2.1"), "one.example");
    EXPECT_EQ(m_resolver.TotalLookups(), 2);
    EXPECT_EQ(m_cache.GetCounters().hits, 3u);
}

TEST_F(ReverseDnsCacheTest, RemembersWhateverTheResolverThrowsAsNoName) {
    m_resolver.OnLookup([](const std::string&) { throw 7; });
    EXPECT_EQ(Look("192.0.2.1"), "no ");
    m_resolver.OnLookup(nullptr);
    EXPECT_EQ(Look("192.0.2.1"), "no ");
}

TEST_F(ReverseDnsCacheTest, EntriesExpireByTheLifeTimeOfTheCacheConstructedLast) {
    m_cache.GetHostname("192.0.2.1");
    const ReverseDnsCache other(5, 7);
    EXPECT_EQ(ReverseDnsCache::ReverseCacheEntry::m_timeout, 7);
    ReverseDnsCache::ReverseCacheEntry::m_timeout = -1;
    m_cache.GetHostname("192.0.2.1");
    EXPECT_EQ(m_resolver.TotalLookups(), 2);
}

TEST_F(ReverseDnsCacheTest, AnObjectCanBeTheInstanceOfTheProcess) {
    EXPECT_EQ(ReverseDnsCache::Itself().GetCounters().size, 25000u);
    m_cache.SetYourself();
    EXPECT_EQ(&ReverseDnsCache::Itself(), &m_cache);
    ReverseDnsCache(3).SetYourself();  // is gone at once, and with it its registration
    EXPECT_EQ(ReverseDnsCache::Itself().GetCounters().size, 25000u);
}

}  // namespace
