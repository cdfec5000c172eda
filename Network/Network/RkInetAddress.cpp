#include "Network/Network/RkInetAddress.h"

#include <netdb.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <istream>
#include <memory>
#include <ostream>
#include <string_view>

#include "Network/Network/MurmurHash3.h"
#include "Network/Network/RkAddressText.h"
#include "Network/Network/RkMessage.h"
#include "Network/Network/RkNetwork.h"
#include "Network/Network/RkNetworkException.h"

namespace {

constexpr unsigned int HASH_SEED = 0xDEADBEEF;
constexpr std::size_t HOSTNAME_ROOM = 100;

/// An endpoint text, split in place.
struct Endpoint {
    std::string_view address;
    RkUInt16 port = 0;
};

RkUInt16 ParsePort(const char* text) { return static_cast<RkUInt16>(std::strtol(text, nullptr, 10)); }

/// The forms 'address', 'address:port' and a bare IPv6 address.
bool SplitPlain(const std::string& text, Endpoint& endpoint) {
    const auto colon = text.rfind(':');
    const bool hasPort = colon != std::string::npos && (colon == 0 || text.rfind(':', colon - 1) == std::string::npos);
    if (!hasPort) {
        endpoint.address = text;
        return true;
    }
    if (colon + 1 == text.size())
        return false;
    endpoint.port = ParsePort(text.c_str() + colon + 1);
    endpoint.address = std::string_view(text).substr(0, colon);
    return true;
}

/// The forms '[address]' and '[address]:port'; what stands before the bracket does not matter, nor what follows it in a text
/// without any colon.
bool SplitBracketed(const std::string& text, std::size_t open, Endpoint& endpoint) {
    const auto close = text.find(']', open);
    if (close == std::string::npos)
        return false;
    endpoint.address = std::string_view(text).substr(open + 1, close - open - 1);
    const auto colon = text.rfind(':');
    if (close + 1 == text.size() || colon == std::string::npos)
        return true;
    if (colon != close + 1 || colon + 1 == text.size())
        return false;
    endpoint.port = ParsePort(text.c_str() + colon + 1);
    return true;
}

bool Split(const std::string& text, Endpoint& endpoint) {
    const auto open = text.find('[');
    return open == std::string::npos ? SplitPlain(text, endpoint) : SplitBracketed(text, open, endpoint);
}

using AddrInfoList = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

AddrInfoList Resolve(const std::string& name, bool v4Only) {
    addrinfo hints{};
    hints.ai_family = v4Only ? AF_INET : AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* first = nullptr;
    if (::getaddrinfo(name.c_str(), nullptr, &hints, &first) != 0)
        first = nullptr;  // an unknown name has no addresses; no failure here
    return {first, &::freeaddrinfo};
}

int CountResults(const addrinfo* entry) {
    int count = 0;
    for (; entry; entry = entry->ai_next)
        ++count;
    return count;
}

RkInetAddress AddressOf(const addrinfo& entry) {
    if (entry.ai_family == AF_INET)
        return {reinterpret_cast<const sockaddr_in*>(entry.ai_addr)->sin_addr, 0};
    RkUInt32 words[4];
    std::memcpy(words, &reinterpret_cast<const sockaddr_in6*>(entry.ai_addr)->sin6_addr, sizeof words);
    return {words, 4, 0, true, false};
}

/// Heap object on purpose: it outlives every static destructor that might still ask for it.
RkInetAddress* FindMyAddress(bool v4Only) {
    auto address = std::make_unique<RkInetAddress>();
    const std::string name = RkInetAddress::GetHostname();
    try {
        if (!name.empty())
            RkInetAddress::GetOneAddress(name, *address, v4Only);
    } catch (const RkNetworkException&) {
        // A host without an address of its own keeps 0.0.0.0.
    }
    return address.release();
}

}  // namespace

const RkUInt32 RkInetAddress::cuiFFFFNetwork = htonl(0x0000FFFF);
const RkUInt32 RkInetAddress::cuiLocalNetwork = htonl(INADDR_LOOPBACK);
const RkUInt32 RkInetAddress::cuiLocal6Network = htonl(1);

RkInetAddress::RkInetAddress() : m_family(AF_INET), m_port(0), m_addr{} {}

RkInetAddress::RkInetAddress(const sockaddr_in* addr, int /*len*/) : RkInetAddress(addr->sin_addr, addr->sin_port) {}

