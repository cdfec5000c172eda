#pragma once

#include <netinet/in.h>

#include <iosfwd>
#include <string>

#include "Base/RkTypes.h"
#include "Network/QorNetworkExport.h"

/// An Internet endpoint: an IPv4 or IPv6 address with a port. A value type without locks.
///
/// Address and port are kept in network byte order. Ports and words that go in or out are in host order unless an
/// operation says otherwise. Comparison counts the port, the hash does not. A family other than AF_INET counts as IPv6.
///
/// Names are resolved by the system's resolver, without a cache and without a time limit (RkDnsCache has the first). All
/// failures are RkNetworkExceptions.
class QOR_NETWORK_EXPORT RkInetAddress {
public:
    using Inet6Address = in6_addr;

    /// The bytes of an address of either family, in network order. Which one it is stands in m_family.
    struct InetAddress {
        union {
            Inet6Address u_in6;
            in_addr u_in4;  ///< the first four bytes; the only ones that mean something for IPv4
        } inet_u;
    };

    /// 0.0.0.0, port 0.
    RkInetAddress();

    /// Address and port as the kernel filled them in. Neither `len` nor the family is looked at: the caller vouches that
    /// this is an IPv4 socket address.
    RkInetAddress(const sockaddr_in* addr, int len);

    /// @param port  in NETWORK byte order, unlike in every other constructor: callers pass sin_port on
    ///              (test InAddrPortStaysInNetworkOrder)
    RkInetAddress(const in_addr& addr, RkUInt16 port);

    RkInetAddress(const RkInetAddress& other);

    /// The endpoint that a text names, as SetFromString reads it.
    RkInetAddress(const std::string& addr, RkUInt16 port, bool promoteToV6 = false);
    RkInetAddress(const char* addr, RkUInt16 port, bool promoteToV6 = false);

    /// IPv4, both in host order. A literal 0 as address must be written 0u, or it is taken for a null pointer.
    RkInetAddress(RkUInt32 addr, RkUInt16 port);

    /// An address given in words, as Set takes it.
    RkInetAddress(RkUInt32* addr, int len, RkUInt16 port, bool inNetworkOrder, bool demoteToV4);

    virtual ~RkInetAddress();

    RkInetAddress& operator=(const RkInetAddress& other);
    RkInetAddress& operator=(const sockaddr_in* addr);  ///< as AssignInet4Addr
    RkInetAddress& operator=(std::string addr);         ///< as SetFromString without default port or promotion
    RkInetAddress& operator=(const char* addr);

    /// IPv4 from one word.
    /// @param inNetworkOrder  whether port and word are in network order already
    RkInetAddress& Set(RkUInt16 port, RkUInt32 addr, bool inNetworkOrder);

    /// @param addr            one word (IPv4) when `len` is below 4, else four (IPv6)
    /// @param inNetworkOrder  whether port and words are in network order already
    /// @param demoteToV4      turns an IPv4-mapped address into the IPv4 one and :: into 0.0.0.0; every other stays IPv6, an
    ///                        IPv4-compatible one and ::1 too
    RkInetAddress& Set(RkUInt16 port, RkUInt32* addr, int len, bool inNetworkOrder, bool demoteToV4);

    /// As Set with `inNetworkOrder`: port and words as they come out of a socket address.
    RkInetAddress& SetNetworkOrder(RkUInt16 port, RkUInt32* addr, int len, bool demoteToV4);

    /// @param port  in host order; the address stays
    void SetPort(RkUInt16 port);

    /// @return in host order; 0 where none was given
    RkUInt16 GetPort() const;

    /// These keep the port (a port in the text goes before it).
    void SetIpAddress(RkUInt32 addr);
    void SetIpAddress(const char* addr);
    void SetIpAddress(const std::string& addr);

    /// IPv4; address and port as the kernel filled them in, the family is not looked at.
    void AssignInet4Addr(const sockaddr_in* addr);

