// What is a numeric address, and which, is the C library's answer; an address's own text is that address.
#include <arpa/inet.h>
#include <netdb.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Network/Network/RkInetAddress.h"
#include "Network/Network/RkNetwork.h"
#include "Network/Network/RkNetworkException.h"

// Names resolve to nothing: no query leaves the machine.
extern "C" int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**) { return EAI_NONAME; }

namespace {

void Require(bool held) {
    if (!held)
        std::abort();
}

/// @return the family of a numeric text and its bytes; AF_UNSPEC for any other text
int CLibraryReads(const std::string& text, unsigned char (&bytes)[16]) {
    const in_addr_t four = inet_addr(text.c_str());
    std::memcpy(bytes, &four, sizeof four);
    if (four != INADDR_NONE)
        return AF_INET;
    return inet_pton(AF_INET6, text.c_str(), bytes) == 1 ? AF_INET6 : AF_UNSPEC;
}

void CheckNumericTest(const std::string& text) {
    unsigned char bytes[16];
    const int family = CLibraryReads(text, bytes);
    RkInetAddress address;
    Require(RkInetAddress::CheckForNumeric(text, address) == (family != AF_UNSPEC));
    if (family == AF_INET)
        Require(in_addr_t{address.GetIpAddress(true)} == inet_addr(text.c_str()));
}

/// @return the address in a well-formed endpoint text, or (IPv4 only) of the whole of another one; empty for a name
std::string ExpectedAddress(const std::string& text, bool wellFormed, const std::string& host) {
    RkInetAddress numeric;
    if (!wellFormed)
        return RkInetAddress::CheckForNumeric(text, numeric) && numeric.IsV4() ? numeric.ToString() : "";
    unsigned char bytes[16];
    const int family = CLibraryReads(host, bytes);
    char shown[INET6_ADDRSTRLEN];
    return family == AF_UNSPEC ? "" : inet_ntop(family, bytes, shown, sizeof shown);
}

void CheckEndpoint(const std::string& text) {
    std::string host;
    RkUInt16 port = 0;
    const bool wellFormed = RkInetAddress::SeparateAddrStringAndPort(text, host, port);
    const std::string expected = ExpectedAddress(text, wellFormed, host);
    try {
        const RkInetAddress address(text, 7);
        Require(RkNetwork::InetNtoa(address) == expected);
        Require(address.GetPort() == (port != 0 ? port : 7));
        Require(RkInetAddress(address.ToString(), 0) == address);
    } catch (const RkNetworkException&) {
        Require(expected.empty());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CheckNumericTest(text);
    CheckEndpoint(text);
    return 0;
}
