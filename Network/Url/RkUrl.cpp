#include "Network/Url/RkUrl.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Network/Network/RkDnsCache.h"
#include "Network/Network/RkNetwork.h"
#include "Network/Url/RkPathCleaner.h"
#include "Network/Url/RkPercentCoding.h"
#include "Network/Url/RkUrlText.h"

std::atomic<bool> RkUrl::s_enableDnsLookup = true;

namespace {

constexpr std::string_view SCHEME_END = "://";

struct Scheme {
    std::string_view name;
    RkUrl::Protocols protocol;  ///< and, by the same number, the service
    RkUrl::DefaultPort port;
};

constexpr Scheme SCHEMES[] = {
    {"http", RkUrl::RK_PROTO_HTTP, RkUrl::RK_PORT_HTTP},  {"https", RkUrl::RK_PROTO_HTTPS, RkUrl::RK_PORT_HTTPS},
    {"ftp", RkUrl::RK_PROTO_FTP, RkUrl::RK_PORT_FTP},     {"gopher", RkUrl::RK_PROTO_GOPHER, RkUrl::RK_PORT_GOPHER},
    {"realaudio", RkUrl::RK_PROTO_RA, RkUrl::RK_PORT_RA}, {"news", RkUrl::RK_PROTO_NNTP, RkUrl::RK_PORT_NNTP},
    {"irc", RkUrl::RK_PROTO_IRC, RkUrl::RK_PORT_IRC},     {"telnet", RkUrl::RK_PROTO_TELNET, RkUrl::RK_PORT_TELNET},
};

const Scheme* FindScheme(std::string_view name) {
    const auto* found = std::ranges::find(SCHEMES, name, &Scheme::name);
    return found == std::end(SCHEMES) ? nullptr : found;
}

std::size_t FindSchemeEnd(const std::string& text) {
    std::size_t colon = RkUrlText::Find(text, ':');
    while (colon != std::string::npos && text.compare(colon, SCHEME_END.size(), SCHEME_END) != 0)
        colon = RkUrlText::Find(text, ':', colon + 1);
    return colon;
}

}  // namespace

RkUrl::RkUrl(const std::string& url) : m_escapedUrl(url) { decodeUrl(); }

RkUrl::~RkUrl() = default;

// The parameter may be one of this object's texts: it is used up by the first line.
void RkUrl::setUrl(const std::string& url) {
    m_escapedUrl = url;
    m_unescapedUrl.clear();
    reset();
    decodeUrl();
}

void RkUrl::decodeUrl() {
    RkPercentCoding::Decode(m_escapedUrl, m_unescapedUrl);
    if (!m_unescapedUrl.empty())
        parseUrl();
}

// The positions may be npos, which wraps around, and may lie beyond a text that a scheme was put in front of: then the name
// goes to the end.
void RkUrl::setHostname(const std::string& name) {
    std::string url = m_escapedUrl;
    const std::size_t hostStart = m_protocol_placeholder + m_userinfo_placeholder + 4;
    url.replace(std::min(hostStart, url.size()), m_port_placeholder, name);
    setUrl(url);
}

void RkUrl::reset() {
    for (std::string* text :
         {&m_protocol, &m_userinfo, &m_password, &m_hostname, &m_portString, &m_filename, &m_extension, &m_anchor})
        text->clear();
    m_protocol_placeholder = m_userinfo_placeholder = m_password_placeholder = 0;
    m_hostname_placeholder = m_port_placeholder = m_anchor_placeholder = 0;
    m_ipAddress = RkInetAddress();
    m_port = -1;
    m_protocol_segment = m_userinfo_segment = m_password_segment = m_hostname_segment = false;
    m_port_segment = m_filename_segment = m_anchor_segment = m_ipv6_hostname = false;
}

void RkUrl::parseUrl() {
    isFormattingGood();
    if (!m_protocol_segment)
        return;
    determineMajorSegments();
    getSegments();
}

// A "://" behind a "?" or a "/" belongs to a URL inside this one, whose scheme was left out.
void RkUrl::isFormattingGood() {
    m_protocol_placeholder = FindSchemeEnd(m_unescapedUrl);
    m_protocol_segment = m_protocol_placeholder != std::string::npos && m_protocol_placeholder != 0;
    if (!m_protocol_segment)
        return;
    const auto schemeEnd = m_unescapedUrl.begin() + static_cast<std::ptrdiff_t>(m_protocol_placeholder);
    if (std::any_of(m_unescapedUrl.begin(), schemeEnd, [](char c) { return c == '?' || c == '/'; })) {
        prependToUnescapedUrl("http://");
        m_protocol_placeholder = 4;
    }
}

