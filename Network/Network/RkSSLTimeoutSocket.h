#pragma once

#include <string>

#include "Base/RkTimePeriod.h"
#include "Network/Network/RkSSLSocket.h"

/// A TLS socket whose plain Read and Write have time-outs, for code that knows the device interface only.
///
/// Each period limits one wait for the peer, zero is no limit. Otherwise as RkSSLSocket.
class QOR_NETWORK_EXPORT RkSSLTimeoutSocket : public RkSSLSocket {
public:
    /// Credentials from "./key.pem" and "./cert.pem".
    RkSSLTimeoutSocket(const RkTimePeriod& connectTimeout, const RkTimePeriod& readTimeout,
                       const RkTimePeriod& writeTimeout);

    /// Credentials from PEM files; the key's path comes first.
    RkSSLTimeoutSocket(const std::string& keyFile, const std::string& certFile, const RkTimePeriod& connectTimeout,
                       const RkTimePeriod& readTimeout, const RkTimePeriod& writeTimeout);

    /// Has no credentials and therefore always throws (kept, as the base's; test TheAddressAloneIsNotEnough).
    RkSSLTimeoutSocket(const RkInetAddress& addr, const RkTimePeriod& connectTimeout, const RkTimePeriod& readTimeout,
                       const RkTimePeriod& writeTimeout, bool flag);

    ~RkSSLTimeoutSocket() override;

    /// The timed Read and Write of RkSSLSocket with the periods of the constructor: -1 also after the time-out.
    ssize_t Read(char* buf, size_t len) override;
    ssize_t Write(const char* buf, size_t len) override;
    using RkSSLSocket::Read;
    using RkSSLSocket::Write;

    /// Closes the handle and keeps the session, which CloseForce and the destructor release.
    void Close() override;

    /// Connects without a limit: the connect time-out is not used (kept; test ConnectIgnoresTheConnectTimeout). Callers who
    /// want a limit call Connect(addr, timeout).
    void Connect(const RkInetAddress& addr) override;
    using RkSSLSocket::Connect;

    /// Stored, and not used (see Connect).
    void SetConnectTimeout(const RkTimePeriod& timeout) { m_connectTimeout = timeout; }

private:
    RkTimePeriod m_connectTimeout;
    RkTimePeriod m_readTimeout;
    RkTimePeriod m_writeTimeout;
};
