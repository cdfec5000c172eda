#pragma once

#include "Network/Network/RkInetAddress.h"
#include "Network/Network/RkSocket.h"

/// A datagram socket that may send to broadcast addresses; else as RkUdpSocket.
class QOR_NETWORK_EXPORT RkUdpBroadcastSocket : public RkSocket {
public:
    /// Opens a socket without address re-use, allows broadcasts and binds it. Throws an RkNetworkException when one of
    /// these fails, leaving nothing open.
    /// @param localAddr   where to bind; port 0 lets the system choose
    /// @param remoteAddr  where Write sends until the first Read; may be a broadcast address
    RkUdpBroadcastSocket(const RkInetAddress& localAddr, const RkInetAddress& remoteAddr);
    RkUdpBroadcastSocket(const RkUdpBroadcastSocket&) = delete;
    RkUdpBroadcastSocket& operator=(const RkUdpBroadcastSocket&) = delete;
    ~RkUdpBroadcastSocket() override;

    using RkSocket::Read;
    ssize_t Read(char* buff, size_t bytes) override;         ///< as RkUdpSocket::Read
    ssize_t Write(const char* buff, size_t bytes) override;  ///< as RkUdpSocket::Write
    bool Flush() override;                                   ///< nothing is held back here; true
    void Close() override;
    RkInetAddress GetRemoteAddress() override;  ///< the address of Write
    void Reset() override;                      ///< as RkUdpSocket::Reset

    virtual ssize_t ReadFrom(char* buff, size_t bytes, RkInetAddress& from);           ///< as RkUdpSocket::ReadFrom
    virtual ssize_t WriteTo(const RkInetAddress& to, const char* buff, size_t bytes);  ///< as RkUdpSocket::WriteTo
    virtual int close();  ///< does nothing and returns 0; Close closes

    /// Opens a socket and allows broadcasts on it. Throws an RkNetworkException when either fails. When only the second
    /// does, the new socket stays open, unlike after a failed RkSocket::Open: the caller closes it or goes on without.
    void Open(int type, int protocol, bool reuseAddr);

private:
    void OpenAndBind();

    RkInetAddress m_localAddr;
    RkInetAddress m_remoteAddr;
};