// Not converted: callers pass sin_port as the kernel filled it in.
RkInetAddress::RkInetAddress(const in_addr& addr, RkUInt16 port) : m_family(AF_INET), m_port(port), m_addr{} {
    m_addr.inet_u.u_in4 = addr;
}

RkInetAddress::RkInetAddress(const RkInetAddress&) = default;

RkInetAddress::RkInetAddress(const std::string& addr, RkUInt16 port, bool promoteToV6) : RkInetAddress() {
    SetFromString(addr, port, promoteToV6);
}

RkInetAddress::RkInetAddress(const char* addr, RkUInt16 port, bool promoteToV6) : RkInetAddress() {
    SetFromString(addr, port, promoteToV6);
}

RkInetAddress::RkInetAddress(RkUInt32 addr, RkUInt16 port) : RkInetAddress() { Set(port, addr, false); }

RkInetAddress::RkInetAddress(RkUInt32* addr, int len, RkUInt16 port, bool inNetworkOrder, bool demoteToV4)
    : RkInetAddress() {
    Set(port, addr, len, inNetworkOrder, demoteToV4);
}

RkInetAddress::~RkInetAddress() = default;

RkInetAddress& RkInetAddress::operator=(const RkInetAddress&) = default;

RkInetAddress& RkInetAddress::operator=(const sockaddr_in* addr) {
    AssignInet4Addr(addr);
    return *this;
}

RkInetAddress& RkInetAddress::operator=(std::string addr) {
    SetFromString(addr, 0, false);
    return *this;
}

RkInetAddress& RkInetAddress::operator=(const char* addr) {
    SetFromString(addr, 0, false);
    return *this;
}

RkInetAddress& RkInetAddress::Set(RkUInt16 port, RkUInt32 addr, bool inNetworkOrder) {
    return Set(port, &addr, 1, inNetworkOrder, false);
}

RkInetAddress& RkInetAddress::Set(RkUInt16 port, RkUInt32* addr, int len, bool inNetworkOrder, bool demoteToV4) {
    const auto network = [=](RkUInt32 word) { return inNetworkOrder ? word : htonl(word); };
    m_port = inNetworkOrder ? port : htons(port);
    const bool demoted = len >= 4 && demoteToV4 && addr[0] == 0 && addr[1] == 0 &&
                         (network(addr[2]) == cuiFFFFNetwork || (addr[2] == 0 && addr[3] == 0));
    if (len < 4 || demoted) {
        m_family = AF_INET;
        m_addr.inet_u.u_in4.s_addr = network(demoted ? addr[3] : addr[0]);
        return *this;
    }
    m_family = AF_INET6;
    std::transform(addr, addr + 4, m_addr.inet_u.u_in6.s6_addr32, network);
    return *this;
}

RkInetAddress& RkInetAddress::SetNetworkOrder(RkUInt16 port, RkUInt32* addr, int len, bool demoteToV4) {
    return Set(port, addr, len, true, demoteToV4);
}

void RkInetAddress::SetPort(RkUInt16 port) { m_port = htons(port); }

RkUInt16 RkInetAddress::GetPort() const { return ntohs(m_port); }

void RkInetAddress::SetIpAddress(RkUInt32 addr) { Set(GetPort(), addr, false); }

void RkInetAddress::SetIpAddress(const char* addr) { SetFromString(addr, GetPort(), false); }

void RkInetAddress::SetIpAddress(const std::string& addr) { SetFromString(addr, GetPort(), false); }

void RkInetAddress::AssignInet4Addr(const sockaddr_in* addr) {
    m_family = AF_INET;
    m_port = addr->sin_port;
    m_addr.inet_u.u_in4 = addr->sin_addr;
}

void RkInetAddress::SetFromString(const std::string& addrstr, RkUInt16 port, bool promoteToV6) {
    Endpoint endpoint;
    if (!SetPlain(addrstr)) {
        const bool wellFormed = Split(addrstr, endpoint);
        const std::string address = wellFormed ? std::string(endpoint.address) : addrstr;
        if (!wellFormed || !SetNumeric(address.c_str()))
            GetOneAddress(address, *this, !promoteToV6);
    }
    SetPort(endpoint.port != 0 ? endpoint.port : port);
    if (promoteToV6)
        PromoteToV6();
}

