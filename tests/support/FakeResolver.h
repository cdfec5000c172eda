/// The system's resolver, replaced for one scope: getaddrinfo and getnameinfo answer from a table, also when the libraries
/// call them. The one file of a program that includes this brings the replacements; outside the scope they are the system's.
#pragma once

#include <dlfcn.h>
#include <netdb.h>
#include <netinet/in.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

class FakeResolver {
public:
    /// Called in the look-up's thread before the answer, without a lock: may block, count or throw.
    using Hook = std::function<void(const std::string& nameOrAddress)>;

    FakeResolver() { s_active = this; }
    ~FakeResolver() { s_active = nullptr; }
    FakeResolver(const FakeResolver&) = delete;
    FakeResolver& operator=(const FakeResolver&) = delete;

    static FakeResolver* Active() { return s_active; }

    /// A name has these addresses (both families, in this order), or an address has this name. What was not added is
    /// unknown, except numeric names, which are themselves.
    void Add(const std::string& nameOrAddress, const std::vector<std::string>& answers) {
        const std::lock_guard guard(m_lock);
        m_answers[nameOrAddress] = answers;
    }
    void OnLookup(Hook hook) {
        const std::lock_guard guard(m_lock);
        m_hook = std::move(hook);
    }
    /// How often the name was looked up, or the address (reverse).
    int Lookups(const std::string& nameOrAddress) const {
        const std::lock_guard guard(m_lock);
        return static_cast<int>(std::count(m_lookups.begin(), m_lookups.end(), nameOrAddress));
    }
    int TotalLookups() const {
        const std::lock_guard guard(m_lock);
        return static_cast<int>(m_lookups.size());
    }

    /// For the replacements. @return the answers: the text itself, where the table has none
    std::vector<std::string> Ask(const std::string& nameOrAddress) {
        std::unique_lock guard(m_lock);
        m_lookups.push_back(nameOrAddress);
        if (const Hook hook = m_hook) {
            guard.unlock();
            hook(nameOrAddress);
            guard.lock();
        }
        const auto found = m_answers.find(nameOrAddress);
        return found != m_answers.end() ? found->second : std::vector{nameOrAddress};
    }

private:
    static inline std::atomic<FakeResolver*> s_active = nullptr;
    mutable std::mutex m_lock;  ///< guards all below
    std::map<std::string, std::vector<std::string>> m_answers;
    std::vector<std::string> m_lookups;
    Hook m_hook;
};

template <class Function>
Function* SystemsOwn(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// The answer is the system's for each numeric address, one list after the other; the system's freeaddrinfo takes that.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result) {
    const auto system = SystemsOwn<decltype(getaddrinfo)>("getaddrinfo");
    FakeResolver* const fake = FakeResolver::Active();
    if (!fake || !name)
        return system(name, service, hints, result);
    addrinfo numeric = hints ? *hints : addrinfo{};
    numeric.ai_flags |= AI_NUMERICHOST;
    *result = nullptr;
    addrinfo** end = result;
    for (const auto& address : fake->Ask(name))
        if (system(address.c_str(), service, &numeric, end) == 0)
            while (*end)
                end = &(*end)->ai_next;
    return *result ? 0 : EAI_NONAME;
}

extern "C" int getnameinfo(const sockaddr* address, socklen_t length, char* host, socklen_t hostLength, char* service,
                           socklen_t serviceLength, int flags) {
    const auto system = SystemsOwn<decltype(getnameinfo)>("getnameinfo");
    FakeResolver* const fake = FakeResolver::Active();
    if (!fake || !host)
        return system(address, length, host, hostLength, service, serviceLength, flags);
    char text[INET6_ADDRSTRLEN] = "";
    system(address, length, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
    const std::string name = fake->Ask(text)[0];
    if (name == text || name.size() >= hostLength)
        return EAI_NONAME;
    host[name.copy(host, name.size())] = '\0';
    return 0;
}