    /// Takes the endpoint from a text: address or host name, with or without ":port"; an IPv6 address with a port stands in
    /// brackets. What inet_addr takes is IPv4 ('1', '0x7f.1' and '1.2.3.4 x' too, but not 255.255.255.255), what
    /// inet_pton takes is IPv6 and stays so; all else is a name and is looked up. A text that is malformed as an endpoint
    /// ('1.2.3.4:', '[::1') is looked up whole.
    /// @param port         used where the text has none, or 0
    /// @param promoteToV6  looks up names of both families and ends as IPv6; otherwise names are looked up as IPv4 only
    /// Throws "Can not resolve hostname: " + name; the object is unchanged then.
    void SetFromString(const std::string& addrstr, RkUInt16 port, bool promoteToV6);

    /// Splits an endpoint text. A port is read as strtol reads it and cut to 16 bits: 'a:xyz' has port 0, 'a:70000' 4464.
    /// @param[out] addrstr  without brackets
    /// @param[out] port     0 where there is none
    /// @return false for a malformed text
    static bool SeparateAddrStringAndPort(const std::string& instr, std::string& addrstr, RkUInt16& port);

    /// @return the IPv4 address; throws for an IPv6 one
    RkUInt32 GetIpAddress(bool inNetworkOrder) const;

    /// Writes one word (IPv4) or four (IPv6; throws if `len` is below 4).
    void GetIpAddress(RkUInt32* l, RkUInt16 len, bool inNetworkOrder) const;

    /// Fills family, port and address of `si` (and nothing else) and returns it; throws for an IPv6 address.
    sockaddr_in& GetAddr(sockaddr_in& si) const;

    /// @return bytes of the socket address of this family: 16, or 28 for IPv6
    socklen_t GetSize() const;

    bool IsV4() const { return m_family == AF_INET; }

    /// Turns IPv4 into IPv6, port kept: 0.0.0.0 into ::, 127.0.0.1 into ::1, any other into its IPv4-mapped form.
    void PromoteToV6();

    /// Writes the IPv6 form (as PromoteToV6 makes it) into `addr`.
    void GetV6Address(RkInetAddress& addr) const;

    /// Writes the IPv4 form into `addr`, port kept. Only mapped addresses have one, the others throw: :: and ::1 too,
    /// although PromoteToV6 makes them (kept; test RefusesToSqueezeIPv6IntoIPv4Shapes).
    void GetV4Address(RkInetAddress& addr) const;

    /// Whether this is an IPv6 address that is ffff:a.b.c.d behind 80 zero bits.
    bool IsV6Mapped() const;

    /// The numeric text, with ":port" unless the port is 0; IPv6 with a port stands in brackets. @return `str`
    std::string& ToString(std::string& str) const;
    std::string ToString() const;

    /// @return the local host's name; empty if it cannot be had
    static std::string GetHostname();

    /// The host name of `hostId`: looked up if it is a numeric address (throws as GetHostByAddr), else itself.
    static std::string& GetHostname(const std::string& hostId, std::string& hostname);

    /// Reverse look-up. Throws "Can not resolve address: " with address and reason when there is no name.
    static std::string& GetHostByAddr(const RkInetAddress& addr, std::string& name);
    static std::string GetHostByAddr(const RkInetAddress& addr);

    /// One address of a name or numeric text; the resolver's first, port 0. Numeric texts are read as CheckForNumeric
    /// reads them.
    /// @param v4Only  asks for IPv4 only; a numeric IPv6 address then throws "Requested IPv4 but name is IPv6: " + name
    /// Throws "Can not resolve hostname: " + name for an unknown name. @return `addr`
    static RkInetAddress& GetOneAddress(const std::string& name, RkInetAddress& addr, bool v4Only);

    /// As GetOneAddress, but numeric texts go to the resolver too.
    static RkInetAddress& HostnameToIP(const std::string& hostname, RkInetAddress& addr, bool v4Only);

    /// All addresses of a name in the resolver's order, port 0; never throws for an unknown name.
    /// @param[in,out] addrs      where `addrCount` is 0: set to a new array that the caller deletes with delete[] (none
    ///                           for an unknown name); else the caller's array, which is filled
    /// @param[in,out] addrCount  room in the caller's array, or 0; then the number of addresses written
    static void GetHostByName(const std::string& name, RkInetAddress*& addrs, int& addrCount, bool v4Only);

