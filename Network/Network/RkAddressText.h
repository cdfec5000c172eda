#pragma once

#include <netinet/in.h>

/// Numeric address texts, read and written faster than the C library does and with the very same results; for the library's
/// own use. Stateless.
class RkAddressText {
public:
    /// Reads what inet_addr reads, short and hexadecimal forms included, and like it not 255.255.255.255.
    /// @param[out] addr  unchanged where the text is no address; so in the next
    static bool ParseIp4(const char* text, in_addr& addr);

    /// Reads what inet_pton reads as AF_INET6.
    static bool ParseIp6(const char* text, in6_addr& addr);

    /// Read the forms that nearly all addresses have: a.b.c.d, and hexadecimal groups without an IPv4 tail.
    /// @return the text's NUL; null for all other texts, good ones too, and `addr` is unchanged then
    static const char* ParsePlainIp4(const char* text, in_addr& addr);
    static const char* ParsePlainIp6(const char* text, in6_addr& addr);

    /// Writes what inet_ntop writes, without a NUL. Throws an RkNetworkException for any other family than the two.
    /// @param addr  an in_addr or in6_addr
    /// @param out   room for INET6_ADDRSTRLEN characters
    /// @return the end of what was written
    static char* Format(int family, const void* addr, char* out);
};