void RkUrl::determineMajorSegments() {
    const std::size_t authority = m_protocol_placeholder + SCHEME_END.size();
    if (authority == m_unescapedUrl.size())
        return;
    m_hostname_segment = true;
    m_hostname_placeholder = RkUrlText::Find(m_unescapedUrl, '/', authority);
    if (m_hostname_placeholder == std::string::npos)
        return;
    m_filename_segment = true;
    m_anchor_placeholder = RkUrlText::Find(m_unescapedUrl, '#', m_hostname_placeholder);
    m_anchor_segment = m_anchor_placeholder != std::string::npos;
}

void RkUrl::getSegments() {
    getProtocolSegment();
    getHostnameSegment();
    getFilenameSegment();
}

// White space in front costs the scheme as many characters at its end: callers rely on it (test
// LeadingWhiteSpaceShortensTheScheme).
void RkUrl::getProtocolSegment() {
    const auto first = std::ranges::find_if_not(m_unescapedUrl, RkUrlText::IsSpace);
    const auto spaces = static_cast<std::size_t>(first - m_unescapedUrl.begin());
    if (m_protocol_placeholder > 2 * spaces)
        m_protocol.assign(m_unescapedUrl, spaces, m_protocol_placeholder - 2 * spaces);
    RkUrlText::Lower(m_protocol);
}

void RkUrl::getHostnameSegment() {
    if (!m_hostname_segment)
        return;
    const std::size_t authority = m_protocol_placeholder + SCHEME_END.size();
    m_hostname.assign(m_unescapedUrl, authority, m_hostname_placeholder - authority);
    if (m_hostname.empty())
        return;
    determineMinorSegments();
    RkUrlText::TrimEnd(m_hostname, ']');
    stripBrackets();
    RkUrlText::Lower(m_hostname);
}

void RkUrl::determineMinorSegments() {
    splitUserInfo();
    splitPort();
    getPasswordSegment();
    getPortNumber();
}

void RkUrl::splitUserInfo() {
    m_userinfo_placeholder = RkUrlText::Find(m_hostname, '@');
    if (m_userinfo_placeholder == std::string::npos)
        return;
    m_userinfo_segment = m_userinfo_placeholder > 0;
    m_userinfo.assign(m_hostname, 0, m_userinfo_placeholder);
    m_hostname.erase(0, m_userinfo_placeholder + 1);
}

// An IPv6 address without brackets is split at its first colon.
void RkUrl::splitPort() {
    const std::size_t afterBracket = RkUrlText::Find(m_hostname, ']') + 1;  // 0 without one
    const bool endsInBracket = afterBracket != 0 && afterBracket == m_hostname.size();
    m_port_placeholder = endsInBracket ? std::string::npos : RkUrlText::Find(m_hostname, ':', afterBracket);
    m_port_segment = m_port_placeholder != std::string::npos;
    if (!m_port_segment)
        return;
    m_portString.assign(m_hostname, m_port_placeholder + 1);
    m_hostname.resize(m_port_placeholder);
}

// A user-info without colon is both user and password: the whole of it, since npos + 1 is 0. Callers rely on it (test
// UserWithoutPasswordIsItsOwnPassword).
void RkUrl::getPasswordSegment() {
    if (!m_userinfo_segment)
        return;
    m_password_placeholder = RkUrlText::Find(m_userinfo, ':');
    m_password_segment = true;
    m_password.assign(m_userinfo, m_password_placeholder + 1);
    m_userinfo.resize(std::min(m_password_placeholder, m_userinfo.size()));
}

void RkUrl::getPortNumber() {
    if (!m_port_segment || m_portString.empty())
        return;
    RkUrlText::TrimEnd(m_portString);
    const long port = std::strtol(m_portString.c_str(), nullptr, 10);                  // long has 64 bits here
    m_port = static_cast<std::int32_t>(std::clamp<long>(port, INT32_MIN, INT32_MAX));  // a far one must not become 80
}

void RkUrl::stripBrackets() {
    if (m_hostname.size() < 2 || m_hostname.back() != ']')
        return;
    const std::size_t bracket = RkUrlText::Find(m_hostname, '[');
    m_ipv6_hostname = bracket != std::string::npos;
    if (!m_ipv6_hostname)
        return;
    m_hostname.pop_back();
    m_hostname.erase(0, bracket + 1);
}

void RkUrl::getFilenameSegment() {
    if (!m_filename_segment || m_hostname_placeholder + 1 == m_unescapedUrl.size())
        return;
    m_filename.assign(m_unescapedUrl, m_hostname_placeholder + 1);
    getAnchorSegment();
    if (!m_filename.empty())
        cleanFilename();
    getExtensionSegment();
}