/// The fast path for a text that is nothing but an address in its usual form: splitting it would change nothing.
bool RkInetAddress::SetPlain(const std::string& text) {
    const char* const end = text.c_str() + text.size();
    InetAddress addr{};
    if (RkAddressText::ParsePlainIp4(text.c_str(), addr.inet_u.u_in4) == end)
        m_family = AF_INET;
    else if (RkAddressText::ParsePlainIp6(text.c_str(), addr.inet_u.u_in6) == end)
        m_family = AF_INET6;
    else
        return false;
    m_addr = addr;
    return true;
}

/// Takes a numeric text as written, without demoting; false leaves the address alone.
bool RkInetAddress::SetNumeric(const char* text) {
    if (RkAddressText::ParseIp4(text, m_addr.inet_u.u_in4)) {
        m_family = AF_INET;
        return true;
    }
    if (RkAddressText::ParseIp6(text, m_addr.inet_u.u_in6)) {
        m_family = AF_INET6;
        return true;
    }
    return false;
}

bool RkInetAddress::SeparateAddrStringAndPort(const std::string& instr, std::string& addrstr, RkUInt16& port) {
    Endpoint endpoint;
    const bool wellFormed = Split(instr, endpoint);
    addrstr = std::string(endpoint.address);  // by a copy: `addrstr` may be `instr`
    port = endpoint.port;
    return wellFormed;
}

RkUInt32 RkInetAddress::GetIpAddress(bool inNetworkOrder) const {
    if (!IsV4())
        throw RkNetworkException(RkMessage("Can not convert IPv6 address to unsigned int for address: ", ToString()));
    const RkUInt32 word = m_addr.inet_u.u_in4.s_addr;
    return inNetworkOrder ? word : ntohl(word);
}

void RkInetAddress::GetIpAddress(RkUInt32* l, RkUInt16 len, bool inNetworkOrder) const {
    if (IsV4()) {
        l[0] = GetIpAddress(inNetworkOrder);
        return;
    }
    if (len < 4)
        throw RkNetworkException(RkMessage("GetIpAddress invalid array length for address: ", ToString()));
    for (int i = 0; i < 4; ++i)
        l[i] = inNetworkOrder ? m_addr.inet_u.u_in6.s6_addr32[i] : Word(i);
}

sockaddr_in& RkInetAddress::GetAddr(sockaddr_in& si) const {
    if (!IsV4())
        throw RkNetworkException(RkMessage("Can not convert IPv6 address to sockaddr_in for address: ", ToString()));
    si.sin_family = AF_INET;
    si.sin_port = m_port;
    si.sin_addr = m_addr.inet_u.u_in4;
    return si;
}

socklen_t RkInetAddress::GetSize() const { return IsV4() ? sizeof(sockaddr_in) : sizeof(sockaddr_in6); }

void RkInetAddress::PromoteToV6() { GetV6Address(*this); }

void RkInetAddress::GetV6Address(RkInetAddress& addr) const {
    if (!IsV4()) {
        addr = *this;
        return;
    }
    const RkUInt32 ip4 = m_addr.inet_u.u_in4.s_addr;
    addr.m_family = AF_INET6;
    addr.m_port = m_port;
    RkUInt32(&words)[4] = addr.m_addr.inet_u.u_in6.s6_addr32;
    words[0] = words[1] = 0;
    words[2] = ip4 == 0 || ip4 == cuiLocalNetwork ? 0 : cuiFFFFNetwork;
    words[3] = ip4 == cuiLocalNetwork ? cuiLocal6Network : ip4;
}

void RkInetAddress::GetV4Address(RkInetAddress& addr) const {
    if (!IsV4() && !IsV6Mapped())
        throw RkNetworkException(RkMessage("Can not convert IPv6 address to IPv4 address: ", ToString()));
    const RkUInt32 ip4 = IsV4() ? m_addr.inet_u.u_in4.s_addr : m_addr.inet_u.u_in6.s6_addr32[3];
    addr.Set(m_port, ip4, true);
}

bool RkInetAddress::IsV6Mapped() const { return !IsV4() && Word(0) == 0 && Word(1) == 0 && Word(2) == 0x0000FFFF; }

