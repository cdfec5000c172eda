#pragma once

#include <atomic>

#include "Base/RkRunnable.h"
#include "Diag/RkInspectable.h"
#include "Network/Network/RkPrintSelf.h"
#include "Network/QorNetworkExport.h"

class RkTcpServer;

/// The work on one accepted connection. A subclass talks to the peer in Run, which a pool thread of the server calls.
///
/// The server's thread makes the object (RkTcpServer::CreateConnection), enters it into the server's table and hands it to
/// the pool, which deletes it after Run. Run and its socket belong to that pool thread; two operations come from others:
///
/// - Stop, while Run runs, asks it to end soon. It must not close the socket, whose descriptor the pool thread may be about
///   to use: it marks the connection as stopped and calls RkSocket::Wake, and Run closes.
/// - PrintSelf may come at any time until the object has left the server's table: an override reads constants and atomics
///   only.
class QOR_NETWORK_EXPORT RkTcpConnection : public RkRunnable, public RkPrintSelf, public kstr::diag::RkInspectable {
public:
    RkTcpConnection();
    RkTcpConnection(const RkTcpConnection&) = delete;
    RkTcpConnection& operator=(const RkTcpConnection&) = delete;

    /// Leaves the server's table. That is too late for a subclass that overrides PrintSelf, since its own part is gone by
    /// then: it calls LeaveServer first in its own destructor.
    ~RkTcpConnection() override;

    void HandleInspection(kstr::diag::RkInspector& inspector) override;   ///< reports PrintSelf as "TARNTcpConnection"
    void PrintSelf(std::ostream& stream, PrintSelfLevel level) override;  ///< prints nothing

    /// @param server  whose table is left at the end; null for none. RkTcpServer::AddConnection calls it.
    void SetServer(RkTcpServer* server);

protected:
    /// Takes this object out of its server's table, waiting for a PrintSelf that walks it. Further calls do nothing.
    /// To be called first in the destructor of the most derived class.
    void LeaveServer();

private:
    std::atomic<RkTcpServer*> m_server{nullptr};
};
