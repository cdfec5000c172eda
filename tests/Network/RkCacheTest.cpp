#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "Network/Network/RkStringKeyCache.h"

/// Values above nine hundred are expired.
struct Policy {
    void Accessed(int&) { ADD_FAILURE() << "is never called"; }
    bool IsExpired(int& value) { return value > 900; }
    void Deleted(int&) { ADD_FAILURE() << "is never called"; }
};
using StringCache = RkStringKeyCache<int, Policy>;

/// Gives many keys the same hash.
struct WeakHasher {
    explicit WeakHasher(long prime) { EXPECT_EQ(prime, 1073741827); }
    long operator()(int key) const { return key % 8; }
};
using IntCache = RkCache<int, int, WeakHasher, Policy>;

TEST(RkCacheTest, AnExpiredEntryIsRemovedAndCountsAsAMiss) {
    StringCache cache(2);
    cache.Insert("expired", 901);
    cache.Insert("live", 2);
    int value = 5;
    EXPECT_FALSE(cache.Find("expired", value));
    EXPECT_EQ(value, 5);
    EXPECT_EQ(cache.GetCacheContents(), (std::vector<std::pair<std::string, int>>{{"live", 2}}));
    EXPECT_TRUE(cache.Find("live", value));
    EXPECT_EQ(cache.GetHitPercent(), 50.0);
}

TEST(RkCacheTest, RefusesWhatItCannotMakeRoomFor) {
    struct Unremovable : StringCache {
        using StringCache::StringCache;
        bool Remove(const std::string&) override { return false; }
    } cache(1);
    EXPECT_TRUE(cache.Insert("a", 1));
    EXPECT_FALSE(cache.Insert("b", 2));
    EXPECT_TRUE(cache.Insert("a", 3));
    EXPECT_FALSE(StringCache(0).Insert("a", 1));
}

TEST(RkCacheTest, CountersStartOverAfterTenMillionHits) {
    IntCache cache(1);
    cache.Insert(1, 1);
    int value;
    cache.Find(2, value);
    for (int i = 0; i < 10'000'001; ++i)
        cache.Find(1, value);
    EXPECT_EQ(cache.GetHitNumber(), 10'000'001u);
    cache.Find(1, value);
    EXPECT_EQ(cache.GetHitNumber() + cache.GetHitPercent(), 0);
}

TEST(RkCacheTest, AgreesWithAPlainListWhateverIsDone) {
    struct Checked : IntCache {
        using IntCache::Debug;
        using IntCache::IntCache;
    } cache(100);
    std::vector<std::pair<int, int>> model;  // key and value, the most recently used first
    std::mt19937 random(1);
    for (int i = 0; i < 20000; ++i) {
        const int key = static_cast<int>(random() % 150);
        int value = 0;
        const auto known = std::ranges::find(model, key, &std::pair<int, int>::first);
        const bool isKnown = known != model.end();
        if (isKnown)
            std::rotate(model.begin(), known, known + 1);
        const auto action = random() % 4;
        if (action == 0) {
            ASSERT_EQ(cache.Remove(key), isKnown) << "key " << key << ", step " << i;
            model.erase(model.begin(), model.begin() + isKnown);
        } else if (action == 1) {
            ASSERT_EQ(cache.Find(key, value), isKnown) << "key " << key << ", step " << i;
            ASSERT_EQ(value, isKnown ? model.front().second : 0);
        } else {
            ASSERT_TRUE(cache.Insert(key, i % 900));
            model.erase(model.begin(), model.begin() + isKnown);
            model.insert(model.begin(), {key, i % 900});
            model.resize(std::min<std::size_t>(model.size(), 100));
        }
        ASSERT_TRUE(i % 100 != 0 || cache.Debug()) << "step " << i;
    }
}
