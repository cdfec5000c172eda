#pragma once

#include <string>

#include "Base/RkTypes.h"
#include "Network/QorNetworkExport.h"

class RkInetAddress;

/// Conversions that belong to no object. Stateless; safe from any thread.
class QOR_NETWORK_EXPORT RkNetwork {
public:
    RkNetwork() = default;
    virtual ~RkNetwork();

    /// Writes the numeric text of an address, as inet_ntop writes it: without port and without brackets.
    /// Throws an RkNetworkException for a family that is neither IPv4 nor IPv6.
    /// @return `str`
    static std::string& InetNtoa(const RkInetAddress& addr, std::string& str);
    static std::string InetNtoa(const RkInetAddress& addr);

    /// Turns eight bytes from host into network order, and back.
    static RkUInt64 HToNLL(RkUInt64 value) { return __builtin_bswap64(value); }
    static RkUInt64 NToHLL(RkUInt64 value) { return __builtin_bswap64(value); }
};
