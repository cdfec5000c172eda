#include "Network/Directory/RkDirectoryPath.h"

#include <string_view>

namespace {

/// The end of the component that begins at `begin`: its comma, or the end of the text.
std::size_t FindComponentEnd(std::wstring_view domain, std::size_t begin) {
    bool quoted = false;
    for (std::size_t i = begin; i < domain.size(); ++i) {
        if (domain[i] == L',' && !quoted)
            return i;
        if (domain[i] == L'"' && (i == begin || domain[i - 1] != L'\\'))
            quoted = !quoted;
    }
    return domain.size();
}

std::wstring_view TrimBlanks(std::wstring_view text) {
    const std::size_t first = text.find_first_not_of(L' ');
    return first == text.npos ? std::wstring_view() : text.substr(first, text.find_last_not_of(L' ') - first + 1);
}

std::vector<std::wstring_view> SplitComponents(std::wstring_view domain) {
    std::vector<std::wstring_view> components;
    for (std::size_t begin = 0; begin < domain.size();) {
        const std::size_t end = FindComponentEnd(domain, begin);
        if (const auto component = TrimBlanks(domain.substr(begin, end - begin)); !component.empty())
            components.push_back(component);
        begin = end + 1;
    }
    return components;
}

}  // namespace

RkDirectoryPath::RkDirectoryPath(const RkWString& path) { setPath(path); }

RkDirectoryPath::RkDirectoryPath(const RkWString& DSType, const RkWString& domain, const RkWString& end)
    : RkDirectoryPath(DSType, RkWString(), domain, end) {}

RkDirectoryPath::RkDirectoryPath(const RkWString& DSType, const RkWString& server, const RkWString& domain,
                                 const RkWString& end) {
    RkDirectoryPath::set(DSType, server, domain, end);
}

RkDirectoryPath::~RkDirectoryPath() = default;

const RkWString& RkDirectoryPath::getPath() const { return m_path; }
const RkWString& RkDirectoryPath::getDSType() const { return m_DSType; }
const RkWString& RkDirectoryPath::getServerName() const { return m_server; }
const RkWString& RkDirectoryPath::getDomain() const { return m_domain; }
const std::vector<RkWString>& RkDirectoryPath::getDomains() const { return m_domains; }
const RkWString& RkDirectoryPath::getEnd() const { return m_end; }

void RkDirectoryPath::set(const RkWString& DSType, const RkWString& server, const RkWString& domain,
                          const RkWString& end) {
    m_path = DSType + L"://" + (server.empty() ? server : server + L" ") + domain +
             (end.empty() ? end : RkWString(L"/") + end);
    m_DSType = DSType;
    m_server = server;
    m_domain = domain;
    m_end = end;
    parseDomain(m_domain);
    composeLowerPath();
}

void RkDirectoryPath::setPath(const RkWString& path) {
    if (path.empty()) {
        for (RkWString* text : {&m_path, &m_lowerPath, &m_DSType, &m_server, &m_domain, &m_end})
            *text = RkWString();
        m_domains.clear();
        return;
    }
    m_path = path;
    parse(m_path);
    composeLowerPath();
}

void RkDirectoryPath::composeLowerPath() {
    m_pathI18n.Assign(m_DSType + L"://" + m_domain + (m_end.empty() ? m_end : RkWString(L"/") + m_end));
    m_pathI18n.ToLower();
    m_lowerPath = m_pathI18n.ToWString();
}

void RkDirectoryPath::parse(const RkWString& path) {
    if (path.empty())
        return;
    const std::size_t typeEnd = path.find(L"://");
    m_DSType = path.substr(0, typeEnd);
    if (typeEnd == RkWString::npos)
        return;
    std::size_t position = typeEnd + 3;
    if (m_DSType == L"LDAP") {
        if (const std::size_t blank = path.find(L" ", position); blank != RkWString::npos) {
            m_server = path.substr(position, blank - position);
            position = blank + 1;
        }
    }
    if (position == path.size())
        return;
    const std::size_t slash = path.find(L"/", position);
    m_domain = path.substr(position, slash == RkWString::npos ? slash : slash - position);
    parseDomain(m_domain);
    if (slash != RkWString::npos && slash + 1 < path.size())
        m_end = path.substr(slash + 1);
}

void RkDirectoryPath::parseDomain(const RkWString& domain) {
    const auto components = SplitComponents(domain.GetText());
    std::vector<RkWString> domains(components.size());
    std::wstring joined;
    for (std::size_t i = components.size(); i-- > 0;) {
        joined.insert(0, joined.empty() ? L"" : L",");
        joined.insert(0, components[i]);
        domains[i] = joined;
    }
    m_domains = std::move(domains);
}
