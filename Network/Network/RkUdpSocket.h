#pragma once

#include "Network/Network/RkInetAddress.h"
#include "Network/Network/RkSocket.h"

/// A datagram socket, bound from its construction on, that answers whoever wrote last: Read takes a datagram from anyone
/// and remembers its sender, and Write sends to the remembered address.
///
/// IPv4 only. For one thread at a time: two readers would race on the remembered address. The destructor does not close the
/// handle; the owner calls Close first.
class QOR_NETWORK_EXPORT RkUdpSocket : public RkSocket {
public:
    /// Opens a socket without address re-use and binds it. Throws an RkNetworkException when either fails, leaving nothing
    /// open.
    /// @param localAddr   where to bind; port 0 lets the system choose (GetLocalAddress tells)
    /// @param remoteAddr  where Write sends until the first Read; may be empty
    RkUdpSocket(const RkInetAddress& localAddr, const RkInetAddress& remoteAddr);
    RkUdpSocket(const RkUdpSocket&) = delete;
    RkUdpSocket& operator=(const RkUdpSocket&) = delete;
    ~RkUdpSocket() override;

    /// Receives one datagram from anyone, cut to `bytes`, and makes its sender the address of Write.
    /// @return its length; 0 for an empty one and -1 (errno says why) keep the address of Write as it was
    ssize_t Read(char* buff, size_t bytes) override;

    /// Sends one datagram to the remembered address.
    /// @return `bytes`, or -1 with errno set
    ssize_t Write(const char* buff, size_t bytes) override;

    bool Flush() override;  ///< nothing is held back here; true

    /// @return the address of Write; never asked of the system
    RkInetAddress GetRemoteAddress() override;

    /// As Read, but waits at most `timeout` (zero: without limit) for a datagram.
    /// @return 0 also after the time-out and when the wait failed; -1 at once on a closed socket
    ssize_t Read(char* buff, size_t bytes, const RkTimePeriod& timeout) override;

    /// Closes, opens and binds anew. Throws as the constructor does, leaving the socket closed. A port that the system chose
    /// is another one afterwards.
    void Reset() override;

    /// Receives one datagram, cut to `bytes`.
    /// @param[out] from  its sender; untouched when the result is below 1, thus by an empty datagram, too
    /// @return its length, or -1 with errno set
    virtual ssize_t ReadFrom(char* buff, size_t bytes, RkInetAddress& from);

    /// Sends one datagram. Throws an RkNetworkException when `to` is an IPv6 address.
    /// @return `bytes`, or -1 with errno set
    virtual ssize_t WriteTo(const RkInetAddress& to, const char* buff, size_t bytes);

    virtual int close();  ///< does nothing and returns 0; Close closes

private:
    void OpenAndBind();

    RkInetAddress m_localAddr;
    RkInetAddress m_remoteAddr;
};
