#include "Network/Network/RkDnsCache.h"

#include <gmock/gmock.h>

#include "Network/Network/ReverseDnsCache.h"
#include "tests/support/FakeResolver.h"

using testing::ElementsAre;

RkInetAddress Address(const char* text) { return {text, 0, false}; }

struct RkDnsCacheTest : testing::Test {
    struct Cache : RkDnsCache {
        using RkDnsCache::RkDnsCache;
        unsigned Waiting() { return m_waitingList.CountBlocked(0, std::time(nullptr) + 1000); }
    };

    RkDnsCacheTest() { m_resolver.Add("host", {"192.0.2.1", "2001:db8::1", "192.0.2.2"}); }

    FakeResolver m_resolver;
    Cache m_cache{10, 900};
};

TEST_F(RkDnsCacheTest, RemembersAnswersAndFailuresAlike) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(m_cache.GetAllIPs("host", false),
                    ElementsAre(Address("192.0.2.1"), Address("2001:db8::1"), Address("192.0.2.2")));
        EXPECT_THAT(m_cache.GetAllIPs("unknown", true), ElementsAre(RkInetAddress()));
    }
    EXPECT_EQ(m_cache.GetOneIP("host", false), Address("192.0.2.1"));
    EXPECT_EQ(m_resolver.TotalLookups(), 2);
    EXPECT_EQ(m_cache.GetCounters().hitPercent, 60.0);
    EXPECT_FALSE(m_cache.Reset());
    EXPECT_EQ(m_cache.GetCounters().count, 0u);
}

TEST_F(RkDnsCacheTest, NumericNamesAreAddedAndCachedNowhere) {
    std::vector<RkInetAddress> out{Address("192.0.2.9")};
    m_cache.GetAllIPs("::ffff:1.2.3.4", out, true);
    m_cache.GetAllIPs("::1", out, false);
    m_cache.GetAllIPs("::1", out, true);
    EXPECT_THAT(out, ElementsAre(Address("192.0.2.9"), Address("1.2.3.4"), Address("::1"), RkInetAddress()));
    EXPECT_EQ(m_cache.GetCounters().count + static_cast<unsigned>(m_resolver.TotalLookups()), 0u);
}

TEST_F(RkDnsCacheTest, AnAnswerOfTheOtherFamilyCountsAsAHitAndIsReplaced) {
    std::vector<RkInetAddress> out{Address("192.0.2.9")};
    m_cache.GetAllIPs("host", false);
    m_cache.GetAllIPs("host", out, true);
    EXPECT_THAT(out, ElementsAre(Address("192.0.2.1"), Address("192.0.2.2")));
    EXPECT_EQ(m_cache.GetCounters().hits, 1u);
    m_cache.GetAllIPs("host", true);
    EXPECT_EQ(m_resolver.TotalLookups(), 2);
}

TEST_F(RkDnsCacheTest, AResolverExceptionPassesOnAndLeavesTheThreadWaiting) {
    m_resolver.OnLookup([](const std::string&) { throw 7; });
    EXPECT_THROW(m_cache.GetAllIPs("host", true), int);
    EXPECT_EQ(m_cache.GetCounters().count, 0u);
    EXPECT_EQ(m_cache.Waiting(), 1u);
    m_resolver.OnLookup(nullptr);
    m_cache.GetAllIPs("host", true);
    EXPECT_EQ(m_cache.Waiting(), 0u);
}

TEST_F(RkDnsCacheTest, TheInstanceOfTheProcessIsMadeOnceAndNeverReplaced) {
    m_cache.SetYourself();
    RkDnsCache& instance = RkDnsCache::Itself();
    EXPECT_NE(&instance, &m_cache);
    EXPECT_EQ(&RkDnsCache::Create(10, 5), &instance);
    EXPECT_EQ(instance.GetCounters().size, 25000u);
}

TEST(RkLookupWaitingListTest, CountsThoseThatBeganMoreThanTheGivenTimeAgo) {
    RkLookupWaitingList list;
    list.Enter(1, 1000);
    list.Enter(2, 1005);
    list.Enter(1, 1008);  // keeps the old time
    EXPECT_EQ(list.CountBlocked(8, 1009), 1u);
    EXPECT_EQ(list.CountBlocked(9, 1009), 0u);
    EXPECT_EQ(list.CountBlocked(3, 0x1'0000'03ED), 1u);  // 1005 in 32 bits: five after the first
}

struct ReverseDnsCacheTest : testing::Test {
    ReverseDnsCacheTest() { m_resolver.Add("192.0.2.1", {"one.example"}); }

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
    EXPECT_FALSE(m_cache.Clear());
    EXPECT_EQ(m_cache.GetCounters().count, 0u);
}

TEST_F(ReverseDnsCacheTest, RemembersWhateverTheResolverThrowsAsNoName) {
    m_resolver.OnLookup([](const std::string&) { throw 7; });
    EXPECT_EQ(Look("192.0.2.1"), "no ");
    m_resolver.OnLookup(nullptr);
    EXPECT_EQ(Look("192.0.2.1"), "no ");
}

TEST_F(ReverseDnsCacheTest, EntriesExpireByTheLifeTimeOfTheCacheConstructedLast) {
    RkDnsCache forward(10, 900);
    const auto lookUpBoth = [&] { forward.GetAllIPs("host", true), m_cache.GetHostname("192.0.2.1"); };
    lookUpBoth();
    const RkDnsCache other(5, 700);
    const ReverseDnsCache otherReverse(5, 7);
    EXPECT_EQ(RkDnsCache::CacheEntry::m_timeout, 700);
    EXPECT_EQ(ReverseDnsCache::ReverseCacheEntry::m_timeout, 7);
    RkDnsCache::CacheEntry::m_timeout = ReverseDnsCache::ReverseCacheEntry::m_timeout = -1;  // everything is older
    lookUpBoth();
    EXPECT_EQ(m_resolver.TotalLookups(), 4);
}

TEST_F(ReverseDnsCacheTest, AnObjectCanBeTheInstanceOfTheProcess) {
    EXPECT_EQ(ReverseDnsCache::Itself().GetCounters().size, 25000u);
    m_cache.SetYourself();
    EXPECT_EQ(&ReverseDnsCache::Itself(), &m_cache);
    ReverseDnsCache(3).SetYourself();  // is gone at once, and with it its registration
    EXPECT_EQ(ReverseDnsCache::Itself().GetCounters().size, 25000u);
}
