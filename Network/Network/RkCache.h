#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "Base/RkTypes.h"
#include "Network/Network/RkCacheMap.h"

/// How full a cache is and how often it answered.
struct RkCacheCounters {
    unsigned int count;  ///< entries held, expired ones included
    unsigned int size;   ///< capacity
    unsigned int hits;   ///< look-ups that found a live entry, since the counters last started over
    double hitPercent;   ///< hits of all look-ups; 0.0 before the first one
};

/// A bounded cache that drops its least recently used entry when it is full. Values are copied in and out, never handed
/// out by reference; every operation takes constant time on average.
///
/// Takes no lock: the owner serialises all calls. There is no background sweep; an expired entry goes when a look-up meets
/// it or when it has become the oldest.
///
/// @tparam Hasher    made from a prime, `Hasher(long)`, and called with a key
/// @tparam CallBack  the policy: `bool IsExpired(Value&)`. `Accessed(Value&)` and `Deleted(Value&)` belong to its shape,
///                   but are never called.
template <class Key, class Value, class Hasher, class CallBack>
class RkCache {
public:
    /// One value, linked into the order of use. Owned by the cache.
    struct RkCacheEntry {
        Key m_key;
        Value m_value;
        RkCacheEntry* m_prev = nullptr;  ///< used more recently
        RkCacheEntry* m_next = nullptr;  ///< used longer ago
    };

    /// @param size  most entries held; 0 is a cache that refuses every insertion
    explicit RkCache(unsigned int size) : m_hashTable(Hasher(HASH_PRIME)), m_size(size) {}
    RkCache(const RkCache&) = delete;
    RkCache& operator=(const RkCache&) = delete;
    virtual ~RkCache() { DestroyEntries(); }

    /// Looks up a live entry and makes it the most recently used one. An expired entry is removed and counts as a miss.
    /// @param value  a copy of the value; untouched without a hit
    virtual bool Find(const Key& key, Value& value);

    /// Stores a value, replacing that of the same key, as the most recently used one. Counts as neither hit nor miss.
    /// @return false only when the cache is full and its oldest entry could not be removed
    virtual bool Insert(const Key& key, const Value& value);

    /// @return true if there was such an entry. `key` may be the entry's own.
    virtual bool Remove(const Key& key);

    /// Empties the cache and zeroes its counters. The argument has no meaning.
    virtual void Clear(bool);

    /// The policy, this cache's own.
    virtual CallBack& GetCallBack() { return m_entryCallBack; }
    virtual unsigned int GetCacheCount() { return m_entryCount; }  ///< entries held, expired ones included
    virtual unsigned int GetCacheSize() { return m_size; }         ///< capacity
    virtual unsigned int GetHitNumber() { return m_hit; }          ///< since the counters last started over

    /// Hits in percent of hits and misses; 0.0 before the first look-up. Both start over beyond ten million of either, so
    /// the figure tells of recent traffic.
    virtual double GetHitPercent();

    /// @return every pair held, expired ones included, in no particular order
    virtual std::vector<std::pair<Key, Value>> GetCacheContents();

    RkCacheCounters GetCounters() { return {GetCacheCount(), GetCacheSize(), GetHitNumber(), GetHitPercent()}; }

protected:
    static constexpr long HASH_PRIME = 0x40000003;  ///< what the hasher is made from
    static constexpr double COUNTER_LIMIT = 1e7;    ///< hits or misses beyond which both counters start over

    /// Looks up an entry, expired or not, without counting; null if there is none. A template so that it stands back
    /// behind the virtual Find where Value is bool.
    /// @param promote  whether to make it the most recently used one
    template <std::same_as<bool> Flag>
    RkCacheEntry* Find(const Key& key, Flag promote) {
        RkCacheEntry* entry = m_hashTable.Find(key, m_hashTable.Hash(key));
        if (entry && promote)
            Promote(entry);
        return entry;
    }

    /// Unlinks an entry from the order of use.
    void RemoveEntry(RkCacheEntry* entry);
    /// Links an entry as the most recently used one.
    void InsertEntry(RkCacheEntry* entry);

    /// @return whether list, map and count agree; for tests of subclasses
    bool Debug() const;

private:
    void Promote(RkCacheEntry* entry);
    bool EvictOldest() { return m_tail && Remove(m_tail->m_key); }
    void Count(std::uint32_t& counter);
    void DestroyEntries();

    RkCacheMap<Key, RkCacheEntry, Hasher> m_hashTable;
    RkCacheEntry* m_head = nullptr;
    RkCacheEntry* m_tail = nullptr;
    std::uint32_t m_size;
    std::uint32_t m_entryCount = 0;
    std::uint32_t m_hit = 0;
    std::uint32_t m_miss = 0;
    CallBack m_entryCallBack;
};