    /// As GetHostByName, but a numeric text gives itself, always in a new array of one whatever `addrCount` was (and
    /// nothing if it is IPv6 and `v4Only`). Callers hand in 0.
    static void GetAllAddresses(const std::string& name, RkInetAddress*& addrs, int& addrCount, bool v4Only);

    /// Whether a text is a numeric address: for inet_addr or, as IPv6, for inet_pton. IPv4-mapped addresses and :: come out
    /// as IPv4 here, unlike in SetFromString (test DemotesMappedAndAnyAddressesOnly). The port becomes 0.
    static bool CheckForNumeric(const std::string& name, RkInetAddress& ipAddress);

    /// The local host's address, looked up at the first call and kept: later calls get it whatever their `v4Only`.
    /// 0.0.0.0 if it cannot be had.
    static RkInetAddress& MyAddress(bool v4Only);

    /// MurmurHash3_x86_32, seed 0xDEADBEEF, over the address bytes: neither port nor family. An IPv4 address and its
    /// IPv6 form are equal and still hash differently (kept; test OrdersByAddressThenPortAcrossFamilies).
    RkUInt32 Hash() const;
    static RkUInt32 Hash(const RkInetAddress& addr) { return addr.Hash(); }

    static bool Equal(const RkInetAddress& addr1, const RkInetAddress& addr2) { return addr1 == addr2; }
    static bool Comp(const RkInetAddress& addr1, const RkInetAddress& addr2) { return addr1 < addr2; }

    /// As ==, ports left out.
    static bool EqualNoPort(const RkInetAddress& addr1, const RkInetAddress& addr2);

    /// begin <= addr <= end in the order below, so ports count.
    static bool IsInRange(const RkInetAddress& addr, const RkInetAddress& begin, const RkInetAddress& end);
    bool IsInRange(const RkInetAddress& begin, const RkInetAddress& end) const { return IsInRange(*this, begin, end); }

    /// Across families the IPv4 side counts as its IPv6 form.
    bool operator==(const RkInetAddress& addr) const;
    bool operator!=(const RkInetAddress& addr) const { return !(*this == addr); }

    /// By address as an unsigned number, then by port.
    bool operator<(const RkInetAddress& addr) const;
    bool operator<=(const RkInetAddress& addr) const { return *this < addr || *this == addr; }
    bool operator>(const RkInetAddress& addr) const { return !(*this <= addr); }
    bool operator>=(const RkInetAddress& addr) const { return !(*this < addr); }

    bool IsLoopback() const;    ///< exactly 127.0.0.1 or ::1; deliberately not all of 127.0.0.0/8
    bool IsLinkLocal() const;   ///< the loopback address, 169.254.0.0/16, fe80::/10
    bool IsMulticast() const;   ///< 224.0.0.0/4, ff00::/8
    bool IsAnyAddress() const;  ///< 0.0.0.0, ::
    bool IsPrivate() const;     ///< 10.0.0.0/8, 172.16.0.0/12, 192.168.0.0/16, fc00::/7

    /// Never for IPv4 and ::; else for a host part of zeros and for the 128 reserved ones, ffff:ffff:ffff:ff80 and up.
    bool IsAnycast() const;

protected:
    RkUInt16 m_family;   ///< AF_INET or AF_INET6
    RkUInt16 m_port;     ///< network byte order
    InetAddress m_addr;  ///< network byte order

    /// The constants of the address forms, in network byte order.
    static const RkUInt32 cuiFFFFNetwork;    ///< third word of a mapped address
    static const RkUInt32 cuiLocalNetwork;   ///< 127.0.0.1
    static const RkUInt32 cuiLocal6Network;  ///< last word of ::1

private:
    friend class RkNetwork;

    bool SetPlain(const std::string& text);
    bool SetNumeric(const char* text);
    RkUInt32 Word(int index) const;
    bool SameAddress(const RkInetAddress& addr) const;
};

QOR_NETWORK_EXPORT std::ostream& operator<<(std::ostream& out, const RkInetAddress& addr);

/// Reads one word and takes it as SetFromString does (throws as it does); unchanged if the stream has none.
QOR_NETWORK_EXPORT std::istream& operator>>(std::istream& in, RkInetAddress& addr);