// A "#" at the very end stays part of the file name.
void RkUrl::getAnchorSegment() {
    if (!m_anchor_segment || m_anchor_placeholder + 1 == m_unescapedUrl.size())
        return;
    m_anchor.assign(m_unescapedUrl, m_anchor_placeholder + 1);
    m_filename.resize(m_filename.size() - m_anchor.size() - 1);
}

void RkUrl::cleanFilename() { RkPathCleaner::Clean(m_filename); }

void RkUrl::getExtensionSegment() {
    const std::string_view searched = RkUrlText::Searched(m_filename);
    const std::size_t end =
        std::min({RkUrlText::FindLast(searched, '#'), RkUrlText::Find(m_filename, '?'), m_filename.size()});
    const std::size_t dot = RkUrlText::FindLast(searched.substr(0, end), '.');
    if (dot == std::string::npos || searched.substr(dot, end - dot).find('/') != std::string::npos)
        return;
    m_extension.assign(m_filename, dot + 1, end - dot - 1);
    RkUrlText::Lower(m_extension);
}

void RkUrl::prependToUnescapedUrl(const std::string& text) { m_unescapedUrl.insert(0, text); }

void RkUrl::getIpAddress(RkInetAddress& out) const {
    checkResolveHostname(false);
    out = m_ipAddress;
}

void RkUrl::getIpAddress(unsigned int& out) const {
    checkResolveHostname(true);
    if (m_ipAddress.IsV4())
        out = m_ipAddress.GetIpAddress(false);
}

unsigned int RkUrl::getIpAddress() const {
    checkResolveHostname(true);
    return m_ipAddress.GetIpAddress(false);
}

void RkUrl::checkResolveHostname(bool v4Only) const {
    if (s_enableDnsLookup && m_ipAddress.IsAnyAddress())
        lookUpAddress(v4Only);
}

// Whatever is thrown, the address stays as it was.
void RkUrl::lookUpAddress(bool v4Only) const {
    try {
        m_ipAddress = RkDnsCache::Itself().GetOneIP(m_hostname, v4Only);
    } catch (...) {}
}

std::string& RkUrl::getIPv4Address(std::string& out) const {
    out.clear();
    RkInetAddress address = chooseAddress();
    if (address.IsV6Mapped()) {
        address.GetV4Address(m_ipAddress);
        address = m_ipAddress;
    }
    if (address.IsV4())
        RkNetwork::InetNtoa(address, out);
    return out;
}

RkInetAddress RkUrl::chooseAddress() const {
    RkInetAddress numeric;
    if (m_hostname.empty())
        return m_ipAddress;
    if (RkInetAddress::CheckForNumeric(m_hostname, numeric))
        return numeric;
    if (m_ipAddress.IsAnyAddress())
        lookUpAddress(false);
    return m_ipAddress;
}

RkUrl::ServiceType RkUrl::getServiceType() const {
    const Scheme* scheme = FindScheme(m_protocol);
    return scheme ? static_cast<ServiceType>(scheme->protocol) : RK_SERVICE_OTHER;
}

RkUrl::DefaultPort RkUrl::getDefaultPort(unsigned short protocol) {
    const auto* found = std::ranges::find(SCHEMES, protocol, &Scheme::protocol);
    return found == std::end(SCHEMES) ? RK_PORT_UNKNOWN : found->port;
}

RkUrl::DefaultPort RkUrl::getDefaultPort(const std::string& scheme) {
    const Scheme* found = FindScheme(scheme);
    return found ? found->port : RK_PORT_UNKNOWN;
}

void RkUrl::normalizeHostname() {
    RkInetAddress address;
    if (m_hostname.empty() || !RkInetAddress::CheckForNumeric(m_hostname, address))
        return;
    m_ipAddress = address;
    const std::string canonical = address.ToString();
    if (canonical == m_hostname)
        return;
    m_hostname = canonical;
    rebuildUnescapedUrl();
}

void RkUrl::rebuildUnescapedUrl() {
    std::string url = m_protocol + "://";
    if (m_userinfo_segment)
        url += m_userinfo + (m_password_segment ? ":" + m_password : "") + "@";
    url += m_ipAddress.IsV4() ? m_hostname : "[" + m_hostname + "]";
    if (m_port != -1)
        url += ":" + m_portString;
    if (!m_filename.empty())
        url += "/" + m_filename + (m_anchor_segment ? "#" + m_anchor : "");
    m_unescapedUrl = std::move(url);
}

std::string& RkUrl::escapeString(const std::string& in, std::string& out) {
    if (&in == &out)
        return escapeString(std::string(in), out);
    RkPercentCoding::Encode(in, out);
    return out;
}

std::string& RkUrl::unescapeString(const std::string& in, std::string& out) {
    if (&in == &out)
        return unescapeString(std::string(in), out);
    RkPercentCoding::Decode(in, out);
    return out;
}
