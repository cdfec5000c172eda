#pragma once

#include "Network/Network/RkSocket.h"

/// A TCP socket: connects, listens, accepts, and moves bytes with one system call a Read or Write.
///
/// The virtual operations stand in slot order after RkSocket's. Failures throw an RkNetworkException with the errno of the
/// failed call in its message; reads and writes never throw. Ownership, threads: as RkSocket.
class QOR_NETWORK_EXPORT RkTcpSocket : public RkSocket {
public:
    /// A client that was taken off a listening socket's queue and for which there is no socket object yet.
    struct Client {
        SOCKET handle = -1;  ///< -1: nobody; else to be closed by whoever holds it
        RkInetAddress address;
    };

    RkTcpSocket();

    /// Opens nothing yet.
    /// @param inetAddr   where Bind() will bind
    /// @param reuseAddr  whether Open switches SO_REUSEADDR on
    RkTcpSocket(const RkInetAddress& inetAddr, bool reuseAddr);

    /// Copies the local address alone: no handle, no SO_REUSEADDR.
    RkTcpSocket(const RkTcpSocket& sock);

    /// Takes the handle alone: both objects then name one descriptor, which one of them must close. This is how an
    /// accepted handle is handed on (test CopyHasNoHandleAndResetAlwaysReusesTheAddress).
    RkTcpSocket& operator=(const RkTcpSocket& sock);

    ~RkTcpSocket() override;

    /// One receive. @return bytes, 0 at the end of the stream, -1 with errno set
    ssize_t Read(char* buff, size_t bytes) override;

    /// One send, without SIGPIPE. @return bytes taken (maybe fewer), -1 with errno set
    ssize_t Write(const char* buff, size_t bytes) override;

    /// Nothing is held back. @return true
    bool Flush() override;

    ssize_t Read(char* buff, size_t bytes, const RkTimePeriod& timeout) override;

    /// Closes, then opens, always with SO_REUSEADDR (kept; test CopyHasNoHandleAndResetAlwaysReusesTheAddress).
    void Reset() override;

    /// Sends what there is room for; where there is none at once it waits for some, at most `timeout` (zero: without limit).
    /// A blocking socket then takes all of it, however long that lasts.
    /// @return as Write; 0 after the time-out, -1 when the wait failed
    virtual ssize_t Write(const char* buff, size_t bytes, const RkTimePeriod& timeout);

    /// Opens on demand and connects to an IPv4 endpoint. Throws "Connect failed: " + errno; the socket is closed then.
    virtual void Connect(const RkInetAddress& remoteAddr);

    /// As above within `timeout` (zero: without limit); also throws "Connect timed out: ". The blocking mode is as before.
    virtual void Connect(const RkInetAddress& remoteAddr, const RkTimePeriod& timeout);

    /// @param enable  true collects small writes (the default of a socket), false sends each at once
    virtual void SetNagleEnabled(bool enable);

    /// Opens on demand and binds to the local address of the constructor, or to `address`, which is kept.
    virtual void Bind();
    virtual void Bind(const RkInetAddress& address);

    /// @param backlog  clients that the system keeps waiting for an accept, at most its own limit (somaxconn)
    virtual void Listen(int backlog);

    /// Waits for a client and gives its handle (close-on-exec, blocking) to `newSocket`, whose old handle is not closed.
    virtual void Accept(RkTcpSocket& newSocket);

    /// As above within `timeout` (zero: without limit). @return false after the time-out
    virtual bool Accept(RkTcpSocket& newSocket, const RkTimePeriod& timeout);

    /// Accept in two steps, for a server that makes the socket object only when there is a client for it: waits for one,
    /// without limit on a blocking socket.
    /// @return handle -1 with errno set when there was none to be had (Wake, no descriptors left)
    Client TakeClient();

    /// Gives a client's handle to this socket, whose old handle is not closed.
    void Adopt(const Client& client);

    /// The client of an accepted socket as Accept found it, without asking the system; stays when the socket is closed.
    /// 0.0.0.0 port 0 on any other socket.
    const RkInetAddress& GetAcceptedFrom() const { return m_acceptedFrom; }

    /// A hook for handshakes, nothing here. Accept does not call it, nor does RkTcpServer: a connection calls it on its
    /// socket before it talks to the peer, in its own thread, so that a slow peer holds up nobody else.
    virtual void AcceptSocket();

    /// Closes by resetting the connection: what was not sent is dropped and the peer gets an error. Nothing if closed.
    virtual void CloseForce();

    /// Opens a closed socket; nothing on an open one. @return success
    virtual RkErrorCode Open();

    /// Does nothing and returns 0. Not Close, in spite of its name; kept for its slot.
    virtual int close();

protected:
    RkInetAddress m_inetAddr;  ///< where Bind() binds
    bool m_reuseAddr;          ///< for Open

private:
    ssize_t SendRest(const char* buff, size_t bytes);
    int BeginConnect(const RkInetAddress& remoteAddr);
    [[noreturn]] void FailConnect(const char* text);

    RkInetAddress m_acceptedFrom;
};
