#include "Network/Network/RkCache.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <list>
#include <random>
#include <string>

#include "Network/Network/RkStringKeyCache.h"

namespace {

/// Values above nine hundred are expired.
struct Policy {
    void Accessed(int&) { ADD_FAILURE() << "is never called"; }
    bool IsExpired(int& value) { return value > 900; }
    void Deleted(int&) { ADD_FAILURE() << "is never called"; }
};

/// Gives many keys the same hash.
struct WeakHasher {
    explicit WeakHasher(long prime) { EXPECT_EQ(prime, 1073741827); }
    long operator()(int key) const { return key % 8; }
};

class RkCacheTest : public ::testing::Test {
protected:
    using Cache = RkStringKeyCache<int, Policy>;

    static int Get(Cache& cache, const std::string& key) {
        int value = -1;
        return cache.Find(key, value) ? value : -1;
    }

    Cache m_cache{2};
};

TEST_F(RkCacheTest, FindingAnEntrySavesItFromEviction) {
    m_cache.Insert("a", 1);
    m_cache.Insert("b", 2);
    EXPECT_EQ(Get(m_cache, "a"), 1);
    m_cache.Insert("c", 3);
    EXPECT_EQ(Get(m_cache, "b"), -1);
    EXPECT_EQ(Get(m_cache, "a"), 1);
}

TEST_F(RkCacheTest, ReplacingAValueEvictsNothingAndSavesItsKey) {
    m_cache.Insert("a", 1);
    m_cache.Insert("b", 2);
    EXPECT_TRUE(m_cache.Insert("a", 7));
    EXPECT_EQ(m_cache.GetCacheCount(), 2u);
    m_cache.Insert("c", 3);
    EXPECT_EQ(Get(m_cache, "a"), 7);
    EXPECT_EQ(Get(m_cache, "b"), -1);
}

TEST_F(RkCacheTest, AnExpiredEntryIsRemovedAndCountsAsAMiss) {
    m_cache.Insert("a", 901);
    m_cache.Insert("b", 2);
    int untouched = 5;
    EXPECT_FALSE(m_cache.Find("a", untouched));
    EXPECT_EQ(untouched, 5);
    EXPECT_EQ(m_cache.GetCacheCount(), 1u);
    EXPECT_EQ(Get(m_cache, "b"), 2);
    EXPECT_EQ(m_cache.GetHitPercent(), 50.0);
}

TEST_F(RkCacheTest, ClearForgetsEntriesAndCounters) {
    EXPECT_EQ(m_cache.GetHitPercent(), 0.0);
    m_cache.Insert("a", 901);
    EXPECT_EQ(m_cache.GetCacheContents(), (std::vector<std::pair<std::string, int>>{{"a", 901}}));
    Get(m_cache, "b");
    m_cache.Clear(true);
    EXPECT_THAT(m_cache.GetCacheContents(), ::testing::IsEmpty());
    EXPECT_EQ(m_cache.GetHitNumber() + m_cache.GetCacheCount(), 0u);
    EXPECT_TRUE(m_cache.Insert("a", 1));
}

TEST_F(RkCacheTest, RefusesWhatItCannotMakeRoomFor) {
    struct Unremovable : Cache {
        using Cache::Cache;
        bool Remove(const std::string&) override { return false; }
    } cache(1);
    EXPECT_TRUE(cache.Insert("a", 1));
    EXPECT_FALSE(cache.Insert("b", 2));
    EXPECT_TRUE(cache.Insert("a", 3));
    EXPECT_FALSE(Cache(0).Insert("a", 1));
}

TEST(RkCacheCountersTest, StartOverAfterTenMillion) {
    RkCache<int, int, WeakHasher, Policy> cache(1);
    cache.Insert(1, 1);
    int value;
    cache.Find(2, value);
    for (int i = 0; i < 10'000'001; ++i)
        cache.Find(1, value);
    EXPECT_EQ(cache.GetHitNumber(), 10'000'001u);
    cache.Find(1, value);
    EXPECT_EQ(cache.GetHitNumber(), 0u);
    EXPECT_EQ(cache.GetHitPercent(), 0.0);
}

/// A cache as a plain list, the most recently used first.
class Model {
public:
    bool Find(int key) {
        const auto found = std::ranges::find(m_keys, key);
        if (found != m_keys.end())
            m_keys.splice(m_keys.begin(), m_keys, found);
        return found != m_keys.end();
    }
    void Insert(int key, std::size_t size) {
        if (Find(key))
            return;
        if (m_keys.size() == size)
            m_keys.pop_back();
        m_keys.push_front(key);
    }
    bool Remove(int key) { return m_keys.remove(key) > 0; }

private:
    std::list<int> m_keys;
};

TEST(RkCacheModelTest, AgreesWithAPlainListWhateverIsDone) {
    struct Checked : RkCache<int, int, WeakHasher, Policy> {
        using RkCache::Debug;
        using RkCache::RkCache;
    } cache(100);
    Model model;
    std::mt19937 random(1);
    for (int i = 0; i < 20000; ++i) {
        const int key = static_cast<int>(random() % 150);
        int value = 0;
        switch (random() % 4) {
            case 0:
                ASSERT_EQ(cache.Remove(key), model.Remove(key)) << "key " << key << ", step " << i;
                break;
            case 1:
                ASSERT_EQ(cache.Find(key, value), model.Find(key)) << "key " << key << ", step " << i;
                break;
            default:
                cache.Insert(key, key);
                model.Insert(key, 100);
        }
        ASSERT_TRUE(i % 100 != 0 || cache.Debug()) << "step " << i;
    }
}

}  // namespace
