#pragma once

#include <memory>
#include <string>

#include "Base/RkBStream.h"
#include "Base/RkTimePeriod.h"
#include "Network/Network/RkSocket.h"
#include "Network/QorNetworkExport.h"

/// A reusable client connection to one server: TCP with a byte stream over it, or UDP.
///
/// Owns its socket and stream. Used by one thread at a time: the one that holds it, when it comes from a pool.
class QOR_NETWORK_EXPORT RkBasicConnection {
public:
    /// What Connect opens.
    enum SocketKind { TCP = 0, UDP = 1 };

    RkBasicConnection();
    RkBasicConnection(const RkBasicConnection&) = delete;
    RkBasicConnection& operator=(const RkBasicConnection&) = delete;

    /// Closes quietly what is still open.
    virtual ~RkBasicConnection();

    /// Frees socket and stream. Throws RkNetworkException when the socket reported a failure while it was closed; both are
    /// freed by then. Without a socket it does nothing.
    virtual void Close();

    /// Connects, or, when there is a socket already, only resets the stream: a connection taken from a pool is used again
    /// as it is, whatever the arguments say.
    ///
    /// @param port      of the server, host byte order
    /// @param hostname  numeric address or name
    /// @param time      limit of the connect and of each later read and write; zero is none
    /// @param which     TCP; every other value is UDP, which gets no stream
    /// Throws RkNetworkException; then there is no socket.
    void Connect(unsigned short port, const std::string& hostname, const RkTimePeriod& time, int which);

    /// Flushes the stream, if there is one. Throws as RkBStream::Flush.
    void Send();

    /// Makes the stream ready for the next answer by resetting it, if there is one.
    /// @param timeout  not used: the limit of reads is the socket's own
    void Receive(const RkTimePeriod& timeout);

    /// The byte stream of a TCP connection. Throws RkBasicConnectionException when there is none.
    RkBStream& GetStream();

    /// When the connection was last handed out or returned, as time since the epoch.
    void SetTimeStamp(const RkTimePeriod& time) { m_lastUsed = time; }
    const RkTimePeriod& GetTimeStamp() const { return m_lastUsed; }

    /// Gives the connection a socket of the caller's making, which it owns from now on. What it held before is freed, not
    /// closed, together with the stream over it.
    void SetSocket(RkSocket* socket);

private:
    void ConnectTcp(const RkInetAddress& server, const RkTimePeriod& time);
    void ConnectUdp(const RkInetAddress& server);

    bool m_isConnected = false;
    std::unique_ptr<RkSocket> m_socket;
    RkTimePeriod m_lastUsed;
    std::unique_ptr<RkBStream> m_stream;  ///< over m_socket
};
