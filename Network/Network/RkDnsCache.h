#pragma once

#include <atomic>
#include <ctime>
#include <string>
#include <vector>

#include "Base/RkCriticalSection.h"
#include "Network/Network/RkInetAddress.h"
#include "Network/Network/RkLookupWaitingList.h"
#include "Network/Network/RkStringKeyCache.h"
#include "Network/QorNetworkExport.h"

/// Resolves host names to addresses and remembers the answers, failures included, for a fixed time.
///
/// Any number of threads look up at once. The lock is never held while the resolver is asked, so a slow name holds up its
/// own thread only; threads that miss on the same name at the same time all ask. One instance for the whole process is had
/// from Itself().
class QOR_NETWORK_EXPORT RkDnsCache {
public:
    /// What is remembered of a name.
    struct QOR_NETWORK_EXPORT CacheEntry {
        /// Expiry by age; see RkCache.
        struct CallBack {
            void Accessed(CacheEntry&) {}
            bool IsExpired(CacheEntry& entry) { return std::time(nullptr) - entry.m_created > CacheEntry::m_timeout; }
            void Deleted(CacheEntry&) {}
        };

        /// Copies the addresses; made now, for look-ups of any family.
        explicit CacheEntry(const std::vector<RkInetAddress>& addrs) : m_addrs(addrs), m_created(std::time(nullptr)) {}

        std::vector<RkInetAddress> m_addrs;  ///< in the resolver's order; one empty address if the name did not resolve
        std::time_t m_created;               ///< when the look-up that gave this began, in seconds since the epoch
        bool m_v4Only = false;               ///< whether that look-up asked for IPv4 addresses only

        /// Life time of every entry of every RkDnsCache, in seconds; set by each constructor, so the cache constructed last
        /// decides for all.
        static std::atomic<std::time_t> m_timeout;
    };

    /// @param maxSize  most names remembered
    /// @param timeout  life time of an answer in seconds, counted from the beginning of its look-up; holds for all caches
    explicit RkDnsCache(unsigned int maxSize = s_defaultMaxCacheSize, unsigned int timeout = s_defaultTimeout);
    RkDnsCache(const RkDnsCache&) = delete;
    RkDnsCache& operator=(const RkDnsCache&) = delete;
    virtual ~RkDnsCache();

    /// @return the first address that GetAllIPs gives
    virtual RkInetAddress GetOneIP(const std::string& name, bool v4Only);

    /// @return the addresses of a name; one empty address if it does not resolve
    virtual std::vector<RkInetAddress> GetAllIPs(const std::string& name, bool v4Only);

    /// The look-up. A numeric name is converted without touching the cache, and is *added* to `out`; any other answer
    /// replaces what `out` held. An answer remembered for the other value of `v4Only` is looked up anew and replaced.
    ///
    /// What the resolver throws passes on to the caller; nothing is remembered then, and the calling thread counts as
    /// blocked until its next look-up is over.
    ///
    /// @param out     the addresses in the resolver's order, ports 0; one empty address (0.0.0.0) if the name does not
    ///                resolve, or is a numeric IPv6 address although `v4Only`
    /// @param v4Only  whether to ask for IPv4 addresses only
    virtual void GetAllIPs(const std::string& name, std::vector<RkInetAddress>& out, bool v4Only);

    /// Calls Clear. @return false, always: callers do not look at it
    virtual bool Reset();

    /// Forgets all answers and zeroes the counters. @return false, always
    virtual bool Clear();

    /// The instance of the process, made on first use with these arguments and destroyed at its exit. Later calls return it
    /// unchanged, whatever their arguments.
    static RkDnsCache& Create(unsigned int maxSize, unsigned int timeout);

    /// Makes sure that the instance of the process exists. Does not register the object it is called on, unlike
    /// ReverseDnsCache::SetYourself.
    void SetYourself();

    /// The instance of the process, made with the defaults if need be.
    static RkDnsCache& Itself();

    /// Destroys the instance of the process, which must not be in use; the next Create makes a new one.
    static void Destroy();

    /// @return number of threads whose look-up began more than `seconds` seconds ago
    unsigned int GetBlockedCount(unsigned int seconds);

    /// How full the cache is and how often it answered. Numeric names do not count; an entry of the other `v4Only` does.
    RkCacheCounters GetCounters();

protected:
    static std::atomic<RkDnsCache*> s_pMyself;  ///< owned; destroyed at process exit. Read without a lock
    static RkCriticalSection s_lock;            ///< guards the making of the instance
    static constexpr unsigned int s_defaultMaxCacheSize = 25000;
    static constexpr unsigned int s_defaultTimeout = 900;  ///< seconds

    RkStringKeyCache<CacheEntry, CacheEntry::CallBack> m_cache;  ///< by name; guarded by m_wlLock
    RkLookupWaitingList m_waitingList;                           ///< guarded by m_wlLock
    RkCriticalSection m_wlLock;                                  ///< never held across a resolver call

private:
    struct InstanceReaper;

    bool FindOrEnter(const std::string& name, bool v4Only, std::vector<RkInetAddress>& out);
};