std::string& RkInetAddress::ToString(std::string& str) const {
    if (m_port == 0)
        return RkNetwork::InetNtoa(*this, str);
    char text[INET6_ADDRSTRLEN + sizeof "[]:65535"];
    char* end = text;
    if (!IsV4())
        *end++ = '[';
    end = RkAddressText::Format(m_family, &m_addr, end);
    if (!IsV4())
        *end++ = ']';
    *end++ = ':';
    end = std::to_chars(end, std::end(text), GetPort()).ptr;
    return str.assign(text, static_cast<std::size_t>(end - text));
}

std::string RkInetAddress::ToString() const {
    std::string str;
    ToString(str);
    return str;
}

std::string RkInetAddress::GetHostname() {
    char name[HOSTNAME_ROOM];
    return ::gethostname(name, sizeof name) == 0 ? name : "";
}

std::string& RkInetAddress::GetHostname(const std::string& hostId, std::string& hostname) {
    RkInetAddress address;
    if (CheckForNumeric(hostId, address))
        return GetHostByAddr(address, hostname);
    return hostname = hostId;
}

std::string& RkInetAddress::GetHostByAddr(const RkInetAddress& addr, std::string& name) {
    name.clear();
    sockaddr_in four{};
    sockaddr_in6 six{};
    if (addr.IsV4()) {
        addr.GetAddr(four).sin_port = 0;
    } else {
        six.sin6_family = AF_INET6;
        six.sin6_addr = addr.m_addr.inet_u.u_in6;
    }
    const auto* const address = addr.IsV4() ? reinterpret_cast<sockaddr*>(&four) : reinterpret_cast<sockaddr*>(&six);
    char host[NI_MAXHOST];
    const int code = ::getnameinfo(address, addr.GetSize(), host, sizeof host, nullptr, 0, NI_NAMEREQD);
    if (code == 0)
        return name = host;
    const int error = errno;
    const std::string text = addr.ToString() + " into a hostname; error: " + ::gai_strerror(code);
    throw RkNetworkException(RkMessage("Can not resolve address: ", text), error);
}

std::string RkInetAddress::GetHostByAddr(const RkInetAddress& addr) {
    std::string name;
    GetHostByAddr(addr, name);
    return name;
}

RkInetAddress& RkInetAddress::GetOneAddress(const std::string& name, RkInetAddress& addr, bool v4Only) {
    RkInetAddress numeric;
    if (!CheckForNumeric(name, numeric))
        return HostnameToIP(name, addr, v4Only);
    if (v4Only && !numeric.IsV4())
        throw RkNetworkException(RkMessage("Requested IPv4 but name is IPv6: ", name));
    return addr = numeric;
}

RkInetAddress& RkInetAddress::HostnameToIP(const std::string& hostname, RkInetAddress& addr, bool v4Only) {
    RkInetAddress* one = &addr;
    int count = 1;
    GetHostByName(hostname, one, count, v4Only);
    if (count == 0)
        throw RkNetworkException(RkMessage("Can not resolve hostname: ", hostname));
    return addr;
}

void RkInetAddress::GetHostByName(const std::string& name, RkInetAddress*& addrs, int& addrCount, bool v4Only) {
    const AddrInfoList found = Resolve(name, v4Only);
    const int total = CountResults(found.get());
    if (addrCount == 0 && total > 0)
        addrs = std::make_unique<RkInetAddress[]>(static_cast<std::size_t>(total)).release();
    const int room = addrCount == 0 ? total : addrCount;
    int filled = 0;
    for (const addrinfo* entry = found.get(); entry && filled < room; entry = entry->ai_next)
        addrs[filled++] = AddressOf(*entry);
    addrCount = filled;
}

void RkInetAddress::GetAllAddresses(const std::string& name, RkInetAddress*& addrs, int& addrCount, bool v4Only) {
    RkInetAddress numeric;
    if (!CheckForNumeric(name, numeric)) {
        GetHostByName(name, addrs, addrCount, v4Only);
        return;
    }
    addrCount = 0;
    if (v4Only && !numeric.IsV4())
        return;
    auto one = std::make_unique<RkInetAddress[]>(1);
    one[0] = numeric;
    addrs = one.release();
    addrCount = 1;
}

bool RkInetAddress::CheckForNumeric(const std::string& name, RkInetAddress& ipAddress) {
    RkInetAddress numeric;
    if (!numeric.SetNumeric(name.c_str()))
        return false;
    if (numeric.IsV4())
        ipAddress = numeric;
    else
        ipAddress.Set(0, numeric.m_addr.inet_u.u_in6.s6_addr32, 4, true, true);
    return true;
}

