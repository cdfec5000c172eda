#include "Network/Network/RkDnsCache.h"

#include <gmock/gmock.h>

#include "tests/support/FakeResolver.h"

namespace {

using Addresses = std::vector<RkInetAddress>;
using ::testing::ElementsAre;

RkInetAddress Address(const char* text) { return {text, 0, false}; }

class RkDnsCacheTest : public ::testing::Test {
protected:
    RkDnsCacheTest() { m_resolver.Add("host", {"192.0.2.1", "2001:db8::1", "192.0.2.2"}); }

    FakeResolver m_resolver;
    RkDnsCache m_cache{10, 900};
};

TEST_F(RkDnsCacheTest, RemembersAnswersAndFailuresAlike) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(m_cache.GetAllIPs("host", false),
                    ElementsAre(Address("192.0.2.1"), Address("2001:db8::1"), Address("192.0.2.2")));
        EXPECT_THAT(m_cache.GetAllIPs("unknown", true), ElementsAre(RkInetAddress()));
    }
    EXPECT_EQ(m_cache.GetOneIP("host", false), Address("192.0.2.1"));
    EXPECT_EQ(m_resolver.TotalLookups(), 2);
    EXPECT_EQ(m_cache.GetCounters().hits, 3u);
    EXPECT_EQ(m_cache.GetCounters().hitPercent, 60.0);
}

TEST_F(RkDnsCacheTest, NumericNamesAreAddedAndCachedNowhere) {
    const struct {
        const char* name;
        bool v4Only;
        const char* address;
    } cases[] = {
        {"127.0.0.1", true, "127.0.0.1"},    {"1", false, "0.0.0.1"},  {"::1", false, "::1"},
        {"::ffff:1.2.3.4", true, "1.2.3.4"}, {"::1", true, "0.0.0.0"},  // one empty address
    };
    for (const auto& c : cases) {
        Addresses out{Address("192.0.2.9")};
        m_cache.GetAllIPs(c.name, out, c.v4Only);
        EXPECT_THAT(out, ElementsAre(Address("192.0.2.9"), Address(c.address))) << c.name << ", v4Only " << c.v4Only;
    }
    EXPECT_EQ(m_cache.GetCounters().count, 0u);
    EXPECT_EQ(m_resolver.TotalLookups(), 0);
}

TEST_F(RkDnsCacheTest, AnAnswerOfTheOtherFamilyCountsAsAHitAndIsReplaced) {
    m_cache.GetAllIPs("host", false);
    Addresses out{Address("192.0.2.9")};
    m_cache.GetAllIPs("host", out, true);
    EXPECT_THAT(out, ElementsAre(Address("192.0.2.1"), Address("192.0.2.2")));
    EXPECT_EQ(m_cache.GetCounters().hits, 1u);
    m_cache.GetAllIPs("host", true);
    EXPECT_EQ(m_resolver.TotalLookups(), 2);
    EXPECT_EQ(m_cache.GetCounters().count, 1u);
}

TEST_F(RkDnsCacheTest, EntriesExpireOnceTheyAreOlderThanTheLifeTime) {
    RkDnsCache::CacheEntry entry({});
    RkDnsCache::CacheEntry::CallBack policy;
    entry.m_created -= 890;
    EXPECT_FALSE(policy.IsExpired(entry));
    entry.m_created -= 11;
    EXPECT_TRUE(policy.IsExpired(entry));

    m_cache.GetAllIPs("host", true);
    RkDnsCache::CacheEntry::m_timeout = -1;  // everything is older than that
    m_cache.GetAllIPs("host", true);
    EXPECT_EQ(m_resolver.Lookups("host"), 2);
}

TEST_F(RkDnsCacheTest, TheCacheConstructedLastDecidesAboutAllLifeTimes) {
    const RkDnsCache other(5, 7);
    EXPECT_EQ(RkDnsCache::CacheEntry::m_timeout, 7);
    const RkDnsCache third;
    EXPECT_EQ(RkDnsCache::CacheEntry::m_timeout, 900);
}

TEST_F(RkDnsCacheTest, AResolverExceptionPassesOnAndLeavesTheThreadWaiting) {
    struct Cache : RkDnsCache {
        unsigned Waiting() { return m_waitingList.CountBlocked(0, std::time(nullptr) + 1000); }
    } cache;
    m_resolver.OnLookup([](const std::string& name) {
        if (name == "bad")
            throw 7;
    });
    EXPECT_THROW(cache.GetAllIPs("bad", true), int);
    EXPECT_EQ(cache.GetCounters().count, 0u);
    EXPECT_EQ(cache.Waiting(), 1u);
    cache.GetAllIPs("host", true);
    EXPECT_EQ(cache.Waiting(), 0u);
}

TEST_F(RkDnsCacheTest, ClearAndResetForgetAndSayFalse) {
    m_cache.GetAllIPs("host", true);
    EXPECT_FALSE(m_cache.Reset());
    EXPECT_FALSE(m_cache.Clear());
    EXPECT_EQ(m_cache.GetCounters().count, 0u);
}

TEST_F(RkDnsCacheTest, TheInstanceOfTheProcessIsMadeOnceAndNeverReplaced) {
    m_cache.SetYourself();
    RkDnsCache& instance = RkDnsCache::Itself();
    EXPECT_NE(&instance, &m_cache);
    EXPECT_EQ(&RkDnsCache::Create(10, 5), &instance);
    EXPECT_EQ(instance.GetCounters().size, 25000u);
    RkDnsCache::Destroy();
    EXPECT_EQ(RkDnsCache::Create(10, 5).GetCounters().size, 10u);
}

TEST(RkLookupWaitingListTest, CountsThoseThatBeganMoreThanTheGivenTimeAgo) {
    RkLookupWaitingList list;
    list.Enter(1, 1000);
    list.Enter(2, 1005);
    list.Enter(1, 1008);  // keeps the old time
    EXPECT_EQ(list.CountBlocked(8, 1009), 1u);
    EXPECT_EQ(list.CountBlocked(9, 1009), 0u);
    EXPECT_EQ(list.CountBlocked(3, 0x1'0000'03EDll), 1u);  // 1005 in 32 bits: equal, and 5 after the other
    list.Leave(1);
    list.Leave(3);
    EXPECT_EQ(list.CountBlocked(0, 1009), 1u);
}

}  // namespace
