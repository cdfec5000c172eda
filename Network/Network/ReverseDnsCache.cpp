#include "Network/Network/ReverseDnsCache.h"

#include "Base/RkSemLock.h"
#include "Network/Network/RkInetAddress.h"

std::atomic<std::time_t> ReverseDnsCache::ReverseCacheEntry::m_timeout = s_defaultTimeout;
std::atomic<ReverseDnsCache*> ReverseDnsCache::s_pMyself = nullptr;

ReverseDnsCache::ReverseDnsCache(unsigned int maxSize, unsigned int timeout) : m_cache(maxSize) {
    ReverseCacheEntry::m_timeout = timeout;
}

ReverseDnsCache::~ReverseDnsCache() {
    ReverseDnsCache* registered = this;
    s_pMyself.compare_exchange_strong(registered, nullptr);
    ReverseDnsCache::Clear();
}

bool ReverseDnsCache::GetHostname(const std::string& address, std::string& hostname) {
    RkInetAddress numeric;
    if (!RkInetAddress::CheckForNumeric(address, numeric))
        return false;
    ReverseCacheEntry entry(hostname);
    if (!FindOrEnter(address, entry)) {
        entry.m_hostname = Resolve(numeric);
        const RkSemLock lock(m_wlLock);
        m_cache.Insert(address, entry);
        m_waitingList.Leave(RkOS::CurrentThread());
    }
    hostname = entry.m_hostname;
    return !hostname.empty();
}

std::string ReverseDnsCache::GetHostname(const std::string& address) {
    std::string hostname;
    GetHostname(address, hostname);
    return hostname;
}

/// @return whether `entry` is a live answer; if not, the calling thread stands in the waiting list. All under one lock, so
///         a hit need not be noted there in between.
bool ReverseDnsCache::FindOrEnter(const std::string& address, ReverseCacheEntry& entry) {
    const RkSemLock lock(m_wlLock);
    const bool found = m_cache.Find(address, entry);
    if (found)
        m_waitingList.Leave(RkOS::CurrentThread());
    else
        m_waitingList.Enter(RkOS::CurrentThread(), std::time(nullptr));
    return found;
}

/// The resolver's answer; empty for an address without a name and for whatever went wrong, which is remembered alike.
std::string ReverseDnsCache::Resolve(const RkInetAddress& address) noexcept {
    try {
        return RkInetAddress::GetHostByAddr(address);
    } catch (...) {
        return {};
    }
}

bool ReverseDnsCache::Reset() {
    Clear();
    return false;
}

bool ReverseDnsCache::Clear() {
    const RkSemLock lock(m_wlLock);
    m_cache.Clear(false);
    return false;
}

void ReverseDnsCache::SetYourself() { s_pMyself = this; }

ReverseDnsCache& ReverseDnsCache::Itself() {
    if (ReverseDnsCache* registered = s_pMyself)
        return *registered;
    static ReverseDnsCache instance;
    s_pMyself = &instance;
    return instance;
}

unsigned int ReverseDnsCache::GetBlockedCount(unsigned int seconds) {
    const RkSemLock lock(m_wlLock);
    return m_waitingList.CountBlocked(seconds, std::time(nullptr));
}

RkCacheCounters ReverseDnsCache::GetCounters() {
    const RkSemLock lock(m_wlLock);
    return m_cache.GetCounters();
}
