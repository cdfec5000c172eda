#pragma once

#include <atomic>
#include <ctime>
#include <string>

#include "Base/RkCriticalSection.h"
#include "Network/Network/RkLookupWaitingList.h"
#include "Network/Network/RkStringKeyCache.h"
#include "Network/QorNetworkExport.h"

class RkInetAddress;

/// Turns numeric addresses into host names and remembers the answers, failures included, for a fixed time.
///
/// The mirror of RkDnsCache: any number of threads look up at once, and no lock is held while the resolver is asked. It
/// differs in that resolver exceptions do not reach the caller, and in that an object can be registered as the instance
/// of the process.
class QOR_NETWORK_EXPORT ReverseDnsCache {
public:
    /// What is remembered of an address.
    struct QOR_NETWORK_EXPORT ReverseCacheEntry {
        /// Expiry by age; see RkCache.
        struct CallBack {
            void Accessed(ReverseCacheEntry&) {}
            bool IsExpired(ReverseCacheEntry& entry) {
                return std::time(nullptr) - entry.m_created > ReverseCacheEntry::m_timeout;
            }
            void Deleted(ReverseCacheEntry&) {}
        };

        /// Copies the name; made now.
        explicit ReverseCacheEntry(const std::string& hostname) : m_hostname(hostname), m_created(std::time(nullptr)) {}

        std::string m_hostname;  ///< empty if the address has no name or the look-up failed
        std::time_t m_created;   ///< when the look-up that gave this began, in seconds since the epoch

        /// Life time of every entry of every ReverseDnsCache, in seconds; set by each constructor, so the cache constructed
        /// last decides for all.
        static std::atomic<std::time_t> m_timeout;
    };

    /// @param maxSize  most addresses remembered
    /// @param timeout  life time of an answer in seconds, counted from the beginning of its look-up; holds for all caches
    explicit ReverseDnsCache(unsigned int maxSize = s_defaultMaxCacheSize, unsigned int timeout = s_defaultTimeout);
    ReverseDnsCache(const ReverseDnsCache&) = delete;
    ReverseDnsCache& operator=(const ReverseDnsCache&) = delete;

    /// A registered instance must outlive its use through Itself(); its registration ends here.
    virtual ~ReverseDnsCache();

    /// The look-up; no exception of the resolver leaves it.
    /// @param address   numeric, as RkInetAddress::CheckForNumeric takes it, and without a port
    /// @param hostname  the name; empty if there is none. Untouched if `address` is not numeric.
    /// @return whether there is a name
    virtual bool GetHostname(const std::string& address, std::string& hostname);

    /// @return the name; empty if there is none
    virtual std::string GetHostname(const std::string& address);

    /// Calls Clear. @return false, always: callers do not look at it
    virtual bool Reset();

    /// Forgets all answers and zeroes the counters. @return false, always
    virtual bool Clear();

    /// Registers this object as the instance of the process; it stays the caller's. RkDnsCache::SetYourself does not.
    void SetYourself();

    /// The registered instance; if there is none, one with the defaults is made, registered, and destroyed at process exit.
    static ReverseDnsCache& Itself();

    /// @return number of threads whose look-up began more than `seconds` seconds ago
    unsigned int GetBlockedCount(unsigned int seconds);

    /// How full the cache is and how often it answered.
    RkCacheCounters GetCounters();

protected:
    static std::atomic<ReverseDnsCache*> s_pMyself;  ///< not owned; read and written without a lock
    static constexpr unsigned int s_defaultMaxCacheSize = 25000;
    static constexpr unsigned int s_defaultTimeout = 900;  ///< seconds

    RkStringKeyCache<ReverseCacheEntry, ReverseCacheEntry::CallBack> m_cache;  ///< by address text; guarded by m_wlLock
    RkLookupWaitingList m_waitingList;                                         ///< guarded by m_wlLock
    RkCriticalSection m_wlLock;                                                ///< never held across a resolver call

private:
    bool FindOrEnter(const std::string& address, ReverseCacheEntry& entry);
    static std::string Resolve(const RkInetAddress& address) noexcept;
};
