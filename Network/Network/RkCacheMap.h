#pragma once

#include <bit>
#include <cstddef>
#include <utility>
#include <vector>

/// The index of an RkCache: a hash map from a key to the entry that holds it. Entries are the cache's and carry their key
/// as `m_key`, so nothing is stored twice. Not locked.
///
/// One flat table with linear probing. A slot keeps its key's whole hash, so that a look-up touches no entry but the one it
/// is after; callers that look up and then add compute the hash once.
template <class Key, class Entry, class Hasher>
class RkCacheMap {
public:
    explicit RkCacheMap(Hasher hasher) : m_hasher(hasher) {}

    std::size_t Hash(const Key& key) const { return static_cast<std::size_t>(m_hasher(key)); }
    std::size_t Count() const { return m_count; }

    /// @param hash  Hash(key)
    /// @return the entry of that key, or null
    Entry* Find(const Key& key, std::size_t hash) const {
        return m_count == 0 ? nullptr : m_slots[Position(key, hash)].entry;
    }

    /// Adds an entry whose key is not in the map yet.
    void Add(Entry* entry, std::size_t hash);

    /// @return the entry that is in the map no longer, or null if there was none
    Entry* Remove(const Key& key);

    /// Forgets all entries and gives the room back.
    void Clear();

    template <class Visitor>
    void ForEach(Visitor&& visit) const {
        for (const Slot& slot : m_slots)
            if (slot.entry)
                visit(*slot.entry);
    }

private:
    struct Slot {
        std::size_t hash;
        Entry* entry;  ///< null: free
    };
    static constexpr std::size_t SMALLEST = 16;

    // The multiplication spreads the hash over its upper bits, whatever the hasher left in the lower ones.
    std::size_t Home(std::size_t hash) const { return hash * 0x9E3779B97F4A7C15u >> m_shift; }
    std::size_t Next(std::size_t at) const { return (at + 1) & (m_slots.size() - 1); }
    std::size_t Position(const Key& key, std::size_t hash) const;
    void Place(Slot slot);
    void Grow();
    void CloseGap(std::size_t gap);

    Hasher m_hasher;
    std::vector<Slot> m_slots;  ///< empty, or a power of two of them, at most four fifths in use
    int m_shift = 0;            ///< 64 less the binary logarithm of the number of slots
    std::size_t m_count = 0;
};

/// The slot of the key, or the free one where the search for it ends.
template <class Key, class Entry, class Hasher>
std::size_t RkCacheMap<Key, Entry, Hasher>::Position(const Key& key, std::size_t hash) const {
    std::size_t at = Home(hash);
    while (m_slots[at].entry && !(m_slots[at].hash == hash && m_slots[at].entry->m_key == key))
        at = Next(at);
    return at;
}

template <class Key, class Entry, class Hasher>
void RkCacheMap<Key, Entry, Hasher>::Add(Entry* entry, std::size_t hash) {
    if ((m_count + 1) * 5 > m_slots.size() * 4)
        Grow();
    Place({hash, entry});
    ++m_count;
}

template <class Key, class Entry, class Hasher>
Entry* RkCacheMap<Key, Entry, Hasher>::Remove(const Key& key) {
    if (m_count == 0)
        return nullptr;
    const std::size_t at = Position(key, Hash(key));
    Entry* const entry = m_slots[at].entry;
    if (entry) {
        CloseGap(at);
        --m_count;
    }
    return entry;
}

template <class Key, class Entry, class Hasher>
void RkCacheMap<Key, Entry, Hasher>::Clear() {
    m_slots = {};
    m_count = 0;
}

template <class Key, class Entry, class Hasher>
void RkCacheMap<Key, Entry, Hasher>::Place(Slot slot) {
    std::size_t at = Home(slot.hash);
    while (m_slots[at].entry)
        at = Next(at);
    m_slots[at] = slot;
}

template <class Key, class Entry, class Hasher>
void RkCacheMap<Key, Entry, Hasher>::Grow() {
    const std::size_t wanted = m_slots.empty() ? SMALLEST : 2 * m_slots.size();
    const std::vector<Slot> before = std::exchange(m_slots, std::vector<Slot>(wanted));
    m_shift = std::countl_zero(wanted) + 1;
    for (const Slot& slot : before)
        if (slot.entry)
            Place(slot);
}

// Moves back what was pushed past the gap, so that no search meets it: the table needs no marks for removed entries.
template <class Key, class Entry, class Hasher>
void RkCacheMap<Key, Entry, Hasher>::CloseGap(std::size_t gap) {
    const std::size_t mask = m_slots.size() - 1;
    for (std::size_t at = Next(gap); m_slots[at].entry; at = Next(at)) {
        const std::size_t fromHome = (at - Home(m_slots[at].hash)) & mask;
        if (fromHome >= ((at - gap) & mask))
            m_slots[std::exchange(gap, at)] = m_slots[at];
    }
    m_slots[gap].entry = nullptr;
}
