#include "tests/support/FakeResolver.h"

#include <dlfcn.h>
#include <netdb.h>
#include <netinet/in.h>

#include <algorithm>
#include <atomic>
#include <cstring>

namespace {

std::atomic<FakeResolver*> g_active{nullptr};

template <class Function>
Function* System(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string TextOf(const sockaddr* address, socklen_t length) {
    char text[INET6_ADDRSTRLEN] = "";
    System<decltype(getnameinfo)>("getnameinfo")(address, length, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
    return text;
}

}  // namespace

// The answer is the system's for each numeric address, one list after the other; the system's freeaddrinfo takes that.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result) {
    const auto system = System<decltype(getaddrinfo)>("getaddrinfo");
    FakeResolver* const fake = g_active;
    if (!fake || !name)
        return system(name, service, hints, result);
    addrinfo numeric = hints ? *hints : addrinfo{};
    numeric.ai_flags |= AI_NUMERICHOST;
    *result = nullptr;
    addrinfo** end = result;
    for (const auto& address : fake->Ask(name, false))
        if (system(address.c_str(), service, &numeric, end) == 0)
            while (*end)
                end = &(*end)->ai_next;
    return *result ? 0 : EAI_NONAME;
}

extern "C" int getnameinfo(const sockaddr* address, socklen_t length, char* host, socklen_t hostLength, char* service,
                           socklen_t serviceLength, int flags) {
    FakeResolver* const fake = g_active;
    if (!fake || !host)
        return System<decltype(getnameinfo)>("getnameinfo")(address, length, host, hostLength, service, serviceLength,
                                                            flags);
    const std::string name = fake->Ask(TextOf(address, length), true)[0];
    if (name.empty() || name.size() >= hostLength)
        return EAI_NONAME;
    std::memcpy(host, name.c_str(), name.size() + 1);
    return 0;
}

FakeResolver::FakeResolver() { g_active = this; }

FakeResolver::~FakeResolver() { g_active = nullptr; }

void FakeResolver::Add(const std::string& name, const std::vector<std::string>& addresses) {
    const std::lock_guard guard(m_lock);
    m_forward[name] = addresses;
}

void FakeResolver::AddReverse(const std::string& address, const std::string& name) {
    const std::lock_guard guard(m_lock);
    m_reverse[address] = {name};
}

void FakeResolver::Remove(const std::string& nameOrAddress) {
    const std::lock_guard guard(m_lock);
    m_forward.erase(nameOrAddress);
    m_reverse.erase(nameOrAddress);
}

void FakeResolver::OnLookup(Hook hook) {
    const std::lock_guard guard(m_lock);
    m_hook = std::move(hook);
}

int FakeResolver::Lookups(const std::string& nameOrAddress) const {
    const std::lock_guard guard(m_lock);
    return static_cast<int>(std::count(m_lookups.begin(), m_lookups.end(), nameOrAddress));
}

int FakeResolver::TotalLookups() const {
    const std::lock_guard guard(m_lock);
    return static_cast<int>(m_lookups.size());
}

std::vector<std::string> FakeResolver::Ask(const std::string& nameOrAddress, bool reverse) {
    std::unique_lock guard(m_lock);
    m_lookups.push_back(nameOrAddress);
    const Hook hook = m_hook;
    guard.unlock();
    if (hook)
        hook(nameOrAddress);
    guard.lock();
    const auto& table = reverse ? m_reverse : m_forward;
    const auto found = table.find(nameOrAddress);
    return found != table.end() ? found->second : std::vector<std::string>{reverse ? "" : nameOrAddress};
}
