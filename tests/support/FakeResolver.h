/// The system's resolver, replaced for one scope: getaddrinfo and getnameinfo answer from a table, also when the libraries
/// call them. A program that names this class is linked with its replacements; outside the scope they are the system's.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

class FakeResolver {
public:
    /// Called in the look-up's thread before the answer, without a lock: may block, count or throw.
    using Hook = std::function<void(const std::string& nameOrAddress)>;

    FakeResolver();
    ~FakeResolver();
    FakeResolver(const FakeResolver&) = delete;
    FakeResolver& operator=(const FakeResolver&) = delete;

    /// A name has these addresses (both families, in this order). Names that were not added are unknown, except numeric
    /// ones, which are themselves.
    void Add(const std::string& name, const std::vector<std::string>& addresses);

    /// An address has this name; the others have none.
    void AddReverse(const std::string& address, const std::string& name);

    /// Takes a name or address out again.
    void Remove(const std::string& nameOrAddress);

    void OnLookup(Hook hook);

    /// How often the name was looked up, or the address (reverse).
    int Lookups(const std::string& nameOrAddress) const;
    int TotalLookups() const;

    /// For the replacements. @return what the table has for it; otherwise a name itself, and for an address an empty text
    std::vector<std::string> Ask(const std::string& nameOrAddress, bool reverse);

private:
    mutable std::mutex m_lock;  ///< guards all below
    std::map<std::string, std::vector<std::string>> m_forward, m_reverse;
    std::vector<std::string> m_lookups;
    Hook m_hook;
};
