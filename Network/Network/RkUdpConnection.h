#pragma once

#include "Base/RkRunnable.h"
#include "Diag/RkInspectable.h"
#include "Network/Network/RkInetAddress.h"
#include "Network/Network/RkPrintSelf.h"
#include "Network/QorNetworkExport.h"

class RkUdpServer;
class RkUdpSocket;

/// One received datagram and the work on it. A subclass answers it in Run, which a pool thread calls.
///
/// The server's thread makes the object (CreateConnection), lets it read and hands it to the pool, which deletes it after
/// Run. So one thread at a time uses it, save for PrintSelf, which another thread may call at any time until the object has
/// left its server: an override reads constants and atomics only.
class QOR_NETWORK_EXPORT RkUdpConnection : public RkRunnable, public RkPrintSelf, public kstr::diag::RkInspectable {
public:
    RkUdpConnection();
    RkUdpConnection(const RkUdpConnection&) = delete;
    RkUdpConnection& operator=(const RkUdpConnection&) = delete;

    /// Leaves the server's table. That is late for a subclass that overrides PrintSelf: it calls LeaveServer first in its
    /// own destructor.
    ~RkUdpConnection() override;

    /// Receives one waiting datagram, cut to 4,095 bytes, and remembers `socket` (which must outlive this object) for Send.
    /// After an error the buffer is empty, and Run is called all the same.
    virtual void Read(RkUdpSocket& socket);

    /// Sends one datagram to the sender of the one received. Needs an earlier Read. Whether it could be sent is not told:
    /// datagrams may get lost.
    ///
    /// An empty datagram leaves no sender (see RkUdpSocket::ReadFrom), so that it cannot be answered.
    virtual void Send(const char* data, size_t length);

    void HandleInspection(kstr::diag::RkInspector& inspector) override;   ///< reports PrintSelf as "TARNUdpConnection"
    void PrintSelf(std::ostream& stream, PrintSelfLevel level) override;  ///< prints nothing

    /// @param server  whose table is left at the end; null for none
    void SetServer(RkUdpServer* server);

protected:
    /// Takes this object out of its server's table. Further calls do nothing.
    void LeaveServer();

    char m_buffer[4096];        ///< the datagram, followed by a zero byte
    size_t m_bufferLength = 0;  ///< its length in bytes, without the zero byte
    RkInetAddress m_address;    ///< its sender
    RkUdpSocket* m_socket = nullptr;
    RkUdpServer* m_server = nullptr;
};