RkInetAddress& RkInetAddress::MyAddress(bool v4Only) {
    static RkInetAddress* const s_myAddress = FindMyAddress(v4Only);
    return *s_myAddress;
}

RkUInt32 RkInetAddress::Hash() const {
    RkUInt32 hash;
    MurmurHash3_x86_32(&m_addr, IsV4() ? sizeof(in_addr) : sizeof(in6_addr), HASH_SEED, &hash);
    return hash;
}

bool RkInetAddress::EqualNoPort(const RkInetAddress& addr1, const RkInetAddress& addr2) {
    if (addr1.IsV4() == addr2.IsV4())
        return addr1.SameAddress(addr2);
    RkInetAddress six;
    (addr1.IsV4() ? addr1 : addr2).GetV6Address(six);
    return six.SameAddress(addr1.IsV4() ? addr2 : addr1);
}

bool RkInetAddress::IsInRange(const RkInetAddress& addr, const RkInetAddress& begin, const RkInetAddress& end) {
    return addr >= begin && addr <= end;
}

bool RkInetAddress::operator==(const RkInetAddress& addr) const {
    return m_port == addr.m_port && EqualNoPort(*this, addr);
}

bool RkInetAddress::SameAddress(const RkInetAddress& addr) const {
    if (m_family != addr.m_family)
        return false;
    if (IsV4())
        return m_addr.inet_u.u_in4.s_addr == addr.m_addr.inet_u.u_in4.s_addr;
    return m_family == AF_INET6 && std::memcmp(&m_addr, &addr.m_addr, sizeof m_addr) == 0;
}

bool RkInetAddress::operator<(const RkInetAddress& addr) const {
    if (IsV4() != addr.IsV4()) {
        RkInetAddress six;
        (IsV4() ? *this : addr).GetV6Address(six);
        return IsV4() ? six < addr : *this < six;
    }
    if (m_family != addr.m_family || (!IsV4() && m_family != AF_INET6))
        return false;
    // In network order the bytes of an address compare as its number does.
    const int order = std::memcmp(&m_addr, &addr.m_addr, IsV4() ? sizeof(in_addr) : sizeof(in6_addr));
    return order < 0 || (order == 0 && GetPort() < addr.GetPort());
}

/// A word of an IPv6 address in host order.
RkUInt32 RkInetAddress::Word(int index) const { return ntohl(m_addr.inet_u.u_in6.s6_addr32[index]); }

bool RkInetAddress::IsLoopback() const {
    if (IsV4())
        return m_addr.inet_u.u_in4.s_addr == cuiLocalNetwork;
    return IN6_IS_ADDR_LOOPBACK(&m_addr.inet_u.u_in6);
}

bool RkInetAddress::IsLinkLocal() const {
    if (IsLoopback())
        return true;
    return IsV4() ? (GetIpAddress(false) & 0xFFFF0000) == 0xA9FE0000 : (Word(0) & 0xFFC00000) == 0xFE800000;
}

bool RkInetAddress::IsMulticast() const {
    return IsV4() ? (GetIpAddress(false) & 0xF0000000) == 0xE0000000 : (Word(0) & 0xFF000000) == 0xFF000000;
}

bool RkInetAddress::IsAnyAddress() const {
    return IsV4() ? m_addr.inet_u.u_in4.s_addr == 0 : IN6_IS_ADDR_UNSPECIFIED(&m_addr.inet_u.u_in6);
}

bool RkInetAddress::IsPrivate() const {
    if (!IsV4())
        return (Word(0) & 0xFE000000) == 0xFC000000;
    const RkUInt32 ip4 = GetIpAddress(false);
    return (ip4 & 0xFF000000) == 0x0A000000 || (ip4 & 0xFFF00000) == 0xAC100000 || (ip4 & 0xFFFF0000) == 0xC0A80000;
}

bool RkInetAddress::IsAnycast() const {
    if (IsV4() || IsAnyAddress())
        return false;
    return Word(2) == 0xFFFFFFFF ? Word(3) >= 0xFFFFFF80 : Word(2) == 0 && Word(3) == 0;
}

std::ostream& operator<<(std::ostream& out, const RkInetAddress& addr) { return out << addr.ToString(); }

std::istream& operator>>(std::istream& in, RkInetAddress& addr) {
    std::string word;
    if (in >> word)
        addr.SetFromString(word, 0, false);
    return in;
}
