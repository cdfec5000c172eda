#include "Network/Network/ReverseDnsCache.h"

#include <gmock/gmock.h>

#include "tests/support/FakeResolver.h"

namespace {

class ReverseDnsCacheTest : public ::testing::Test {
protected:
    ReverseDnsCacheTest() { m_resolver.AddReverse("192.0.2.1", "one.example"); }

    FakeResolver m_resolver;
    ReverseDnsCache m_cache{10, 900};
};

TEST_F(ReverseDnsCacheTest, RemembersNamesAndTheirAbsence) {
    for (int i = 0; i < 2; ++i) {
        std::string name = "before";
        EXPECT_TRUE(m_cache.GetHostname("192.0.2.1", name));
        EXPECT_EQ(name, "one.example");
        EXPECT_FALSE(m_cache.GetHostname("192.0.2.2", name));
        EXPECT_EQ(name, "");
    }
    EXPECT_EQ(m_cache.GetHostname("192.0.2.1"), "one.example");
    EXPECT_EQ(m_resolver.TotalLookups(), 2);
    EXPECT_EQ(m_cache.GetCounters().hits, 3u);
}

TEST_F(ReverseDnsCacheTest, WhatIsNotNumericIsLeftAlone) {
    std::string name = "before";
    EXPECT_FALSE(m_cache.GetHostname("one.example", name));
    EXPECT_EQ(name, "before");
    EXPECT_EQ(m_resolver.TotalLookups(), 0);
    EXPECT_EQ(m_cache.GetCounters().count, 0u);
}

TEST_F(ReverseDnsCacheTest, RemembersWhateverTheResolverThrowsAsNoName) {
    m_resolver.OnLookup([](const std::string&) { throw 7; });
    std::string name = "before";
    EXPECT_FALSE(m_cache.GetHostname("192.0.2.1", name));
    EXPECT_EQ(name, "");
    m_resolver.OnLookup(nullptr);
    EXPECT_FALSE(m_cache.GetHostname("192.0.2.1", name));
    EXPECT_EQ(m_resolver.TotalLookups(), 1);
}

TEST_F(ReverseDnsCacheTest, EntriesExpireByTheLifeTimeOfAllCaches) {
    m_cache.GetHostname("192.0.2.1");
    const ReverseDnsCache other(5, 7);
    EXPECT_EQ(ReverseDnsCache::ReverseCacheEntry::m_timeout, 7);
    ReverseDnsCache::ReverseCacheEntry::m_timeout = -1;
    m_cache.GetHostname("192.0.2.1");
    EXPECT_EQ(m_resolver.TotalLookups(), 2);
    EXPECT_FALSE(m_cache.Reset());
    EXPECT_EQ(m_cache.GetCounters().count, 0u);
}

TEST_F(ReverseDnsCacheTest, AnObjectCanBeTheInstanceOfTheProcess) {
    ReverseDnsCache& own = ReverseDnsCache::Itself();
    EXPECT_EQ(own.GetCounters().size, 25000u);
    {
        ReverseDnsCache registered(3);
        registered.SetYourself();
        EXPECT_EQ(&ReverseDnsCache::Itself(), &registered);
        m_cache.SetYourself();
    }
    EXPECT_EQ(&ReverseDnsCache::Itself(), &m_cache);
}

}  // namespace
