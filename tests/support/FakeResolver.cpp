#include "tests/support/FakeResolver.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netdb.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

std::atomic<FakeResolver*> g_active{nullptr};

char g_mark[] = "fake";  ///< the canonical name of every entry that was made here

struct Entry : addrinfo {
    sockaddr_storage room{};
};

/// One entry of a result list; null for a text that is no address of the family.
Entry* MakeEntry(int family, const std::string& text, const addrinfo* hints, const char* service) {
    sockaddr_in four{};
    sockaddr_in6 six{};
    void* const bytes = family == AF_INET ? static_cast<void*>(&four.sin_addr) : &six.sin6_addr;
    if (inet_pton(family, text.c_str(), bytes) != 1)
        return nullptr;
    const in_port_t port = htons(static_cast<std::uint16_t>(service ? std::atoi(service) : 0));
    auto entry = std::make_unique<Entry>();
    four.sin_family = AF_INET;
    four.sin_port = port;
    six.sin6_family = AF_INET6;
    six.sin6_port = port;
    entry->ai_family = family;
    entry->ai_socktype = hints ? hints->ai_socktype : 0;
    entry->ai_protocol = hints ? hints->ai_protocol : 0;
    entry->ai_addrlen = family == AF_INET ? sizeof four : sizeof six;
    entry->ai_addr = reinterpret_cast<sockaddr*>(&entry->room);
    entry->ai_canonname = g_mark;
    entry->ai_next = nullptr;
    if (family == AF_INET)
        std::memcpy(&entry->room, &four, sizeof four);
    else
        std::memcpy(&entry->room, &six, sizeof six);
    return entry.release();
}

template <class Function>
Function* Original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result) {
    FakeResolver* const fake = FakeResolver::Active();
    if (!fake || !name)
        return Original<decltype(getaddrinfo)>("getaddrinfo")(name, service, hints, result);
    *result = nullptr;
    addrinfo** end = result;
    for (const auto& text : fake->Forward(name))
        for (const int family : {AF_INET, AF_INET6})
            if (!hints || hints->ai_family == AF_UNSPEC || hints->ai_family == family)
                if ((*end = MakeEntry(family, text, hints, service)) != nullptr)
                    end = &(*end)->ai_next;
    return *result ? 0 : EAI_NONAME;
}

extern "C" void freeaddrinfo(addrinfo* list) noexcept {
    if (list && list->ai_canonname != g_mark) {
        Original<decltype(freeaddrinfo)>("freeaddrinfo")(list);
        return;
    }
    while (list) {
        addrinfo* const next = list->ai_next;
        delete static_cast<Entry*>(list);
        list = next;
    }
}

extern "C" int getnameinfo(const sockaddr* address, socklen_t length, char* host, socklen_t hostLength, char* service,
                           socklen_t serviceLength, int flags) {
    FakeResolver* const fake = FakeResolver::Active();
    if (!fake || !host)
        return Original<decltype(getnameinfo)>("getnameinfo")(address, length, host, hostLength, service, serviceLength,
                                                              flags);
    char text[INET6_ADDRSTRLEN] = "";
    if (address->sa_family == AF_INET)
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, text, sizeof text);
    else
        inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, text, sizeof text);
    const std::string name = fake->Reverse(text);
    if (name.empty())
        return EAI_NONAME;
    if (name.size() >= hostLength)
        return EAI_OVERFLOW;
    std::memcpy(host, name.c_str(), name.size() + 1);
    return 0;
}

FakeResolver::FakeResolver() { g_active = this; }

FakeResolver::~FakeResolver() { g_active = nullptr; }

FakeResolver* FakeResolver::Active() { return g_active; }

void FakeResolver::Add(const std::string& name, const std::vector<std::string>& addresses) {
    const std::lock_guard guard(m_lock);
    m_forward[name] = addresses;
}

void FakeResolver::AddReverse(const std::string& address, const std::string& name) {
    const std::lock_guard guard(m_lock);
    m_reverse[address] = name;
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
    const auto found = m_lookups.find(nameOrAddress);
    return found == m_lookups.end() ? 0 : found->second;
}

int FakeResolver::TotalLookups() const {
    const std::lock_guard guard(m_lock);
    int total = 0;
    for (const auto& lookup : m_lookups)
        total += lookup.second;
    return total;
}

std::vector<std::string> FakeResolver::Forward(const std::string& name) {
    Note(name);
    const std::lock_guard guard(m_lock);
    const auto found = m_forward.find(name);
    return found == m_forward.end() ? std::vector{name} : found->second;
}

std::string FakeResolver::Reverse(const std::string& address) {
    Note(address);
    const std::lock_guard guard(m_lock);
    const auto found = m_reverse.find(address);
    return found == m_reverse.end() ? "" : found->second;
}

void FakeResolver::Note(const std::string& nameOrAddress) {
    Hook hook;
    {
        const std::lock_guard guard(m_lock);
        ++m_lookups[nameOrAddress];
        hook = m_hook;
    }
    if (hook)
        hook(nameOrAddress);
}
