#include "Network/Url/RkUrl.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "Network/Network/RkDnsCache.h"
#include "Network/Network/RkNetwork.h"
#include "Network/Url/RkPercentCoding.h"

std::atomic<bool> RkUrl::s_enableDnsLookup = true;

namespace {

constexpr std::size_t NPOS = std::string::npos;
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

// The searches of the parser: they end at a NUL in the text.

std::size_t Find(const std::string& text, char c, std::size_t from = 0) {
    const char* found = std::strchr(text.c_str() + from, c);
    return found ? static_cast<std::size_t>(found - text.c_str()) : NPOS;
}

std::size_t FindSchemeEnd(const std::string& text) {
    std::size_t colon = Find(text, ':');
    while (colon != NPOS && text.compare(colon, SCHEME_END.size(), SCHEME_END) != 0)
        colon = Find(text, ':', colon + 1);
    return colon;
}

/// The part of a text that a search sees.
std::string_view Searched(const std::string& text) { return text.c_str(); }

std::size_t FindLast(std::string_view searched, char c) {
    const auto* found = static_cast<const char*>(::memrchr(searched.data(), c, searched.size()));
    return found ? static_cast<std::size_t>(found - searched.data()) : NPOS;
}

// Of ASCII, whatever the locale of the process.

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool IsLetterOrDigit(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

void Lower(std::string& text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + ('a' - 'A'));
}

/// Erases from the end what is neither letter nor digit, down to one of those or to `stop`. The first character stays,
/// whatever it is.
void TrimEnd(std::string& text, char stop = '\0') {
    std::size_t size = text.size();
    while (size > 1 && !IsLetterOrDigit(text[size - 1]) && (stop == '\0' || text[size - 1] != stop))
        --size;
    text.resize(size);
}

/// Builds a cleaned path in the room of the path it is made from.
class PathCleaner {
public:
    explicit PathCleaner(char* text) : m_text(text) {}

    void Add(std::string_view segment) {
        if (segment.empty() || segment == ".")
            return;
        if (segment == ".." && CanGoUp())
            DropLast();
        else
            Append(segment);
    }
    std::size_t Size() const { return m_size; }

private:
    std::string_view Kept() const { return {m_text, m_size}; }
    bool CanGoUp() const { return m_size > 0 && Kept() != ".." && !Kept().ends_with("/.."); }

    void DropLast() {
        const void* slash = ::memrchr(m_text, '/', m_size);
        m_size = slash ? static_cast<std::size_t>(static_cast<const char*>(slash) - m_text) : 0;
    }
    void Append(std::string_view segment) {
        if (m_size > 0)
            m_text[m_size++] = '/';
        if (m_text + m_size != segment.data())
            std::memmove(m_text + m_size, segment.data(), segment.size());
        m_size += segment.size();
    }

    char* m_text;
    std::size_t m_size = 0;
};

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
    m_protocol_segment = m_protocol_placeholder != NPOS && m_protocol_placeholder != 0;
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
    m_hostname_placeholder = Find(m_unescapedUrl, '/', authority);
    if (m_hostname_placeholder == NPOS)
        return;
    m_filename_segment = true;
    m_anchor_placeholder = Find(m_unescapedUrl, '#', m_hostname_placeholder);
    m_anchor_segment = m_anchor_placeholder != NPOS;
}

void RkUrl::getSegments() {
    getProtocolSegment();
    getHostnameSegment();
    getFilenameSegment();
}

// White space in front costs the scheme as many characters at its end: callers rely on it (test
// LeadingWhiteSpaceShortensTheScheme).
void RkUrl::getProtocolSegment() {
    const auto first = std::ranges::find_if_not(m_unescapedUrl, IsSpace);
    const auto spaces = static_cast<std::size_t>(first - m_unescapedUrl.begin());
    if (m_protocol_placeholder > 2 * spaces)
        m_protocol.assign(m_unescapedUrl, spaces, m_protocol_placeholder - 2 * spaces);
    Lower(m_protocol);
}

void RkUrl::getHostnameSegment() {
    if (!m_hostname_segment)
        return;
    const std::size_t authority = m_protocol_placeholder + SCHEME_END.size();
    m_hostname.assign(m_unescapedUrl, authority, m_hostname_placeholder - authority);
    if (m_hostname.empty())
        return;
    determineMinorSegments();
    TrimEnd(m_hostname, ']');
    stripBrackets();
    Lower(m_hostname);
}

void RkUrl::determineMinorSegments() {
    splitUserInfo();
    splitPort();
    getPasswordSegment();
    getPortNumber();
}

void RkUrl::splitUserInfo() {
    m_userinfo_placeholder = Find(m_hostname, '@');
    if (m_userinfo_placeholder == NPOS)
        return;
    m_userinfo_segment = m_userinfo_placeholder > 0;
    m_userinfo.assign(m_hostname, 0, m_userinfo_placeholder);
    m_hostname.erase(0, m_userinfo_placeholder + 1);
}

// An IPv6 address without brackets is split at its first colon.
void RkUrl::splitPort() {
    const std::size_t afterBracket = Find(m_hostname, ']') + 1;  // 0 without one
    const bool endsInBracket = afterBracket != 0 && afterBracket == m_hostname.size();
    m_port_placeholder = endsInBracket ? NPOS : Find(m_hostname, ':', afterBracket);
    m_port_segment = m_port_placeholder != NPOS;
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
    m_password_placeholder = Find(m_userinfo, ':');
    m_password_segment = true;
    m_password.assign(m_userinfo, m_password_placeholder + 1);
    m_userinfo.resize(std::min(m_password_placeholder, m_userinfo.size()));
}

void RkUrl::getPortNumber() {
    if (!m_port_segment || m_portString.empty())
        return;
    TrimEnd(m_portString);
    m_port = static_cast<std::int32_t>(std::strtol(m_portString.c_str(), nullptr, 10));
}

void RkUrl::stripBrackets() {
    if (m_hostname.size() < 2 || m_hostname.back() != ']')
        return;
    const std::size_t bracket = Find(m_hostname, '[');
    m_ipv6_hostname = bracket != NPOS;
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

void RkUrl::cleanFilename() {
    const std::size_t pathSize = std::min(Find(m_filename, '?'), m_filename.size());
    char* const text = m_filename.data();
    const bool endsInSlash = pathSize > 0 && text[pathSize - 1] == '/';
    const std::size_t searched = std::min(Searched(m_filename).size(), pathSize);
    PathCleaner path(text);
    for (std::size_t at = 0; at <= pathSize;) {
        const void* slash = at < searched ? std::memchr(text + at, '/', searched - at) : nullptr;
        const std::size_t end = slash ? static_cast<std::size_t>(static_cast<const char*>(slash) - text) : pathSize;
        path.Add({text + at, end - at});
        at = end + 1;
    }
    std::size_t size = path.Size();
    if (endsInSlash && size > 0)
        text[size++] = '/';
    m_filename.erase(size, pathSize - size);
}

void RkUrl::getExtensionSegment() {
    const std::string_view searched = Searched(m_filename);
    const std::size_t end = std::min({FindLast(searched, '#'), Find(m_filename, '?'), m_filename.size()});
    const std::size_t dot = FindLast(searched.substr(0, end), '.');
    if (dot == NPOS || searched.substr(dot, end - dot).find('/') != NPOS)
        return;
    m_extension.assign(m_filename, dot + 1, end - dot - 1);
    Lower(m_extension);
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
