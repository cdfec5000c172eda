#include "Network/Network/RkDnsCache.h"

#include <memory>

#include "Base/RkSemLock.h"

std::atomic<std::time_t> RkDnsCache::CacheEntry::m_timeout = s_defaultTimeout;
std::atomic<RkDnsCache*> RkDnsCache::s_pMyself = nullptr;
constinit RkCriticalSection RkDnsCache::s_lock;

// Ends the life of the process-wide instance with that of the process.
struct RkDnsCache::InstanceReaper {
    ~InstanceReaper() { Destroy(); }
};

namespace {

/// The resolver's answer; empty for an unknown name. Slow, and may throw.
std::vector<RkInetAddress> Resolve(const std::string& name, bool v4Only) {
    RkInetAddress* addresses = nullptr;
    int count = 0;
    RkInetAddress::GetAllAddresses(name, addresses, count, v4Only);
    const std::unique_ptr<RkInetAddress[]> owner(addresses);
    return {addresses, addresses + count};
}

}  // namespace

RkDnsCache::RkDnsCache(unsigned int maxSize, unsigned int timeout) : m_cache(maxSize) {
    CacheEntry::m_timeout = timeout;
}

RkDnsCache::~RkDnsCache() { RkDnsCache::Clear(); }

RkInetAddress RkDnsCache::GetOneIP(const std::string& name, bool v4Only) {
    std::vector<RkInetAddress> addresses;
    GetAllIPs(name, addresses, v4Only);
    return addresses.empty() ? RkInetAddress() : addresses.front();
}

std::vector<RkInetAddress> RkDnsCache::GetAllIPs(const std::string& name, bool v4Only) {
    std::vector<RkInetAddress> addresses;
    GetAllIPs(name, addresses, v4Only);
    return addresses;
}

void RkDnsCache::GetAllIPs(const std::string& name, std::vector<RkInetAddress>& out, bool v4Only) {
    RkInetAddress numeric;
    if (RkInetAddress::CheckForNumeric(name, numeric)) {
        out.push_back(v4Only && !numeric.IsV4() ? RkInetAddress() : numeric);
        return;
    }
    CacheEntry entry({});  // made now: its life counts from here
    if (FindOrEnter(name, v4Only, out))
        return;
    out.clear();
    out = Resolve(name, v4Only);
    if (out.empty())
        out.emplace_back();
    entry.m_addrs = out;
    entry.m_v4Only = v4Only;

    const RkSemLock lock(m_wlLock);
    m_cache.Insert(name, entry);
    m_waitingList.Leave(RkOS::CurrentThread());
}

/// @return whether `out` is a remembered answer; if not, the calling thread now stands in the waiting list. Both under one
///         lock, so a hit need not be noted there in between.
bool RkDnsCache::FindOrEnter(const std::string& name, bool v4Only, std::vector<RkInetAddress>& out) {
    CacheEntry known({});
    const RkSemLock lock(m_wlLock);
    const bool found = m_cache.Find(name, known) && known.m_v4Only == v4Only;
    if (found) {
        m_waitingList.Leave(RkOS::CurrentThread());
        out = std::move(known.m_addrs);
    } else
        m_waitingList.Enter(RkOS::CurrentThread(), std::time(nullptr));
    return found;
}

bool RkDnsCache::Reset() {
    Clear();
    return false;
}

bool RkDnsCache::Clear() {
    const RkSemLock lock(m_wlLock);
    m_cache.Clear(false);
    return false;
}

RkDnsCache& RkDnsCache::Create(unsigned int maxSize, unsigned int timeout) {
    if (RkDnsCache* known = s_pMyself.load(std::memory_order_acquire))
        return *known;
    static const InstanceReaper reaper;
    const RkSemLock lock(s_lock);
    if (!s_pMyself.load(std::memory_order_relaxed))
        s_pMyself.store(new RkDnsCache(maxSize, timeout), std::memory_order_release);
    return *s_pMyself.load(std::memory_order_relaxed);
}

void RkDnsCache::SetYourself() { Create(s_defaultMaxCacheSize, s_defaultTimeout); }

RkDnsCache& RkDnsCache::Itself() { return Create(s_defaultMaxCacheSize, s_defaultTimeout); }

void RkDnsCache::Destroy() {
    const RkSemLock lock(s_lock);
    delete s_pMyself.exchange(nullptr);
}

unsigned int RkDnsCache::GetBlockedCount(unsigned int seconds) {
    const RkSemLock lock(m_wlLock);
    return m_waitingList.CountBlocked(seconds, std::time(nullptr));
}

RkCacheCounters RkDnsCache::GetCounters() {
    const RkSemLock lock(m_wlLock);
    return m_cache.GetCounters();
}