template <class Key, class Value, class Hasher, class CallBack>
bool RkCache<Key, Value, Hasher, CallBack>::Find(const Key& key, Value& value) {
    RkCacheEntry* entry = Find(key, false);
    if (entry && !m_entryCallBack.IsExpired(entry->m_value)) {
        Promote(entry);
        Count(m_hit);
        value = entry->m_value;
        return true;
    }
    if (entry)
        Remove(key);
    Count(m_miss);
    return false;
}

template <class Key, class Value, class Hasher, class CallBack>
bool RkCache<Key, Value, Hasher, CallBack>::Insert(const Key& key, const Value& value) {
    const std::size_t hash = m_hashTable.Hash(key);
    if (RkCacheEntry* known = m_hashTable.Find(key, hash)) {
        Promote(known);
        known->m_value = value;
        return true;
    }
    if (m_entryCount == m_size && !EvictOldest())
        return false;
    auto fresh = std::make_unique<RkCacheEntry>(RkCacheEntry{key, value});
    m_hashTable.Add(fresh.get(), hash);
    InsertEntry(fresh.release());
    ++m_entryCount;
    return true;
}

template <class Key, class Value, class Hasher, class CallBack>
bool RkCache<Key, Value, Hasher, CallBack>::Remove(const Key& key) {
    const std::unique_ptr<RkCacheEntry> entry(m_hashTable.Remove(key));
    if (!entry)
        return false;
    RemoveEntry(entry.get());
    --m_entryCount;
    return true;
}

template <class Key, class Value, class Hasher, class CallBack>
void RkCache<Key, Value, Hasher, CallBack>::Clear(bool) {
    DestroyEntries();
    m_tail = nullptr;
    m_entryCount = m_hit = m_miss = 0;
    m_hashTable.Clear();
}

template <class Key, class Value, class Hasher, class CallBack>
double RkCache<Key, Value, Hasher, CallBack>::GetHitPercent() {
    const std::uint32_t lookups = m_hit + m_miss;
    return lookups == 0 ? 0.0 : m_hit * 100.0 / lookups;
}

template <class Key, class Value, class Hasher, class CallBack>
std::vector<std::pair<Key, Value>> RkCache<Key, Value, Hasher, CallBack>::GetCacheContents() {
    std::vector<std::pair<Key, Value>> contents;
    contents.reserve(m_entryCount);
    m_hashTable.ForEach([&](const RkCacheEntry& entry) { contents.emplace_back(entry.m_key, entry.m_value); });
    return contents;
}

template <class Key, class Value, class Hasher, class CallBack>
void RkCache<Key, Value, Hasher, CallBack>::RemoveEntry(RkCacheEntry* entry) {
    (entry->m_prev ? entry->m_prev->m_next : m_head) = entry->m_next;
    (entry->m_next ? entry->m_next->m_prev : m_tail) = entry->m_prev;
}

template <class Key, class Value, class Hasher, class CallBack>
void RkCache<Key, Value, Hasher, CallBack>::InsertEntry(RkCacheEntry* entry) {
    entry->m_prev = nullptr;
    entry->m_next = m_head;
    (m_head ? m_head->m_prev : m_tail) = entry;
    m_head = entry;
}

template <class Key, class Value, class Hasher, class CallBack>
bool RkCache<Key, Value, Hasher, CallBack>::Debug() const {
    std::uint32_t listed = 0;
    const RkCacheEntry* last = nullptr;
    for (const RkCacheEntry* entry = m_head; entry; last = entry, entry = entry->m_next, ++listed)
        if (entry->m_prev != last || m_hashTable.Find(entry->m_key, m_hashTable.Hash(entry->m_key)) != entry)
            return false;
    return last == m_tail && listed == m_entryCount && listed == m_hashTable.Count() && listed <= m_size;
}

template <class Key, class Value, class Hasher, class CallBack>
void RkCache<Key, Value, Hasher, CallBack>::Promote(RkCacheEntry* entry) {
    if (entry == m_head)
        return;
    RemoveEntry(entry);
    InsertEntry(entry);
}

// The limit is looked at before the addition: the look-up after the 10,000,001st of its kind starts both over.
template <class Key, class Value, class Hasher, class CallBack>
void RkCache<Key, Value, Hasher, CallBack>::Count(std::uint32_t& counter) {
    if (counter++ > COUNTER_LIMIT)
        m_hit = m_miss = 0;
}

template <class Key, class Value, class Hasher, class CallBack>
void RkCache<Key, Value, Hasher, CallBack>::DestroyEntries() {
    while (m_head)
        delete std::exchange(m_head, m_head->m_next);
}
